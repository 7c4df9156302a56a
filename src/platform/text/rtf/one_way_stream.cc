#include "platform/text/rtf/one_way_stream.h"

#include <algorithm>
#include <array>

namespace nalvo {

void* OneWayStream::queryOther(const IID& iid) noexcept {
  return iid == ISequentialStream::kIid ? static_cast<ISequentialStream*>(this) : nullptr;
}

HRESULT OneWayStream::Read(void*, ULONG, ULONG* read) noexcept {
  if (read != nullptr) {
    *read = 0;
  }
  return STG_E_ACCESSDENIED;
}

HRESULT OneWayStream::Write(const void*, ULONG, ULONG* written) noexcept {
  if (written != nullptr) {
    *written = 0;
  }
  return STG_E_ACCESSDENIED;
}

HRESULT OneWayStream::CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t* read,
                             std::uint64_t* written) noexcept {
  std::uint64_t done = 0;
  HRESULT hr = destination != nullptr ? S_OK : STG_E_INVALIDPOINTER;
  std::array<char, 0x4000> block;
  while (succeeded(hr) && done < bytes) {
    ULONG got = 0;
    hr = Read(block.data(), static_cast<ULONG>(std::min<std::uint64_t>(block.size(), bytes - done)), &got);
    if (got == 0) {
      break;
    }
    const HRESULT writing = writeWhole(destination, block.data(), got);
    hr = failed(writing) ? writing : hr;
    done += got;
  }
  for (std::uint64_t* count : {read, written}) {
    if (count != nullptr) {
      *count = done;
    }
  }
  return failed(hr) ? hr : S_OK;
}

HRESULT OneWayStream::Seek(std::int64_t, DWORD, std::uint64_t*) noexcept { return E_NOTIMPL; }
HRESULT OneWayStream::SetSize(std::uint64_t) noexcept { return E_NOTIMPL; }
HRESULT OneWayStream::Commit(DWORD) noexcept { return S_OK; }
HRESULT OneWayStream::Revert() noexcept { return E_NOTIMPL; }
HRESULT OneWayStream::LockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept { return E_NOTIMPL; }
HRESULT OneWayStream::UnlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept { return E_NOTIMPL; }
HRESULT OneWayStream::Stat(STATSTG*, DWORD) noexcept { return E_NOTIMPL; }
HRESULT OneWayStream::Clone(IStream** out) noexcept {
  if (out != nullptr) {
    *out = nullptr;
  }
  return E_NOTIMPL;
}

HRESULT writeWhole(IStream* destination, const char* bytes, std::size_t count) noexcept {
  while (count != 0) {
    const auto wanted = static_cast<ULONG>(std::min<std::size_t>(count, 0x40000000));
    ULONG written = 0;
    const HRESULT hr = destination->Write(bytes, wanted, &written);
    if (failed(hr)) {
      return hr;
    }
    if (written == 0) {
      return STG_E_MEDIUMFULL;
    }
    written = std::min(written, wanted);
    bytes += written;
    count -= written;
  }
  return S_OK;
}

}  // namespace nalvo
