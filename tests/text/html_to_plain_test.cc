#include "text/html_to_plain.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/text/text.h"
#include "tests/streams/fakes.h"

namespace nalvo {
namespace {

std::string plainOf(std::string_view html, std::uint32_t codePage = 0, ULONG atMost = UINT32_MAX) {
  const auto source = makeCom<FakeStream>(std::string(html));
  const auto plain = makeCom<FakeStream>();
  source->atMost = atMost;
  htmlToPlain::convert(source.get(), plain.get(), codePage);
  EXPECT_EQ(plain->data.size() % 2, 0U);
  std::u16string text(plain->data.size() / 2, u'\0');
  std::memcpy(text.data(), plain->data.data(), plain->data.size());
  return wideToUtf8(text);
}

TEST(HtmlToPlain, WritesTheTextAndNothingAroundIt) {
  EXPECT_EQ(plainOf("<p>a</p><script>document.write('b')</script>c"), "a\r\n\r\nc");
  EXPECT_EQ(plainOf("<pre>a\r\nb</pre>", 0, 1), "a\r\nb");
  EXPECT_EQ(plainOf("\xE4", 1251), "д");
  EXPECT_EQ(plainOf(""), "");
  EXPECT_EQ(plainOf("<frameset></frameset>"), "");
}

TEST(HtmlToPlain, TheFirstFailureIsThrown) {
  const auto html = makeCom<FakeStream>("<p>a");
  const auto plain = makeCom<FakeStream>();
  EXPECT_EQ(codeOf([&] { htmlToPlain::convert(nullptr, plain.get()); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { htmlToPlain::convert(html.get(), nullptr); }), E_INVALIDARG);
  for (FakeStream* stream : {html.get(), plain.get()}) {
    html->position = 0;
    stream->failAt = 1;
    stream->failure = STG_E_ACCESSDENIED;
    try {
      htmlToPlain::convert(html.get(), plain.get());
      ADD_FAILURE() << "no exception";
    } catch (const HResultException& failure) {
      EXPECT_EQ(failure.getHResult(), STG_E_ACCESSDENIED);
      EXPECT_NE(std::string(failure.what()).find("htmlToPlain::convert"), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace nalvo
