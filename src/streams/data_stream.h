// The library's IStream: a position on a store.
#pragma once

#include "streams/adaptive_stream_data.h"

namespace nalvo {

// Offered by the library's own streams.
class IStreamManager : public IUnknown {
 public:
  static constexpr IID kIid{0x1A5A2A2F, 0x465E, 0x4C08, {0xAD, 0xEC, 0xF3, 0x35, 0x41, 0x23, 0x79, 0x96}};

  // The store, with a reference for the caller; it lives on without the stream.
  virtual HRESULT getData(IStreamData** out) noexcept = 0;

 protected:
  ~IStreamManager() = default;
};

// Commit the store on the last release.
inline constexpr DWORD kCommitOnRelease = 0x4;

// Also offers IStreamManager, and, unless it is a clone, IMarshal and IExternalConnection.
//
// Read, Write and Seek hold the lock that stream, clones and store share. A position beyond the end is allowed: reading
// gives nothing there, a write fills the gap with zeros. Seek to an absolute place takes any value; a relative one fails
// with STG_E_INVALIDFUNCTION when it leads below 0 or beyond 2^64 - 1. On failure the position stays.
class DataStream final : public IStream, public IStreamManager, public CLock {
 public:
  // An empty stream on a new store of the class.
  template <typename Store>
  static HRESULT create(IStream** out) noexcept {
    return create(&Store::create, out);
  }

  // A stream on a store that exists. Null `lock`: one of its own.
  static HRESULT wrap(IStreamData* store, IStream** out, DWORD mode, std::uint64_t position, const CLock* lock) noexcept;

  // Throws E_INVALIDARG for a null store.
  DataStream(DWORD mode, IStreamData* store, std::uint64_t position, const CLock* lock);

  HRESULT QueryInterface(const IID& iid, void** out) noexcept override;
  ULONG AddRef() noexcept override;
  ULONG Release() noexcept override;

  HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept override;
  HRESULT Write(const void* buffer, ULONG bytes, ULONG* written) noexcept override;
  HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* newPosition) noexcept override;
  // Leaves the position.
  HRESULT SetSize(std::uint64_t size) noexcept override;
  // To a stream on the same store no more is copied than it held at the start.
  HRESULT CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t* read, std::uint64_t* written) noexcept override;
  HRESULT Commit(DWORD flags) noexcept override;
  HRESULT Revert() noexcept override;
  HRESULT LockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept override;
  HRESULT UnlockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept override;
  HRESULT Stat(STATSTG* stat, DWORD flag) noexcept override;
  // The clone has a position of its own and the same mode, so it commits on its last release too.
  HRESULT Clone(IStream** out) noexcept override;

  HRESULT getData(IStreamData** out) noexcept override;

  HRESULT onCommit(IStreamData*) noexcept { return S_OK; }
  HRESULT onSizeChanged(IStreamData*, std::uint64_t) noexcept { return S_OK; }

  // Takes a reference unless the last one is gone and the destruction has begun. For the watcher of client processes,
  // which holds no reference.
  bool addRefIfAlive() noexcept;

 private:
  using CreateStore = HRESULT (*)(DWORD flags, const CLock* lock, IStreamData** out) noexcept;

  ~DataStream();

  static HRESULT create(CreateStore createStore, IStream** out) noexcept;
  // Makes the stream fit to be held by another process.
  void setAggregated();
  bool sharesStoreWith(IStream* other) noexcept;

  std::atomic<ULONG> count_{1};
  ComPtr<IStreamData> data_;
  std::uint64_t position_;
  ComPtr<StreamCallbacksImpl<DataStream>> listener_;
  DWORD cookie_ = 0;
  DWORD mode_;
  // Inner objects, which answer for themselves here and for the stream elsewhere.
  ComPtr<IUnknown> marshaler_;
  ComPtr<IUnknown> externalConnection_;
};

}  // namespace nalvo
