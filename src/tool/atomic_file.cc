#include "tool/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <vector>

#include "diagnostics/hresult_exception.h"

namespace nalvo::tool {
namespace {

constexpr SourceFile kSource{".\\AtomicFile"};
constexpr mode_t kMode = 0666;  // less what the umask takes

[[noreturn]] void raise(const std::filesystem::path& path) {
  throw std::system_error(errno, std::generic_category(), path.string());
}

std::filesystem::path folderOf(const std::filesystem::path& file) {
  return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

std::string hiddenPattern(const std::filesystem::path& target) { return (folderOf(target) / ".nalvo-XXXXXX").string(); }

}  // namespace

AtomicFile::AtomicFile(std::filesystem::path target) : target_(std::move(target)) {
  file_ = UniqueFd(open(folderOf(target_).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kMode));
  if (file_) {
    return;
  }
  if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) {
    raise(folderOf(target_));
  }
  std::string pattern = hiddenPattern(target_);
  file_ = UniqueFd(mkostemp(pattern.data(), O_CLOEXEC));
  if (!file_) {
    raise(folderOf(target_));
  }
  hidden_ = pattern;
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(file_.get(), kMode & ~mask);
}

AtomicFile::~AtomicFile() {
  if (!hidden_.empty()) {
    unlink(hidden_.c_str());
  }
}

std::filesystem::path AtomicFile::path() const {
  return hidden_.empty() ? std::filesystem::path("/proc/self/fd") / std::to_string(file_.get()) : hidden_;
}

void AtomicFile::write(IStream* stream) {
  std::vector<char> buffer(256U << 10);
  while (true) {
    ULONG got = 0;
    checkHResult(stream->Read(buffer.data(), static_cast<ULONG>(buffer.size()), &got), kSource.at("AtomicFile::write"));
    if (got == 0) {
      return;
    }
    writeAll(buffer.data(), got);
  }
}

void AtomicFile::write(const std::string& text) { writeAll(text.data(), text.size()); }

void AtomicFile::writeAll(const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t done = ::write(file_.get(), bytes, count);
    if (done < 0) {
      if (errno == EINTR) {
        continue;
      }
      raise(target_);
    }
    bytes += done;
    count -= static_cast<std::size_t>(done);
  }
}

void AtomicFile::commit(bool replace) {
  if (hidden_.empty()) {
    if (linkat(AT_FDCWD, path().c_str(), AT_FDCWD, target_.c_str(), AT_SYMLINK_FOLLOW) == 0) {
      return;
    }
    if (errno != EEXIST || !replace) {
      raise(target_);
    }
    // A name for a moment, since only a rename takes another file's place.
    std::string name = hiddenPattern(target_);
    const UniqueFd placeholder(mkostemp(name.data(), O_CLOEXEC));
    if (!placeholder || unlink(name.c_str()) != 0 ||
        linkat(AT_FDCWD, path().c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
      raise(target_);
    }
    hidden_ = name;
  }
  const int failed = replace ? rename(hidden_.c_str(), target_.c_str())
                             : renameat2(AT_FDCWD, hidden_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE);
  if (failed != 0) {
    raise(target_);
  }
  hidden_.clear();
}

}  // namespace nalvo::tool
