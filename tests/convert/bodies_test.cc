#include "platform/text/rtf/wrap_compressed_rtf.h"
#include "tests/support/caller.h"
#include "text/wrap_compressed_rtf_stream.h"

namespace nalvo::test {
namespace {

ComPtr<IStream> streamOf(std::string_view bytes) {
  ComPtr<IStream> stream = streamUtils::createStream();
  streamUtils::detail::writeStr(stream.get(), bytes);
  streamUtils::rewind(stream.get());
  return stream;
}

std::string compressed(std::string_view rtf) {
  const ComPtr<IStream> result = streamUtils::createStream();
  WrapCompressedRtfStream::detail::WrapCompressedRtfStreamEx(MAPI_MODIFY, 0, result.get(), streamOf(rtf).get());
  return Caller::contentOf(result.get());
}

constexpr std::string_view kRtf = R"({\rtf1\ansi\ansicpg1252 Gr\'fc\'dfe {\b bold}\par \u8364?})";
constexpr std::string_view kRtfOfHtml =
    R"({\rtf1\ansi\ansicpg1252\fromhtml1 {\*\htmltag64 <p>}\htmlrtf \b \htmlrtf0 Gr\'fc\'dfe{\*\htmltag72 </p>}})";
constexpr std::string_view kRtfOfText = R"({\rtf1\ansi\ansicpg1252\fromtext \fs20 Gr\'fc\'dfe \u8364?\par second\par})";

struct Texts {
  const char* plain;
  const char* html;
};

TEST(NoteBodies, ComeFromTheFormThatTheEditorMade) {
  struct Case {
    const char* why;
    std::optional<std::int32_t> format;
    bool plain, html;
    std::string_view rtf;
    Texts texts;
  };
  const char* own = "own text";
  const char* ownHtml = "<p>own</p>";
  const Case cases[] = {
      {"RTF wins where nobody says", {}, true, true, kRtf, {"Gr\u00FC\u00DFe bold\r\n\u20AC", "<none>"}},
      {"0 is nobody", 0, true, true, kRtf, {"Gr\u00FC\u00DFe bold\r\n\u20AC", "<none>"}},
      {"RTF made from HTML gives both", {}, true, false, kRtfOfHtml, {"Gr\u00FC\u00DFe", "<p>Gr\u00FC\u00DFe</p>"}},
      {"RTF made from text", {}, false, false, kRtfOfText, {"Gr\u00FC\u00DFe \u20AC\r\nsecond", "<none>"}},
      {"a plain text keeps its own", 1, true, true, kRtf, {own, "<none>"}},
      {"a plain text that has RTF alone", 1, false, true, kRtf, {"Gr\u00FC\u00DFe bold\r\n\u20AC", "<none>"}},
      {"HTML keeps its own", 2, true, true, kRtf, {own, ownHtml}},
      {"HTML alone gives a text too", 2, false, true, "", {"own", ownHtml}},
      {"HTML alone where nobody says", {}, false, true, "", {"<none>", ownHtml}},
      {"HTML that has RTF alone", 2, false, false, kRtfOfHtml, {"Gr\u00FC\u00DFe", "<p>Gr\u00FC\u00DFe</p>"}},
      {"RTF", 3, true, true, kRtf, {"Gr\u00FC\u00DFe bold\r\n\u20AC", "<none>"}},
      {"an editor that nobody knows", 9, true, true, kRtf, {"<none>", "<none>"}},
  };
  for (const DWORD flags : {CONVERT_NORMAL, CONVERT_INSIDE_MAPI}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(c.why);
      Caller caller;
      caller.set(PR_INTERNET_CPID, 65001);
      if (c.format) {
        caller.set(PR_MSG_EDITOR_FORMAT, *c.format);
      }
      if (c.plain) {
        caller.set(PR_BODY, u"own text");
      }
      if (c.html) {
        caller.set(PR_HTML, std::string(ownHtml));
      }
      if (!c.rtf.empty()) {
        caller.set(PR_RTF_COMPRESSED, compressed(c.rtf));
      }
      const Mail mail(caller.write(flags));
      EXPECT_EQ(mail.body(mime::TXT_PLAIN), c.texts.plain);
      EXPECT_EQ(mail.body(mime::TXT_HTML), c.texts.html);
    }
  }
}

TEST(NoteBodies, TextThatTheCodePageLacksIsNotLost) {
  for (const std::int32_t page : {20127, 1252, 28605, 1200, 1201}) {
    SCOPED_TRACE(page);
    for (const std::string_view rtf : {kRtf, kRtfOfText}) {
      Caller caller;
      caller.set(PR_INTERNET_CPID, page);
      caller.set(PR_RTF_COMPRESSED, compressed(rtf));
      const Mail mail(caller.write());
      EXPECT_NE(mail.body(mime::TXT_PLAIN).find("\u20AC"), std::string::npos) << mail.text();
      EXPECT_EQ(mail.text().find("utf-16"), std::string::npos);
    }
  }
}

TEST(NoteBodies, DamagedRtfFailsTheRun) {
  Caller caller;
  caller.set(PR_BODY, u"own text");
  for (const std::string& damaged :
       {std::string("no RTF at all, but long"), compressed(kRtf).substr(0, 30), std::string()}) {
    caller.set(PR_RTF_COMPRESSED, damaged);
    EXPECT_EQ(caller.toMime(caller.stream().get()), MAPI_E_CORRUPT_DATA) << damaged.size();
  }
}

// The charset that a page goes out as.
TEST(NoteBodies, CodePagesGoOutUnderTheNameThatOthersKnow) {
  struct Case {
    std::int32_t page;
    const char* charset;
  };
  const Case cases[] = {{28591, "iso-8859-1"},  {28605, "iso-8859-1"}, {28603, "iso-8859-4"}, {932, "shift_jis"},
                        {50220, "iso-2022-jp"}, {65001, "utf-8"},      {1200, "utf-8"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.page);
    Caller caller;
    caller.set(PR_INTERNET_CPID, c.page);
    caller.set(PR_HTML, std::string("<p>x</p>"));
    EXPECT_EQ(Mail(caller.write()).header("par:content-type:charset"), c.charset);
  }
  // HTML in such a page is text of 16 bits, or only said to be.
  for (const std::string& html :
       {std::string("<\0p\0>\0x\0", 8), std::string("\xFF\xFE<\0p\0>\0x\0", 10), std::string("<p>x")}) {
    Caller wide;
    wide.set(PR_INTERNET_CPID, 1200);
    wide.set(PR_HTML, html);
    const std::string body = Mail(wide.write()).body(mime::TXT_HTML);
    EXPECT_NE(body.find("<p>x"), std::string::npos) << body;
  }
  Caller caller;
  caller.set(PR_INTERNET_CPID, 12345);
  EXPECT_EQ(caller.toMime(caller.stream().get()), E_FAIL);
}

}  // namespace
}  // namespace nalvo::test
