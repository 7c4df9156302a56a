// What the command line names: files, folders and standard input.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "nalvo/com.h"
#include "platform/com/com_ptr.h"

namespace nalvo::tool {

struct Input {
  std::string name;  // as messages and output show it
  std::filesystem::path path;
  bool standardInput = false;

  // At offset 0. Throws the HRESULT of the system's error.
  ComPtr<IStream> open() const;
  // When the file was last changed, UTC; now for standard input.
  FILETIME modified() const;
};

// The inputs that the arguments name, in their order; a folder gives the files in it that have one
// of the extensions (".eml"), without case, in order of their paths. What does not
// exist stays an input and fails when it is opened; a folder that can't be read throws std::filesystem::filesystem_error.
std::vector<Input> collectInputs(const std::vector<std::string>& arguments, const std::vector<std::string>& extensions);

}  // namespace nalvo::tool
