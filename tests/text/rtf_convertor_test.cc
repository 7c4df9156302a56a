#include <gtest/gtest.h>

#include "platform/text/rtf/wrap_compressed_rtf.h"
#include "platform/text/text.h"
#include "tests/streams/fakes.h"
#include "text/rich_text_convertor.h"
#include "text/wrap_compressed_rtf_stream.h"

namespace nalvo {
namespace {

using WrapCompressedRtfStream::detail::WrapCompressedRtfStreamEx;
using WrapCompressedRtfStream::detail::wrapCompressedRtfStreamInThread;

std::string wide(std::u16string_view text) {
  return std::string(reinterpret_cast<const char*>(text.data()), 2 * text.size());
}

std::string toRtf(std::u16string_view text, const std::vector<std::int32_t>& formatting = {}, ULONG atMost = UINT32_MAX) {
  const auto input = makeCom<FakeStream>(wide(text));
  const auto output = makeCom<FakeStream>();
  input->atMost = atMost;
  RichTextConvertor::unicodeToRtf(input.get(), formatting, output.get());
  return output->data;
}

std::string toText(std::string_view rtf, ULONG atMost = UINT32_MAX) {
  const auto input = makeCom<FakeStream>(std::string(rtf));
  const auto output = makeCom<FakeStream>();
  input->atMost = atMost;
  RichTextConvertor::rtfToUnicode(input.get(), output.get());
  return output->data;
}

TEST(RichTextConvertor, HeadSaysThatThePlainTextIsTheOriginal) {
  const std::string rtf = toRtf(u"a");
  EXPECT_TRUE(rtf.starts_with("{\\rtf1\\ansi\\ansicpg1252\\fromtext \\")) << rtf;
  EXPECT_EQ(rtf.find("\\fromtext"), rtf.rfind("\\fromtext"));
}

TEST(RichTextConvertor, LongTextsAreWholeWhateverTheReadsGive) {
  std::u16string text;
  for (int i = 0; i < 40000; ++i) {
    text.push_back(static_cast<char16_t>(u'0' + i % 80));
  }
  text += u"\r\nend\r\n";
  const std::string rtf = toRtf(text);
  EXPECT_EQ(toRtf(text, {}, 333), rtf);
  EXPECT_TRUE(toText(rtf) == wide(text));
  EXPECT_TRUE(toText(rtf, 1) == wide(text));
}

TEST(RichTextConvertor, ListedPlacesGetABlank) {
  EXPECT_EQ(toText(toRtf(u"abcdefgh", {3, 5})), wide(u"abc d efgh"));
  EXPECT_EQ(toText(toRtf(u"ab", {-1, 0, 1000})), wide(u"  ab "));
}

TEST(RichTextConvertor, FailuresAreThrown) {
  const auto stream = makeCom<FakeStream>("abc");
  EXPECT_EQ(codeOf([&] { RichTextConvertor::unicodeToRtf(nullptr, {}, stream.get()); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { RichTextConvertor::unicodeToRtf(stream.get(), {}, nullptr); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { RichTextConvertor::rtfToUnicode(nullptr, stream.get()); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { RichTextConvertor::rtfToUnicode(stream.get(), nullptr); }), E_INVALIDARG);
  for (const bool reading : {true, false}) {
    const auto input = makeCom<FakeStream>("{\\rtf1 abc}");
    const auto output = makeCom<FakeStream>();
    (reading ? input : output)->failAt = 1;
    (reading ? input : output)->failure = STG_E_ACCESSDENIED;
    EXPECT_EQ(codeOf([&] { RichTextConvertor::rtfToUnicode(input.get(), output.get()); }), STG_E_ACCESSDENIED);
    EXPECT_EQ(codeOf([&] {
                (reading ? input : output)->failAt = 1;
                RichTextConvertor::unicodeToRtf(input.get(), {}, output.get());
              }),
              STG_E_ACCESSDENIED);
  }
}

std::string compress(std::string_view rtf, ULONG flags = MAPI_MODIFY) {
  const auto compressed = makeCom<FakeStream>(std::string(500, 'x'));
  const auto text = makeCom<FakeStream>(std::string(rtf));
  EXPECT_EQ(WrapCompressedRtfStreamEx(flags, 0, compressed.get(), text.get()), MAPI_NATIVE_BODY_TYPE_RTF);
  EXPECT_EQ(compressed->position, compressed->data.size());
  return compressed->data;
}

TEST(WrapCompressedRtfStream, NativeBodiesComeOut) {
  struct Case {
    std::string_view why;
    std::string_view rtf;
    std::uint32_t flags;
    std::uint32_t codePage;
    std::uint32_t kind;
    std::string_view body;
  };
  static constexpr std::string_view kHtml =
      "{\\rtf1\\ansi\\fromhtml1 {\\*\\htmltag <b>}\\htmlrtf {\\b\\htmlrtf0 \\u1076?\\'e4}}";
  static constexpr std::string_view kText = "{\\rtf1\\ansi\\fromtext \\'e4\\u1076?\\par x\\par}";
  static constexpr std::string_view kRtf = "{\\rtf1\\ansi \\'e4}";
  static constexpr Case kCases[] = {
      {"HTML in its page", kHtml, MAPI_NATIVE_BODY, 1251, 2, "<b>\xE4&#228;"},
      {"HTML in UTF-8", kHtml, MAPI_NATIVE_BODY, 65001, 2, "<b>\xD0\xB4\xC3\xA4"},
      {"HTML in no page", kHtml, MAPI_NATIVE_BODY, 0, 2, "<b>&#1076;\xE4"},
      {"text", kText, MAPI_NATIVE_BODY, 1252, 4, "\xE4?\r\nx"},
      {"RTF", kRtf, MAPI_NATIVE_BODY, 1252, 1, kRtf},
      {"the RTF of HTML", kHtml, 0, 1252, 1, kHtml},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    for (const std::string& bytes : {compress(c.rtf), compress(c.rtf, MAPI_MODIFY | STORE_UNCOMPRESSED_RTF)}) {
      const auto compressed = makeCom<FakeStream>(bytes);
      const auto body = makeCom<FakeStream>();
      compressed->atMost = 7;
      EXPECT_EQ(WrapCompressedRtfStreamEx(c.flags, c.codePage, compressed.get(), body.get()), c.kind);
      EXPECT_EQ(body->data, c.body);
      EXPECT_EQ(body->position, 0U);
      compressed->position = 0;
      EXPECT_EQ(wrapCompressedRtfStreamInThread(c.codePage, compressed.get(), c.flags, body.get()), c.kind);
      EXPECT_EQ(body->data, c.body);
    }
  }
}

TEST(WrapCompressedRtfStream, BigTextsGoThroughInPieces) {
  std::string rtf = "{\\rtf1\\fromtext ";
  while (rtf.size() < 300000) {
    rtf += std::to_string(rtf.size()) + "\\par ";
  }
  const auto compressed = makeCom<FakeStream>(compress(rtf));
  const auto body = makeCom<FakeStream>();
  WrapCompressedRtfStreamEx(0, 1252, compressed.get(), body.get());
  EXPECT_TRUE(body->data == rtf);
}

TEST(WrapCompressedRtfStream, FailuresAreThrown) {
  EXPECT_TRUE(WrapCompressedRtfStream::isAvailable());
  WrapCompressedRtfStream::detail::initMapi();
  const std::string good = compress("{\\rtf1\\ansi text}");
  std::string badSum = good;
  badSum[12] = static_cast<char>(badSum[12] ^ 1);
  for (const std::string& bytes : {std::string(), std::string("{\\rtf1 no compressed RTF}"), good.substr(0, 20), badSum}) {
    const auto source = makeCom<FakeStream>(bytes);
    const auto destination = makeCom<FakeStream>();
    const auto unwrap = [&] { WrapCompressedRtfStreamEx(0, 1252, source.get(), destination.get()); };
    EXPECT_EQ(codeOf(unwrap), MAPI_E_CORRUPT_DATA);
    source->position = 0;
    EXPECT_EQ(codeOf([&] { wrapCompressedRtfStreamInThread(1252, source.get(), 0, destination.get()); }),
              MAPI_E_CORRUPT_DATA);
  }
  const auto stream = makeCom<FakeStream>(good);
  EXPECT_EQ(codeOf([&] { WrapCompressedRtfStreamEx(0, 1252, nullptr, stream.get()); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { wrapCompressedRtfStreamInThread(1252, stream.get(), 0, nullptr); }), E_INVALIDARG);
  // Each call of the streams fails once; the first failure is the one that shows.
  for (const ULONG flags : {ULONG{0}, MAPI_MODIFY}) {
    for (const bool first : {true, false}) {
      for (int call = 1;; ++call) {
        const auto source = makeCom<FakeStream>(good);
        const auto destination = makeCom<FakeStream>(flags != 0 ? "{\\rtf1}" : "");
        (first ? source : destination)->failAt = call;
        (first ? source : destination)->failure = STG_E_WRITEFAULT;
        const HRESULT hr = codeOf([&] { WrapCompressedRtfStreamEx(flags, 1252, source.get(), destination.get()); });
        if ((first ? source : destination)->failAt > 0) {
          EXPECT_EQ(hr, S_OK);
          EXPECT_GT(call, 1);
          break;
        }
        EXPECT_EQ(hr, STG_E_WRITEFAULT) << flags << first << call;
      }
    }
  }
}

}  // namespace
}  // namespace nalvo
