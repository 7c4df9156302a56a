#include "text/encoded_strings.h"

#include <algorithm>
#include <array>

#include "platform/text/text.h"

namespace nalvo::utils {
namespace {

// -1 for anything else.
int hexadecimal(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const char lower = toLowerAscii(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

constexpr int kPadding = 64;
constexpr int kBlank = -1;
constexpr int kForeign = -2;

constexpr std::array<signed char, 128> makeBase64Values() {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<signed char, 128> values{};
  values.fill(kForeign);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<signed char>(i);
  }
  values['='] = kPadding;
  for (const char blank : {' ', '\t', '\r', '\n'}) {
    values[static_cast<unsigned char>(blank)] = kBlank;
  }
  return values;
}
constexpr std::array<signed char, 128> kBase64Values = makeBase64Values();

}  // namespace

bool decodeQuotedPrintable(std::string_view in, std::string& out) {
  in = in.substr(0, in.find('\0'));
  std::string result;
  result.reserve(in.size());
  std::size_t at = 0;
  while (at < in.size()) {
    const std::size_t equals = std::min(in.find('=', at), in.size());
    result.append(in.substr(at, equals - at));
    if (equals == in.size()) {
      break;
    }
    at = equals + 1;
    if (in.size() - at >= 2 && hexadecimal(in[at]) >= 0 && hexadecimal(in[at + 1]) >= 0) {
      result.push_back(static_cast<char>(hexadecimal(in[at]) * 16 + hexadecimal(in[at + 1])));
      at += 2;
      continue;
    }
    const std::size_t next = in.find_first_not_of(" \t", at);
    if (next == std::string_view::npos) {
      // Nothing but white space is left, and it goes with the break that was never finished.
      result.push_back('=');
      break;
    }
    if (in[next] == '\n') {
      at = next + 1;
    } else if (in.substr(next, 2) == "\r\n") {
      at = next + 2;
    } else {
      result.push_back('=');
    }
  }
  out = std::move(result);
  return true;
}

bool decodeBase64(std::string_view in, std::string& out) {
  std::string result;
  result.reserve(in.size() / 4 * 3 + 1);
  bool clean = true;
  std::array<int, 4> group{};
  std::size_t collected = 0;
  for (const char c : in) {
    if (c == '\0') {
      break;
    }
    const int value = kBase64Values[static_cast<unsigned char>(c) & 0x7F];
    if (value < 0) {
      clean = clean && value == kBlank;
      continue;
    }
    group[collected++] = value;
    if (collected < group.size()) {
      continue;
    }
    collected = 0;
    if (group[0] == kPadding || group[1] == kPadding) {
      continue;
    }
    const auto bits = static_cast<unsigned>((group[0] << 18) | (group[1] << 12) | ((group[2] & 63) << 6) | (group[3] & 63));
    result.push_back(static_cast<char>(bits >> 16));
    if (group[2] != kPadding) {
      result.push_back(static_cast<char>((bits >> 8) & 0xFF));
      if (group[3] != kPadding) {
        result.push_back(static_cast<char>(bits & 0xFF));
      }
    }
  }
  out = std::move(result);
  return clean;
}

std::string trim(std::string_view in, const char* chars) {
  return std::string(nalvo::trim(in, chars != nullptr ? std::string_view(chars) : kBlanks));
}

}  // namespace nalvo::utils
