#include "platform/text/rtf/compressed_rtf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "tests/support/cpu_time.h"
#include "tests/text/rtf_files.h"

namespace nalvo {
namespace {

using test::corpusFiles;
using test::fileBytes;

struct Decoded {
  std::string text;
  bool intact = false;
};

Decoded decode(std::string_view bytes, std::size_t piece = SIZE_MAX) {
  CompressedRtfDecoder decoder;
  Decoded result;
  for (std::size_t at = 0; at < bytes.size(); at += std::min(piece, bytes.size() - at)) {
    decoder.update(bytes.substr(at, piece), result.text);
  }
  result.intact = decoder.intact();
  return result;
}

std::string encode(std::string_view text, std::size_t piece = SIZE_MAX,
                   CompressedRtfEncoder::Form form = CompressedRtfEncoder::Form::Compressed) {
  CompressedRtfEncoder encoder(form);
  std::string content;
  for (std::size_t at = 0; at < text.size(); at += std::min(piece, text.size() - at)) {
    encoder.update(text.substr(at, piece), content);
  }
  encoder.finish(content);
  const auto header = encoder.header();
  return std::string(header.data(), header.size()) + content;
}

std::string bytesOf(std::string_view hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 3) {
    bytes.push_back(static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

const std::string kHello = bytesOf(
    "2d 00 00 00 2b 00 00 00 4c 5a 46 75 f1 c5 c7 a7 03 00 0a 00 72 63 70 67 31 32 35 42 32 0a f3 20 "
    "68 65 6c 09 00 20 62 77 05 b0 6c 64 7d 0a 80 0f a0 ");
constexpr std::string_view kHelloText = "{\\rtf1\\ansi\\ansicpg1252\\pard hello world}\r\n";

TEST(CompressedRtf, PublishedVectorsDecode) {
  EXPECT_EQ(decode(kHello).text, kHelloText);
  EXPECT_TRUE(decode(kHello).intact);
  // A reference that reaches into what it writes.
  const Decoded repeated =
      decode(bytesOf("1a 00 00 00 1c 00 00 00 4c 5a 46 75 e2 d4 4b 51 41 00 04 20 57 58 59 5a 0d 6e 7d 01 0e b0 "));
  EXPECT_EQ(repeated.text, "{\\rtf1 WXYZWXYZWXYZWXYZWXYZ}");
  EXPECT_TRUE(repeated.intact);
}

TEST(CompressedRtf, CutAnywhereTheBeginningComesOutAndIsNotTakenForWhole) {
  for (std::size_t size = 0; size < kHello.size(); ++size) {
    const Decoded part = decode(std::string_view(kHello).substr(0, size));
    EXPECT_TRUE(kHelloText.starts_with(part.text)) << size;
    EXPECT_FALSE(part.intact) << size;
  }
}

// The two sizes of the header may lie; the check sum may not.
TEST(CompressedRtf, HeaderIsBelievedOnlyWhereTheDataAgrees) {
  struct Case {
    const char* why;
    std::size_t at;
    const char* bytes;
    bool intact;
    bool readable;
  };
  static constexpr Case kCases[] = {
      {"raw size of 4 GiB", 4, "ff ff ff ff ", true, true},
      {"raw size 0", 4, "00 00 00 00 ", true, true},
      {"compressed size too great", 0, "ff 00 00 ", true, true},
      {"compressed size too small", 0, "01 ", true, true},
      {"check sum", 12, "00 01 ", false, true},
      {"content", 21, "73 ", false, true},
      {"no such form", 8, "4d ", false, false},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    std::string bytes = kHello;
    const std::string changed = bytesOf(c.bytes);
    bytes.replace(c.at, changed.size(), changed);
    const Decoded result = decode(bytes);
    EXPECT_EQ(result.intact, c.intact);
    EXPECT_EQ(result.text.size(), c.readable ? kHelloText.size() : 0);
  }
  const Decoded padded = decode(kHello + std::string(100, 'x'));
  EXPECT_TRUE(padded.intact);
  EXPECT_EQ(padded.text, kHelloText);
}

TEST(CompressedRtf, PlainFormEndsAtItsDeclaredSize) {
  const std::string plain = encode(kHelloText, 7, CompressedRtfEncoder::Form::Plain);
  EXPECT_EQ(plain.substr(8, 4), "MELA");
  EXPECT_EQ(decode(plain + "behind", 5).text, kHelloText);
  EXPECT_TRUE(decode(plain).intact);
}

TEST(CompressedRtf, WhatIsEncodedComesBackWhateverThePieces) {
  std::string random;
  std::uint32_t seed = 1;
  for (int i = 0; i < 200000; ++i) {
    seed = seed * 1664525 + 1013904223;
    random.push_back(static_cast<char>('a' + (seed >> 24) % 4));
  }
  for (const std::string& text : {std::string(), std::string("a"), std::string(30000, 'a'), random,
                                  // 16 tokens and the end mark: a group of flags of its own
                                  std::string("\1\2\3\4\5\6\7\10\11\12\13\14\15\16\17\20"), std::string("{\\rtf1")}) {
    const std::string whole = encode(text);
    EXPECT_EQ(encode(text, 1000), whole);
    EXPECT_EQ(encode(text, 17), whole);
    const Decoded back = decode(whole, 13);
    EXPECT_TRUE(back.text == text);
    EXPECT_TRUE(back.intact);
  }
  EXPECT_LT(encode(std::string(30000, 'a')).size(), 30000U / 7);
}

// The slowest text for a compressor that walks all places: the time must grow with the size and not with its square.
TEST(CompressedRtf, EncodingCostsLinearTime) {
  const auto secondsFor = [](std::size_t size) {
    std::string text;
    while (text.size() < size) {
      text += "ab" + std::to_string(text.size() % 977);
    }
    const double start = test::cpuSeconds();
    EXPECT_GT(encode(text).size(), 0U);
    return test::cpuSeconds() - start;
  };
  secondsFor(100000);
  const double small = std::min(secondsFor(200000), secondsFor(200000));
  EXPECT_LT(secondsFor(2000000), 40 * small);
}

TEST(CompressedRtf, FilesOfOthersDecodeAndOursAreNotLarger) {
  std::size_t pairs = 0;
  std::size_t theirs = 0;
  std::size_t ours = 0;
  for (const auto& path : corpusFiles("rtf", ".lzfu")) {
    const auto expected = path.string() + ".expect.rtf";
    if (!std::filesystem::exists(expected)) {
      continue;
    }
    SCOPED_TRACE(path.filename().string());
    const std::string bytes = fileBytes(path);
    const std::string text = fileBytes(expected);
    const Decoded result = decode(bytes, 1000);
    EXPECT_TRUE(result.text == text);
    EXPECT_TRUE(result.intact);
    const std::string again = encode(text);
    EXPECT_TRUE(decode(again).text == text);
    if (bytes.substr(8, 4) == "LZFu") {
      theirs += bytes.size();
      ours += again.size();
    }
    ++pairs;
  }
  if (test::haveCorpus()) {
    std::printf("%zu pairs; compressed by others %zu bytes, by us %zu\n", pairs, theirs, ours);
    EXPECT_GT(pairs, 50U);
    EXPECT_LE(static_cast<double>(ours), 1.05 * static_cast<double>(theirs));
  }
}

}  // namespace
}  // namespace nalvo
