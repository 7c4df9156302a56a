#include "streams/stream_utils.h"

#include <gtest/gtest.h>

#include "streams/stream_convertor.h"
#include "tests/streams/fakes.h"

namespace nalvo {
namespace {

std::string bytesOf(std::u16string_view text) { return {reinterpret_cast<const char*>(text.data()), 2 * text.size()}; }

std::u16string htmlOf(IStream* source) {
  const ComPtr<IStream> destination = streamUtils::createStream();
  streamUtils::replaceHtmlEntities(source, destination.get());
  streamUtils::rewind(destination.get());
  std::u16string html;
  streamUtils::copyToString(destination.get(), html, false);
  return html;
}

TEST(StreamUtils, RefuseMissingAndEqualStreams) {
  const ComPtr<IStream> stream = streamOf("abc");
  std::u16string text;
  char byte = 0;
  EXPECT_EQ(codeOf([&] { streamUtils::rewind(nullptr); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { streamUtils::seek(nullptr, 0); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { (void)streamUtils::getStreamSize(nullptr); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { streamUtils::copyToString(nullptr, text, false); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { streamUtils::detail::writeStr(nullptr, "x"); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { streamUtils::detail::readData(nullptr, &byte, 1); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { streamUtils::detail::readData(stream.get(), nullptr, 1); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { streamUtils::copy(stream.get(), stream.get(), false); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { streamUtils::copy(stream.get(), nullptr, false); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { streamUtils::replaceHtmlEntities(stream.get(), stream.get()); }), E_INVALIDARG);
}

TEST(StreamUtils, MoveCopyAndRead) {
  const ComPtr<IStream> stream = streamOf("0123456789");
  streamUtils::seek(stream.get(), 4);
  streamUtils::seek(stream.get(), -1);
  const ComPtr<IStream> destination = streamUtils::createStream();
  streamUtils::copy(stream.get(), destination.get(), true);
  EXPECT_EQ(restOf(stream.get()), "3456789") << "the position came back";
  streamUtils::rewind(destination.get());
  char bytes[8] = {};
  EXPECT_EQ(codeOf([&] { streamUtils::detail::readData(destination.get(), bytes, 7); }), S_OK);
  EXPECT_STREQ(bytes, "3456789");
  EXPECT_EQ(codeOf([&] { streamUtils::detail::readData(destination.get(), bytes, 1); }), STG_E_READFAULT);
}

TEST(StreamUtils, KnowOnly32BitSizes) {
  const auto stream = makeCom<FakeStream>();
  stream->claimedSize = UINT32_MAX;
  EXPECT_EQ(streamUtils::getStreamSize(stream.get()), UINT32_MAX);
  stream->claimedSize = std::uint64_t{1} << 32;
  EXPECT_EQ(codeOf([&] { (void)streamUtils::getStreamSize(stream.get()); }), MAPI_E_TOO_BIG);
}

TEST(StreamUtils, WriteTextAsBytes) {
  const auto stream = makeCom<FakeStream>();
  using streamUtils::detail::writeStr;
  writeStr(stream.get(), "");
  writeStr(stream.get(), static_cast<const char*>(nullptr));
  writeStr(stream.get(), static_cast<const char16_t*>(nullptr));
  EXPECT_EQ(stream->writes, 0);
  writeStr(stream.get(), "ab");
  writeStr(stream.get(), std::string("c"));
  writeStr(stream.get(), u"d\u20AC");
  writeStr(stream.get(), std::u16string(u"e"));
  writeStr(stream.get(), "fgh", 2);
  EXPECT_EQ(stream->data, "abc" + bytesOf(u"d\u20ACe") + "fg");
  EXPECT_EQ(stream->writes, 5);
  stream->atMost = 2;
  writeStr(stream.get(), "12345");
  EXPECT_TRUE(stream->data.ends_with("fg12345"));
  stream->failAt = 1;
  EXPECT_EQ(codeOf([&] { writeStr(stream.get(), "x"); }), STG_E_READFAULT);
}

TEST(CopyToString, KeepsCharactersWhole) {
  std::u16string text;
  for (char16_t c = 1; c < 3000; ++c) {
    text += c;
  }
  for (const ULONG atMost : {1U, 3U, 16U, 0x7FFU, UINT32_MAX}) {
    SCOPED_TRACE(atMost);
    const auto stream = makeCom<FakeStream>(bytesOf(text) + "!");
    stream->atMost = atMost;
    stream->lastRead = S_FALSE;
    std::u16string read = u"> ";
    streamUtils::copyToString(stream.get(), read, true);
    EXPECT_EQ(read, u"> " + text);
    EXPECT_EQ(stream->position, 0U);
  }
  const auto failing = makeCom<FakeStream>(bytesOf(text));
  failing->failReadAt = 2;
  std::u16string read;
  EXPECT_EQ(codeOf([&] { streamUtils::copyToString(failing.get(), read, false); }), STG_E_READFAULT);
}

TEST(ReplaceHtmlEntities, ReplacesSixThings) {
  struct Case {
    std::u16string_view text, html;
  };
  static constexpr Case kCases[] = {
      {u"", u""},
      {u"a<b", u"a&lt;b"},
      {u"&\"'<>", u"&amp;&quot;&#039;&lt;&gt;"},
      {u"a\nb", u"a<br>\r\nb"},
      {u"a\r\nb\n\rc\rd", u"a<br>\r\nb<br>\r\nc<br>\r\nd"},
      {u"\r\r\n\n", u"<br>\r\n<br>\r\n<br>\r\n"},
      {u"\U0001F600\u20AC", u"\U0001F600\u20AC"},
  };
  for (const Case& c : kCases) {
    const ComPtr<IStream> source = streamOf(bytesOf(c.text));
    source->Seek(0, STREAM_SEEK_END, nullptr);
    EXPECT_EQ(htmlOf(source.get()), c.html) << "from the start, wherever the source stands";
  }
}

TEST(ReplaceHtmlEntities, TakesChunksByThemselves) {
  const std::u16string filler(0x7FFF, u'x');
  EXPECT_EQ(htmlOf(streamOf(bytesOf(filler + u"\r\ny")).get()), filler + u"<br>\r\n<br>\r\ny");
  const std::u16string less(0x7FFE, u'x');
  EXPECT_EQ(htmlOf(streamOf(bytesOf(less + u"\r\ny")).get()), less + u"<br>\r\ny");
}

TEST(ReplaceHtmlEntities, EndsWhereTheSourceFails) {
  const std::u16string text(100, u'<');
  const auto odd = makeCom<FakeStream>(bytesOf(text));
  odd->atMost = 7;
  odd->lastRead = S_FALSE;
  std::u16string all;
  for (int i = 0; i < 100; ++i) {
    all += u"&lt;";
  }
  EXPECT_EQ(htmlOf(odd.get()), all);
  const auto failing = makeCom<FakeStream>(bytesOf(text));
  failing->atMost = 8;
  failing->failReadAt = 2;
  EXPECT_EQ(htmlOf(failing.get()), u"&lt;&lt;&lt;&lt;");
}

TEST(StreamConvertor, ConvertsBetweenCodePages) {
  struct Case {
    std::string_view why;
    std::uint32_t from, to;
    std::string in, out;
  };
  const Case cases[] = {
      {"narrow to narrow", 1252, 28591, "caf\xE9 \x80", "caf\xE9 ?"},
      {"narrow to UTF-8", 1252, 65001, "caf\xE9 \x80", "caf\xC3\xA9 \xE2\x82\xAC"},
      {"wide to UTF-8", 1200, 65001, bytesOf(u"\U0001F600"), "\xF0\x9F\x98\x80"},
      {"UTF-8 to wide", 65001, 1200, "\xE2\x82\xAC", bytesOf(u"\u20AC")},
      {"nothing", 65001, 1252, "", ""},
  };
  const auto convertor = StreamConvertor::instance();
  EXPECT_EQ(convertor, StreamConvertor::instance());
  for (const Case& c : cases) {
    for (const ULONG atMost : {1U, UINT32_MAX}) {
      SCOPED_TRACE(c.why);
      const auto source = makeCom<FakeStream>(c.in);
      source->atMost = atMost;
      const ComPtr<IStream> destination = streamUtils::createStream();
      convertor->streamToStream(c.from, c.to, source.get(), destination.get());
      streamUtils::rewind(destination.get());
      EXPECT_EQ(restOf(destination.get()), c.out);
    }
  }
}

TEST(StreamConvertor, TellsWhatFailed) {
  const auto convertor = StreamConvertor::instance();
  const auto source = makeCom<FakeStream>("abc");
  const ComPtr<IStream> destination = streamUtils::createStream();
  const auto convert = [&](std::uint32_t page, IStream* to) {
    return codeOf([&] { convertor->streamToStream(page, 65001, source.get(), to); });
  };
  EXPECT_EQ(convert(1252, nullptr), E_INVALIDARG);
  EXPECT_EQ(convert(4711, destination.get()), E_FAIL);
  source->failAt = 1;
  EXPECT_EQ(convert(1252, destination.get()), STG_E_READFAULT);
}

}  // namespace
}  // namespace nalvo
