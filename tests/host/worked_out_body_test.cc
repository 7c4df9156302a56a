// The text that an item has as long as it is made a mail.
#include "host/worked_out_body.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/mail.h"
#include "platform/mapi/tags.h"
#include "platform/text/rtf/compressed_rtf.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

constexpr std::string_view kHtml =
    "<p>Gr\xFC\xDF"
    "e</p>";  // in Windows-1252
constexpr std::string_view kRtf = "{\\rtf1\\ansi Two lines\\par and \\u8364?\\par}";

std::string compressed(std::string_view rtf) {
  CompressedRtfEncoder encoder;
  std::string content;
  encoder.update(rtf, content);
  encoder.finish(content);
  const auto header = encoder.header();
  return std::string(header.data(), header.size()) + content;
}

ComPtr<MemoryMessage> item(std::u16string_view messageClass, std::string_view html, std::string_view rtf) {
  ComPtr<MemoryMessage> message = makeMessage(std::make_shared<HostContext>());
  PropertyBag& bag = message->bag();
  bag.load(PR_MESSAGE_CLASS, {PT_UNICODE, std::u16string(messageClass)});
  bag.load(PR_SUBJECT, {PT_UNICODE, std::u16string(u"Lunch")});
  if (!html.empty()) {
    bag.load(PR_INTERNET_CPID, {PT_LONG, std::int32_t{1252}});
    bag.load(PR_HTML, {PT_BINARY, std::string(html)});
  }
  if (!rtf.empty()) {
    bag.load(PR_RTF_COMPRESSED, {PT_BINARY, compressed(rtf)});
  }
  return message;
}

TEST(WorkedOutBody, ComesFromWhatTextAnItemHas) {
  struct Case {
    std::string_view why;
    std::u16string_view messageClass;
    std::string_view html;
    std::string_view rtf;
    std::u16string_view text;
  };
  static constexpr Case kCases[] = {
      {"HTML in its code page", u"IPM.Contact", kHtml, "", u"Gr\u00FC\u00DFe"},
      {"RTF", u"IPM.Appointment", "", kRtf, u"Two lines\r\nand \u20AC"},
      {"RTF before HTML", u"IPM.Task", kHtml, kRtf, u"Two lines\r\nand \u20AC"},
      {"RTF without a word", u"IPM.Task", kHtml, "{\\rtf1}", u"Gr\u00FC\u00DFe"},
      {"a class of somebody's own", u"IPM.Notebook", kHtml, "", u"Gr\u00FC\u00DFe"},
      {"an item without any text", u"IPM.Contact", "", "", u""},
      {"a note", u"ipm.note", kHtml, kRtf, u""},
      {"a kind of note", u"IPM.Note.SMIME", kHtml, kRtf, u""},
      {"a post", u"IPM.Post", kHtml, kRtf, u""},
      {"a report", u"Report.IPM.Note.NDR", kHtml, kRtf, u""},
      {"no class that means anything", u"IPM", kHtml, kRtf, u""},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const std::optional<std::u16string> text = workedOutBody(*item(c.messageClass, c.html, c.rtf));
    EXPECT_EQ(text.has_value(), !c.text.empty());
    EXPECT_EQ(wideToUtf8(text.value_or(u"")), wideToUtf8(c.text));
  }
  const ComPtr<MemoryMessage> own = item(u"IPM.Contact", kHtml, "");
  own->bag().load(PR_BODY, {PT_UNICODE, std::u16string()});
  EXPECT_FALSE(workedOutBody(*own)) << "an empty text of its own is one";
  const ComPtr<MemoryMessage> wide = item(u"IPM.Contact", "", "");
  wide->bag().load(PR_BODY_HTML, {PT_UNICODE, std::u16string(u"<meta charset=iso-8859-5><p>\u20AC")});
  EXPECT_EQ(workedOutBody(*wide), u"\u20AC") << "whatever it says of its bytes";
}

TEST(WorkedOutBody, IsInTheMailAndNotInTheItem) {
  struct Case {
    std::string_view why;
    std::string_view html;
    std::string_view rtf;
    std::string_view inMail;
  };
  for (const Case& c : {Case{"HTML", "<p>By the river</p>", "", "By the river"}, Case{"RTF", "", kRtf, "Two lines"},
                        Case{"both", "<p>By the river</p>", kRtf, "Two lines"}}) {
    for (const MailForm form : {MailForm::Lossless, MailForm::Exact}) {
      SCOPED_TRACE(c.why);
      const ComPtr<MemoryMessage> before = item(u"IPM.Custom", c.html, c.rtf);
      const std::vector<ULONG> tags = before->bag().tags();
      const MailFile file = writeMail(before.get(), form, nullptr);
      EXPECT_EQ(before->bag().tags(), tags);
      const std::string mail = bytesOf({PT_BINARY, file.mail});
      EXPECT_THAT(mail, testing::ContainsRegex("Content-Type: text/plain")) << mail;
      EXPECT_THAT(mail, testing::HasSubstr(c.inMail));
      const ComPtr<MemoryMessage> after =
          readMail(file, std::make_shared<HostContext>(), FILETIME{0, 0x01D00000}, true, nullptr);
      EXPECT_EQ(after->bag().find(PR_BODY), nullptr);
      for (const ULONG tag : {PR_HTML, PR_RTF_COMPRESSED}) {
        ASSERT_EQ(before->bag().find(tag) == nullptr, after->bag().find(tag) == nullptr) << std::hex << tag;
        EXPECT_TRUE(before->bag().find(tag) == nullptr ||
                    bytesOf(*before->bag().find(tag)) == bytesOf(*after->bag().find(tag)));
      }
    }
  }
}

}  // namespace
}  // namespace nalvo::host
