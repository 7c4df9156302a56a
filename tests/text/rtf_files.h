// The project's own samples and the corpus outside, for the tests of RTF and HTML.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace nalvo::test {

inline bool haveCorpus() { return std::getenv("NALVO_CORPUS") != nullptr; }

inline std::string fileBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

// The files below `folder` of the corpus whose names end in `suffix`, in order; none without a corpus.
inline std::vector<std::filesystem::path> corpusFiles(const char* folder, std::string_view suffix) {
  std::vector<std::filesystem::path> files;
  if (haveCorpus()) {
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(std::getenv("NALVO_CORPUS")) / folder)) {
      if (entry.path().filename().string().ends_with(suffix)) {
        files.push_back(entry.path());
      }
    }
    EXPECT_FALSE(files.empty()) << "NALVO_CORPUS names no corpus";
    std::sort(files.begin(), files.end());
  }
  return files;
}

}  // namespace nalvo::test
