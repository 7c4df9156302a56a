#include "tests/support/caller.h"

namespace nalvo::test {
namespace {

constexpr std::string_view kMail =
    "Received: from a\n"
    "Return-Path: <bounce@example.org>\n"
    "From: =?utf-8?Q?Andr=C3=A9?= <andre@example.org>\n"
    "To: Bob <bob@example.com>, carol@example.com\n"
    "Cc: \"Dave, X\" <dave@example.com>\n"
    "Reply-To: Team <team@example.org>, two@example.org\n"
    "Subject: Re: =?utf-8?B?R3LDvMOfZQ==?=\n"
    "Date: Mon, 2 Mar 2020 10:00:00 +0100\n"
    "Message-ID: <1@example.org>\n"
    "In-Reply-To: <0@example.org>\n"
    "List-Help: <mailto:help@example.org>\n"
    "X-Spam-Level: **\n"
    "X-Unknown: kept\n"
    "MIME-Version: 1.0\n"
    "Content-Type: multipart/alternative; boundary=xx\n"
    "\n"
    "--xx\n"
    "Content-Type: text/plain; charset=iso-8859-1\n"
    "Content-Transfer-Encoding: quoted-printable\n"
    "\n"
    "H=E4llo\n"
    "--xx\n"
    "Content-Type: text/html; charset=iso-8859-1\n"
    "Content-Transfer-Encoding: quoted-printable\n"
    "\n"
    "<p>H=E4llo</p>\n"
    "--xx--\n";

class NoteToMapi : public testing::Test {
 protected:
  Caller caller;
};

TEST_F(NoteToMapi, HeadersBecomeProperties) {
  caller.read(kMail);
  EXPECT_EQ(caller.text(PR_MESSAGE_CLASS), u"IPM.Note");
  EXPECT_EQ(caller.text(PR_SUBJECT), u"Re: Grüße");
  EXPECT_EQ(caller.text(PR_SUBJECT_PREFIX), u"Re: ");
  EXPECT_EQ(caller.text(PR_NORMALIZED_SUBJECT), u"Grüße");
  EXPECT_EQ(caller.text(PR_CONVERSATION_TOPIC), u"Grüße");
  EXPECT_EQ(caller.text(PR_INTERNET_MESSAGE_ID), u"<1@example.org>");
  EXPECT_EQ(caller.text(PR_IN_REPLY_TO_ID_A), u"<0@example.org>");
  EXPECT_EQ(caller.text(PR_INTERNET_RETURN_PATH_A), u"<bounce@example.org>");
  EXPECT_EQ(caller.text(PR_LIST_HELP), u"<mailto:help@example.org>");
  EXPECT_EQ(caller.text(caller.tagOf(named::kXSpamLevel)), u"**");
  EXPECT_EQ(caller.text(caller.tagOf(named::kContentClass)), u"urn:content-classes:message");
  EXPECT_EQ(caller.get<FILETIME>(PR_CLIENT_SUBMIT_TIME), (FILETIME{0xF41F6800, 0x01D5F070})) << "09:00 UTC";
  EXPECT_EQ(caller.number(PR_INTERNET_CPID), 28591U);
  EXPECT_EQ(caller.number(PR_PRIORITY), 0U);
  EXPECT_EQ(caller.number(PR_IMPORTANCE), 1U);
}

TEST_F(NoteToMapi, BodiesKeepTheirText) {
  caller.read(kMail);
  EXPECT_EQ(caller.text(PR_BODY), u"Hällo");
  EXPECT_EQ(caller.bytes(PR_HTML), "<p>H\xE4llo</p>") << "HTML stays in the charset of its part";
  EXPECT_EQ(caller.bytes(caller.tagOf(named::kInternetCharsetBody)), "H\xE4llo");
  const std::string block = caller.bytes(PR_TRANSPORT_MESSAGE_HEADERS_A);
  EXPECT_EQ(block, crLf(kMail.substr(0, kMail.find("\n\n") + 1)));
}

TEST_F(NoteToMapi, PeopleBecomeOriginatorsAndRecipients) {
  caller.read(kMail);
  EXPECT_EQ(caller.text(PR_SENT_REPRESENTING_NAME), u"André");
  EXPECT_EQ(caller.bytes(PR_SENT_REPRESENTING_EMAIL_ADDRESS), "andre@example.org");
  EXPECT_EQ(caller.text(PR_SENT_REPRESENTING_ADDRTYPE), u"SMTP");
  EXPECT_EQ(caller.bytes(PR_SENT_REPRESENTING_SEARCH_KEY), std::string("SMTP:ANDRE@EXAMPLE.ORG\0", 23));
  EXPECT_EQ(caller.text(PR_SENDER_NAME), u"André") << "a mail with From alone has a sender";
  EXPECT_EQ(caller.text(PR_REPLY_RECIPIENT_NAMES), u"Team;two@example.org");
  struct Row {
    std::int32_t type;
    std::u16string name;
    std::string address;
  };
  const Row rows[] = {{1, u"Bob", "bob@example.com"}, {1, u"", "carol@example.com"}, {2, u"Dave, X", "dave@example.com"}};
  const auto& recipients = caller.message->parts().recipients;
  ASSERT_EQ(recipients.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const host::PropertyBag& bag = recipients[i]->bag();
    EXPECT_EQ(std::get<std::int32_t>(bag.find(PR_RECIPIENT_TYPE)->content), rows[i].type);
    EXPECT_EQ(host::textOf(*bag.find(PR_DISPLAY_NAME)), rows[i].name);
    EXPECT_EQ(host::bytesOf(*bag.find(PR_EMAIL_ADDRESS)), rows[i].address);
  }
}

TEST_F(NoteToMapi, ComesBackAsItWas) {
  caller.read(kMail);
  const std::string once = caller.write(CONVERT_TO_ATTACHMENT);
  const Mail mail(once);
  EXPECT_EQ(mail.header("X-Unknown"), "kept");
  EXPECT_EQ(mail.header("Reply-To"), "Team <team@example.org>, two@example.org");
  EXPECT_EQ(mail.header("Sender"), "<none>");
  EXPECT_EQ(mail.header("Date"), "Mon, 2 Mar 2020 10:00:00 +0100");
  EXPECT_EQ(mail.body(mime::TXT_PLAIN), "Hällo");
  EXPECT_EQ(mail.body(mime::TXT_HTML), "<p>Hällo</p>");
  Caller second;
  ASSERT_EQ(second.toMapi(second.stream(once).get(), CONVERT_NORMAL), S_OK);
  EXPECT_EQ(second.write(CONVERT_TO_ATTACHMENT), once) << "a second round changes nothing";
}

TEST_F(NoteToMapi, HeadersDecideTheImportance) {
  struct Case {
    const char* headers;
    std::int32_t importance, priority;
  };
  const Case cases[] = {
      {"", 1, 0},
      {"Importance: LOW\n", 0, 0},
      {"Importance: whatever\n", 1, 0},
      {"X-Priority: 3 (Normal)\n", 1, 0},
      {"X-Priority: 5\n", 0, -1},
      {"X-Priority: 1\nImportance: low\n", 0, 1},
      {"X-MSMail-Priority: high\n", 2, 1},
      {"X-Priority: urgent\nX-MSMail-Priority: high\n", 2, 1},
      {"X-Priority: 5\nX-MSMail-Priority: high\n", 0, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.headers);
    Caller one;
    one.read(std::string(c.headers) + "\ntext\n");
    EXPECT_EQ(one.get<std::int32_t>(PR_IMPORTANCE), c.importance);
    EXPECT_EQ(one.get<std::int32_t>(PR_PRIORITY), c.priority);
  }
}

// Names of people are kept in one text that ";" parts.
TEST_F(NoteToMapi, NamesWithASemicolonStayOnePerson) {
  Caller one;
  one.read("Reply-To: \"Team; A\" <a@example.org>, b@example.org\n\ntext\n");
  EXPECT_EQ(one.text(PR_REPLY_RECIPIENT_NAMES), u"Team, A;b@example.org");
  EXPECT_EQ(Mail(one.write(CONVERT_FOR_SEND)).header("Reply-To"), "\"Team, A\" <a@example.org>, b@example.org");
  one.set(PR_REPLY_RECIPIENT_NAMES, u"Team;B;");
  EXPECT_EQ(Mail(one.write(CONVERT_FOR_SEND)).header("Reply-To"), "Team <a@example.org>, B <b@example.org>");
}

TEST_F(NoteToMapi, SubjectHasAPrefixOfOneToThreeLetters) {
  struct Case {
    const char* why;
    const char* subject;
    std::u16string prefix, rest;
  };
  const Case cases[] = {
      {"a reply", "Re: lunch", u"Re: ", u"lunch"},
      {"three letters", "FwD: a: b", u"FwD: ", u"a: b"},
      {"four letters", "Note: x", u"", u"Note: x"},
      {"no blank", "Re:x", u"", u"Re:x"},
      {"a letter beyond ASCII", "=?utf-8?Q?R=C3=A9:_x?=", u"", u"Ré: x"},
      {"a line break", "=?utf-8?Q?Re:_a=0Ab?=", u"", u"Re: a\nb"},
      {"nothing", "", u"", u""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller one;
    one.read("Subject: " + std::string(c.subject) + "\n\ntext\n");
    EXPECT_EQ(one.text(PR_SUBJECT_PREFIX), c.prefix);
    EXPECT_EQ(one.text(PR_NORMALIZED_SUBJECT), c.rest);
  }
}

TEST_F(NoteToMapi, OddHeadersDoNoHarm) {
  struct Case {
    const char* why;
    const char* mail;
    bool hasDate;
  };
  const Case cases[] = {
      {"no header at all", "\njust text\n", false},
      {"a date that is none", "Date: Foo, 32 Bar 2020\n\ntext\n", false},
      {"an empty date", "Date:\n\ntext\n", false},
      {"an empty message", "", false},
      {"an address without anything", "From: \"\" <>\nTo: ;\n\ntext\n", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller one;
    one.read(c.mail);
    EXPECT_EQ(one.has(PR_CLIENT_SUBMIT_TIME), c.hasDate);
    EXPECT_EQ(one.text(PR_SUBJECT), u"");
    EXPECT_TRUE(one.message->parts().recipients.empty());
  }
}

TEST_F(NoteToMapi, ReadReceiptIsAskedFor) {
  caller.read("From: a@example.org\nDisposition-Notification-To: Ann <ann@example.org>\n\ntext\n");
  EXPECT_TRUE(caller.get<bool>(PR_READ_RECEIPT_REQUESTED));
  EXPECT_EQ(caller.bytes(PR_READ_RECEIPT_SEARCH_KEY), std::string("SMTP:ANN@EXAMPLE.ORG\0", 21));
  EXPECT_EQ(caller.number(PR_MESSAGE_FLAGS) & 0x300, 0x300U);
  Caller dealtWith;
  dealtWith.flags->flags.insert(9);
  dealtWith.read("From: a@example.org\nDisposition-Notification-To: Ann <ann@example.org>\n\ntext\n");
  EXPECT_EQ(dealtWith.number(PR_MESSAGE_FLAGS) & 0x300, 0U);
  Caller nobody;
  EXPECT_EQ(nobody.toMapi(nobody.stream("Disposition-Notification-To: \r\n\r\ntext").get()), E_FAIL);
}

TEST_F(NoteToMapi, ReportTagComesFromTheMessageId) {
  struct Case {
    const char* id;
    const char* tag;
  };
  const Case cases[] = {{"<!~!QUJD@example.org>", "ABC"},
                        {"<!~!QUJD@a@example.org>", "ABC\0"},
                        {"<!~!QUJD@example.org", ""},
                        {"<x!~!QUJD@example.org>", ""}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    Caller one;
    one.read("Message-ID: " + std::string(c.id) + "\n\ntext\n");
    EXPECT_EQ(one.has(PR_REPORT_TAG), *c.tag != '\0');
  }
}

TEST_F(NoteToMapi, ImapFlagsBecomeState) {
  caller.flags->flags = {0, 1, 2, 3, 4, 5, 6};
  caller.flags->hidden = true;
  caller.flags->messageSize = 1234;
  caller.flags->attachments = false;
  caller.set(PR_MESSAGE_FLAGS, 0x359 | 0x2);
  caller.read("Subject: x\n\ntext\n");
  EXPECT_EQ(caller.number(PR_MESSAGE_FLAGS), 0x1U | 0x2U | 0x8U | 0x40U);
  EXPECT_EQ(caller.number(PR_CONTENT_UNREAD), 0U);
  EXPECT_EQ(caller.number(PR_ICON_INDEX), 261U) << "answered wins over forwarded";
  EXPECT_EQ(caller.number(PR_FLAG_STATUS), 2U);
  EXPECT_EQ(caller.number(PR_FOLLOWUP_ICON), 6U);
  EXPECT_EQ(caller.number(PR_TODO_ITEM_FLAGS), 1U);
  EXPECT_EQ(caller.number(PR_MSG_STATUS), 0x2002U);
  EXPECT_TRUE(caller.get<bool>(caller.tagOf(named::kIsSpam)));
  EXPECT_EQ(caller.number(caller.tagOf(named::kImapDeleted)), 1U);
  EXPECT_EQ(caller.number(PR_MESSAGE_SIZE), 1234U);
  EXPECT_FALSE(caller.get<bool>(PR_HASATTACH));
  EXPECT_TRUE(caller.has(PR_MESSAGE_DELIVERY_TIME) && caller.has(PR_CREATION_TIME) && caller.has(PR_LAST_MODIFICATION_TIME));

  caller.flags->flags = {8};
  caller.read("Subject: x\n\ntext\n", CONVERT_JUST_FLAGS);
  EXPECT_FALSE(caller.has(PR_FLAG_STATUS)) << "cleared with the flag";
  EXPECT_FALSE(caller.get<bool>(caller.tagOf(named::kIsSpam)));
  EXPECT_EQ(caller.number(PR_CONTENT_UNREAD), 1U);
}

TEST_F(NoteToMapi, NobodyClearsTheFlagOfAnAttachedMail) {
  caller.set(PR_FLAG_STATUS, 2);
  caller.set(named::kIsSpam, true);
  caller.read("Subject: x\n\ntext\n", CONVERT_FROM_ATTACHMENT);
  EXPECT_EQ(caller.number(PR_FLAG_STATUS), 2U);
  EXPECT_TRUE(caller.get<bool>(caller.tagOf(named::kIsSpam)));
}

TEST_F(NoteToMapi, FlagsNarrowTheRun) {
  struct Case {
    const char* why;
    DWORD flags;
    bool subject, delivered, parts;
  };
  const Case cases[] = {
      {"all", CONVERT_NORMAL, true, true, true},
      {"from an attachment", CONVERT_FROM_ATTACHMENT, true, false, true},
      {"flags alone", CONVERT_JUST_FLAGS, false, true, false},
      {"without a body", CONVERT_WITHOUT_BODY, false, true, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller one;
    one.set(PR_MESSAGE_CLASS, u"IPM.Note");
    one.read("Subject: Re: x\n\ntext\n", c.flags);
    EXPECT_EQ(one.has(PR_SUBJECT), c.subject);
    EXPECT_EQ(one.has(PR_MESSAGE_DELIVERY_TIME), c.delivered);
    EXPECT_EQ(one.has(PR_SUBJECT_PREFIX), c.parts);
    EXPECT_EQ(one.number(PR_CONTENT_UNREAD), c.flags == CONVERT_FROM_ATTACHMENT ? 0U : 1U);
  }
}

TEST_F(NoteToMapi, ClassComesFromTheText) {
  struct Case {
    const char* why;
    std::u16string present;
    const char* type;
    std::u16string result;
  };
  const Case cases[] = {
      {"a note", u"", "text/plain", u"IPM.Note"},
      {"signed", u"", "multipart/signed; boundary=b", u"IPM.Note.SMIME.MultipartSigned"},
      {"encrypted", u"ipm.note", "application/x-pkcs7-mime", u"IPM.Note.SMIME"},
      {"a class of the client's own stays", u"IPM.Note.Mine", "multipart/signed; boundary=b", u"IPM.Note.Mine"},
      {"a calendar says meeting", u"IPM", "text/calendar; component=vevent; method=REQUEST",
       u"IPM.Schedule.Meeting.Request"},
      {"a more specific class than the text can show stays", u"IPM.Schedule.Meeting.Request.Mine",
       "text/calendar; component=vevent; method=REQUEST", u"IPM.Schedule.Meeting.Request.Mine"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller one;
    if (!c.present.empty()) {
      one.set(PR_MESSAGE_CLASS, c.present);
    }
    one.read(
        "Content-Type: " + std::string(c.type) + "\n\n" +
        (std::string_view(c.type).starts_with("text/calendar")
             ? "BEGIN:VCALENDAR\nVERSION:2.0\nBEGIN:VEVENT\nUID:1\nDTSTART:20240101T080000Z\nEND:VEVENT\nEND:VCALENDAR\n"
             : "--b\n\ntext\n--b\n\nsignature\n--b--\n"));
    EXPECT_EQ(one.text(PR_MESSAGE_CLASS), c.result);
  }
}

}  // namespace
}  // namespace nalvo::test
