// Interfaces by which an object goes to another process.
#pragma once

#include "nalvo/com.h"
#include "platform/com/hresult.h"

namespace nalvo {

inline constexpr HRESULT RPC_E_DISCONNECTED = makeHResult(0x80010108);
inline constexpr HRESULT RPC_E_INVALID_OBJREF = makeHResult(0x8001011D);

inline constexpr DWORD EXTCONN_STRONG = 1;

// Turns an interface into a packet of bytes and back. The context arguments are not looked at.
class IMarshal : public IUnknown {
 public:
  static constexpr IID kIid{0x00000003, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

  virtual HRESULT GetUnmarshalClass(const IID& iid, void* object, DWORD context, void* contextData, DWORD flags,
                                    GUID* classId) noexcept = 0;
  virtual HRESULT GetMarshalSizeMax(const IID& iid, void* object, DWORD context, void* contextData, DWORD flags,
                                    DWORD* size) noexcept = 0;
  virtual HRESULT MarshalInterface(IStream* packet, const IID& iid, void* object, DWORD context, void* contextData,
                                   DWORD flags) noexcept = 0;
  virtual HRESULT UnmarshalInterface(IStream* packet, const IID& iid, void** out) noexcept = 0;
  // Instead of unmarshalling.
  virtual HRESULT ReleaseMarshalData(IStream* packet) noexcept = 0;
  virtual HRESULT DisconnectObject(DWORD reserved) noexcept = 0;

 protected:
  ~IMarshal() = default;
};

// Counts the connections that other processes hold. Only strong ones count; for others both operations answer 0.
class IExternalConnection : public IUnknown {
 public:
  static constexpr IID kIid{0x00000019, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

  // Both return the new count.
  virtual DWORD AddConnection(DWORD type, DWORD reserved) noexcept = 0;
  virtual DWORD ReleaseConnection(DWORD type, DWORD reserved, BOOL lastReleaseCloses) noexcept = 0;

 protected:
  ~IExternalConnection() = default;
};

// Has the object's IMarshal cut all connections that other processes hold; S_OK if it has none.
HRESULT disconnectObject(IUnknown* object) noexcept;

// Writes a packet that stands for `stream` at the packet's position; one process may unmarshal it, once. Until that one has
// let go, died or was disconnected, the packet holds a reference and a strong connection of the stream.
HRESULT marshalStream(IStream* packet, IStream* stream) noexcept;
// The stream that a packet stands for: itself in its own process, a proxy in others, whose every operation fails with
// RPC_E_DISCONNECTED once the other side has gone. RPC_E_INVALID_OBJREF for bytes that are no packet, RPC_E_DISCONNECTED
// for a packet that was used or whose stream is gone. A proxy also offers IExternalConnection.
HRESULT unmarshalStream(IStream* packet, IStream** out) noexcept;

}  // namespace nalvo
