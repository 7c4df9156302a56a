#include "tests/support/caller.h"

namespace nalvo::test {
namespace {

FILETIME fileTime(std::uint64_t ticks) {
  return {static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32)};
}
// 2020-03-02 09:00 UTC
const FILETIME kSent = fileTime(132'276'132'000'000'000);

// A note of Ann to Bob.
class NoteToMime : public testing::Test {
 protected:
  NoteToMime() {
    caller.set(PR_MESSAGE_CLASS, u"IPM.Note");
    caller.set(PR_SUBJECT, u"Grüße");
    caller.set(PR_CLIENT_SUBMIT_TIME, kSent);
    caller.set(PR_INTERNET_MESSAGE_ID, u"<1@example.org>");
    caller.set(PR_SENT_REPRESENTING_NAME, u"Ann");
    caller.set(PR_SENT_REPRESENTING_EMAIL_ADDRESS, u"ann@example.org");
    caller.set(PR_SENDER_NAME, u"Ann");
    caller.set(PR_SENDER_EMAIL_ADDRESS, u"ann@example.org");
    caller.set(PR_BODY, u"Hällo\r\n");
    caller.set(PR_INTERNET_CPID, 65001);
  }
  void stored(std::string_view block) { caller.set(PR_TRANSPORT_MESSAGE_HEADERS_A, crLf(block)); }

  Caller caller;
};

TEST_F(NoteToMime, HeadersComeFromProperties) {
  caller.set(PR_INTERNET_ORGANIZATION, u"Example Org");
  caller.set(named::kXEnvelopeTo, u"x@example.org");
  caller.addRecipient(1, u"Bob", u"SMTP", "bob@example.com");
  caller.addRecipient(2, u"Carol", u"EX", "/o=org/cn=carol");
  caller.addRecipient(3, u"", u"smtp", "dave@example.com");
  const Mail mail(caller.write());
  EXPECT_EQ(mail.header(mime::HeaderId::Subject), "Grüße");
  EXPECT_EQ(mail.header(mime::HeaderId::Date), "Mon, 02 Mar 2020 09:00:00 +0000");
  EXPECT_EQ(mail.header(mime::HeaderId::MessageId), "<1@example.org>");
  EXPECT_EQ(mail.header(mime::HeaderId::Organization), "Example Org");
  EXPECT_EQ(mail.header("X-Envelope-To"), "x@example.org");
  EXPECT_EQ(mail.header("From"), "Ann <ann@example.org>");
  EXPECT_EQ(mail.header("To"), "Bob <bob@example.com>");
  EXPECT_EQ(mail.header("Cc"), "\"Carol\"") << "an address of another system has no place in a header";
  EXPECT_EQ(mail.header("Bcc"), "dave@example.com");
  EXPECT_EQ(mail.header(mime::HeaderId::XMailer), "<none>");
  EXPECT_EQ(mail.body(mime::TXT_PLAIN), "Hällo\r\n");
  EXPECT_TRUE(mail.isType("text", "plain"));
}

TEST_F(NoteToMime, RecipientTypesMayCarryMarksOfATransport) {
  caller.addRecipient(static_cast<std::int32_t>(0x80000003), u"Dave", u"SMTP", "dave@example.com");
  caller.addRecipient(0x10000002, u"Carol", u"SMTP", "carol@example.com");
  const Mail mail(caller.write());
  EXPECT_EQ(mail.header("Bcc"), "Dave <dave@example.com>");
  EXPECT_EQ(mail.header("Cc"), "Carol <carol@example.com>");
  EXPECT_EQ(Mail(caller.write(CONVERT_FOR_SEND)).header("To"), "<none>");
}

TEST_F(NoteToMime, FlagsSayWhereTheTextGoes) {
  stored("Received: from a\nX-Old: kept\nSubject: old\n");
  caller.addRecipient(3, u"Dave", u"SMTP", "dave@example.com");
  struct Case {
    const char* why;
    DWORD flags;
    const char* old;
    const char* bcc;
    bool mailer;
  };
  const Case cases[] = {
      {"to the server", CONVERT_NORMAL, "kept", "Dave <dave@example.com>", false},
      {"on the wire", CONVERT_FOR_SEND, "<none>", "<none>", true},
      {"to an attachment", CONVERT_TO_ATTACHMENT, "kept", "Dave <dave@example.com>", false},
      {"on the wire as an attachment", CONVERT_FOR_SEND | CONVERT_TO_ATTACHMENT, "kept", "<none>", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const Mail mail(caller.write(c.flags));
    EXPECT_EQ(mail.header("X-Old"), c.old);
    EXPECT_EQ(mail.header("Bcc"), c.bcc);
    EXPECT_EQ(mail.header(mime::HeaderId::XMailer) != "<none>", c.mailer);
    EXPECT_EQ(mail.header(mime::HeaderId::Subject), "Grüße");
  }
}

TEST_F(NoteToMime, StoredBlockKeepsItsOrderAndBytes) {
  stored("X-First: 1\nSubject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?=\nX-Odd:   two  blanks\nDate: Mon, 2 Mar 2020 10:00:00 +0100\n");
  const std::string text = caller.write();
  EXPECT_TRUE(
      text.starts_with(crLf("X-First: 1\nSubject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?=\nX-Odd:   two  blanks\n"
                            "Date: Mon, 2 Mar 2020 10:00:00 +0100\n")))
      << text;
}

TEST_F(NoteToMime, EmptyDateGoes) {
  caller.message->bag().erase(PR_CLIENT_SUBMIT_TIME);
  stored("X-First: 1\n");
  EXPECT_EQ(Mail(caller.write()).header(mime::HeaderId::Date), "<none>");
}

TEST_F(NoteToMime, EditorFormatChoosesBodies) {
  struct Case {
    const char* why;
    std::optional<std::int32_t> format;
    bool plain, html;
    const char *plainBody, *htmlBody;
  };
  const Case cases[] = {
      {"both", {}, true, true, "Hällo\r\n", "<p>ö</p>"},
      {"HTML alone", {}, false, true, "<none>", "<p>ö</p>"},
      {"made as plain text", 1, true, true, "Hällo\r\n", "<none>"},
      {"made as HTML", 2, true, true, "Hällo\r\n", "<p>ö</p>"},
      {"made as RTF that is not there", 3, true, true, "<none>", "<none>"},
      {"an unknown editor", 9, true, true, "<none>", "<none>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller one;
    if (c.format) {
      one.set(PR_MSG_EDITOR_FORMAT, *c.format);
    }
    if (c.plain) {
      one.set(PR_BODY, u"Hällo\r\n");
    }
    if (c.html) {
      one.set(PR_HTML, std::string("<p>\xC3\xB6</p>"));
    }
    one.set(PR_INTERNET_CPID, 65001);
    const Mail mail(one.write());
    EXPECT_EQ(mail.body(mime::TXT_PLAIN), c.plainBody);
    EXPECT_EQ(mail.body(mime::TXT_HTML), c.htmlBody);
  }
}

TEST_F(NoteToMime, CodePageIsTheCharsetOfAllText) {
  struct Case {
    std::int32_t codePage;
    const char* charset;
  };
  const Case cases[] = {{28605, "iso-8859-1"}, {1252, "windows-1252"}, {65001, "utf-8"}, {28603, "iso-8859-4"}};
  for (const Case& c : cases) {
    caller.set(PR_INTERNET_CPID, c.codePage);
    EXPECT_EQ(toLowerAscii(Mail(caller.write()).header("par:content-type:charset")), c.charset);
  }
  caller.set(PR_INTERNET_CPID, 12345);
  EXPECT_EQ(caller.toMime(caller.stream().get()), E_FAIL);
}

TEST_F(NoteToMime, ImportanceAndPriorityHaveHeaders) {
  struct Case {
    std::int32_t importance, priority;
    const char *word, *number, *priorityWord;
  };
  const Case cases[] = {{2, 1, "High", "1", "High"},
                        {1, 0, "Normal", "3", "Normal"},
                        {0, -1, "Low", "5", "Low"},
                        {7, 7, "<none>", "<none>", "<none>"}};
  for (const Case& c : cases) {
    caller.set(PR_IMPORTANCE, c.importance);
    caller.set(PR_PRIORITY, c.priority);
    const Mail mail(caller.write());
    EXPECT_EQ(mail.header("Importance"), c.word);
    EXPECT_EQ(mail.header(mime::HeaderId::XPriority), c.number);
    EXPECT_EQ(mail.header(mime::HeaderId::XMsMailPriority), c.priorityWord);
  }
}

TEST_F(NoteToMime, OriginatorsComeFromWhatIsThere) {
  struct Case {
    const char* why;
    std::u16string address, name, bookName, bookAddress, bookType;
    const char* from;
  };
  const Case cases[] = {
      {"address alone", u"a@b.org", u"", u"", u"", u"", "a@b.org"},
      {"a path of another system", u"/o=org/cn=ann", u"Ann", u"", u"", u"", "\"Ann\""},
      {"name alone", u"", u"Ann", u"", u"", u"", "\"Ann\""},
      {"the book has an SMTP address", u"", u"Ann", u"", u"a@b.org", u"smtp", "Ann <a@b.org>"},
      {"the book has another system's address", u"", u"", u"Ann B", u"/o=x", u"EX", "\"Ann B\""},
      {"nothing at all", u"", u"", u"", u"", u"", "<none>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller one;
    if (!c.address.empty()) {
      one.set(PR_SENT_REPRESENTING_EMAIL_ADDRESS, c.address);
    }
    if (!c.name.empty()) {
      one.set(PR_SENT_REPRESENTING_NAME, c.name);
    }
    one.set(PR_SENT_REPRESENTING_ENTRYID, std::string("entry"));
    one.addressBook->entries["entry"] = {
        {PR_DISPLAY_NAME, c.bookName}, {PR_EMAIL_ADDRESS, c.bookAddress}, {PR_ADDRTYPE, c.bookType}};
    EXPECT_EQ(Mail(one.write()).header("From"), c.from);
  }
}

TEST_F(NoteToMime, ReceiptsGoToTheSender) {
  caller.set(PR_READ_RECEIPT_REQUESTED, true);
  caller.set(PR_ORIGINATOR_DELIVERY_REPORT_REQUESTED, false);
  const Mail mail(caller.write());
  EXPECT_EQ(mail.header("Disposition-Notification-To"), "Ann <ann@example.org>");
  EXPECT_EQ(mail.header("Return-Receipt-To"), "<none>");
}

TEST_F(NoteToMime, ImapFlagsTellTheState) {
  caller.set(PR_MESSAGE_FLAGS, 0x1 | 0x8 | 0x300);
  caller.set(PR_ICON_INDEX, 261);
  caller.set(PR_FLAG_STATUS, 2);
  caller.set(named::kIsSpam, true);
  caller.set(named::kImapDeleted, 1);
  caller.set(PR_MESSAGE_DELIVERY_TIME, kSent);
  caller.write();
  EXPECT_EQ(caller.flags->flags, (std::set<ULONG>{0, 1, 3, 4, 5, 6}));
  EXPECT_EQ(caller.flags->messageClass, u"IPM.Note");
  EXPECT_EQ(caller.flags->internalDate->wMinute, 0);

  Caller hidden;
  hidden.set(PR_MESSAGE_CLASS, u"IPM.Note.Rules");
  hidden.set(PR_MESSAGE_FLAGS, 0x40);
  hidden.write();
  EXPECT_EQ(hidden.flags->messageClass, u"") << "a hidden item keeps its class to itself";
  EXPECT_TRUE(hidden.flags->flags.contains(9)) << "no receipt is pending";
}

TEST_F(NoteToMime, ChangesChooseTheParts) {
  struct Case {
    const char* why;
    std::int32_t state;
    ULONG changed;
    DWORD parts;
  };
  const Case cases[] = {
      {"nothing to do", 0, PR_SUBJECT, 0},
      {"new", 4, PR_SUBJECT, 7},
      {"moved", 8, PR_SUBJECT, 7},
      {"a header", 1, PR_SUBJECT, CONVERTED_BODY},
      {"a state", 1, PR_MESSAGE_FLAGS, CONVERTED_FLAGS | CONVERTED_ANNOTATIONS},
      {"a property that nothing knows", 1, propTag(PT_LONG, 0x6801), CONVERTED_ANNOTATIONS},
      {"a derived property", 1, PR_SUBJECT_PREFIX, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    caller.set(kTagChangeState, c.state);
    caller.set(c.changed, c.changed == PR_SUBJECT || c.changed == PR_SUBJECT_PREFIX ? host::PropertyContent(u"x")
                                                                                    : host::PropertyContent(1));
    caller.message->bag().clearChanges();
    caller.set(c.changed, caller.message->bag().find(c.changed)->content);
    const ComPtr<IStream> out = caller.stream("untouched");
    DWORD parts = 99;
    ASSERT_EQ(caller.toMime(out.get(), CONVERT_JUST_CHANGED, &parts), S_OK);
    EXPECT_EQ(parts, c.parts);
    EXPECT_EQ(Caller::contentOf(out.get()) == "untouched", (c.parts & CONVERTED_BODY) == 0);
  }
  EXPECT_EQ(caller.toMime(caller.stream().get(), CONVERT_JUST_CHANGED, nullptr), E_INVALIDARG);
  EXPECT_EQ(caller.toMime(caller.stream().get(), CONVERT_JUST_CHANGED | CONVERT_FOR_SEND, nullptr), S_OK);
}

TEST_F(NoteToMime, TextGoesBehindThePositionAndLeavesIt) {
  const ComPtr<IStream> out = caller.stream("0123456789");
  ASSERT_EQ(out->Seek(10, STREAM_SEEK_SET, nullptr), S_OK);
  ASSERT_EQ(caller.toMime(out.get()), S_OK);
  std::uint64_t position = 0;
  ASSERT_EQ(out->Seek(0, STREAM_SEEK_CUR, &position), S_OK);
  EXPECT_EQ(position, 10U);
  const std::string text = Caller::contentOf(out.get());
  EXPECT_TRUE(text.starts_with("0123456789"));
  EXPECT_EQ(Mail(text.substr(10)).header("From"), "Ann <ann@example.org>");
}

TEST(NamedTags, HoldWithinOneStore) {
  // Two stores number the same names in other orders; one process converts both.
  for (const bool spamFirst : {true, false}) {
    Caller caller;
    caller.tagOf(spamFirst ? named::kIsSpam : named::kXEnvelopeTo);
    caller.set(named::kIsSpam, true);
    caller.set(named::kXEnvelopeTo, u"x@example.org");
    EXPECT_EQ(Mail(caller.write()).header("X-Envelope-To"), "x@example.org");
    EXPECT_TRUE(caller.flags->flags.contains(static_cast<ULONG>(MimeFlag::Junk)));
  }
}

}  // namespace
}  // namespace nalvo::test
