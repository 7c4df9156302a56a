// The store of every stream that the library makes: in memory while small, in a temporary file beyond.
#pragma once

#include "streams/stream_data_base.h"

namespace nalvo {

class AdaptiveStreamData final : public StreamDataBase {
 public:
  // An end of a write, of a lock or a size from here on goes to the file.
  static constexpr ULONG kThreshold = 2'000'000;

  // Makes no back end yet. `lock` is shared; null makes one of its own. The store has one reference, for the caller.
  static HRESULT create(DWORD flags, const CLock* lock, IStreamData** out) noexcept;

  HRESULT read(void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept override;
  HRESULT write(const void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept override;
  // A file shrinks back into memory below half the threshold.
  HRESULT setSize(std::uint64_t size) noexcept override;
  HRESULT commit(DWORD flags) noexcept override;
  HRESULT revert() noexcept override;
  HRESULT lockRegion(std::uint64_t offset, std::uint64_t length, DWORD type) noexcept override;
  HRESULT unlockRegion(std::uint64_t offset, std::uint64_t length, DWORD type) noexcept override;
  HRESULT stat(STATSTG* out, DWORD flag) noexcept override;
  HRESULT getSize(std::uint64_t* size) noexcept override;
  HRESULT setFlags(DWORD flags, DWORD* oldFlags) noexcept override;

  // What the back end tells is passed on in this store's name.
  HRESULT onCommit(IStreamData* store) noexcept;
  HRESULT onSizeChanged(IStreamData* store, std::uint64_t size) noexcept;

  enum class State { None, Memory, File };
  // Where the bytes are now.
  State state() const;

  explicit AdaptiveStreamData(const CLock* lock);

 private:
  ~AdaptiveStreamData() override;

  // Makes the back end that an operation reaching up to `end` needs.
  void prepareFor(std::uint64_t end);
  // Makes a memory store if there is no back end.
  void prepare();
  // Makes a back end with the first `kept` bytes of the old one. A failure throws and leaves the old one in place.
  void createData(State target, std::uint64_t kept);

  const ULONG threshold_ = kThreshold;
  State state_ = State::None;
  ComPtr<IStreamData> data_;
  DWORD cookie_ = 0;
  ComPtr<StreamCallbacksImpl<AdaptiveStreamData>> listener_;
};

}  // namespace nalvo
