// The object model at the library's boundary: results, ids, times, counted objects and byte streams.
//
// Every interface is an abstract class without a virtual destructor. Its slots stand in the order of its operations;
// slots that nobody calls are kept as reserved entries so that the order never moves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace nalvo {

using HRESULT = std::int32_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
// A truth value of 32 bits: 0 or 1.
using BOOL = std::int32_t;
using BYTE = std::uint8_t;

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];

  friend constexpr bool operator==(const GUID&, const GUID&) = default;
};
static_assert(sizeof(GUID) == 16 && offsetof(GUID, Data4) == 8);
using IID = GUID;

// 100-nanosecond ticks since 1601-01-01 00:00 UTC, as two halves.
struct FILETIME {
  std::uint32_t dwLowDateTime;
  std::uint32_t dwHighDateTime;

  friend constexpr bool operator==(const FILETIME&, const FILETIME&) = default;
};
static_assert(sizeof(FILETIME) == 8);

// A broken-down time. wMonth counts from 1, wDayOfWeek from Sunday = 0.
struct SYSTEMTIME {
  std::uint16_t wYear;
  std::uint16_t wMonth;
  std::uint16_t wDayOfWeek;
  std::uint16_t wDay;
  std::uint16_t wHour;
  std::uint16_t wMinute;
  std::uint16_t wSecond;
  std::uint16_t wMilliseconds;

  friend constexpr bool operator==(const SYSTEMTIME&, const SYSTEMTIME&) = default;
};
static_assert(sizeof(SYSTEMTIME) == 16);

// What IStream::Stat tells. `pwcsName` comes from taskAlloc and may be null.
struct STATSTG {
  char16_t* pwcsName;
  DWORD type;
  std::uint64_t cbSize;
  FILETIME mtime;
  FILETIME ctime;
  FILETIME atime;
  DWORD grfMode;
  DWORD grfLocksSupported;
  GUID clsid;
  DWORD grfStateBits;
  DWORD reserved;
};
static_assert(offsetof(STATSTG, cbSize) == 16 && offsetof(STATSTG, clsid) == 56 && sizeof(STATSTG) == 80);

// Memory that changes hands without an allocator of its own: texts of IEnumAnnotations, names in STATSTG, the text of a
// content id source. Both sides use this pair.
inline void* taskAlloc(std::size_t bytes) noexcept { return std::malloc(bytes == 0 ? 1 : bytes); }
inline void taskFree(void* block) noexcept { std::free(block); }

class IUnknown {
 public:
  static constexpr IID kIid{0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

  // `*out` is null on failure; E_POINTER for a null `out`, E_NOINTERFACE for an id that the object does not offer.
  virtual HRESULT QueryInterface(const IID& iid, void** out) noexcept = 0;
  // Both return the new count, which serves diagnosis only.
  virtual ULONG AddRef() noexcept = 0;
  virtual ULONG Release() noexcept = 0;

 protected:
  ~IUnknown() = default;
};

class ISequentialStream : public IUnknown {
 public:
  static constexpr IID kIid{0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};

  // A count below `bytes` with a success code is a short read; 0 is the end. `read` may be null.
  virtual HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept = 0;
  virtual HRESULT Write(const void* buffer, ULONG bytes, ULONG* written) noexcept = 0;

 protected:
  ~ISequentialStream() = default;
};

inline constexpr DWORD STREAM_SEEK_SET = 0;
inline constexpr DWORD STREAM_SEEK_CUR = 1;
inline constexpr DWORD STREAM_SEEK_END = 2;
inline constexpr DWORD STATFLAG_DEFAULT = 0;
inline constexpr DWORD STATFLAG_NONAME = 1;

class IStream : public ISequentialStream {
 public:
  static constexpr IID kIid{0x0000000C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

  // `newPosition` may be null.
  virtual HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* newPosition) noexcept = 0;
  virtual HRESULT SetSize(std::uint64_t size) noexcept = 0;
  // Both out values may be null; they hold what was done even when the call fails.
  virtual HRESULT CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t* read,
                         std::uint64_t* written) noexcept = 0;
  virtual HRESULT Commit(DWORD flags) noexcept = 0;
  virtual HRESULT Revert() noexcept = 0;
  virtual HRESULT LockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept = 0;
  virtual HRESULT UnlockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept = 0;
  virtual HRESULT Stat(STATSTG* stat, DWORD flag) noexcept = 0;
  virtual HRESULT Clone(IStream** out) noexcept = 0;

 protected:
  ~IStream() = default;
};

// A counted array of objects. Whoever receives one releases every element and then the array: releaseInterfaceArray.
struct InterfaceArray {
  std::uint32_t count;
  IUnknown** elements;  // from taskAlloc; no element is null
};

// Releases the elements and frees the array, both made with taskAlloc. Null is allowed.
inline void releaseInterfaceArray(InterfaceArray* array) noexcept {
  if (array == nullptr) {
    return;
  }
  for (std::uint32_t i = 0; i < array->count; ++i) {
    array->elements[i]->Release();
  }
  taskFree(array->elements);
  taskFree(array);
}

}  // namespace nalvo
