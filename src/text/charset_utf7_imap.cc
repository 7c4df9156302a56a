#include "text/charset_utf7_imap.h"

#include <algorithm>

#include "text/charset_error.h"

namespace nalvo::utils {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";

// -1 for a byte that is no sextet.
int sextetOf(char c) {
  const std::size_t place = kAlphabet.find(c);
  return place == std::string_view::npos ? -1 : static_cast<int>(place);
}

}  // namespace

std::size_t Utf7ImapDecoder::malformed(const char* message, std::size_t bytes, char16_t& unit) {
  ++failures_;
  if (options_.acceptMalformed) {
    unit = u'&';
  } else if (options_.throwOnMalformed) {
    throw Exception(message);
  }
  return bytes;
}

// Reads one unit from `in`, which is not empty; returns how many bytes it took.
std::size_t Utf7ImapDecoder::step(std::string_view in, char16_t& unit) {
  unit = 0;
  if (static_cast<unsigned char>(in[0]) >= 0x80) {
    ++failures_;
    return 1;
  }
  std::size_t at = 0;
  if (!state_.inBase64) {
    if (in[0] != '&') {
      unit = static_cast<char16_t>(in[0]);
      return 1;
    }
    if (in.size() > 1 && in[1] == '-') {
      unit = u'&';
      return 2;
    }
    if (in.size() < 4) {
      return malformed("The conversion failed - malformed UTF7-IMAP ('&').", 1, unit);
    }
    state_ = {true, 0, 0};
    at = 1;
  }
  // 4 bits left over and two sextets make a unit; otherwise a third one gives what is missing, and leaves the rest.
  std::uint32_t bits = state_.bits;
  const unsigned sextets = state_.bitCount == 4 ? 2 : 3;
  unsigned have = state_.bitCount;
  for (unsigned i = 0; i < sextets; ++i) {
    const int sextet = at + i < in.size() ? sextetOf(in[at + i]) : -1;
    if (sextet < 0) {
      state_ = {};
      return malformed("The conversion failed - malformed UTF7-IMAP.", std::min<std::size_t>(i == 2 ? 3 : 1, in.size()),
                       unit);
    }
    // To its place in the unit, whose first `have` bits are there.
    bits |= (static_cast<std::uint32_t>(sextet) << 16) >> (have + 6);
    if (have + 6 > 16) {
      const unsigned left = have + 6 - 16;
      state_.bits = static_cast<std::uint16_t>(static_cast<unsigned>(sextet) << (16 - left));
      state_.bitCount = left;
    }
    have += 6;
  }
  if (have == 16) {
    state_.bits = 0;
    state_.bitCount = 0;
  }
  unit = static_cast<char16_t>(bits);
  at += sextets;
  if (at < in.size() && in[at] == '-') {
    state_ = {};
    ++at;
  }
  return at;
}

std::size_t Utf7ImapDecoder::decode(std::string_view in, bool final, std::u16string& out) {
  // The longest step takes five bytes, and the one behind the last sextet must be there to be seen.
  constexpr std::size_t kAhead = 6;
  std::size_t read = 0;
  while (in.size() - read > (final ? 0 : kAhead)) {
    char16_t unit = 0;
    read += step(in.substr(read), unit);
    out.push_back(unit);
  }
  return read;
}

void Utf7ImapEncoder::finish(std::string& out) {
  if (state_.inBase64) {
    if (state_.bitCount != 0) {
      out.push_back(kAlphabet[state_.bits >> 10]);
    }
    out.push_back('-');
  }
  state_ = {};
}

void Utf7ImapEncoder::encode(std::u16string_view in, std::string& out) {
  for (const char16_t unit : in) {
    if (unit < 0x80) {
      finish(out);
      out.push_back(static_cast<char>(unit));
      if (unit == u'&') {
        out.push_back('-');
      }
      continue;
    }
    if (!state_.inBase64) {
      out.push_back('&');
      state_.inBase64 = true;
    }
    std::uint32_t bits = (std::uint32_t{state_.bits} << 16) | (std::uint32_t{unit} << (16 - state_.bitCount));
    unsigned count = state_.bitCount + 16;
    for (; count >= 6; count -= 6, bits <<= 6) {
      out.push_back(kAlphabet[bits >> 26]);
    }
    state_.bits = static_cast<std::uint16_t>(bits >> 16);
    state_.bitCount = count;
  }
}

}  // namespace nalvo::utils
