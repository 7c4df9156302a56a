#include "host/byte_sink.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "diagnostics/hresult_exception.h"
#include "mime/read_only_stream.h"
#include "platform/process/errno_result.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\ByteSink"};
constexpr std::size_t kBufferBytes = 256U << 10;

void check(bool good) {
  if (!good) {
    throwHResult(hresultFromErrno(errno), kSource.at("FileSink"));
  }
}

}  // namespace

FileSink::FileSink(const std::filesystem::path& file)
    : file_(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
  check(file_.get() >= 0);
}

void FileSink::flush() {
  std::string_view left = buffer_;
  while (!left.empty()) {
    const ssize_t done = write(file_.get(), left.data(), left.size());
    if (done < 0 && errno == EINTR) {
      continue;
    }
    check(done >= 0);
    left.remove_prefix(static_cast<std::size_t>(done));
  }
  buffer_.clear();
}

void FileSink::append(std::string_view bytes) {
  buffer_ += bytes;
  if (buffer_.size() >= kBufferBytes) {
    flush();
  }
}

void FileSink::replaceStart(std::string_view bytes) {
  flush();
  check(lseek(file_.get(), 0, SEEK_SET) == 0);
  append(bytes);
  flush();
}

void FileSink::close() {
  flush();
  const UniqueFd closing = std::move(file_);
  // A network file system may tell only now that the disk is full; a copy of the descriptor lets its answer be seen.
  const int copy = dup(closing.get());
  check(copy >= 0);
  check(::close(copy) == 0);
}

void StreamSink::append(std::string_view bytes) { mime::writeAll(stream_, bytes); }

void StreamSink::replaceStart(std::string_view bytes) {
  checkHResult(stream_->Seek(0, STREAM_SEEK_SET, nullptr), kSource.at("StreamSink::replaceStart"));
  mime::writeAll(stream_, bytes);
}

}  // namespace nalvo::host
