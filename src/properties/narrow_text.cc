#include "properties/narrow_text.h"

#include <algorithm>
#include <optional>

#include "platform/text/text.h"
#include "properties/hexadecimal.h"

namespace nalvo {
namespace {

// Texts are recoded in pieces of this many bytes, so that the wide form in between stays small.
constexpr std::size_t kPiece = 16384;

constexpr bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// The length of a piece of UTF-8 that cuts no character.
std::size_t pieceOf(std::string_view text) {
  if (text.size() <= kPiece) {
    return text.size();
  }
  std::size_t end = kPiece;
  while (end > kPiece - 3 && isContinuation(text[end])) {
    --end;
  }
  return isContinuation(text[end]) ? kPiece : end;
}

// A surrogate in three bytes, which UTF-8 proper has no room for.
constexpr char32_t kSurrogateLead = 0xED;

bool isCodedSurrogate(std::string_view text, std::size_t at) {
  return at + 2 < text.size() && static_cast<unsigned char>(text[at]) == kSurrogateLead &&
         static_cast<unsigned char>(text[at + 1]) >= 0xA0 && isContinuation(text[at + 1]) && isContinuation(text[at + 2]);
}

// The characters of an escaped text, one by one.
template <typename Char>
std::basic_string<Char> unescapeText(std::basic_string_view<Char> text) {
  constexpr std::size_t kDigits = 4;
  // The value of four characters, which may begin with "0x".
  const auto number = [](std::basic_string_view<Char> digits) -> std::optional<std::uint32_t> {
    if (digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
      digits.remove_prefix(2);
    }
    std::uint32_t value = 0;
    for (const Char c : digits) {
      const int digit = hexDigit(c);
      if (digit < 0) {
        return std::nullopt;
      }
      value = value << 4 | static_cast<std::uint32_t>(digit);
    }
    return value;
  };
  std::basic_string<Char> out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t plain = std::min(text.find(Char{'\\'}), text.size());
    out += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.size() < 2) {
      break;
    }
    text.remove_prefix(1);
    const Char c = text.front();
    const Char meant = c == 'n' ? Char{'\n'} : c == 'r' ? Char{'\r'} : c == 't' ? Char{'\t'} : c;
    if (meant != c || c == '"' || c == '\\') {
      out += meant;
      text.remove_prefix(1);
    } else if (const auto value = text.size() < kDigits ? std::nullopt : number(text.substr(0, kDigits))) {
      out += static_cast<Char>(*value);
      text.remove_prefix(kDigits);
    } else {
      out += c;
      text.remove_prefix(1);
    }
  }
  return out;
}

}  // namespace

void appendAnsiAsUtf8(std::string_view ansi, std::string& out) {
  if (isAscii(ansi)) {
    out += ansi;
    return;
  }
  for (; !ansi.empty(); ansi.remove_prefix(std::min(kPiece, ansi.size()))) {
    const std::string_view piece = ansi.substr(0, kPiece);
    out += isAscii(piece) ? std::string(piece) : wideToUtf8(ansiToWide(piece));
  }
}

std::string utf8ToAnsi(std::string_view text) {
  if (isAscii(text)) {
    return std::string(text);
  }
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = pieceOf(text);
    out += wideToAnsi(utf8ToWide(text.substr(0, length)));
    text.remove_prefix(length);
  }
  return out;
}

std::string wideToWtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = start;
    const auto isLone = [text](std::size_t at) {
      return isLowSurrogate(text[at]) ||
             (isHighSurrogate(text[at]) && (at + 1 == text.size() || !isLowSurrogate(text[at + 1])));
    };
    while (end < text.size() && end - start < kPiece && !isLone(end)) {
      end += isHighSurrogate(text[end]) ? 2U : 1U;
    }
    out += wideToUtf8(text.substr(start, end - start));
    if (end < text.size() && isLone(end)) {
      const char32_t unit = text[end++];
      out += static_cast<char>(kSurrogateLead);
      out += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (unit & 0x3F));
    }
    start = end;
  }
  return out;
}

std::u16string wtf8ToWide(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (std::size_t start = 0; start < text.size();) {
    std::size_t end = start;
    while (end < text.size() && !isCodedSurrogate(text, end)) {
      end = std::min(text.find(static_cast<char>(kSurrogateLead), end + 1), text.size());
    }
    out += utf8ToWide(text.substr(start, end - start));
    if (end < text.size()) {
      const auto bits = [&](std::size_t at) { return static_cast<unsigned char>(text[at]) & 0x3FU; };
      out += static_cast<char16_t>(0xD000U | bits(end + 1) << 6 | bits(end + 2));
      end += 3;
    }
    start = end;
  }
  return out;
}

void appendEscaped(std::string_view text, std::string& out) {
  for (const char c : text) {
    switch (c) {
      case '\t':
        out += "\\t";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '"':
      case '\\':
        out += '\\';
        out += c;
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          out += "\\0x";
          appendHex(static_cast<unsigned char>(c), 2, out);
        } else {
          out += c;
        }
    }
  }
}

std::string unescape(std::string_view text) { return unescapeText(text); }
std::u16string unescape(std::u16string_view text) { return unescapeText(text); }

void appendStored(std::string_view ansi, std::string& out) {
  std::string escaped;
  for (; !ansi.empty(); ansi.remove_prefix(std::min(kPiece, ansi.size()))) {
    escaped.clear();
    appendEscaped(ansi.substr(0, kPiece), escaped);
    appendAnsiAsUtf8(escaped, out);
  }
}

std::string fromStored(std::string_view text) { return unescape(utf8ToAnsi(text)); }

}  // namespace nalvo
