#include "platform/process/temp_file.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace nalvo {

UniqueFd openTempFile() {
  const char* folder = std::getenv("TMPDIR");
  std::string path = folder != nullptr && *folder != '\0' ? folder : "/tmp";
  path += "/NALXXXXXX";
  // Mode 0600.
  UniqueFd file(::mkostemp(path.data(), O_CLOEXEC));
  if (file && ::unlink(path.c_str()) != 0) {
    const int error = errno;
    file = UniqueFd();
    errno = error;
  }
  return file;
}

}  // namespace nalvo
