#include "streams/transfer_codecs.h"

#include <algorithm>

namespace nalvo {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kLineEnd = "\r\n";
constexpr unsigned kGroupsPerLine = 19;

constexpr std::size_t index(char c) { return static_cast<unsigned char>(c); }

// The value of a hexadecimal digit, or -1.
constexpr auto kHexDigits = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  for (std::size_t i = 0; i < 10; ++i) {
    values['0' + i] = static_cast<std::int8_t>(i);
  }
  for (std::size_t i = 0; i < 6; ++i) {
    values['a' + i] = values['A' + i] = static_cast<std::int8_t>(10 + i);
  }
  return values;
}();

// Bytes that quoted-printable doesn't hand through.
constexpr auto kQpSpecial = [] {
  std::array<bool, 256> special{};
  special['='] = special['\r'] = special['\n'] = true;
  return special;
}();

// The value of a character of the alphabet, shifted to its place in a group; the top bit is set for all other bytes.
constexpr std::uint32_t kNoBase64 = 0x80000000;
constexpr auto base64Values(unsigned shift) {
  std::array<std::uint32_t, 256> values{};
  values.fill(kNoBase64);
  for (std::uint32_t i = 0; i < 64; ++i) {
    values[index(kAlphabet[i])] = i << shift;
  }
  return values;
}
constexpr auto kBase64First = base64Values(18);
constexpr auto kBase64Second = base64Values(12);
constexpr auto kBase64Third = base64Values(6);
constexpr auto kBase64Fourth = base64Values(0);

// Two characters for each 12 bits.
constexpr auto kBase64Pairs = [] {
  std::array<std::array<char, 2>, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    pairs[i] = {kAlphabet[i >> 6], kAlphabet[i & 63]};
  }
  return pairs;
}();

constexpr bool isLineEnd(char c) { return c == '\r' || c == '\n'; }

}  // namespace

void QpDecoder::plain(char c, std::string& out) {
  if (c == '=') {
    state_ = State::AfterEquals;
  } else if (isLineEnd(c)) {
    if (c != partner_) {
      out += kLineEnd;
    }
    partner_ = partner_ != 0 ? '\0' : (c == '\r' ? '\n' : '\r');
  } else {
    out += c;
    partner_ = 0;
  }
}

// "=" with the two bytes behind it; a byte that the data no longer has is 0.
void QpDecoder::escape(char first, char second, std::string& out) {
  state_ = State::Plain;
  const int high = kHexDigits[index(first)];
  const int low = kHexDigits[index(second)];
  if (high >= 0 && low >= 0) {
    out += static_cast<char>(high * 16 + low);
  } else if (first == '\r' && second == '\n') {
    // A soft line break.
  } else if (isLineEnd(first)) {
    if (second != 0) {
      plain(second, out);
    }
  } else {
    out += '=';
    if (first != 0) {
      out += first;
    }
    if (second != 0) {
      out += second;
    }
  }
}

void QpDecoder::update(std::string_view in, std::string& out) {
  std::size_t at = 0;
  while (at < in.size()) {
    if (state_ == State::AfterEquals) {
      first_ = in[at++];
      state_ = State::AfterFirst;
    } else if (state_ == State::AfterFirst) {
      escape(first_, in[at++], out);
    } else if (kQpSpecial[index(in[at])] && (partner_ != 0 || in[at] == '=')) {
      plain(in[at++], out);
    } else {
      // Ordinary bytes and whole CR LF go out as they are, in one piece.
      const std::size_t start = at;
      while (at < in.size()) {
        if (!kQpSpecial[index(in[at])]) {
          ++at;
        } else if (in[at] == '\r' && at + 1 < in.size() && in[at + 1] == '\n') {
          at += 2;
        } else {
          break;
        }
      }
      if (at > start) {
        out.append(in, start, at - start);
        partner_ = 0;
      } else {
        plain(in[at++], out);
      }
    }
  }
}

void QpDecoder::finish(std::string& out) {
  if (state_ != State::Plain) {
    escape(state_ == State::AfterFirst ? first_ : '\0', '\0', out);
  }
  *this = {};
}

void Base64Decoder::update(std::string_view in, std::string& out) {
  std::array<char, 3 * 1024> block;
  std::size_t used = 0;
  std::size_t at = 0;
  while (at < in.size()) {
    if (collected_ == 0) {
      while (in.size() - at >= 4 && used + 3 <= block.size()) {
        const std::uint32_t group = kBase64First[index(in[at])] | kBase64Second[index(in[at + 1])] |
                                    kBase64Third[index(in[at + 2])] | kBase64Fourth[index(in[at + 3])];
        if ((group & kNoBase64) != 0) {
          break;
        }
        block[used] = static_cast<char>(group >> 16);
        block[used + 1] = static_cast<char>(group >> 8);
        block[used + 2] = static_cast<char>(group);
        used += 3;
        at += 4;
      }
    }
    if (used + 3 > block.size()) {
      out.append(block.data(), used);
      used = 0;
    }
    // One character by itself: between lines, in junk, at the end of the piece.
    if (at < in.size()) {
      const std::uint32_t value = kBase64Fourth[index(in[at++])];
      if (value != kNoBase64) {
        bits_ = bits_ << 6 | value;
        if (++collected_ == 4) {
          block[used] = static_cast<char>(bits_ >> 16);
          block[used + 1] = static_cast<char>(bits_ >> 8);
          block[used + 2] = static_cast<char>(bits_);
          used += 3;
          bits_ = 0;
          collected_ = 0;
        }
      }
    }
  }
  out.append(block.data(), used);
}

void Base64Decoder::finish(std::string& out) {
  if (collected_ == 3) {
    out += static_cast<char>(bits_ >> 10);
    out += static_cast<char>(bits_ >> 2);
  } else if (collected_ == 2) {
    out += static_cast<char>(bits_ >> 4);
  }
  *this = {};
}

void Base64Encoder::groups(std::string_view in, std::string& out) {
  anyGroup_ = anyGroup_ || !in.empty();
  while (!in.empty()) {
    const std::size_t room = lines_ == Base64Lines::Of76 ? kGroupsPerLine - groupsInLine_ : kGroupsPerLine;
    const std::size_t count = std::min(in.size() / 3, room);
    std::array<char, 4 * kGroupsPerLine> line;
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint32_t group = static_cast<std::uint32_t>(index(in[3 * i])) << 16 |
                                  static_cast<std::uint32_t>(index(in[3 * i + 1])) << 8 |
                                  static_cast<std::uint32_t>(index(in[3 * i + 2]));
      std::ranges::copy(kBase64Pairs[group >> 12], &line[4 * i]);
      std::ranges::copy(kBase64Pairs[group & 0xFFF], &line[4 * i + 2]);
    }
    out.append(line.data(), 4 * count);
    in.remove_prefix(3 * count);
    if (lines_ == Base64Lines::Of76) {
      groupsInLine_ += static_cast<unsigned>(count);
      if (groupsInLine_ == kGroupsPerLine) {
        out += kLineEnd;
        groupsInLine_ = 0;
      }
    }
  }
}

void Base64Encoder::update(std::string_view in, std::string& out) {
  if (restSize_ > 0) {
    const std::size_t taken = std::min(in.size(), rest_.size() - restSize_);
    std::copy_n(in.begin(), taken, rest_.begin() + static_cast<std::ptrdiff_t>(restSize_));
    restSize_ += taken;
    in.remove_prefix(taken);
    if (restSize_ < rest_.size()) {
      return;
    }
    groups({rest_.data(), rest_.size()}, out);
  }
  restSize_ = in.size() % 3;
  groups(in.substr(0, in.size() - restSize_), out);
  std::copy_n(in.end() - static_cast<std::ptrdiff_t>(restSize_), restSize_, rest_.begin());
}

void Base64Encoder::finish(std::string& out) {
  if (lines_ == Base64Lines::Of76 && !anyGroup_) {
    out += kLineEnd;
  }
  if (restSize_ > 0) {
    std::fill(rest_.begin() + static_cast<std::ptrdiff_t>(restSize_), rest_.end(), '\0');
    const std::size_t high = index(rest_[0]) << 4 | index(rest_[1]) >> 4;
    const std::size_t low = (index(rest_[1]) & 0xF) << 2;
    out.append(kBase64Pairs[high].data(), 2);
    out += restSize_ == 2 ? kAlphabet[low] : '=';
    out += '=';
  }
  *this = Base64Encoder(lines_);
}

std::uint64_t Base64Encoder::encodedSize(std::uint64_t bytes, Base64Lines lines) {
  const std::uint64_t groups = bytes / 3;
  const std::uint64_t characters = 4 * (groups + (bytes % 3 != 0 ? 1 : 0));
  if (lines == Base64Lines::None) {
    return characters;
  }
  return characters + 2 * (groups == 0 ? 1 : groups / kGroupsPerLine);
}

}  // namespace nalvo
