#include "streams/stream_data_base.h"

#include <algorithm>
#include <memory>

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\StreamData"};
constexpr const char* kCopyTo = "doCopyTo";

constexpr DWORD kStreamType = 2;             // STGTY_STREAM
constexpr DWORD kReadWriteExclusive = 0x12;  // STGM_READWRITE | STGM_SHARE_EXCLUSIVE

}  // namespace

HRESULT StreamDataBase::registerCallback(IStreamDataCallbacks* callbacks, DWORD* cookie) noexcept {
  return locked([&] { return callbacks_.registerCallback(callbacks, cookie); });
}

HRESULT StreamDataBase::unregisterCallback(DWORD cookie) noexcept {
  return locked([&] { return callbacks_.unregisterCallback(cookie); });
}

HRESULT StreamDataBase::copyTo(IStreamData* destination) noexcept {
  return locked([&] { return doCopyTo(this, destination); });
}

HRESULT StreamDataBase::setFlags(DWORD flags, DWORD* oldFlags) noexcept {
  return locked([&] {
    if (oldFlags != nullptr) {
      *oldFlags = flags_;
    }
    flags_ = flags;
  });
}

HRESULT StreamDataBase::getFlags(DWORD* flags) noexcept {
  return locked([&] {
    if (flags == nullptr) {
      return E_POINTER;
    }
    *flags = flags_;
    return S_OK;
  });
}

HRESULT StreamDataBase::suspendCallbacks() noexcept {
  return locked([&] { callbacks_.suspend(); });
}

HRESULT StreamDataBase::resumeCallbacks() noexcept {
  return locked([&] { callbacks_.resume(); });
}

std::optional<std::uint64_t> rangeEnd(std::uint64_t offset, std::uint64_t count) {
  constexpr std::uint64_t kMax = INT64_MAX;
  if (offset > kMax || count > kMax - offset) {
    return std::nullopt;
  }
  return offset + count;
}

HRESULT fillStat(STATSTG* out, DWORD flag) {
  if (out == nullptr) {
    return STG_E_INVALIDPOINTER;
  }
  *out = {};
  if (flag != STATFLAG_DEFAULT && flag != STATFLAG_NONAME) {
    return STG_E_INVALIDFLAG;
  }
  out->type = kStreamType;
  out->grfMode = kReadWriteExclusive;
  return S_OK;
}

HRESULT doCopyTo(IStreamData* source, IStreamData* destination, std::uint64_t limit) noexcept {
  return atBoundary([&] {
    if (source == nullptr || destination == nullptr) {
      throwHResult(E_INVALIDARG, kSource.at(kCopyTo));
    }
    std::uint64_t size = 0;
    checkHResult(source->getSize(&size), kSource.at(kCopyTo));
    size = std::min(size, limit);
    checkHResult(destination->setSize(size), kSource.at(kCopyTo));
    const auto blockSize = static_cast<ULONG>(std::min<std::uint64_t>(size, kCopyBlock));
    const auto block = std::make_unique_for_overwrite<char[]>(blockSize);
    for (std::uint64_t position = 0; position < size;) {
      ULONG read = 0;
      const auto wanted = static_cast<ULONG>(std::min<std::uint64_t>(size - position, blockSize));
      checkHResult(source->read(block.get(), wanted, position, &read), kSource.at(kCopyTo));
      if (read == 0) {
        break;
      }
      ULONG written = 0;
      checkHResult(destination->write(block.get(), read, position, &written), kSource.at(kCopyTo));
      if (written == 0) {
        throwHResult(STG_E_MEDIUMFULL, kSource.at(kCopyTo));
      }
      position += std::min(read, written);
    }
  });
}

}  // namespace nalvo
