// How a stream goes to another process.
#pragma once

#include "streams/aggregated_impl.h"
#include "streams/marshal.h"

namespace nalvo {

// Lives inside a DataStream. In the stream's own process a packet gives back the stream itself, whatever the thread.
class StreamMarshaler final : public AggregatedImpl<IMarshal> {
 public:
  // E_FAIL without a controlling stream. `out` is the object's own IUnknown.
  static HRESULT create(IStream* controlling, IUnknown** out) noexcept;

  HRESULT GetUnmarshalClass(const IID& iid, void* object, DWORD context, void* contextData, DWORD flags,
                            GUID* classId) noexcept override;
  HRESULT GetMarshalSizeMax(const IID& iid, void* object, DWORD context, void* contextData, DWORD flags,
                            DWORD* size) noexcept override;
  HRESULT MarshalInterface(IStream* packet, const IID& iid, void* object, DWORD context, void* contextData,
                           DWORD flags) noexcept override;
  HRESULT UnmarshalInterface(IStream* packet, const IID& iid, void** out) noexcept override;
  HRESULT ReleaseMarshalData(IStream* packet) noexcept override;
  HRESULT DisconnectObject(DWORD reserved) noexcept override;

 private:
  explicit StreamMarshaler(IStream* controlling) : AggregatedImpl(controlling), stream_(controlling) {}
  ~StreamMarshaler() override = default;

  IStream* stream_;
};

}  // namespace nalvo
