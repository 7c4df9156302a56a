#include "tool/outputs.h"

#include <unordered_set>

namespace nalvo::tool {
namespace {

namespace fs = std::filesystem;

fs::path plan(const Input& input, const std::string& output, bool isFolder, const char* extension) {
  if (output.empty()) {
    // What lies in a file of its own goes beside it under its own name; what is a part of one, under that of the part.
    const fs::path name = input.part ? input.stem.parent_path().filename() / input.stem.filename() : input.stem.filename();
    return input.path.parent_path() / fs::path(name).concat(extension);
  }
  return isFolder ? fs::path(output) / fs::path(input.stem).concat(extension) : fs::path(output);
}

}  // namespace

std::vector<fs::path> planOutputs(const Inputs& inputs, const std::string& output, const char* extension) {
  std::error_code ignored;
  const bool isFolder = output != "-" && (inputs.areMany || output.ends_with('/') || fs::is_directory(output, ignored));
  std::vector<fs::path> targets;
  std::unordered_set<std::string> taken;
  for (const Input& input : inputs.list) {
    const fs::path wanted = plan(input, output, isFolder, extension);
    fs::path target = wanted;
    for (int number = 2; output != "-" && !taken.insert(target.string()).second; ++number) {
      target = fs::path(wanted).replace_extension().concat("-" + std::to_string(number)).concat(extension);
    }
    targets.push_back(std::move(target));
  }
  return targets;
}

}  // namespace nalvo::tool
