#include "mime/body_encoding.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "streams/transfer_codecs.h"

using namespace nalvo;
using namespace nalvo::mime;

namespace {

std::string encodeQp(std::string_view text, std::size_t piece = 4096) {
  QpEncoder encoder;
  std::string out;
  for (std::size_t at = 0; at < text.size(); at += piece) {
    encoder.update(text.substr(at, piece), out);
  }
  encoder.finish(out);
  return out;
}

std::string decodeQp(std::string_view text) {
  QpDecoder decoder;
  std::string out;
  decoder.update(text, out);
  decoder.finish(out);
  return out;
}

void expectGoodLines(std::string_view encoded) {
  for (std::size_t at = 0; at < encoded.size();) {
    const std::size_t end = std::min(encoded.find("\r\n", at), encoded.size());
    const std::string_view line = encoded.substr(at, end - at);
    EXPECT_LE(line.size(), 76U) << line;
    EXPECT_EQ(line.find_first_of("\r\n"), std::string_view::npos);
    EXPECT_FALSE(line.ends_with(' ') || line.ends_with('\t')) << line;
    EXPECT_FALSE(line.starts_with("From ") || line == ".") << line;
    at = end + 2;
  }
}

TEST(QpEncoder, ProtectsWhatTheWayWouldChange) {
  struct Case {
    std::string_view why, text, encoded;
  };
  static constexpr Case kCases[] = {
      {"plain", "a b\r\nc", "a b\r\nc"},
      {"8-bit and the sign itself", "\xE9=\x01", "=E9=3D=01"},
      {"blanks at the end of a line", "a \r\nb\t\r\nc ", "a=20\r\nb=09\r\nc=20"},
      {"a lone LF is data", "a\nb", "a=0A=\r\nb"},
      {"a lone CR is data", "a\rb\r", "a=0D=\r\nb=0D"},
      {"CR CR LF", "a\r\r\nb", "a=0D=\r\n\r\nb"},
      {"a line that mailboxes part at", "From x\r\nFrom\r\n>From x", "=46rom x\r\nFrom\r\n>From x"},
      {"a lone dot", ".\r\n..\r\n.", "=2E\r\n..\r\n=2E"},
      {"empty", "", ""},
      {"only line ends", "\r\n\r\n", "\r\n\r\n"},
  };
  for (const Case& c : kCases) {
    for (const std::size_t piece : {1U, 2U, 4096U}) {
      EXPECT_EQ(encodeQp(c.text, piece), c.encoded) << c.why;
    }
    EXPECT_EQ(decodeQp(c.encoded), c.text) << c.why;
  }
}

TEST(QpEncoder, LinesEndInTime) {
  for (std::size_t size = 70; size < 80; ++size) {
    for (const std::string_view tail : {"", " ", "=", "\xE9", " \r\n", "\n", "\r"}) {
      const std::string text = std::string(size, 'x') + std::string(tail) + "y";
      const std::string encoded = encodeQp(text);
      expectGoodLines(encoded);
      EXPECT_EQ(decodeQp(encoded), text);
      expectGoodLines(encodeQp("From " + text));
    }
  }
  EXPECT_EQ(encodeQp(std::string(75, 'x')), std::string(75, 'x'));
}

TEST(QpEncoder, AnyBytesComeBack) {
  std::mt19937 random(3);
  static constexpr std::string_view kParts[] = {"\r\n",
                                                "\r",
                                                "\n",
                                                " ",
                                                "\t",
                                                ".",
                                                "From ",
                                                "=",
                                                "x",
                                                "\xC3\xA4",
                                                "0123456789012345678901234567890",
                                                std::string_view("\0", 1)};
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    for (std::size_t parts = random() % 30; parts > 0; --parts) {
      text += kParts[random() % std::size(kParts)];
    }
    const std::string encoded = encodeQp(text, 1 + random() % 7);
    expectGoodLines(encoded);
    ASSERT_EQ(encoded, encodeQp(text));
    ASSERT_EQ(decodeQp(encoded), text) << encoded;
  }
}

TextStatistics statisticsOf(std::string_view text, std::size_t piece = 4096) {
  TextStatistics statistics;
  for (std::size_t at = 0; at < text.size(); at += piece) {
    statistics.update(text.substr(at, piece));
  }
  return statistics;
}

TEST(TextEncoding, IsThePlainestThatArrivesWhole) {
  struct Case {
    std::string_view why;
    std::string text;
    Encoding asText, asRaw;
  };
  const Case kCases[] = {
      {"empty", "", IET_7BIT, IET_7BIT},
      {"ASCII", "a\r\nb", IET_7BIT, IET_7BIT},
      {"a lone LF", "one line\nand another", IET_QP, IET_7BIT},
      {"a lone CR", "one line\rand another", IET_QP, IET_7BIT},
      {"a CR at the end", "one line\r", IET_QP, IET_7BIT},
      {"NUL", std::string("some longer text\0", 17), IET_QP, IET_BASE64},
      {"998 bytes", std::string(998, 'x') + "\r\n", IET_7BIT, IET_7BIT},
      {"999 bytes", std::string(999, 'x') + "\r\n", IET_QP, IET_BASE64},
      {"999 bytes at the end", "a\r\n" + std::string(999, 'x'), IET_QP, IET_BASE64},
      {"a few letters", "na\xC3\xAFve people said a word", IET_QP, IET_8BIT},
      {"all letters", "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82", IET_BASE64, IET_8BIT},
      {"a From line", "a\r\nFrom here", IET_QP, IET_7BIT},
      {"From within a line", "xFrom here\r\nFromage", IET_7BIT, IET_7BIT},
  };
  for (const Case& c : kCases) {
    for (const std::size_t piece : {1U, 3U, 4096U}) {
      SCOPED_TRACE(c.why);
      const TextStatistics statistics = statisticsOf(c.text, piece);
      EXPECT_EQ(chooseTextEncoding(statistics), c.asText);
      EXPECT_EQ(chooseRawEncoding(statistics), c.asRaw);
    }
  }
  EXPECT_EQ(chooseTextEncoding(statisticsOf("a"), findCharset("utf-16")), IET_BASE64);
  EXPECT_EQ(chooseTextEncoding(statisticsOf("a"), findCharset("utf-32")), IET_BASE64);
}

TEST(TextEncoding, SizesAreNearTheTruth) {
  const std::string text =
      "Gr\xC3\xBC\xC3\x9F"
      "e aus der Stadt, in der es immer regnet, und noch ein Satz dahinter.\r\n";
  std::string all;
  for (int i = 0; i < 200; ++i) {
    all += text;
  }
  const TextStatistics statistics = statisticsOf(all);
  EXPECT_NEAR(static_cast<double>(statistics.qpSize()), static_cast<double>(encodeQp(all).size()),
              static_cast<double>(all.size()) * 0.05);
  Base64Encoder base64(Base64Lines::Of76);
  std::string encoded;
  base64.update(all, encoded);
  base64.finish(encoded);
  EXPECT_NEAR(static_cast<double>(statistics.base64Size()), static_cast<double>(encoded.size()), 4.0);
}

}  // namespace
