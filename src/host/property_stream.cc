#include "host/property_stream.h"

#include "diagnostics/boundary.h"

namespace nalvo::host {

HRESULT PropertyStream::Read(void* buffer, ULONG bytes, ULONG* read) noexcept {
  const HRESULT hr = called("IStream::Read");
  return failed(hr) ? hr : inner_->Read(buffer, bytes, read);
}

HRESULT PropertyStream::Write(const void* buffer, ULONG bytes, ULONG* written) noexcept {
  const HRESULT hr = called("IStream::Write");
  return failed(hr) ? hr : inner_->Write(buffer, bytes, written);
}

HRESULT PropertyStream::Seek(std::int64_t move, DWORD origin, std::uint64_t* newPosition) noexcept {
  const HRESULT hr = called("IStream::Seek");
  return failed(hr) ? hr : inner_->Seek(move, origin, newPosition);
}

HRESULT PropertyStream::SetSize(std::uint64_t size) noexcept {
  const HRESULT hr = called("IStream::SetSize");
  return failed(hr) ? hr : inner_->SetSize(size);
}

HRESULT PropertyStream::CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t* read,
                               std::uint64_t* written) noexcept {
  const HRESULT hr = called("IStream::CopyTo");
  return failed(hr) ? hr : inner_->CopyTo(destination, bytes, read, written);
}

HRESULT PropertyStream::Commit(DWORD flags) noexcept {
  HRESULT hr = called("IStream::Commit");
  if (succeeded(hr)) {
    hr = inner_->Commit(flags);
  }
  return succeeded(hr) && onCommit_ ? onCommit_() : hr;
}

HRESULT PropertyStream::Revert() noexcept { return inner_->Revert(); }

HRESULT PropertyStream::LockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept {
  return inner_->LockRegion(offset, bytes, type);
}

HRESULT PropertyStream::UnlockRegion(std::uint64_t offset, std::uint64_t bytes, DWORD type) noexcept {
  return inner_->UnlockRegion(offset, bytes, type);
}

HRESULT PropertyStream::Stat(STATSTG* stat, DWORD flag) noexcept {
  const HRESULT hr = called("IStream::Stat");
  return failed(hr) ? hr : inner_->Stat(stat, flag);
}

HRESULT PropertyStream::Clone(IStream** out) noexcept {
  const HRESULT hr = called("IStream::Clone");
  if (failed(hr)) {
    return hr;
  }
  return atBoundary([&] {
    ComPtr<IStream> inner;
    const HRESULT cloned = inner_->Clone(inner.put());
    if (succeeded(cloned)) {
      *out = makeCom<PropertyStream>(context(), std::move(inner), onCommit_).detach();
    }
    return cloned;
  });
}

}  // namespace nalvo::host
