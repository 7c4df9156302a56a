#include "streams/temp_file_stream_data.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/process/errno_result.h"
#include "platform/process/temp_file.h"
#include "platform/time/file_time.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\TempFileStreamData"};

// Throws for the present errno.
[[noreturn]] void raiseFromErrno(int line = __builtin_LINE()) {
  throwHResult(hresultFromErrno(errno), kSource.at("TempFileStreamData::RaiseFromWin32", line));
}

FILETIME fileTimeOfStat(const timespec& time) {
  const std::int64_t ticks = time.tv_sec * kTicksPerSecond + time.tv_nsec / 100 + kUnixEpochTicks;
  return fileTimeOf(static_cast<std::uint64_t>(ticks));
}

struct stat statOf(const UniqueFd& file) {
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) {
    raiseFromErrno();
  }
  return status;
}

}  // namespace

TempFileStreamData::TempFileStreamData(const CLock* lock) : StreamDataBase(lock), file_(openTempFile()) {
  if (!file_) {
    raiseFromErrno();
  }
}

HRESULT TempFileStreamData::create(DWORD flags, const CLock* lock, IStreamData** out) noexcept {
  return createStore<TempFileStreamData>(flags, lock, out);
}

HRESULT TempFileStreamData::read(void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept {
  return locked([&] {
    ULONG total = 0;
    if (done != nullptr) {
      *done = 0;
    }
    if (buffer == nullptr) {
      return STG_E_INVALIDPOINTER;
    }
    while (total < count && rangeEnd(offset, count)) {
      const ssize_t got =
          ::pread(file_.get(), static_cast<char*>(buffer) + total, count - total, static_cast<off_t>(offset + total));
      if (got < 0 && errno == EINTR) {
        continue;
      }
      if (got < 0) {
        raiseFromErrno();
      }
      if (got == 0) {
        break;
      }
      total += static_cast<ULONG>(got);
    }
    if (done != nullptr) {
      *done = total;
    }
    return S_OK;
  });
}

HRESULT TempFileStreamData::write(const void* buffer, ULONG count, std::uint64_t offset, ULONG* done) noexcept {
  return locked([&] {
    ULONG total = 0;
    if (done != nullptr) {
      *done = 0;
    }
    if (buffer == nullptr) {
      return STG_E_INVALIDPOINTER;
    }
    if (isReadOnly()) {
      return STG_E_ACCESSDENIED;
    }
    if (!rangeEnd(offset, count)) {
      return STG_E_MEDIUMFULL;
    }
    while (total < count) {
      const ssize_t put =
          ::pwrite(file_.get(), static_cast<const char*>(buffer) + total, count - total, static_cast<off_t>(offset + total));
      if (put < 0 && errno == EINTR) {
        continue;
      }
      if (put < 0) {
        raiseFromErrno();
      }
      modified_ = true;
      total += static_cast<ULONG>(put);
      if (done != nullptr) {
        *done = total;
      }
    }
    modified_ = true;
    return commitsAlways() ? commit(0) : S_OK;
  });
}

HRESULT TempFileStreamData::setSize(std::uint64_t size) noexcept {
  return locked([&] {
    if (isReadOnly()) {
      return STG_E_ACCESSDENIED;
    }
    if (!rangeEnd(size, 0)) {
      return STG_E_MEDIUMFULL;
    }
    while (::ftruncate(file_.get(), static_cast<off_t>(size)) != 0) {
      if (errno != EINTR) {
        raiseFromErrno();
      }
    }
    modified_ = true;
    return commitsAlways() ? commit(0) : S_OK;
  });
}

HRESULT TempFileStreamData::commit(DWORD /*flags*/) noexcept {
  return locked([&] {
    // Cleared first: a listener may commit.
    if (modified_ && !isReadOnly()) {
      modified_ = false;
      callbacks_.notifyCommit(this);
    }
  });
}

HRESULT TempFileStreamData::revert() noexcept { return S_OK; }

HRESULT TempFileStreamData::lockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept { return STG_E_INVALIDFUNCTION; }

HRESULT TempFileStreamData::unlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept { return STG_E_INVALIDFUNCTION; }

HRESULT TempFileStreamData::stat(STATSTG* out, DWORD flag) noexcept {
  return locked([&] {
    const HRESULT hr = fillStat(out, flag);
    if (succeeded(hr)) {
      const struct stat status = statOf(file_);
      out->cbSize = static_cast<std::uint64_t>(status.st_size);
      out->mtime = fileTimeOfStat(status.st_mtim);
      out->atime = fileTimeOfStat(status.st_atim);
      out->ctime = fileTimeOfStat(status.st_ctim);
    }
    return hr;
  });
}

HRESULT TempFileStreamData::getSize(std::uint64_t* size) noexcept {
  return locked([&] {
    if (size == nullptr) {
      return E_POINTER;
    }
    *size = static_cast<std::uint64_t>(statOf(file_).st_size);
    return S_OK;
  });
}

}  // namespace nalvo
