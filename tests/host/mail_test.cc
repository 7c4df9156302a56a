#include "host/mail.h"

#include <gtest/gtest.h>

#include "diagnostics/hresult_exception.h"
#include "host/mail_content.h"
#include "host/mime_walk.h"
#include "host/msg_file.h"
#include "platform/mapi/tags.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

ComPtr<MemoryMessage> read(const std::string& text, std::vector<std::string>& warnings) {
  const ComPtr<IStream> mail = streamUtils::createStream();
  streamUtils::detail::writeStr(mail.get(), text);
  streamUtils::rewind(mail.get());
  return readMail(mail.get(), std::make_shared<HostContext>(), FILETIME{0, 0x01D00000}, nullptr, &warnings);
}

std::u16string classOf(const MemoryMessage& message) { return textOf(*message.bag().find(PR_MESSAGE_CLASS)); }

std::string report(const std::string& type, const std::string& part) {
  return "Content-Type: multipart/report; report-type=" + type + "; boundary=b\r\n\r\n--b\r\n\r\ntext\r\n" + part +
         "--b--\r\n";
}

TEST(ReadMail, DamagedReportsAreReadAsMail) {
  const std::string status =
      "--b\r\nContent-Type: message/delivery-status\r\n\r\nReporting-MTA: dns; x\r\n\r\n"
      "Final-Recipient: rfc822; a@b\r\nAction: failed\r\nStatus: 5.0.0\r\n\r\n"
      "--b\r\nContent-Type: text/rfc822-headers\r\n\r\n";
  const std::string damaged[] = {report("disposition-notification", ""),
                                 report("delivery-status", status + "Subject: x\r\nDate: the day before\r\n\r\n")};
  for (const std::string& mail : damaged) {
    std::vector<std::string> warnings;
    const ComPtr<MemoryMessage> message = read(mail, warnings);
    EXPECT_EQ(classOf(*message), u"IPM.Note");
    EXPECT_NE(message->bag().find(PR_BODY), nullptr);
    EXPECT_NE(textOf(*message->bag().find(PR_TRANSPORT_MESSAGE_HEADERS)).find(u"report-type="), std::u16string::npos);
    EXPECT_EQ(warnings.size(), 1U);
  }
  std::vector<std::string> warnings;
  EXPECT_EQ(classOf(*read(report("delivery-status", status + "Subject: x\r\n\r\n"), warnings)), u"Report.IPM.Note.NDR");
  EXPECT_TRUE(warnings.empty());
}

TEST(ReadMail, DamagedItemsAreReadAsMail) {
  const std::string calendar = "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:1\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";
  std::vector<std::string> warnings;
  const ComPtr<MemoryMessage> message =
      read("Subject: x\r\nContent-Type: text/calendar; method=REPLY\r\n\r\n" + calendar, warnings);
  EXPECT_EQ(classOf(*message), u"IPM.Note");
  EXPECT_EQ(warnings.size(), 1U);
  ASSERT_EQ(message->parts().attachments.size(), 1U);
  EXPECT_EQ(bytesOf(*message->parts().attachments[0]->bag().find(PR_ATTACH_DATA_BIN)), calendar);
}

// A request without its task lacks what its kind needs, alone and inside a mail.
TEST(WriteMail, ItemsThatLackSomethingAreWrittenAsMailAndComeBack) {
  const auto context = std::make_shared<HostContext>();
  const auto request = [](PropertyBag& bag) {
    bag.set(PR_MESSAGE_CLASS, {PT_UNICODE, std::u16string(u"IPM.TaskRequest")});
    bag.set(PR_SUBJECT, {PT_UNICODE, std::u16string(u"Do it")});
  };
  const ComPtr<MemoryMessage> alone = makeMessage(context);
  request(alone->bag());
  const ComPtr<MemoryMessage> holder = makeMessage(context);
  holder->bag().set(PR_MESSAGE_CLASS, {PT_UNICODE, std::u16string(u"IPM.Note")});
  MemoryAttachment& attachment = holder->addAttachment();
  attachment.bag().set(PR_ATTACH_METHOD, {PT_LONG, std::int32_t{5}});
  attachment.setEmbedded(makeMessage(context));
  request(attachment.embedded()->bag());
  for (const MailForm form : {MailForm::Lossless, MailForm::Store, MailForm::Wire}) {
    const MailFile one = writeMail(alone.get(), form, nullptr);
    const MailFile other = writeMail(holder.get(), form, nullptr);
    EXPECT_EQ(one.warnings.size(), 1U);
    EXPECT_EQ(other.warnings.size(), 1U);
    EXPECT_EQ(classOf(*alone), u"IPM.TaskRequest");
    const ComPtr<MemoryMessage> oneBack = readMail(one, context, FILETIME{0, 0x01D00000}, true, nullptr);
    const ComPtr<MemoryMessage> otherBack = readMail(other, context, FILETIME{0, 0x01D00000}, true, nullptr);
    ASSERT_EQ(otherBack->parts().attachments.size(), 1U);
    if (form != MailForm::Wire) {
      EXPECT_EQ(classOf(*oneBack), u"IPM.TaskRequest");
      EXPECT_EQ(classOf(*otherBack->parts().attachments[0]->embedded()), u"IPM.TaskRequest");
    }
    EXPECT_EQ(textOf(*oneBack->bag().find(PR_SUBJECT)), u"Do it");
  }
  EXPECT_THROW(writeMail(alone.get(), MailForm::Exact, nullptr), HResultException);
}

TEST(Pictures, TakeBoundedMemoryHoweverOftenTheyAreNamed) {
  const std::string megabyte(1U << 20, 'x');
  const ComPtr<IStream> text = streamUtils::createStream();
  streamUtils::detail::writeStr(text.get(),
                                "Content-Type: multipart/related; boundary=b\r\n\r\n--b\r\n\r\n\r\n--b\r\n"
                                "Content-Type: image/png\r\nContent-ID: <big@x>\r\n\r\n" +
                                    megabyte +
                                    "\r\n--b\r\nContent-Type: image/gif\r\nContent-ID: <a@x>\r\n\r\nGIF\r\n--b--\r\n");
  streamUtils::rewind(text.get());
  const ComPtr<mime::IMimeMessage> mail = loadMail(text.get());
  Pictures pictures(mail.get());
  EXPECT_EQ(pictures.url("a@x"), "data:image/gif;base64,R0lG");
  EXPECT_EQ(pictures.url("other@x"), "");
  std::size_t times = 0;
  while (times < 100 && !pictures.url("big@x").empty()) {
    ++times;
  }
  EXPECT_EQ(times, 63U) << "64 MiB without the first";
  EXPECT_EQ(pictures.url("a@x"), "data:image/gif;base64,R0lG") << "a small one still fits";
}

}  // namespace
}  // namespace nalvo::host
