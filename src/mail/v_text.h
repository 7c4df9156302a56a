// Lists and fields inside of values.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace nalvo::mail {

// At any of the delimiters; empty fields stay. The views are of `text`. An empty text gives none.
std::vector<std::string_view> split(std::string_view text, std::string_view delimiters);
// The items with "," between them.
std::string join(const std::vector<std::string>& items);

// The fields of a structured value, which ";" parts. A backslash ahead of itself, ";" or "," takes that character as it is,
// any other is an ordinary one. An empty text gives one empty field.
std::vector<std::string> splitEscaped(std::string_view text);
// With a backslash before each ";", "," and backslash.
std::string escapeField(std::string_view text);
// The way back from splitEscaped.
std::string joinEscaped(const std::vector<std::string>& fields);
// The field at `index` of a structured value; empty when there is none.
std::string fieldAt(std::string_view text, std::size_t index);
// The value with that field set, and empty ones in front of it when they are missing.
std::string withField(std::string_view text, std::size_t index, std::string_view field);

// Where `text` stands in a table of words, without regard to case; -1 when it is none of them.
int indexOf(std::span<const std::string_view> words, std::string_view text);

// The number that `text` begins with, as far as it fits; 0 for none.
int leadingInt(std::string_view text);

// The first `count` characters of a UTF-8 text.
std::string_view firstCharacters(std::string_view text, std::size_t count);

}  // namespace nalvo::mail
