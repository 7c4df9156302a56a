#include "mail/duration.h"

#include "mail/saturating.h"

namespace nalvo::mail {
namespace {

using saturating::add;
using saturating::multiply;

struct Unit {
  char letter;
  std::int64_t seconds;
};
constexpr Unit kUnits[] = {{'W', 7 * 86400}, {'D', 86400}, {'H', 3600}, {'M', 60}, {'S', 1}};

std::int64_t unitOf(char letter) {
  for (const Unit& unit : kUnits) {
    if (unit.letter == letter) {
      return unit.seconds;
    }
  }
  return 0;
}

void appendTwoDigits(std::int64_t number, char unit, std::string& out) {
  out.push_back(static_cast<char>('0' + number / 10));
  out.push_back(static_cast<char>('0' + number % 10));
  out.push_back(unit);
}

}  // namespace

Duration::Duration(std::int64_t days, std::int64_t hours, std::int64_t minutes, std::int64_t seconds, bool negative)
    : seconds_(add(add(multiply(days, 86400), multiply(hours, 3600)), add(multiply(minutes, 60), seconds))) {
  if (negative) {
    seconds_ = saturating::negate(seconds_);
  }
}

Duration operator-(Duration a, Duration b) {
  return a.isNull() || b.isNull() ? Duration() : Duration(add(a.seconds_, saturating::negate(b.seconds_)));
}

std::string Duration::toString() const {
  if (isNull()) {
    return {};
  }
  std::string text = isNegative() ? "-P" : "P";
  if (days() != 0) {
    text.append(std::to_string(days())).push_back('D');
    if (absolute() % 86400 == 0) {
      return text;
    }
  }
  text.push_back('T');
  if (hours() != 0) {
    appendTwoDigits(hours(), 'H', text);
  }
  if (hours() != 0 || minutes() != 0) {
    appendTwoDigits(minutes(), 'M', text);
  }
  if (secondsPart() != 0 || absolute() == 0) {
    appendTwoDigits(secondsPart(), 'S', text);
  }
  return text;
}

Duration Duration::parse(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  if (!text.starts_with('P')) {
    return {};
  }
  std::int64_t sum = 0;
  std::int64_t number = 0;
  for (const char c : text.substr(1)) {
    if (c >= '0' && c <= '9') {
      number = add(multiply(number, 10), c - '0');
    } else {
      sum = add(sum, multiply(number, unitOf(c)));
      number = 0;
    }
  }
  return Duration(negative ? -sum : sum);
}

}  // namespace nalvo::mail
