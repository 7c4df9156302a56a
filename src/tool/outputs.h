// Where the conversions of many inputs go.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tool/inputs.h"

namespace nalvo::tool {

// The file for each input: beside it when `output` is empty; below the folder `output`, in the tree of the inputs, when
// they are many, or it ends in "/", or is a folder; else `output` itself. Two inputs never share a file: the later one gets
// "-2" behind its name, "-3" and so on, and it's the same one in each run over the same inputs. Standard output is "-".
std::vector<std::filesystem::path> planOutputs(const Inputs& inputs, const std::string& output, const char* extension);

}  // namespace nalvo::tool
