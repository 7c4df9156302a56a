#include "tool/inputs.h"

#include <sys/stat.h>

#include <algorithm>

#include "host/file_stream.h"
#include "platform/text/text.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"

namespace nalvo::tool {
namespace {

bool hasExtension(const std::filesystem::directory_entry& entry, const std::vector<std::string>& extensions) {
  const std::string own = entry.path().extension().string();
  return entry.is_regular_file() && std::any_of(extensions.begin(), extensions.end(), [&own](const std::string& extension) {
           return equalsIgnoreCase(own, extension);
         });
}

}  // namespace

ComPtr<IStream> Input::open() const { return standardInput ? host::readStandardInput() : host::openFile(path); }

FILETIME Input::modified() const {
  struct stat status {};
  if (standardInput || stat(path.c_str(), &status) != 0) {
    return currentFileTime();
  }
  return fileTimeOfUnix(status.st_mtime).value_or(currentFileTime());
}

std::vector<Input> collectInputs(const std::vector<std::string>& arguments, const std::vector<std::string>& extensions) {
  std::vector<Input> inputs;
  for (const std::string& argument : arguments) {
    if (argument == "-") {
      inputs.push_back({"-", {}, true});
      continue;
    }
    if (!std::filesystem::is_directory(argument)) {
      inputs.push_back({argument, argument});
      continue;
    }
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argument)) {
      if (hasExtension(entry, extensions)) {
        found.push_back(entry.path());
      }
    }
    std::sort(found.begin(), found.end());
    for (const std::filesystem::path& path : found) {
      inputs.push_back({path.string(), path});
    }
  }
  return inputs;
}

}  // namespace nalvo::tool
