// Text as UTF-16, UTF-8 and Windows-1252 bytes; ASCII case and blanks. Nothing here depends on a locale.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nalvo {

// Windows-1252 with its five holes filled: all 256 bytes are characters, so any bytes survive there and back.
std::u16string ansiToWide(std::string_view text);
// "?" for each character that the page lacks, a surrogate pair being one.
std::string wideToAnsi(std::u16string_view text);
// Upper case within the page; what has no capital there ("ß") stays.
std::string ansiToUpper(std::string_view text);

// Invalid bytes become U+FFFD, one for each maximal piece of a sequence.
std::u16string utf8ToWide(std::string_view text);
// No value if the bytes are not valid UTF-8.
std::optional<std::u16string> utf8ToWideStrict(std::string_view text);
// Lone surrogates become U+FFFD.
std::string wideToUtf8(std::u16string_view text);

bool isValidUtf8(std::string_view text);
bool isAscii(std::string_view text);
bool isAscii(std::u16string_view text);

constexpr bool isHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool isLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// ASCII letters only; all else is compared as it is.
bool equalsIgnoreCase(std::string_view a, std::string_view b);
bool equalsIgnoreCase(std::u16string_view a, std::u16string_view b);
bool startsWithIgnoreCase(std::string_view text, std::string_view prefix);
constexpr char toLowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
constexpr char16_t toLowerAscii(char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + (u'a' - u'A')) : c; }
std::string toLowerAscii(std::string_view text);

inline constexpr std::string_view kBlanks = " \t\r\n";
inline constexpr std::u16string_view kWideBlanks = u" \t\r\n";
// Without the characters of `what` at the start, the end, both.
std::string_view trimLeft(std::string_view text, std::string_view what = kBlanks);
std::string_view trimRight(std::string_view text, std::string_view what = kBlanks);
std::string_view trim(std::string_view text, std::string_view what = kBlanks);
std::u16string_view trim(std::u16string_view text, std::u16string_view what = kWideBlanks);

}  // namespace nalvo
