// How headers say importance and priority.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "platform/text/text.h"

namespace nalvo {

struct ImportanceRow {
  std::int32_t value;  // of PR_IMPORTANCE
  const char* word;
};

struct PriorityRow {
  std::int32_t value;  // of PR_PRIORITY
  const char* word;
  const char* number;
  std::int32_t importance;  // that a mail with nothing but a priority has
};

// The first row of both answers for a word that no row has.
inline constexpr ImportanceRow kImportances[] = {{1, "Normal"}, {2, "High"}, {0, "Low"}};
inline constexpr PriorityRow kPriorities[] = {{0, "Normal", "3", 1}, {1, "High", "1", 2}, {-1, "Low", "5", 0}};

// Null for a value that no header tells.
template <typename Row, std::size_t Size>
const Row* rowOfValue(const Row (&rows)[Size], std::uint32_t value) {
  const Row* row = std::find_if(std::begin(rows), std::end(rows),
                                [value](const Row& r) { return r.value == static_cast<std::int32_t>(value); });
  return row == std::end(rows) ? nullptr : row;
}

// Without case.
template <typename Row, std::size_t Size>
const Row& rowOfWord(const Row (&rows)[Size], std::string_view word) {
  const Row* row =
      std::find_if(std::begin(rows), std::end(rows), [word](const Row& r) { return equalsIgnoreCase(r.word, word); });
  return row == std::end(rows) ? rows[0] : *row;
}

}  // namespace nalvo
