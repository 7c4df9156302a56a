#include "streams/transfer_codecs.h"

#include <gtest/gtest.h>

#include <random>

namespace nalvo {
namespace {

template <typename Codec>
std::string run(Codec codec, std::string_view in, std::size_t piece) {
  std::string out;
  for (std::size_t at = 0; at < in.size(); at += piece) {
    codec.update(in.substr(at, piece), out);
  }
  codec.finish(out);
  return out;
}

// Bytes that meet every rule often.
std::string randomText(std::mt19937& random, std::string_view alphabet, std::size_t size) {
  std::string text(size, '\0');
  for (char& c : text) {
    c = alphabet[random() % alphabet.size()];
  }
  return text;
}

struct Case {
  std::string_view why, in, out;
};

using namespace std::string_view_literals;

constexpr Case kQpCases[] = {
    {"nothing", "", ""},
    {"an escape", "a=3Db", "a=b"},
    {"lower case digits", "=c3=a4", "\xC3\xA4"},
    {"soft break, CR LF", "a=\r\nb", "ab"},
    {"soft break, LF", "a=\nb", "ab"},
    {"soft break, LF, then a line end", "a=\n\nb", "a\r\nb"},
    {"soft break, CR, then an escape", "a=\r=41", "aA"},
    {"soft break at the end", "a=\r\n", "a"},
    {"soft break cut after CR", "a=\r", "a"},
    {"no escape", "a=xyb", "a=xyb"},
    {"one digit only", "a=4", "a=4"},
    {"one digit and another", "a=4g", "a=4g"},
    {"= at the end", "a=", "a="},
    {"the second = is no escape", "==41", "==41"},
    {"blanks behind = are literal", "a= \r\nb", "a= \r\r\nb"},
    {"NUL behind a literal = goes", "=\0x"sv, "=x"},
    {"NUL alone stays", "a\0b"sv, "a\0b"sv},
    {"LF", "a\nb", "a\r\nb"},
    {"CR", "a\rb", "a\r\nb"},
    {"LF CR", "a\n\rb", "a\r\nb"},
    {"two LF", "a\n\nb", "a\r\n\r\nb"},
    {"two CR LF", "a\r\n\r\nb", "a\r\n\r\nb"},
    {"CR CR LF", "a\r\r\nb", "a\r\n\r\n\r\nb"},
    {"an escape doesn't part a line end", "\r=41\n", "\r\nA"},
    {"a literal = doesn't either", "\r=xy\n", "\r\n=xy"},
    {"trailing blanks stay", "a  \r\n", "a  \r\n"},
};

TEST(QpDecoder, GivesTheBytesOfEachRuleInPiecesOfAnySize) {
  for (const Case& c : kQpCases) {
    for (const std::size_t piece : {1U, 2U, 3U, 100U}) {
      SCOPED_TRACE(std::string(c.why) + ", " + std::to_string(piece));
      EXPECT_EQ(run(QpDecoder(), c.in, piece), c.out);
    }
  }
}

// The rules once more, as a loop that pulls single bytes and knows no fast road.
std::string pulledQp(std::string_view in) {
  std::string out;
  std::size_t read = 0;
  char held = 0;
  char partner = 0;
  const auto next = [&] { return read < in.size() ? in[read++] : '\0'; };
  while (read < in.size() || held != 0) {
    const char c = held != 0 ? held : next();
    held = 0;
    if (c == '=') {
      const char h1 = next();
      const char h2 = next();
      if (isxdigit(static_cast<unsigned char>(h1)) != 0 && isxdigit(static_cast<unsigned char>(h2)) != 0) {
        out += static_cast<char>(std::stoi(std::string{h1, h2}, nullptr, 16));
      } else if (h1 == '\r' && h2 == '\n') {
        continue;
      } else if (h1 == '\r' || h1 == '\n') {
        held = h2;
      } else {
        out += '=';
        out.append(h1 != 0 ? 1 : 0, h1).append(h2 != 0 ? 1 : 0, h2);
      }
    } else if (c == '\r' || c == '\n') {
      if (c != partner) {
        out += "\r\n";
      }
      partner = partner != 0 ? '\0' : (c == '\r' ? '\n' : '\r');
    } else {
      out += c;
      partner = 0;
    }
  }
  return out;
}

TEST(QpDecoder, AgreesWithABytewiseReading) {
  std::mt19937 random(1);
  for (int i = 0; i < 20'000; ++i) {
    const std::string in = randomText(random, "=\r\n4aG \0"sv, random() % 24);
    const std::size_t piece = 1 + random() % 7;
    ASSERT_EQ(run(QpDecoder(), in, piece), pulledQp(in)) << testing::PrintToString(in) << " by " << piece;
  }
}

constexpr Case kBase64Cases[] = {
    {"nothing", "", ""},
    {"a line end inside", "QUJD\r\nRA==", "ABCD"},
    {"junk between", "Q!U@J#D", "ABC"},
    {"no padding, three", "QUI", "AB"},
    {"no padding, two", "QQ", "A"},
    {"a single character is lost", "QUJDQ", "ABC"},
    {"padding has no meaning", "QQ==QUJD", "\x41\x04\x14\x24"},
    {"8-bit bytes are junk", "QU\xFFJD", "ABC"},
    {"the whole alphabet's ends", "+/+/", "\xFB\xFF\xBF"},
};

TEST(Base64Decoder, GivesTheBytesOfEachRuleInPiecesOfAnySize) {
  for (const Case& c : kBase64Cases) {
    for (const std::size_t piece : {1U, 2U, 3U, 5U, 100U}) {
      SCOPED_TRACE(std::string(c.why) + ", " + std::to_string(piece));
      EXPECT_EQ(run(Base64Decoder(), c.in, piece), c.out);
    }
  }
}

TEST(Base64Encoder, BreaksLinesByTheLength) {
  struct Row {
    std::size_t bytes;
    std::size_t fullLines;   // of 76 characters, each with its CR LF
    std::size_t characters;  // that follow
    std::string_view padding;
    bool leadingLineEnd = false;
  };
  static constexpr Row kRows[] = {
      {0, 0, 0, "", true}, {1, 0, 2, "==", true}, {2, 0, 3, "=", true}, {3, 0, 4, ""},   {4, 0, 6, "=="},
      {56, 0, 75, "="},    {57, 1, 0, ""},        {58, 1, 2, "=="},     {59, 1, 3, "="}, {60, 1, 4, ""},
      {113, 1, 75, "="},   {114, 2, 0, ""},       {115, 2, 2, "=="},    {171, 3, 0, ""},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.bytes);
    std::string expected = row.leadingLineEnd ? "\r\n" : "";
    for (std::size_t i = 0; i < row.fullLines; ++i) {
      expected += std::string(76, 'A') + "\r\n";
    }
    expected.append(row.characters, 'A').append(row.padding);
    EXPECT_EQ(run(Base64Encoder(Base64Lines::Of76), std::string(row.bytes, '\0'), 7), expected);
  }
}

TEST(Base64Encoder, AnnouncesItsSizeAndComesBack) {
  std::mt19937 random(2);
  std::string data;
  for (std::size_t size = 0; size < 400; ++size, data += static_cast<char>(random())) {
    for (const Base64Lines lines : {Base64Lines::None, Base64Lines::Of76}) {
      SCOPED_TRACE(size);
      const std::string whole = run(Base64Encoder(lines), data, data.size() + 1);
      ASSERT_EQ(whole.size(), Base64Encoder::encodedSize(size, lines));
      ASSERT_EQ(run(Base64Encoder(lines), data, 1), whole);
      ASSERT_EQ(run(Base64Encoder(lines), data, 16), whole);
      ASSERT_EQ(run(Base64Decoder(), whole, 5), data);
    }
  }
}

TEST(Base64Encoder, GivesThePublishedVectors) {
  static constexpr Case kCases[] = {
      {"0", "", ""},
      {"1", "f", "Zg=="},
      {"2", "fo", "Zm8="},
      {"3", "foo", "Zm9v"},
      {"4", "foob", "Zm9vYg=="},
      {"5", "fooba", "Zm9vYmE="},
      {"6", "foobar", "Zm9vYmFy"},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(run(Base64Encoder(Base64Lines::None), c.in, 2), c.out);
  }
}

}  // namespace
}  // namespace nalvo
