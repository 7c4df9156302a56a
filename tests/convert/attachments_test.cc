#include "convert/attachment_convert.h"

#include <algorithm>

#include "host/fault_sweep.h"
#include "tests/support/caller.h"

namespace nalvo::test {
namespace {

constexpr std::string_view kSigned =
    "From: a@example.org\nSubject: s\nMIME-Version: 1.0\n"
    "Content-Type: multipart/signed; protocol=\"application/pkcs7-signature\"; micalg=sha-256; boundary=sig\n\n"
    "preamble\n--sig\nContent-Type: text/plain\n\nsigned  text \n\n--sig\n"
    "Content-Type: application/pkcs7-signature; name=smime.p7s\nContent-Transfer-Encoding: base64\n\nQUJD\n--sig--\n";

class Attachments : public testing::Test {
 protected:
  Attachments() {
    caller.set(PR_MESSAGE_CLASS, u"IPM.Note");
    caller.set(PR_SUBJECT, u"outer");
    caller.set(PR_BODY, u"text\r\n");
    caller.set(PR_INTERNET_CPID, 65001);
  }

  static host::PropertyBag& add(Caller& to, AttachMethod method) {
    ComPtr<IConvertAttachment> made;
    EXPECT_EQ(to.message->createAttachment(made.put()), S_OK);
    EXPECT_EQ(made->saveChanges(), S_OK);
    host::PropertyBag& bag = to.message->parts().attachments.back()->bag();
    bag.set(PR_ATTACH_METHOD, {PT_LONG, static_cast<std::int32_t>(method)});
    return bag;
  }
  host::PropertyBag& addFile(std::u16string name, std::string data) {
    host::PropertyBag& bag = add(caller, AttachMethod::ByValue);
    bag.set(PR_ATTACH_LONG_FILENAME, {PT_UNICODE, std::move(name)});
    bag.set(PR_ATTACH_DATA_BIN, {PT_BINARY, std::move(data)});
    return bag;
  }
  static host::PropertyBag& bagOf(Caller& of, std::size_t i) { return of.message->parts().attachments.at(i)->bag(); }
  static std::u16string text(const host::PropertyBag& bag, ULONG tag) {
    return bag.find(tag) == nullptr ? u"<none>" : host::textOf(*bag.find(tag));
  }
  static std::string bytes(const host::PropertyBag& bag, ULONG tag) {
    return bag.find(tag) == nullptr ? "<none>" : host::bytesOf(*bag.find(tag));
  }
  static int number(const host::PropertyBag& bag, ULONG tag) {
    return bag.find(tag) == nullptr ? -99 : std::get<std::int32_t>(bag.find(tag)->content);
  }
  // There with all that MIME can't hold, and back into a new message.
  void roundTrip(Caller& back) {
    lossless = caller.write(CONVERT_TO_ATTACHMENT);
    ASSERT_EQ(back.toMapi(back.stream(lossless).get(), CONVERT_FROM_ATTACHMENT), S_OK);
  }

  Caller caller;
  std::string lossless;
};

TEST_F(Attachments, FilesComeBackWithNamesTypesAndBytes) {
  struct Case {
    const char* why;
    std::u16string name, tag, type;
    std::string data;
  };
  const Case cases[] = {
      {"a type of its own", u"a.bin", u"image/png", u"image/png", std::string("\0\r\n\n\xFF", 5)},
      {"the name tells the type", u"Bericht für März.PDF", u"", u"application/pdf", "x"},
      {"a name beyond the first plane", u"\xD83D\xDE00.txt", u"", u"text/plain", "a\nb\r\nc"},
      {"no ending", u"Makefile", u"", u"application/octet-stream", ""},
      {"a type that would be a header of its own", u"b.txt", u"text/x\r\nX-Evil: 1", u"text/plain", "y"},
      {"a multipart is no file's type", u"c", u"multipart/mixed", u"application/octet-stream", "z"},
  };
  for (const Case& c : cases) {
    host::PropertyBag& bag = addFile(c.name, c.data);
    if (!c.tag.empty()) {
      bag.set(PR_ATTACH_MIME_TAG, {PT_UNICODE, c.tag});
    }
  }
  Caller back;
  roundTrip(back);
  EXPECT_EQ(lossless.find("X-Evil"), std::string::npos);
  ASSERT_EQ(back.message->parts().attachments.size(), std::size(cases));
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(cases[i].why);
    const host::PropertyBag& bag = bagOf(back, i);
    EXPECT_EQ(text(bag, PR_ATTACH_LONG_FILENAME), cases[i].name);
    EXPECT_EQ(text(bag, PR_ATTACH_MIME_TAG), cases[i].type);
    EXPECT_EQ(bytes(bag, PR_ATTACH_DATA_BIN), cases[i].data);
    EXPECT_EQ(number(bag, PR_ATTACH_METHOD), 1);
    EXPECT_EQ(number(bag, PR_RENDERING_POSITION), -1);
  }
  EXPECT_EQ(back.text(PR_BODY), u"text\r\n");
}

TEST_F(Attachments, ReferencesKeepTheirPath) {
  struct Case {
    std::u16string path;
    const char* access;
  };
  const Case cases[] = {{u"\\\\server\\share\\ä b.doc", "local-file"}, {u"https://example.org/a?b=c&d", "URL"}};
  for (const Case& c : cases) {
    add(caller, AttachMethod::ByReference).set(PR_ATTACH_LONG_PATHNAME, {PT_UNICODE, c.path});
  }
  Caller back;
  roundTrip(back);
  EXPECT_NE(lossless.find("This is just reference to file!"), std::string::npos);
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(number(bagOf(back, i), PR_ATTACH_METHOD), 4);
    EXPECT_EQ(text(bagOf(back, i), PR_ATTACH_LONG_PATHNAME), cases[i].path);
  }
}

TEST_F(Attachments, OtherMethodsTravelOrAreRefused) {
  host::PropertyBag& ole = add(caller, AttachMethod::Ole);
  ole.set(kTagAttachDataOle, {PT_BINARY, std::string("storage")});
  ole.set(PR_DISPLAY_NAME, {PT_UNICODE, u"Sheet"});
  ole.set(PR_ATTACH_RENDERING, {PT_BINARY, std::string("picture")});
  add(caller, AttachMethod::None);
  Caller back;
  roundTrip(back);
  ASSERT_EQ(back.message->parts().attachments.size(), 1U) << "what is no attachment has no body";
  EXPECT_EQ(number(bagOf(back, 0), PR_ATTACH_METHOD), 6);
  EXPECT_EQ(bytes(bagOf(back, 0), kTagAttachDataOle), "storage");
  EXPECT_EQ(bytes(bagOf(back, 0), PR_ATTACH_RENDERING), "picture");
  EXPECT_EQ(text(bagOf(back, 0), PR_ATTACH_LONG_FILENAME), u"Sheet");
  for (const std::int32_t method : {2, 3, 7}) {
    Caller refused;
    add(refused, static_cast<AttachMethod>(method));
    EXPECT_EQ(refused.toMime(refused.stream().get()), MAPI_E_NO_SUPPORT);
  }
}

TEST_F(Attachments, MessagesInsideMessagesComeBackAsDeepAsTheyGo) {
  Caller inner;
  inner.set(PR_MESSAGE_CLASS, u"IPM.Note");
  inner.set(PR_SUBJECT, u"innermost");
  inner.set(PR_BODY, u"deep ä");
  inner.set(PR_INTERNET_CPID, 65001);
  inner.set(propTag(PT_LONG, 0x6801), 42);
  ComPtr<host::MemoryMessage> held = inner.message;
  constexpr int kDepth = 20;
  for (int i = 0; i < kDepth; ++i) {
    Caller outer;
    outer.set(PR_MESSAGE_CLASS, u"IPM.Note");
    outer.set(PR_SUBJECT, u"level");
    host::PropertyBag& bag = add(outer, AttachMethod::EmbeddedMessage);
    bag.set(PR_DISPLAY_NAME, {PT_UNICODE, u"Report (final)"});
    bag.set(PR_ATTACH_DATA_OBJ, {PT_OBJECT, std::monostate()});
    outer.message->parts().attachments.back()->setEmbedded(held);
    held = outer.message;
    if (i == kDepth - 1) {
      const std::string mail = outer.write(CONVERT_TO_ATTACHMENT);
      Caller back;
      ASSERT_EQ(back.toMapi(back.stream(mail).get(), CONVERT_FROM_ATTACHMENT), S_OK);
      const host::MemoryMessage* level = back.message.get();
      for (int down = 0; down < kDepth; ++down) {
        ASSERT_EQ(level->parts().attachments.size(), 1U);
        const host::MemoryAttachment& attachment = *level->parts().attachments[0];
        EXPECT_EQ(host::textOf(*attachment.bag().find(PR_DISPLAY_NAME)), u"Report (final)");
        ASSERT_TRUE(attachment.embedded());
        level = attachment.embedded().get();
      }
      EXPECT_EQ(host::textOf(*level->bag().find(PR_SUBJECT)), u"innermost");
      EXPECT_EQ(host::textOf(*level->bag().find(PR_BODY)), u"deep ä");
      EXPECT_EQ(std::get<std::int32_t>(level->bag().find(propTag(PT_LONG, 0x6801))->content), 42);
    }
  }
}

TEST_F(Attachments, NamesOfAttachedMailDoNotGrow) {
  const std::string mail =
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n\ntext\n--b\nContent-Type: message/rfc822\n"
      "Content-Disposition: attachment; filename=\"test (2).eml\"\n\nSubject: inner\n\nx\n--b--\n";
  Caller first;
  first.read(mail);
  EXPECT_EQ(text(bagOf(first, 0), PR_DISPLAY_NAME), u"test (2).eml");
  Caller second;
  ASSERT_EQ(second.toMapi(second.stream(first.write(CONVERT_TO_ATTACHMENT)).get(), CONVERT_FROM_ATTACHMENT), S_OK);
  EXPECT_EQ(text(bagOf(second, 0), PR_DISPLAY_NAME), u"test (2).eml");
}

TEST_F(Attachments, DepthOfOutsideMailHasALimit) {
  std::string mail = "Subject: x\r\n\r\nin the middle";
  for (int i = 0; i < 300; ++i) {
    mail = "Content-Type: message/rfc822\r\n\r\n" + mail;
  }
  caller.read(mail);
  const host::MemoryMessage* level = caller.message.get();
  int depth = 0;
  while (!level->parts().attachments.empty() && level->parts().attachments[0]->bag().find(PR_ATTACH_DATA_OBJ) != nullptr) {
    level = level->parts().attachments[0]->embedded().get();
    ++depth;
  }
  EXPECT_GE(depth, 90);
  EXPECT_LE(depth, 101);
  ASSERT_EQ(level->parts().attachments.size(), 1U);
  const std::string rest = bytes(level->parts().attachments[0]->bag(), PR_ATTACH_DATA_BIN);
  EXPECT_NE(rest.find("in the middle"), std::string::npos) << "the rest is kept as a file";
  EXPECT_FALSE(level->parts().attachments[0]->embedded());
}

TEST_F(Attachments, MarkedOnesHangBesideTheText) {
  addFile(u"plain.txt", "1");
  addFile(u"first.png", "2").set(PR_ATTACH_CONTENT_ID, {PT_UNICODE, u"one@x"});
  addFile(u"second.png", "3").set(PR_ATTACH_CONTENT_ID, {PT_UNICODE, u"two@x"});
  addFile(u"face.png", "4").set(PR_ATTACHMENT_CONTACTPHOTO, {PT_BOOLEAN, true});
  Caller back;
  roundTrip(back);
  std::vector<std::u16string> names;
  for (const auto& attachment : back.message->parts().attachments) {
    names.push_back(text(attachment->bag(), PR_ATTACH_LONG_FILENAME));
  }
  EXPECT_EQ(names, (std::vector<std::u16string>{u"face.png", u"second.png", u"first.png", u"plain.txt"}));
  EXPECT_EQ(text(bagOf(back, 2), PR_ATTACH_CONTENT_ID), u"one@x");
  EXPECT_EQ(text(bagOf(back, 0), PR_ATTACH_CONTENT_ID), u"<none>");
  EXPECT_NE(lossless.find("multipart/related"), std::string::npos);
  caller.set(PR_MESSAGE_CLASS, u"IPM.Contact");
  EXPECT_NE(caller.write(CONVERT_FOR_SEND).find("Content-ID: <", lossless.find("face.png")), std::string::npos)
      << "the picture of a person gets an id";
}

TEST_F(Attachments, EmbeddedMailKeepsBothItsNames) {
  host::PropertyBag& bag = add(caller, AttachMethod::EmbeddedMessage);
  bag.set(PR_DISPLAY_NAME, {PT_UNICODE, u"Report (final)"});
  bag.set(PR_ATTACH_LONG_FILENAME, {PT_UNICODE, u"Report.msg"});
  ComPtr<IConvertMessage> inner;
  ASSERT_EQ(
      caller.message->parts().attachments[0]->openProp(PR_ATTACH_DATA_OBJ, 1, IConvertMessage::kIid, inner.putUnknown()),
      S_OK);
  ASSERT_EQ(inner->saveChanges(), S_OK);
  Caller back;
  roundTrip(back);
  EXPECT_EQ(text(bagOf(back, 0), PR_DISPLAY_NAME), u"Report (final)");
  EXPECT_EQ(text(bagOf(back, 0), PR_ATTACH_LONG_FILENAME), u"Report.msg");
}

TEST_F(Attachments, SignedTextIsNotTouched) {
  const std::string mail = crLf(kSigned);
  const std::string body = mail.substr(mail.find("preamble"));
  Caller signedMail;
  signedMail.read(kSigned);
  EXPECT_EQ(signedMail.text(PR_MESSAGE_CLASS), u"IPM.Note.SMIME.MultipartSigned");
  ASSERT_EQ(signedMail.message->parts().attachments.size(), 1U);
  EXPECT_EQ(text(bagOf(signedMail, 0), PR_ATTACH_MIME_TAG), u"multipart/signed");
  signedMail.set(PR_SUBJECT, u"another subject");
  for (const DWORD flags : {CONVERT_TO_ATTACHMENT, CONVERT_FOR_SEND, CONVERT_NORMAL}) {
    const std::string out = signedMail.write(flags);
    EXPECT_EQ(out.substr(out.find("preamble")), body) << "the signed bytes are those that came";
    EXPECT_EQ(Mail(out).header(mime::HeaderId::Subject), "another subject");
    EXPECT_TRUE(Mail(out).isType("multipart", "signed"));
  }
  // In a mail of another kind a signed text is a file like any other.
  Caller note;
  note.set(PR_MESSAGE_CLASS, u"IPM.Note");
  note.set(PR_SUBJECT, u"kept");
  host::PropertyBag& bag = add(note, AttachMethod::ByValue);
  bag.set(PR_ATTACH_MIME_TAG, {PT_UNICODE, u"multipart/signed"});
  bag.set(PR_ATTACH_DATA_BIN, {PT_BINARY, mail});
  EXPECT_EQ(Mail(note.write()).header(mime::HeaderId::Subject), "kept");
}

TEST_F(Attachments, EncryptedMailStaysOne) {
  Caller encrypted;
  encrypted.read(
      "Subject: e\nMIME-Version: 1.0\nContent-Type: application/pkcs7-mime; smime-type=enveloped-data; name=smime.p7m\n"
      "Content-Transfer-Encoding: base64\nContent-Disposition: attachment; filename=smime.p7m\n\nQUJDRA==\n");
  EXPECT_EQ(encrypted.text(PR_MESSAGE_CLASS), u"IPM.Note.SMIME");
  EXPECT_EQ(bytes(bagOf(encrypted, 0), PR_ATTACH_DATA_BIN), "ABCD");
  const std::string out = encrypted.write(CONVERT_TO_ATTACHMENT);
  EXPECT_TRUE(Mail(out).isType("application", "pkcs7-mime")) << out;
  EXPECT_EQ(Mail(out).header("par:content-type:smime-type"), "enveloped-data");
  Caller back;
  ASSERT_EQ(back.toMapi(back.stream(out).get(), CONVERT_FROM_ATTACHMENT), S_OK);
  EXPECT_EQ(bytes(bagOf(back, 0), PR_ATTACH_DATA_BIN), "ABCD");
}

TEST_F(Attachments, WhatIsNoTextIsAnAttachment) {
  struct Case {
    const char* why;
    const char* mail;
    std::size_t attachments;
    bool body;
  };
  const Case cases[] = {
      {"a mail that is one picture", "Content-Type: image/png\nContent-Transfer-Encoding: base64\n\nQUJD\n", 1, false},
      {"a text that is a file", "Content-Type: text/plain\nContent-Disposition: attachment; filename=a.txt\n\nx\n", 1,
       false},
      {"a picture of the text without an id",
       "Content-Type: multipart/related; boundary=b\n\n--b\nContent-Type: text/html\n\n<p>\n--b\nContent-Type: image/png; "
       "name=a.png\n\nx\n"
       "--b--\n",
       1, false},
      {"a calendar beside a text",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\n\ntext\n--b\nContent-Type: "
       "text/calendar\n\nBEGIN:VCALENDAR\n--b--\n",
       1, true},
      {"a text alone", "Content-Type: text/plain\n\nx\n", 0, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller one;
    one.read(c.mail);
    EXPECT_EQ(one.message->parts().attachments.size(), c.attachments);
    EXPECT_EQ(one.has(PR_BODY), c.body);
    Caller none;
    none.read(c.mail, CONVERT_NO_ATTACHMENT);
    EXPECT_TRUE(none.message->parts().attachments.empty());
  }
}

// A message has a place for one item; what holds more of them would lose the others.
TEST_F(Attachments, OfSeveralItemsStayFiles) {
  struct Case {
    const char* why;
    const char* type;
    std::string text;
    std::int32_t method;
  };
  constexpr std::int32_t kByValue = 1, kEmbedded = 5;
  const auto event = [](const std::string& uid, const std::string& more = {}) {
    return "BEGIN:VEVENT\nUID:" + uid + "\nDTSTART:20240506T090000Z\n" + more + "END:VEVENT\n";
  };
  const auto calendar = [](const std::string& items) { return "BEGIN:VCALENDAR\n" + items + "END:VCALENDAR\n"; };
  const std::string moved = "RECURRENCE-ID:20240507T090000Z\n", card = "BEGIN:VCARD\nN:A;B\nEND:VCARD\n";
  const Case cases[] = {
      {"an event", "calendar", calendar(event("1")), kEmbedded},
      {"a series and an exception", "calendar", calendar(event("1", moved) + event("1", "RRULE:FREQ=DAILY\n")), kEmbedded},
      {"two events", "calendar", calendar(event("1") + event("2")), kByValue},
      {"two of one id", "calendar", calendar(event("1") + event("1")), kByValue},
      {"two exceptions without their series", "calendar", calendar(event("1", moved) + event("1", moved)), kByValue},
      {"two calendars", "calendar", calendar(event("1")) + calendar(event("1")), kByValue},
      {"an event behind a line that can't be read", "calendar", calendar(event("1", "=x\n") + event("2")), kByValue},
      {"a card", "vcard", card, kEmbedded},
      {"two cards", "x-vcard", card + card, kByValue},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Caller one;
    one.read("Content-Type: multipart/mixed; boundary=b\n\n--b\n\ntext\n--b\nContent-Type: text/" + std::string(c.type) +
             "; name=a\nContent-Disposition: attachment\n\n" + c.text + "--b--\n");
    ASSERT_EQ(one.message->parts().attachments.size(), 1U);
    EXPECT_EQ(number(bagOf(one, 0), PR_ATTACH_METHOD), c.method);
  }
}

TEST_F(Attachments, PropertiesWithoutAHomeTravelInXMapiOfTheirBody) {
  host::PropertyBag& one = addFile(u"a.txt", "1");
  one.set(propTag(PT_LONG, 0x6801), {PT_LONG, 1});
  host::PropertyBag& two = addFile(u"b.txt", "2");
  two.set(propTag(PT_LONG, 0x6801), {PT_LONG, 2});
  Caller back;
  roundTrip(back);
  EXPECT_EQ(number(bagOf(back, 0), propTag(PT_LONG, 0x6801)), 1);
  EXPECT_EQ(number(bagOf(back, 1), propTag(PT_LONG, 0x6801)), 2);
  EXPECT_EQ(caller.write(CONVERT_FOR_SEND).find("X-MAPI"), std::string::npos) << "not on the wire";
}

// Three rounds: the second and third change nothing any more.
TEST_F(Attachments, RoundsSettle) {
  addFile(u"a.txt", "1");
  for (const bool withText : {true, false}) {
    if (!withText) {
      caller.message->bag().erase(PR_BODY);
      addFile(u"b.txt", "2");
    }
    std::string before;
    std::string mail = caller.write(CONVERT_TO_ATTACHMENT);
    for (int round = 0; round < 3; ++round) {
      Caller next;
      ASSERT_EQ(next.toMapi(next.stream(mail).get(), CONVERT_FROM_ATTACHMENT), S_OK);
      EXPECT_EQ(next.message->parts().attachments.size(), withText ? 1U : 2U);
      EXPECT_EQ(next.has(PR_BODY) && !next.text(PR_BODY).empty(), withText);
      before = std::exchange(mail, next.write(CONVERT_TO_ATTACHMENT));
    }
    EXPECT_EQ(std::count(mail.begin(), mail.end(), '\n'), std::count(before.begin(), before.end(), '\n'));
  }
}

const std::vector<std::string> kMayBeUnknown = {"IMapiAllocator::getAllocators",
                                                "getProp",
                                                "allocateBuffer",
                                                "allocateMore",
                                                "IMimeFlags::hasAttachments",
                                                "IMimeFlags::getMessageSize",
                                                "IConvertAttachment::getContentIdSource"};

void expectClean(const host::SweepResult& result) {
  for (const std::string& complaint : result.complaints) {
    ADD_FAILURE() << complaint;
  }
  for (const std::string& call : result.swallowed) {
    EXPECT_NE(std::find(kMayBeUnknown.begin(), kMayBeUnknown.end(), call), kMayBeUnknown.end()) << call;
  }
  EXPECT_GT(result.runs, 100U);
}

constexpr std::string_view kNested =
    "Subject: x\nContent-Type: multipart/mixed; boundary=b\n\n--b\n\ntext\n--b\nContent-Type: message/rfc822\n\n"
    "Subject: inner\n\ninner text\n--b\nContent-Type: image/png; name=a.png\n\npicture\n--b--\n";

TEST(AttachmentFaults, EachFailingCallIsTold) {
  expectClean(host::faultSweep([](const host::HostContextPtr& context, const std::function<void()>& arm) {
    Caller one(context);
    const ComPtr<IStream> mail = one.stream(crLf(kNested));
    arm();
    return one.toMapi(mail.get());
  }));
  expectClean(host::faultSweep([](const host::HostContextPtr& context, const std::function<void()>& arm) {
    Caller one(context);
    EXPECT_EQ(one.toMapi(one.stream(crLf(kNested)).get()), S_OK);
    const ComPtr<IStream> out = one.stream();
    arm();
    return one.toMime(out.get(), CONVERT_TO_ATTACHMENT);
  }));
}

}  // namespace
}  // namespace nalvo::test
