#include "convert/groupware/fragile_text.h"

#include "mail/v_card.h"

namespace nalvo::detail {
namespace {

bool isBareReturn(std::string_view text, std::size_t at) { return text[at] == '\r' && text.substr(at + 1, 1) != "\n"; }

bool hasBareReturn(std::string_view text) {
  std::size_t at = text.find('\r');
  while (at != std::string_view::npos && !isBareReturn(text, at)) {
    at = text.find('\r', at + 1);
  }
  return at != std::string_view::npos;
}

}  // namespace

std::string withoutBareReturns(std::string text) {
  for (std::size_t at = text.find('\r'); at != std::string::npos; at = text.find('\r', at + 1)) {
    if (isBareReturn(text, at)) {
      text[at] = '\n';
    }
  }
  return text;
}

bool isFragile(std::string_view text) {
  constexpr std::string_view kWordStart = "=?";
  // Separators alone aren't written.
  const bool isEmptyValue = !text.empty() && text.find_first_not_of(';') == std::string_view::npos;
  return isEmptyValue || text.starts_with(' ') || text.starts_with('\t') ||
         text.find(kWordStart) != std::string_view::npos || hasBareReturn(text);
}

std::string rereadText(std::string_view text) { return mail::rereadValue(withoutBareReturns(std::string(text))); }

std::vector<std::string> rereadCategories(const std::vector<std::string>& categories) {
  constexpr std::string_view kName = "CATEGORIES";
  mail::VCard object;
  object.setCategories(categories);
  object.setProperty(kName, mail::rereadValue(object.getProperty(kName)));
  return object.getCategories();
}

}  // namespace nalvo::detail
