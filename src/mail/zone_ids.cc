#include "mail/zone_ids.h"

#include <algorithm>
#include <string>

#include "mail/v_text.h"
#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// One or two digits; -1 for none.
int takeNumber(std::string_view& text) {
  int number = -1;
  for (int i = 0; i < 2 && !text.empty() && isDigit(text.front()); ++i, text.remove_prefix(1)) {
    number = std::max(number, 0) * 10 + (text.front() - '0');
  }
  return number;
}

bool takeOneOf(std::string_view& text, std::string_view characters) {
  const bool found = !text.empty() && characters.find(text.front()) != std::string_view::npos;
  text.remove_prefix(found ? 1 : 0);
  return found;
}

// "US and Canada" is "US & Canada".
std::string comparable(std::string_view place) {
  std::string text = toLowerAscii(trim(place));
  constexpr std::string_view kAnd = " and ";
  if (const std::size_t at = text.find(kAnd); at != std::string::npos) {
    text.replace(at, kAnd.size(), " & ");
  }
  return text;
}

}  // namespace

std::optional<OffsetId> readOffsetId(std::string_view id) {
  constexpr std::size_t kWord = 3, kLongest = 200;
  std::string_view rest = trim(id.size() > kLongest ? std::string_view() : id);
  const bool isOpen = takeOneOf(rest, "(");
  const std::string_view word = rest.substr(0, std::min(kWord, rest.size()));
  if (!equalsIgnoreCase(word, "UTC") && !equalsIgnoreCase(word, "GMT")) {
    return std::nullopt;
  }
  rest = trim(rest.substr(kWord));
  const bool isNegative = !rest.empty() && rest.front() == '-';
  if (!takeOneOf(rest, "+-")) {
    return std::nullopt;
  }
  const int hours = takeNumber(rest);
  takeOneOf(rest, ":.");
  const int minutes = std::max(takeNumber(rest), 0);
  constexpr int kMostHours = 14, kMostMinutes = 59;
  if (hours < 0 || hours > kMostHours || minutes > kMostMinutes || takeOneOf(rest, ")") != isOpen) {
    return std::nullopt;
  }
  return OffsetId{Duration(0, hours, minutes, 0, isNegative), trim(rest)};
}

bool sharePlace(std::string_view a, std::string_view b) {
  const std::vector<std::string_view> ours = split(a, ",/"), theirs = split(b, ",/");
  return std::any_of(ours.begin(), ours.end(), [&theirs](std::string_view place) {
    const std::string wanted = comparable(place);
    return !wanted.empty() && std::any_of(theirs.begin(), theirs.end(),
                                          [&wanted](std::string_view other) { return comparable(other) == wanted; });
  });
}

}  // namespace nalvo::mail
