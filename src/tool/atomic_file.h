// An output that appears whole or not at all.
#pragma once

#include <filesystem>
#include <string>

#include "nalvo/com.h"
#include "platform/process/unique_fd.h"

namespace nalvo::tool {

// A file without a name in the folder of its target, which gets its name when it is whole: a run that is killed leaves
// nothing behind. Where the file system can't do that, a hidden name beside the target stands in, and is removed on failure.
class AtomicFile {
 public:
  // Throws std::system_error when the folder can't be written.
  explicit AtomicFile(std::filesystem::path target);
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  // For who writes through a path of its own.
  std::filesystem::path path() const;
  // Throws std::system_error (disk full) or the stream's HRESULT.
  void write(IStream* stream);
  void write(const std::string& text);
  // Gives the target its name, over a file that is there only if `replace`. Throws std::system_error; EEXIST is that of a
  // file that is there.
  void commit(bool replace);

 private:
  void writeAll(const char* bytes, std::size_t count);

  std::filesystem::path target_;
  std::filesystem::path hidden_;  // empty for a file without a name
  UniqueFd file_;
};

}  // namespace nalvo::tool
