#include "platform/text/text.h"

#include <algorithm>
#include <utility>

#include "platform/text/utf8.h"
#include "platform/text/windows1252.h"

namespace nalvo {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

// Appends a UTF-8 text; a strict reading stops and answers false at the first bad piece.
bool readInto(std::u16string& out, std::string_view text, bool strict) {
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t plain = asciiPrefix(text.data() + i, text.size() - i);
    appendAscii(text.data() + i, plain, out);
    i += plain;
    if (i == text.size()) {
      break;
    }
    const Utf8Step step = readUtf8(text.data() + i, text.size() - i);
    if (step.kind == Utf8Step::Kind::Good) {
      appendUtf16(step.codePoint, out);
    } else if (strict) {
      return false;
    } else {
      out.push_back(kReplacement);
    }
    i += step.bytes;
  }
  return true;
}

template <typename Char>
bool sameWithoutCase(std::basic_string_view<Char> a, std::basic_string_view<Char> b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](Char x, Char y) { return toLowerAscii(x) == toLowerAscii(y); });
}

unsigned char upperAnsi(unsigned char byte) {
  switch (byte) {
    case 0x9A:
    case 0x9C:
    case 0x9E:
      return static_cast<unsigned char>(byte - 0x10);
    case 0xFF:
      return 0x9F;
    case 0xF7:  // the division sign stands among the letters
      return byte;
    default:
      return (byte >= 'a' && byte <= 'z') || byte >= 0xE0 ? static_cast<unsigned char>(byte - 0x20) : byte;
  }
}

}  // namespace

std::u16string ansiToWide(std::string_view text) {
  std::u16string out(text.size(), u'\0');
  std::transform(text.begin(), text.end(), out.begin(), [](char c) { return ansiToUnit(static_cast<unsigned char>(c)); });
  return out;
}

std::string wideToAnsi(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int byte = unitToAnsi(text[i]);
    out.push_back(byte < 0 ? '?' : static_cast<char>(byte));
    if (isHighSurrogate(text[i]) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
      ++i;
    }
  }
  return out;
}

std::string ansiToUpper(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    c = static_cast<char>(upperAnsi(static_cast<unsigned char>(c)));
  }
  return out;
}

std::u16string utf8ToWide(std::string_view text) {
  std::u16string out;
  readInto(out, text, false);
  return out;
}

std::optional<std::u16string> utf8ToWideStrict(std::string_view text) {
  std::u16string out;
  return readInto(out, text, true) ? std::optional(std::move(out)) : std::nullopt;
}

std::string wideToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (isHighSurrogate(unit) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
      appendUtf8(joinSurrogates(unit, text[++i]), out);
    } else {
      appendUtf8(isHighSurrogate(unit) || isLowSurrogate(unit) ? kReplacement : unit, out);
    }
  }
  return out;
}

bool isValidUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    i += asciiPrefix(text.data() + i, text.size() - i);
    if (i == text.size()) {
      break;
    }
    const Utf8Step step = readUtf8(text.data() + i, text.size() - i);
    if (step.kind != Utf8Step::Kind::Good) {
      return false;
    }
    i += step.bytes;
  }
  return true;
}

bool isAscii(std::string_view text) { return asciiPrefix(text.data(), text.size()) == text.size(); }

bool isAscii(std::u16string_view text) {
  return std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; });
}

bool equalsIgnoreCase(std::string_view a, std::string_view b) { return sameWithoutCase(a, b); }
bool equalsIgnoreCase(std::u16string_view a, std::u16string_view b) { return sameWithoutCase(a, b); }

bool startsWithIgnoreCase(std::string_view text, std::string_view prefix) {
  return sameWithoutCase(text.substr(0, prefix.size()), prefix);
}

std::string toLowerAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    c = toLowerAscii(c);
  }
  return out;
}

std::string_view trimLeft(std::string_view text, std::string_view what) {
  text.remove_prefix(std::min(text.find_first_not_of(what), text.size()));
  return text;
}

std::string_view trimRight(std::string_view text, std::string_view what) {
  return text.substr(0, text.find_last_not_of(what) + 1);
}

std::string_view trim(std::string_view text, std::string_view what) { return trimRight(trimLeft(text, what), what); }

std::u16string_view trim(std::u16string_view text, std::u16string_view what) {
  text.remove_prefix(std::min(text.find_first_not_of(what), text.size()));
  return text.substr(0, text.find_last_not_of(what) + 1);
}

}  // namespace nalvo
