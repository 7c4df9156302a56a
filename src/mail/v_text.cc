#include "mail/v_text.h"

#include <algorithm>
#include <bit>  // countl_one
#include <cstdint>
#include <limits>

#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

constexpr std::string_view kEscaped = ";,\\";

bool isEscaped(char c) { return kEscaped.find(c) != std::string_view::npos; }

}  // namespace

std::vector<std::string_view> split(std::string_view text, std::string_view delimiters) {
  std::vector<std::string_view> fields;
  while (!text.empty()) {
    const std::size_t end = text.find_first_of(delimiters);
    fields.push_back(text.substr(0, end));
    if (end == std::string_view::npos) {
      break;
    }
    text.remove_prefix(end + 1);
    if (text.empty()) {
      fields.emplace_back();
    }
  }
  return fields;
}

std::string join(const std::vector<std::string>& items) {
  std::string text;
  for (std::size_t i = 0; i < items.size(); ++i) {
    text.append(i == 0 ? "" : ",").append(items[i]);
  }
  return text;
}

std::vector<std::string> splitEscaped(std::string_view text) {
  std::vector<std::string> fields(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == ';') {
      fields.emplace_back();
      continue;
    }
    if (text[i] == '\\' && i + 1 < text.size() && isEscaped(text[i + 1])) {
      ++i;
    }
    fields.back().push_back(text[i]);
  }
  return fields;
}

std::string escapeField(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (isEscaped(c)) {
      out.push_back('\\');
    }
    out.push_back(c);
  }
  return out;
}

std::string joinEscaped(const std::vector<std::string>& fields) {
  std::string text;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    text.append(i == 0 ? "" : ";").append(escapeField(fields[i]));
  }
  return text;
}

std::string fieldAt(std::string_view text, std::size_t index) {
  std::vector<std::string> fields = splitEscaped(text);
  return index < fields.size() ? std::move(fields[index]) : std::string();
}

std::string withField(std::string_view text, std::size_t index, std::string_view field) {
  std::vector<std::string> fields = splitEscaped(text);
  fields.resize(std::max(fields.size(), index + 1));
  fields[index] = field;
  return joinEscaped(fields);
}

int indexOf(std::span<const std::string_view> words, std::string_view text) {
  const auto found = std::find_if(words.begin(), words.end(), [text](auto word) { return equalsIgnoreCase(word, text); });
  return found == words.end() ? -1 : static_cast<int>(found - words.begin());
}

int leadingInt(std::string_view text) {
  text = trimLeft(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  constexpr std::int64_t kMost = std::numeric_limits<int>::max();
  std::int64_t number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') {
      break;
    }
    number = std::min(number * 10 + (c - '0'), kMost);
  }
  return static_cast<int>(negative ? -number : number);
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
  std::size_t end = 0;
  for (; count != 0 && end < text.size(); --count) {
    // A byte that only goes on with a character counts as one by itself.
    end += static_cast<std::size_t>(std::max(1, std::countl_one(static_cast<unsigned char>(text[end]))));
  }
  return text.substr(0, std::min(end, text.size()));
}

}  // namespace nalvo::mail
