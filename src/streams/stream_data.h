// Byte stores behind streams, and who listens to them.
#pragma once

#include "nalvo/com.h"
#include "platform/com/hresult.h"

namespace nalvo {

class IStreamData;

class IStreamDataCallbacks : public IUnknown {
 public:
  static constexpr IID kIid{0x5C0E7B5A, 0x3B0D, 0x4C11, {0x9E, 0x5B, 0x0C, 0x6D, 0x8A, 0x52, 0x17, 0xE3}};

  // Both run under the store's lock, on the thread that changed it. A listener may call back into the store, and may take
  // itself off. The results are not looked at.
  virtual HRESULT onCommit(IStreamData* store) noexcept = 0;
  virtual HRESULT onSizeChanged(IStreamData* store, std::uint64_t size) noexcept = 0;

 protected:
  ~IStreamDataCallbacks() = default;
};

// `write` and `setSize` fail with STG_E_ACCESSDENIED, `commit` notifies nobody.
inline constexpr DWORD kStreamReadOnly = 0x1;
// A successful `write` or `setSize` ends with a commit.
inline constexpr DWORD kStreamAutoCommit = 0x2;

// A random-access array of bytes without a position of its own. Bytes that nobody wrote are zero. An end of a write, of a
// lock or a size that goes beyond 2^63 - 1 is STG_E_MEDIUMFULL and changes nothing. Safe from any thread.
class IStreamData : public IUnknown {
 public:
  static constexpr IID kIid{0x97162CEC, 0x9C4F, 0x477A, {0x94, 0xF3, 0x63, 0xA2, 0x80, 0xCD, 0x69, 0x81}};

  // Less than `count` only at the end; at the end and behind it 0 and S_OK. `done` may be null.
  virtual HRESULT read(void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept = 0;
  // `done` may be null; it holds what was written also when the call fails.
  virtual HRESULT write(const void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept = 0;
  virtual HRESULT setSize(std::uint64_t size) noexcept = 0;
  // Tells the listeners, if anything was modified since the last time. `flags` are not looked at.
  virtual HRESULT commit(DWORD flags) noexcept = 0;
  // Undoes nothing.
  virtual HRESULT revert() noexcept = 0;
  // Both STG_E_INVALIDFUNCTION.
  virtual HRESULT lockRegion(std::uint64_t offset, std::uint64_t length, DWORD type) noexcept = 0;
  virtual HRESULT unlockRegion(std::uint64_t offset, std::uint64_t length, DWORD type) noexcept = 0;
  // Never gives a name. STG_E_INVALIDFLAG for a flag that is neither STATFLAG_DEFAULT nor STATFLAG_NONAME.
  virtual HRESULT stat(STATSTG* out, DWORD flag) noexcept = 0;
  virtual HRESULT getSize(std::uint64_t* size) noexcept = 0;
  // The cookie is never 0 and never used twice.
  virtual HRESULT registerCallback(IStreamDataCallbacks* callbacks, DWORD* cookie) noexcept = 0;
  virtual HRESULT unregisterCallback(DWORD cookie) noexcept = 0;
  // The whole content, behind which the destination is cut.
  virtual HRESULT copyTo(IStreamData* destination) noexcept = 0;
  // `oldFlags` may be null.
  virtual HRESULT setFlags(DWORD flags, DWORD* oldFlags) noexcept = 0;
  virtual HRESULT getFlags(DWORD* flags) noexcept = 0;
  // Counted. What happens meanwhile is never told.
  virtual HRESULT suspendCallbacks() noexcept = 0;
  virtual HRESULT resumeCallbacks() noexcept = 0;

 protected:
  ~IStreamData() = default;
};

// Blocks in which stores and streams copy.
inline constexpr ULONG kCopyBlock = 1'000'000;

// Makes `destination` hold the first `limit` bytes of `source`, or all if there are less.
HRESULT doCopyTo(IStreamData* source, IStreamData* destination, std::uint64_t limit = UINT64_MAX) noexcept;

}  // namespace nalvo
