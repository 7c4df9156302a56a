#include "streams/coder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "streams/transfer_codecs.h"
#include "tests/streams/fakes.h"

namespace nalvo {
namespace {

using StreamCoder = void (*)(IStream*, IStream*);

template <typename Codec>
std::string wholly(Codec codec, std::string_view in) {
  std::string out;
  codec.update(in, out);
  codec.finish(out);
  return out;
}

struct Coding {
  std::string_view name;
  StreamCoder run;
  std::string (*expected)(std::string_view in);
  std::string sample;
};

const Coding kCodings[] = {
    {"decodeQP", &Coder::decodeQP, [](std::string_view in) { return wholly(QpDecoder(), in); },
     "a=3Db=\r\nc\nd\n\ne=\nf\r\r\n=\r=41=4=\n==41 \xFF=C3=A4="},
    {"decodeBase64", &Coder::decodeBase64, [](std::string_view in) { return wholly(Base64Decoder(), in); },
     "QUJD\r\nRA==Q!U@J#DQUJDRUZHSElKS0xNTk9QUVJTVFVWV1hZWg==\r\nQQ"},
    {"encodeBase64", &Coder::encodeBase64, [](std::string_view in) { return wholly(Base64Encoder(Base64Lines::Of76), in); },
     "The quick brown fox jumps over the lazy dog, and 57 bytes fill one line, so more"},
};

TEST(Coder, GivesTheSameByAnyRead) {
  for (const Coding& coding : kCodings) {
    for (std::size_t length = 0; length <= coding.sample.size(); ++length) {
      const std::string in = coding.sample.substr(0, length);
      for (const ULONG atMost : {1U, 16U, 4096U}) {
        SCOPED_TRACE(std::string(coding.name) + " " + std::to_string(length) + " by " + std::to_string(atMost));
        const auto source = makeCom<FakeStream>("??" + in);
        source->position = 2;
        source->atMost = atMost;
        const auto destination = makeCom<FakeStream>();
        coding.run(source.get(), destination.get());
        ASSERT_EQ(destination->data, coding.expected(in));
        ASSERT_EQ(destination->position, 0U);
      }
    }
  }
}

TEST(Coder, FillsWithZerosWhatCantBeRead) {
  const auto source = makeCom<FakeStream>(std::string(100, 'x'));
  source->atMost = 10;
  source->failReadAt = 5;
  const auto destination = makeCom<FakeStream>();
  Coder::decodeQP(source.get(), destination.get());
  EXPECT_EQ(destination->data, std::string(40, 'x') + '\0' + std::string(59, 'x')) << "one read failed";

  const auto failing = makeCom<FakeStream>(std::string(100'000, 'x'));
  failing->atMost = 40'000;
  failing->failReadAt = 2;
  failing->failsForGood = true;
  Coder::decodeQP(failing.get(), destination.get());
  EXPECT_TRUE(destination->data == std::string(40'000, 'x') + std::string(60'000, '\0')) << "half-way, for good";

  const auto shortOne = makeCom<FakeStream>("QUJD");
  shortOne->claimedSize = 100;
  Coder::decodeBase64(shortOne.get(), destination.get());
  EXPECT_EQ(destination->data, "ABC") << "claims more than it has";
}

TEST(Coder, EmptiesTheDestinationWhenAStepFails) {
  for (const Coding& coding : kCodings) {
    for (int call = 1; call < 10; ++call) {
      SCOPED_TRACE(std::string(coding.name) + " " + std::to_string(call));
      const auto source = makeCom<FakeStream>(coding.sample);
      const auto destination = makeCom<FakeStream>("left over");
      destination->failAt = call;
      destination->failure = STG_E_WRITEFAULT;
      const HRESULT hr = codeOf([&] { coding.run(source.get(), destination.get()); });
      if (destination->failAt > 0) {
        EXPECT_EQ(hr, S_OK);
        EXPECT_GT(call, 3);
        break;
      }
      EXPECT_EQ(hr, STG_E_WRITEFAULT);
      EXPECT_TRUE(destination->data.empty() || call == 4) << "only the rewind comes when all is written";
    }
    const auto broken = makeCom<FakeStream>(coding.sample);
    const auto destination = makeCom<FakeStream>("kept");
    broken->failAt = 2;
    EXPECT_EQ(codeOf([&] { coding.run(broken.get(), destination.get()); }), STG_E_READFAULT);
    EXPECT_EQ(destination->data, "kept") << "a source that can't be measured";
    EXPECT_EQ(codeOf([&] { coding.run(nullptr, destination.get()); }), E_INVALIDARG);
    EXPECT_EQ(codeOf([&] { coding.run(broken.get(), nullptr); }), E_INVALIDARG);
  }
}

TEST(Coder, WritesOnThoughTheDestinationTakesLess) {
  const auto source = makeCom<FakeStream>("a=3Db\nc");
  const auto destination = makeCom<FakeStream>();
  destination->atMost = 2;
  Coder::decodeQP(source.get(), destination.get());
  EXPECT_EQ(destination->data, "a=b\r\nc");
}

TEST(Coder, HasLimits) {
  const auto source = makeCom<FakeStream>();
  const auto destination = makeCom<FakeStream>("x");
  source->claimedSize = std::uint64_t{1} << 32;
  EXPECT_EQ(codeOf([&] { Coder::decodeQP(source.get(), destination.get()); }), MAPI_E_TOO_BIG);
  EXPECT_EQ(destination->data, "x");
  source->claimedSize = 0x20000000;
  source->position = 0;
  EXPECT_EQ(codeOf([&] { Coder::encodeBase64(source.get(), destination.get()); }), E_FAIL);
  EXPECT_EQ(destination->data, "");
}

TEST(Coder, CodesInMemory) {
  std::string text = "left over";
  EXPECT_EQ(Coder::encodeBase64("\0\xFF", 2, text), S_OK);
  EXPECT_EQ(text, "AP8=");
  EXPECT_EQ(Coder::encodeBase64(std::string(60, 'x').data(), 60, text), S_OK);
  EXPECT_EQ(text.size(), 80U) << "no line breaks";
  EXPECT_EQ(Coder::decodeBase64("AP8=", 4, text), S_OK);
  EXPECT_EQ(text, std::string("\0\xFF", 2));
  EXPECT_EQ(Coder::decodeBase64(nullptr, 0, text), S_OK);
  EXPECT_EQ(text, "");
  text = "left over";
  EXPECT_EQ(Coder::decodeBase64(nullptr, 1, text), E_INVALIDARG);
  EXPECT_EQ(text, "");
  EXPECT_EQ(Coder::encodeBase64(nullptr, 0, text), S_OK);
  EXPECT_EQ(Coder::encodeBase64(nullptr, 1, text), E_INVALIDARG);
  EXPECT_EQ(Coder::encodeBase64(static_cast<IStream*>(nullptr), text), E_INVALIDARG);

  const auto source = makeCom<FakeStream>("?foobar");
  source->position = 1;
  source->atMost = 2;
  EXPECT_EQ(Coder::encodeBase64(source.get(), text), S_OK);
  EXPECT_EQ(text, "Zm9vYmFy");
  source->failAt = 1;
  EXPECT_EQ(Coder::encodeBase64(source.get(), text), STG_E_READFAULT);
  EXPECT_EQ(text, "");
}

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define NALVO_SANITIZED 1
#endif
#endif

// Sanitizers keep freed blocks and shadows of what is used.
#if defined(NALVO_SANITIZED) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::int64_t kMemoryAllowed = 150 * 1024 * 1024;
#else
constexpr std::int64_t kMemoryAllowed = 24 * 1024 * 1024;
#endif

// The most memory that the process has had so far, in bytes.
std::int64_t peakMemory() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss * 1024;
}

TEST(Coder, HandlesBigBodiesInLittleMemory) {
  constexpr std::uint64_t kSize = 200 * 1024 * 1024;
  const std::int64_t before = peakMemory();
  const ComPtr<IStream> source = streamUtils::createStream();
  ASSERT_EQ(source->SetSize(kSize), S_OK);
  const ComPtr<IStream> encoded = streamUtils::createStream();
  Coder::encodeBase64(source.get(), encoded.get());
  EXPECT_EQ(sizeOf(encoded.get()), Base64Encoder::encodedSize(kSize, Base64Lines::Of76));
  streamUtils::rewind(source.get());
  ASSERT_EQ(source->SetSize(0), S_OK);
  Coder::decodeBase64(encoded.get(), source.get());
  EXPECT_EQ(sizeOf(source.get()), kSize);
  Coder::decodeQP(source.get(), encoded.get());
  EXPECT_EQ(sizeOf(encoded.get()), kSize);
  ASSERT_EQ(encoded->SetSize(0), S_OK);
  EXPECT_LE(peakMemory() - before, kMemoryAllowed);
}

}  // namespace
}  // namespace nalvo
