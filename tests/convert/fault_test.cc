#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "tests/support/sweep.h"

namespace nalvo::test {
namespace {

constexpr std::string_view kMail =
    "From: Ann <ann@example.org>\nTo: bob@example.com\nReply-To: c@example.org\nSubject: x\n"
    "Disposition-Notification-To: ann@example.org\nMessage-ID: <!~!QUJD@example.org>\n"
    "Date: Mon, 2 Mar 2020 10:00:00 +0100\nContent-Type: multipart/alternative; boundary=xx\n\n"
    "--xx\n\ntext\n--xx\nContent-Type: text/html\n\n<p>text</p>\n--xx--\n";

TEST(FaultSweep, NoteToMapi) {
  expectClean(host::faultSweep([](const host::HostContextPtr& context, const std::function<void()>& arm) {
                Caller caller(context);
                caller.flags->flags = {0, 3, 4, 6};
                caller.flags->messageSize = 1;
                caller.flags->attachments = true;
                const ComPtr<IStream> mail = caller.stream(crLf(kMail));
                arm();
                return caller.toMapi(mail.get());
              }),
              9);
}

TEST(FaultSweep, NoteToMime) {
  expectClean(host::faultSweep([](const host::HostContextPtr& context, const std::function<void()>& arm) {
                Caller caller(context);
                caller.flags->flags = {0};
                EXPECT_EQ(caller.toMapi(caller.stream(crLf(kMail)).get()), S_OK);
                caller.set(PR_SENT_REPRESENTING_ENTRYID, std::string("entry"));
                caller.message->bag().erase(PR_SENT_REPRESENTING_EMAIL_ADDRESS);
                caller.addressBook->entries["entry"] = {{PR_EMAIL_ADDRESS, u"ann@example.org"}, {PR_ADDRTYPE, u"SMTP"}};
                const ComPtr<IStream> out = caller.stream();
                arm();
                return caller.toMime(out.get());
              }),
              12);
}

constexpr std::string_view kDeliveryReport =
    "From: m@example.org\nContent-Type: multipart/report; report-type=delivery-status; boundary=b\n\n--b\n\ntext\n"
    "--b\nContent-Type: message/delivery-status\n\nReporting-MTA: dns; mx\n\nFinal-Recipient: rfc822; x@y\n"
    "Action: failed\nStatus: 5.0.0\n\n--b\nContent-Type: text/rfc822-headers\n\nSubject: s\n--b--\n";
constexpr std::string_view kReadReport =
    "From: m@example.org\nContent-Type: multipart/report; report-type=disposition-notification; boundary=b\n\n--b\n\n"
    "text\n--b\nContent-Type: message/disposition-notification\n\nDisposition: a; displayed\n--b--\n";

TEST(FaultSweep, ReportsToMapi) {
  for (const std::string_view mail : {kDeliveryReport, kReadReport}) {
    expectClean(host::faultSweep([&](const host::HostContextPtr& context, const std::function<void()>& arm) {
                  Caller caller(context);
                  const ComPtr<IStream> source = caller.stream(crLf(mail));
                  arm();
                  return caller.toMapi(source.get());
                }),
                12);
  }
}

TEST(FaultSweep, ReportsToMime) {
  for (const std::string_view mail : {kDeliveryReport, kReadReport, std::string_view()}) {
    expectClean(host::faultSweep([&](const host::HostContextPtr& context, const std::function<void()>& arm) {
                  Caller caller(context);
                  if (mail.empty()) {
                    caller.set(PR_MESSAGE_CLASS, u"Report.IPM.Note.NDR");
                    caller.addRecipient(1, u"Bob", u"SMTP", "bob@example.com");
                  } else {
                    EXPECT_EQ(caller.toMapi(caller.stream(crLf(mail)).get()), S_OK);
                  }
                  const ComPtr<IStream> out = caller.stream();
                  arm();
                  return caller.toMime(out.get());
                }),
                12);
  }
}

TEST(Exports, RefuseWhatTheyCantDoWithout) {
  Caller caller;
  const ComPtr<IStream> stream = caller.stream("\r\n");
  IConvertMessage* message = caller.message.get();
  IAnnotations* annotations = caller.annotations.get();
  IMimeFlags* flags = caller.flags.get();
  IMapiAllocator* allocator = caller.allocator.get();
  const HRESULT calls[] = {
      mimeToMapi(nullptr, stream.get(), flags, message, allocator, 0, nullptr),
      mimeToMapi(annotations, nullptr, flags, message, allocator, 0, nullptr),
      mimeToMapi(annotations, stream.get(), nullptr, message, allocator, 0, nullptr),
      mimeToMapi(annotations, stream.get(), flags, nullptr, allocator, 0, nullptr),
      mimeToMapi(annotations, stream.get(), flags, message, nullptr, 0, nullptr),
      mapiToMime(nullptr, annotations, stream.get(), flags, allocator, 0, nullptr, nullptr),
      mapiToMime(message, nullptr, stream.get(), flags, allocator, 0, nullptr, nullptr),
      mapiToMime(message, annotations, nullptr, flags, allocator, 0, nullptr, nullptr),
      mapiToMime(message, annotations, nullptr, flags, allocator, CONVERT_NO_MIME_STREAM, nullptr, nullptr),
      mapiToMime(message, annotations, stream.get(), nullptr, allocator, 0, nullptr, nullptr),
      mapiToMime(message, annotations, stream.get(), flags, nullptr, 0, nullptr, nullptr),
      mimeToMapiSupportNoBody(nullptr, nullptr),
      createStream(nullptr),
  };
  for (std::size_t i = 0; i < std::size(calls); ++i) {
    EXPECT_EQ(calls[i], E_INVALIDARG) << "call " << i;
  }
  EXPECT_EQ(mapiToMime(message, nullptr, caller.stream().get(), nullptr, allocator, CONVERT_FOR_SEND, nullptr, nullptr),
            S_OK);
  EXPECT_EQ(mapiToMime(message, nullptr, caller.stream().get(), nullptr, allocator, CONVERT_TO_ATTACHMENT, nullptr, nullptr),
            S_OK);
}

TEST(Exports, FailuresGoToTheLogAtItsLevel) {
  for (const std::int32_t level : {-1, 2, 3}) {
    Caller caller;
    const auto log = makeCom<host::MemoryLog>(caller.context, level);
    EXPECT_EQ(mimeToMapi(nullptr, nullptr, nullptr, nullptr, nullptr, 0, log.get()), E_INVALIDARG);
    ASSERT_EQ(log->entries().size(), level <= 2 ? 1U : 0U);
    if (level <= 2) {
      EXPECT_EQ(log->entries()[0].level, 2U);
      EXPECT_EQ(log->entries()[0].category, 0x2000U);
      const std::string text = wideToUtf8(log->entries()[0].text);
      EXPECT_NE(text.find(" (mimeToMapi)\nException of class HResultException: .\\Conversion("), std::string::npos) << text;
      EXPECT_NE(text.find("Conversion::mimeToMapi:\n0x80070057 E_INVALIDARG\nConversion has failed.\n"), std::string::npos)
          << text;
    }
  }
  Caller quiet;
  quiet.read("Subject: x\n\ntext\n");
  EXPECT_TRUE(quiet.log->entries().empty()) << "a conversion that ends well leaves no trace";
}

TEST(Exports, StreamsThatLieEndWithACodeOrAMessage) {
  // Each answer is told at the export, and the next conversion on the same message works.
  Caller caller;
  for (std::uint64_t n = 1; n < 12; ++n) {
    const ComPtr<IStream> mail = caller.stream(crLf(kMail));
    caller.context->plan.failAt(n, STG_E_READFAULT);
    const HRESULT hr = caller.toMapi(mail.get());
    EXPECT_TRUE(hr == S_OK || hr == STG_E_READFAULT) << n;
    caller.context->plan.failAt(0, S_OK);
  }
  caller.read(kMail);
  EXPECT_EQ(caller.text(PR_SUBJECT), u"x");
}

TEST(Exports, ConvertOnManyThreadsAtOnce) {
  std::vector<std::jthread> threads;
  std::atomic<int> whole{0};
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&whole] {
      for (int round = 0; round < 20; ++round) {
        Caller caller;
        caller.read(kMail);
        const Mail mail(caller.write(CONVERT_TO_ATTACHMENT));
        whole += mail.header("From") == "Ann <ann@example.org>" && mail.body(mime::TXT_HTML) == "<p>text</p>" ? 1 : 0;
      }
    });
  }
  threads.clear();
  EXPECT_EQ(whole, 160);
}

TEST(SupportNoBody, IsAnsweredByClass) {
  struct Case {
    const char16_t* messageClass;
    HRESULT answer;
  };
  const Case cases[] = {{u"IPM.Note", S_OK}, {u"ipm.note.Mine", S_OK}, {u"", S_OK}, {u"Foo.Bar", S_OK}};
  for (const Case& c : cases) {
    EXPECT_EQ(mimeToMapiSupportNoBody(c.messageClass, nullptr), c.answer);
  }
}

}  // namespace
}  // namespace nalvo::test
