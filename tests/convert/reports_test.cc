
#include "platform/process/computer_name.h"
#include "platform/time/clock.h"
#include "platform/time/date_text.h"
#include "platform/time/file_time.h"
#include "tests/support/caller.h"
#include "tests/support/cpu_time.h"

namespace nalvo::test {
namespace {

constexpr std::string_view kStatus =
    "Reporting-MTA: dns; mx.example.org\nArrival-Date: Mon, 2 Mar 2020 10:00:00 +0100\n\n"
    "Final-Recipient: rfc822; bob@example.com\nAction: failed\nStatus: 5.1.1\n"
    "Diagnostic-Code: smtp; 550 5.1.1\n no such user\n\n";
constexpr std::string_view kReturned =
    "From: ann@example.org\nSubject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?=\nTo: Bob\n <bob@example.com>\n"
    "Date: Mon, 2 Mar 2020 09:59:00 +0100\n";

// A delivery report of a text, a status and a third part with its type.
std::string dsn(std::string_view status, std::string_view third = "text/rfc822-headers",
                std::string_view returned = kReturned, std::string_view text = "It did not arrive.\n") {
  std::string mail =
      "From: mailer@example.org\nTo: ann@example.org\nSubject: Undelivered\n"
      "Content-Type: multipart/report; report-type=delivery-status; boundary=\"b/1\"\n\n"
      "--b/1\nContent-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: 8bit\n\n";
  mail.append(text).append("\n--b/1\nContent-Type: message/delivery-status\n\n").append(status);
  if (!third.empty()) {
    mail.append("\n--b/1\nContent-Type: ").append(third).append("\n\n").append(returned);
  }
  return mail + "\n--b/1--\n";
}

std::string recipient(std::string_view action, std::string_view more = "Status: 1.0.0\n") {
  return "\nFinal-Recipient: rfc822; x@example.com\nAction: " + std::string(action) + "\n" + std::string(more);
}

constexpr std::string_view kMdn =
    "From: bob@example.com\nTo: ann@example.org\nSubject: Read: x\n"
    "Content-Type: multipart/report; report-type=disposition-notification; boundary=b\n\n"
    "--b\n\nIt was read.\n\n--b\nContent-Type: message/disposition-notification\n\n"
    "Reporting-UA: x; y\nDisposition: manual-action/MDN-sent-manually;  displayed\n"
    "Original-Message-ID: <!~!QUJD@example.org>\n\n--b\nContent-Type: message/rfc822\n\nSubject: x\n\nbody\n--b--\n";

// The parts of a mail, by their boundary lines.
std::vector<std::string> partsOf(const std::string& mail) {
  const std::size_t name = mail.find("boundary=") + 9;
  const std::string boundary = mail[name] == '"' ? mail.substr(name + 1, mail.find('"', name + 1) - name - 1)
                                                 : mail.substr(name, mail.find_first_of(";\r", name) - name);
  std::vector<std::string> parts;
  const std::string line = "\r\n--" + boundary;
  for (std::size_t at = mail.find(line); at != std::string::npos; at = mail.find(line, at + 1)) {
    const std::size_t start = at + line.size();
    const std::size_t end = mail.find(line, start);
    if (end != std::string::npos) {
      parts.push_back(mail.substr(start, end - start));
    }
  }
  return parts;
}

std::string contentOf(const std::string& part) { return part.substr(part.find("\r\n\r\n") + 4); }

TEST(DeliveryReport, ClassFollowsTheRecipients) {
  struct Case {
    const char* why;
    std::string mail;
    const char16_t* messageClass;
  };
  const std::string head = "Reporting-MTA: dns; mx\n";
  const Case cases[] = {
      {"all arrived", dsn(head + recipient("delivered") + recipient("Expanded")), u"Report.IPM.Note.DR"},
      {"none arrived", dsn(head + recipient("failed") + recipient("FAILURE")), u"Report.IPM.Note.NDR"},
      {"blank lines at the end say nothing", dsn(head + recipient("failed") + "\n\n\n"), u"Report.IPM.Note.NDR"},
      {"some arrived", dsn(head + recipient("delivered") + recipient("failed")), u"IPM.Note"},
      {"late", dsn(head + recipient("delayed")), u"IPM.Note"},
      {"an unknown action", dsn(head + recipient("expired")), u"IPM.Note"},
      {"a recipient without a status", dsn(head + recipient("failed", "")), u"IPM.Note"},
      {"a recipient without a type", dsn(head + "\nFinal-Recipient: x@y\nAction: failed\nStatus: 5.0.0\n"), u"IPM.Note"},
      {"no recipient", dsn(head), u"IPM.Note"},
      {"no third part", dsn(head + recipient("failed"), ""), u"IPM.Note"},
      {"a third part that nobody knows", dsn(head + recipient("failed"), "image/png"), u"Report.IPM.Note.NDR"},
      {"an empty status", dsn(""), u"IPM.Note"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller caller;
    caller.read(c.mail);
    EXPECT_EQ(caller.text(PR_MESSAGE_CLASS), c.messageClass);
    EXPECT_EQ(caller.has(PR_BODY), std::u16string_view(c.messageClass) == u"IPM.Note");
  }
}

TEST(DeliveryReport, ComesBackAsItCame) {
  struct Case {
    const char* why;
    std::string mail;
    const char* third;
  };
  const Case cases[] = {
      {"headers", dsn(kStatus), "text/rfc822-headers"},
      {"a message", dsn(kStatus, "message/rfc822", std::string(kReturned) + "\nthe body\n"), "message/rfc822"},
      {"a message of headers alone", dsn(kStatus, "message/rfc822"), "message/rfc822"},
      {"a text outside of ASCII", dsn(kStatus, "text/rfc822-headers", kReturned, "Nicht zugestellt: \u00FC \u20AC\n"),
       "text/rfc822-headers"},
      {"bytes of another charset", dsn("X: \xE4\x81\n" + std::string(kStatus)), "text/rfc822-headers"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller caller;
    caller.read(c.mail);
    EXPECT_EQ(caller.text(PR_MESSAGE_CLASS), u"Report.IPM.Note.NDR");
    EXPECT_EQ(caller.text(caller.tagOf(named::kReportingMta)), u"dns; mx.example.org");
    EXPECT_EQ(caller.text(PR_ORIGINAL_SUBJECT), u"Grüße");
    EXPECT_EQ(caller.text(PR_ORIGINAL_DISPLAY_TO), u"Bob <bob@example.com>");
    const std::string back = caller.write();
    const std::vector<std::string> before = partsOf(crLf(c.mail));
    const std::vector<std::string> after = partsOf(back);
    ASSERT_EQ(after.size(), 3U) << back;
    EXPECT_TRUE(Mail(back).isType("multipart", "report"));
    EXPECT_EQ(Mail(back).header("par:content-type:report-type"), "delivery-status");
    EXPECT_EQ(contentOf(after[1]), contentOf(before[1]));
    EXPECT_EQ(contentOf(after[2]), contentOf(before[2]));
    EXPECT_NE(after[2].find(std::string("Content-Type: ") + c.third + "\r\n"), std::string::npos) << after[2];
    EXPECT_EQ(Mail(back).body(mime::TXT_PLAIN), Mail(crLf(c.mail)).body(mime::TXT_PLAIN));
    Caller second;
    EXPECT_EQ(second.toMapi(second.stream(back).get()), S_OK);
    EXPECT_EQ(second.write(), back);
  }
}

TEST(DeliveryReport, UnclearOnesStayNotesWithAllParts) {
  Caller caller;
  caller.read(dsn("Reporting-MTA: dns; mx\n" + recipient("delayed"), "message/rfc822", "Subject: x\n\nbody\n"));
  EXPECT_EQ(caller.text(PR_MESSAGE_CLASS), u"IPM.Note");
  EXPECT_EQ(caller.message->parts().attachments.size(), 2U);
  const std::string back = caller.write();
  EXPECT_TRUE(Mail(back).isType("multipart", "report"));
  ASSERT_EQ(partsOf(back).size(), 3U);
  EXPECT_NE(contentOf(partsOf(back)[1]).find("Action: delayed"), std::string::npos);
}

TEST(DeliveryReport, IsBuiltFromProperties) {
  const ScopedComputerName here("mx.here");
  const ScopedClock clock(*fileTimeOfUnix(1'583'139'600));  // 2020-03-02 09:00 UTC
  struct Case {
    const char* why;
    const char16_t* messageClass;
    const char* text;
    const char* status;
  };
  const Case cases[] = {
      {"delivered", u"Report.IPM.Note.DR",
       "This report was made by Nalvo Convert on mx.here.\r\nYour message was delivered to:\r\n"
       "<bob@example.com> (delivered)\r\n\r\n<unknown> (delivered)\r\n\r\n",
       "Reporting-MTA: dns; mx.here\r\nArrival-Date: Mon, 02 Mar 2020 09:00:00 +0000\r\nDSN-Gateway: dns; gate\r\n\r\n"
       "Final-Recipient: SMTP; bob@example.com\r\nAction: delivered\r\nStatus: 5.1.1\r\n"
       "Remote-MTA: dns; far away X: y\r\n\r\nAction: delivered\r\n\r\n"},
      {"failed", u"Report.IPM.Note.NDR",
       "This report was made by Nalvo Convert on mx.here.\r\nYour message could not be delivered to:\r\n"
       "<bob@example.com> (dns; far away\r\nX: y: failed)\r\n\r\n<unknown> (failed)\r\n\r\n",
       "Reporting-MTA: dns; mx.here\r\nArrival-Date: Mon, 02 Mar 2020 09:00:00 +0000\r\nDSN-Gateway: dns; gate\r\n\r\n"
       "Final-Recipient: SMTP; bob@example.com\r\nAction: failed\r\nStatus: 5.1.1\r\n"
       "Remote-MTA: dns; far away X: y\r\n\r\nAction: failed\r\n\r\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller caller;
    caller.set(PR_MESSAGE_CLASS, c.messageClass);
    caller.set(named::kDsnGateway, u"dns; gate");
    caller.addRecipient(1, u"Bob", u"RFC822", "bob@example.com");
    caller.addRecipient(1, u"Nobody", u"SMTP", "");
    host::MemoryRecipient& bob = *caller.message->parts().recipients.front();
    const auto give = [&](const NamedProperty& property, std::u16string value) {
      bob.bag().set(MapiName(property).getPropertyTag(&bob), {PT_UNICODE, std::move(value)});
    };
    give(named::kReportStatus, u"5.1.1");
    give(named::kRemoteMta, u"dns; far away\r\nX: y");
    const std::string mail = caller.write();
    EXPECT_TRUE(Mail(mail).isType("multipart", "report"));
    const std::vector<std::string> parts = partsOf(mail);
    ASSERT_EQ(parts.size(), 3U) << mail;
    EXPECT_EQ(contentOf(parts[0]), c.text);
    EXPECT_EQ(contentOf(parts[1]), c.status);
    EXPECT_EQ(contentOf(parts[2]), "");
  }
}

TEST(DeliveryReport, HasNoAttachmentsAndKeepsATextThatItHas) {
  Caller caller;
  caller.set(PR_MESSAGE_CLASS, u"Report.IPM.Note.NDR");
  caller.set(PR_BODY, u"own text");
  ComPtr<IConvertAttachment> file;
  ASSERT_EQ(caller.message->createAttachment(file.put()), S_OK);
  ASSERT_EQ(file->saveChanges(), S_OK);
  caller.message->parts().attachments.front()->bag().set(PR_ATTACH_DATA_BIN, {PT_BINARY, std::string("data")});
  const std::string mail = caller.write();
  const std::vector<std::string> parts = partsOf(mail);
  ASSERT_EQ(parts.size(), 4U) << mail;
  EXPECT_NE(parts[1].find("message/delivery-status"), std::string::npos);
  EXPECT_EQ(contentOf(parts[3]), "own text");
  EXPECT_EQ(mail.find("ZGF0YQ"), std::string::npos);
}

// Paragraphs without end, and very many of them, cost what they weigh.
TEST(DeliveryReport, CostIsLinear) {
  const auto time = [](std::size_t recipients, std::size_t rows) {
    std::string status = "Reporting-MTA: dns; mx\n";
    for (std::size_t i = 0; i < rows; ++i) {
      status += "X: " + std::string(70, 'x') + "\n";
    }
    for (std::size_t i = 0; i < recipients; ++i) {
      status += recipient("failed");
    }
    const std::string mail = crLf(dsn(status));
    Caller caller;
    const ComPtr<IStream> source = caller.stream(mail);
    const double start = test::cpuSeconds();
    EXPECT_EQ(caller.toMapi(source.get()), S_OK);
    EXPECT_EQ(caller.text(PR_MESSAGE_CLASS), u"Report.IPM.Note.NDR");
    EXPECT_EQ(contentOf(partsOf(caller.write())[1]), contentOf(partsOf(mail)[1]));
    return test::cpuSeconds() - start;
  };
  EXPECT_LT(time(10'000, 0), 40 * time(1'000, 0) + 0.1);
  EXPECT_LT(time(1, 50'000), 40 * time(1, 5'000) + 0.1);
}

TEST(ReadReport, DispositionChoosesTheClass) {
  struct Case {
    const char* disposition;
    const char16_t* messageClass;
    const char16_t* mode;
    const char16_t* kept;
  };
  const Case cases[] = {
      {"a/b; displayed", u"Report.IPM.Note.IPNRN", u"a/b", u"displayed"},
      {" a/b ; \t displayed \t", u"Report.IPM.Note.IPNRN", u"a/b", u"displayed"},
      {"a/b; Displayed", u"Report.IPM.Note.IPNNRN", u"a/b", u"Displayed"},
      {"a/b; deleted", u"Report.IPM.Note.IPNNRN", u"a/b", u"deleted"},
      {"displayed", u"Report.IPM.Note.IPNNRN", u"displayed", u""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.disposition);
    std::string mail(kMdn);
    const std::size_t at = mail.find("Disposition: ") + 13;
    mail.replace(at, mail.find('\n', at) - at, c.disposition);
    Caller caller;
    caller.read(mail);
    EXPECT_EQ(caller.text(PR_MESSAGE_CLASS), c.messageClass);
    EXPECT_EQ(caller.text(PR_REPORT_DISPOSITION_MODE_A), c.mode);
    EXPECT_EQ(caller.text(PR_REPORT_DISPOSITION_A), c.kept);
  }
}

TEST(ReadReport, ComesBackAsItCameTenTimes) {
  Caller first;
  first.read(kMdn);
  EXPECT_EQ(first.bytes(PR_REPORT_TAG), "ABC");
  EXPECT_EQ(first.text(PR_BODY), u"It was read.\r\n");
  EXPECT_FALSE(first.has(PR_HTML));
  EXPECT_TRUE(first.has(PR_RTF_COMPRESSED));
  std::string mail = first.write();
  EXPECT_EQ(contentOf(partsOf(mail)[1]), contentOf(partsOf(crLf(kMdn))[1]));
  for (int i = 0; i < 10; ++i) {
    Caller next;
    ASSERT_EQ(next.toMapi(next.stream(mail).get()), S_OK);
    mail = next.write();
    ASSERT_EQ(partsOf(mail).size(), 3U);
  }
  EXPECT_EQ(contentOf(partsOf(mail)[1]), contentOf(partsOf(crLf(kMdn))[1]));
  EXPECT_NE(partsOf(mail)[2].find("message/rfc822"), std::string::npos);
  EXPECT_EQ(Mail(mail).header("par:content-type:report-type"), "disposition-notification");
}

TEST(ReadReport, IsBuiltFromProperties) {
  Caller caller;
  caller.set(PR_MESSAGE_CLASS, u"Report.IPM.Note.IPNRN");
  caller.set(PR_SENDER_EMAIL_ADDRESS, u"bob@example.com");
  caller.set(PR_BODY, u"only text");
  EXPECT_EQ(contentOf(partsOf(caller.write())[0]), "only text");
  caller.set(PR_REPORT_DISPOSITION_MODE_A, std::string("manual"));
  caller.set(PR_REPORT_DISPOSITION_A, std::string("displayed"));
  caller.set(PR_IN_REPLY_TO_ID_A, std::string("<1@x>"));
  caller.set(PR_REPORT_TEXT, u"Your message was read");
  caller.set(PR_ORIGINAL_SUBJECT, u"x");
  caller.set(PR_ORIGINAL_DISPLAY_TO, u"Bob");
  const std::vector<std::string> parts = partsOf(caller.write());
  ASSERT_EQ(parts.size(), 2U);
  EXPECT_EQ(contentOf(parts[0]), "Your message was read\r\n\r\nSubject: x\r\nTo: Bob\r\n");
  EXPECT_EQ(contentOf(parts[1]),
            "Disposition: manual; displayed\r\nOriginal-Message-ID: <1@x>\r\nFinal-Recipient: bob@example.com\r\n");
  // A note that had a pair of texts becomes a report of one.
  caller.set(PR_HTML, std::string("<p>x</p>"));
  caller.set(PR_MSG_EDITOR_FORMAT, 2);
  EXPECT_EQ(partsOf(caller.write()).size(), 2U);
  EXPECT_TRUE(Mail(caller.write()).isType("multipart", "report"));
  // The part that came wins.
  caller.set(named::kOriginalDispositionNotification, u"Disposition: as; it-came\r\n");
  EXPECT_EQ(contentOf(partsOf(caller.write())[1]), "Disposition: as; it-came\r\n");
}

TEST(ReadReport, WithoutItsPartFails) {
  Caller caller;
  const std::string mail =
      crLf("Content-Type: multipart/report; report-type=disposition-notification; boundary=b\n\n--b\n\nx\n--b--\n");
  EXPECT_EQ(caller.toMapi(caller.stream(mail).get()), MIME_E_NOT_FOUND);
}

TEST(DateText, IsLocalInTheFormOfTheLocale) {
  EXPECT_EQ(localDateText({1601, 1, 1, 1, 0, 0, 0, 0}, "C").has_value(), true);
  EXPECT_EQ(localDateText({2020, 13, 1, 1, 0, 0, 0, 0}, "C"), std::nullopt);
  const std::optional<std::u16string> text = localDateText({2020, 3, 1, 2, 12, 0, 0, 0}, "C");
  ASSERT_TRUE(text);
  EXPECT_TRUE(text->starts_with(u"03/0")) << wideToUtf8(*text);
  EXPECT_EQ(text->size(), 17U);
  EXPECT_EQ(localDateText({2020, 3, 1, 2, 12, 0, 0, 0}, "no such locale"), text);
}

}  // namespace
}  // namespace nalvo::test
