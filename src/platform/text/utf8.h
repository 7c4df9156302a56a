// One character of UTF-8 at a time; for the files of this folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace nalvo {

struct Utf8Step {
  enum class Kind : std::uint8_t {
    Good,
    Bad,    // `bytes` is a maximal piece of a sequence that can't go on
    Short,  // all that is left is a good beginning
  };
  Kind kind;
  std::uint8_t bytes;
  char32_t codePoint;
};

// Reads one character at `p`; `left` is not 0.
inline Utf8Step readUtf8(const char* p, std::size_t left) {
  using Kind = Utf8Step::Kind;
  const auto lead = static_cast<unsigned char>(*p);
  if (lead < 0x80) {
    return {Kind::Good, 1, lead};
  }
  if (lead < 0xC2 || lead > 0xF4) {
    return {Kind::Bad, 1, 0};
  }
  const std::uint8_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte has a narrower range behind some leads: no overlong forms, no surrogates, nothing above U+10FFFF.
  const unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t codePoint = lead & (0xFFU >> (length + 1));
  for (std::uint8_t i = 1; i < length; ++i) {
    if (i == left) {
      return {Kind::Short, i, 0};
    }
    const auto byte = static_cast<unsigned char>(p[i]);
    if (byte < (i == 1 ? low : 0x80) || byte > (i == 1 ? high : 0xBF)) {
      return {Kind::Bad, i, 0};
    }
    codePoint = (codePoint << 6) | (byte & 0x3F);
  }
  return {Kind::Good, length, codePoint};
}

// How many ASCII bytes `p` begins with.
inline std::size_t asciiPrefix(const char* p, std::size_t left) {
  std::size_t i = 0;
  for (; i + 8 <= left; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, p + i, 8);
    if ((word & 0x8080808080808080U) != 0) {
      break;
    }
  }
  while (i < left && static_cast<unsigned char>(p[i]) < 0x80) {
    ++i;
  }
  return i;
}

// Appends ASCII of either width to text of either width.
template <typename From, typename To>
void appendAscii(const From* p, std::size_t count, std::basic_string<To>& out) {
  const std::size_t before = out.size();
  out.resize(before + count);
  for (std::size_t i = 0; i < count; ++i) {
    out[before + i] = static_cast<To>(p[i]);
  }
}

inline void appendUtf16(char32_t codePoint, std::u16string& out) {
  if (codePoint < 0x10000) {
    out.push_back(static_cast<char16_t>(codePoint));
  } else {
    out.push_back(static_cast<char16_t>(0xD7C0 + (codePoint >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF)));
  }
}

inline void appendUtf8(char32_t codePoint, std::string& out) {
  const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (codePoint < 0x80) {
    put(codePoint);
  } else if (codePoint < 0x800) {
    put(0xC0 | (codePoint >> 6));
    put(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    put(0xE0 | (codePoint >> 12));
    put(0x80 | ((codePoint >> 6) & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  } else {
    put(0xF0 | (codePoint >> 18));
    put(0x80 | ((codePoint >> 12) & 0x3F));
    put(0x80 | ((codePoint >> 6) & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  }
}

// The code point of a surrogate pair.
constexpr char32_t joinSurrogates(char16_t high, char16_t low) {
  return 0x10000 + ((char32_t{high} & 0x3FF) << 10) + (char32_t{low} & 0x3FF);
}

}  // namespace nalvo
