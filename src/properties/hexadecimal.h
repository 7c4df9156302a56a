// Hexadecimal numbers of a fixed width, the same on every machine.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nalvo {

// -1 for a character that is no digit.
template <typename Char>
constexpr int hexDigit(Char c) {
  return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Appends the last `digits` digits of `value` in lower case.
inline void appendHex(std::uint32_t value, unsigned digits, std::string& out) {
  while (digits-- != 0) {
    out += "0123456789abcdef"[(value >> (4 * digits)) & 0xF];
  }
}

// The number that a token begins with: blanks, then at most `width` characters of sign, "0x" and digits. What follows is
// ignored. A minus sign gives the number's complement. No value without a digit.
inline std::optional<std::uint32_t> parseHex(std::string_view token, std::size_t width) {
  token.remove_prefix(std::min(token.find_first_not_of(" \t\n\v\f\r"), token.size()));
  token = token.substr(0, width);
  const bool negative = !token.empty() && token.front() == '-';
  if (negative || (!token.empty() && token.front() == '+')) {
    token.remove_prefix(1);
  }
  if (token.size() > 1 && token[0] == '0' && (token[1] == 'x' || token[1] == 'X')) {
    token.remove_prefix(2);
  }
  std::uint32_t value = 0;
  bool any = false;
  for (const char c : token) {
    const int digit = hexDigit(c);
    if (digit < 0) {
      break;
    }
    value = value << 4 | static_cast<std::uint32_t>(digit);
    any = true;
  }
  if (!any) {
    return std::nullopt;
  }
  return negative ? 0U - value : value;
}

}  // namespace nalvo
