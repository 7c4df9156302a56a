#include "host/msg_layout.h"

#include "platform/text/text.h"

namespace nalvo::host::msg {
namespace {

constexpr std::size_t kDigits = 8;

std::optional<std::uint32_t> hexadecimal(std::u16string_view text) {
  if (text.size() != kDigits) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (const char16_t c : text) {
    const char16_t lower = toLowerAscii(c);
    const bool isDigit = lower >= u'0' && lower <= u'9';
    if (!isDigit && (lower < u'a' || lower > u'f')) {
      return std::nullopt;
    }
    number = number << 4 | static_cast<std::uint32_t>(isDigit ? lower - u'0' : lower - u'a' + 10);
  }
  return number;
}

}  // namespace

std::u16string numberedName(std::u16string_view prefix, std::uint32_t number) {
  std::u16string name(prefix);
  for (int shift = 28; shift >= 0; shift -= 4) {
    name += u"0123456789ABCDEF"[number >> shift & 0xF];
  }
  return name;
}

std::u16string elementName(ULONG tag, std::uint32_t index) {
  return numberedName(numberedName(kValuePrefix, tag) + u"-", index);
}

std::optional<std::uint32_t> numberOf(std::u16string_view name, std::u16string_view prefix) {
  if (name.size() != prefix.size() + kDigits || !equalsIgnoreCase(name.substr(0, prefix.size()), prefix)) {
    return std::nullopt;
  }
  return hexadecimal(name.substr(prefix.size()));
}

std::optional<ElementName> elementOf(std::u16string_view name) {
  const std::size_t dash = kValuePrefix.size() + kDigits;
  if (name.size() != dash + 1 + kDigits || name[dash] != u'-') {
    return std::nullopt;
  }
  const std::optional<std::uint32_t> tag = numberOf(name.substr(0, dash), kValuePrefix);
  const std::optional<std::uint32_t> index = hexadecimal(name.substr(dash + 1));
  return tag && index ? std::optional(ElementName{*tag, *index}) : std::nullopt;
}

}  // namespace nalvo::host::msg
