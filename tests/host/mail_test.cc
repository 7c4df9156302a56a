#include "host/mail.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace nalvo::host
