#include "host/file_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "diagnostics/boundary.h"
#include "platform/com/unknown_impl.h"
#include "platform/process/errno_result.h"
#include "platform/process/unique_fd.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\FileStream"};

class FileStream final : public IUnknownImpl<IStream> {
 public:
  FileStream(std::shared_ptr<UniqueFd> file, std::uint64_t size, std::uint64_t position)
      : file_(std::move(file)), size_(size), position_(position) {}

  HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept override {
    ULONG done = 0;
    while (done < bytes) {
      const ssize_t got =
          pread(file_->get(), static_cast<char*>(buffer) + done, bytes - done, static_cast<off_t>(position_ + done));
      if (got < 0) {
        if (errno == EINTR) {
          continue;
        }
        return hresultFromErrno(errno);
      }
      if (got == 0) {
        break;
      }
      done += static_cast<ULONG>(got);
    }
    position_ += done;
    if (read != nullptr) {
      *read = done;
    }
    return S_OK;
  }

  HRESULT Write(const void*, ULONG, ULONG*) noexcept override { return STG_E_ACCESSDENIED; }

  HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* newPosition) noexcept override {
    const std::uint64_t base = origin == STREAM_SEEK_SET ? 0 : origin == STREAM_SEEK_CUR ? position_ : size_;
    if (origin > STREAM_SEEK_END || (move < 0 && base < std::uint64_t{0} - static_cast<std::uint64_t>(move))) {
      return STG_E_INVALIDFUNCTION;
    }
    position_ = base + static_cast<std::uint64_t>(move);
    if (newPosition != nullptr) {
      *newPosition = position_;
    }
    return S_OK;
  }

  HRESULT SetSize(std::uint64_t) noexcept override { return STG_E_ACCESSDENIED; }

  HRESULT CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t* read, std::uint64_t* written) noexcept override {
    return atBoundary([&] {
      std::vector<char> buffer(64U << 10);
      std::uint64_t done = 0;
      while (done < bytes) {
        ULONG got = 0;
        checkHResult(Read(buffer.data(), static_cast<ULONG>(std::min<std::uint64_t>(buffer.size(), bytes - done)), &got),
                     kSource.at("FileStream::CopyTo"));
        if (got == 0) {
          break;
        }
        checkHResult(destination->Write(buffer.data(), got, nullptr), kSource.at("FileStream::CopyTo"));
        done += got;
      }
      if (read != nullptr) {
        *read = done;
      }
      if (written != nullptr) {
        *written = done;
      }
    });
  }

  HRESULT Commit(DWORD) noexcept override { return S_OK; }
  HRESULT Revert() noexcept override { return S_OK; }
  HRESULT LockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return STG_E_INVALIDFUNCTION; }
  HRESULT UnlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return STG_E_INVALIDFUNCTION; }

  HRESULT Stat(STATSTG* stat, DWORD) noexcept override {
    *stat = STATSTG{};
    stat->type = 2;
    stat->cbSize = size_;
    return S_OK;
  }

  HRESULT Clone(IStream** out) noexcept override {
    return atBoundary([&] { *out = makeCom<FileStream>(file_, size_, position_).detach(); });
  }

 protected:
  void* queryOther(const IID& iid) noexcept override { return iid == ISequentialStream::kIid ? this : nullptr; }

 private:
  std::shared_ptr<UniqueFd> file_;
  std::uint64_t size_;
  std::uint64_t position_;
};

ComPtr<IStream> readToEnd(int file) {
  ComPtr<IStream> stream = streamUtils::createStream();
  std::vector<char> buffer(64U << 10);
  while (true) {
    const ssize_t got = read(file, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      throwHResult(hresultFromErrno(errno), kSource.at("host::readToEnd"));
    }
    if (got == 0) {
      streamUtils::rewind(stream.get());
      return stream;
    }
    checkHResult(stream->Write(buffer.data(), static_cast<ULONG>(got), nullptr), kSource.at("host::readToEnd"));
  }
}

}  // namespace

ComPtr<IStream> openFile(const std::filesystem::path& path) {
  constexpr const char* kWhere = "host::openFile";
  auto file = std::make_shared<UniqueFd>(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status {};
  if (file->get() < 0 || fstat(file->get(), &status) != 0) {
    throwHResult(hresultFromErrno(errno), kSource.at(kWhere));
  }
  if (S_ISDIR(status.st_mode)) {
    throwHResult(E_ACCESSDENIED, kSource.at(kWhere));
  }
  if (!S_ISREG(status.st_mode)) {
    return readToEnd(file->get());
  }
  return ComPtr<IStream>::attach(new FileStream(std::move(file), static_cast<std::uint64_t>(status.st_size), 0));
}

ComPtr<IStream> readStandardInput() { return readToEnd(STDIN_FILENO); }

ComPtr<IStream> textStream(std::string_view text) {
  ComPtr<IStream> stream = streamUtils::createStream();
  streamUtils::detail::writeStr(stream.get(), text);
  streamUtils::rewind(stream.get());
  return stream;
}

}  // namespace nalvo::host
