// Which trees the operations make, in the order that convertors call them.
#include "tests/mime/mime_support.h"

namespace nalvo::mime::testing {
namespace {

constexpr std::string_view kReportBlock =
    "X-Mark: the message's own\r\nContent-Type: multipart/report; report-type=delivery-status;\r\n "
    "boundary=\"stored\"\r\n\r\n";

// What the sequences start with.
HBODY givePlain(Mail& mail) { return mail.setText(TXT_PLAIN, "text"); }
HBODY givePair(Mail& mail) {
  const HBODY plain = givePlain(mail);
  mail.setText(TXT_HTML, "<p>text</p>", plain);
  return plain;
}
void giveStored(Mail& mail, std::string_view block) { EXPECT_EQ(S_OK, mail.table()->Load(streamOf(block).get())); }
void insertThree(Mail& mail) {
  for (int i = 0; i < 3; ++i) {
    const HBODY part = mail.insert(IBL_FIRST, HBODY_ROOT);
    mail.setData(part, "text", i == 0 ? "x-one" : i == 1 ? "x-two" : "x-three", "part");
  }
  mail.set("Content-Type", u"multipart/report");
}

struct Sequence {
  const char* why;
  void (*run)(Mail& mail);
  std::string_view tree;
};

const Sequence kSequences[] = {
    {"2 plain", [](Mail& m) { EXPECT_EQ(m.at(IBL_ROOT), givePlain(m)); }, "plain"},
    {"2 html", [](Mail& m) { EXPECT_EQ(m.at(IBL_ROOT), m.setText(TXT_HTML, "<p>")); }, "html"},
    {"3 an alternative",
     [](Mail& m) {
       const HBODY plain = givePlain(m);
       const HBODY html = m.setText(TXT_HTML, "<p>", plain);
       EXPECT_EQ(plain, m.at(IBL_FIRST));
       EXPECT_EQ(html, m.at(IBL_LAST));
     },
     "alternative[plain, html]"},
    {"3 a third text beside the two",
     [](Mail& m) {
       const HBODY html = m.setText(TXT_HTML, "<p>", givePlain(m));
       m.setText(TXT_HTML, "<b>", html);
     },
     "alternative[plain, html, html]"},
    {"4 attachments behind a text",
     [](Mail& m) {
       const HBODY plain = givePlain(m);
       const HBODY first = m.attach("1");
       m.attach("2");
       EXPECT_EQ(plain, m.at(IBL_FIRST));
       EXPECT_EQ(first, m.at(IBL_NEXT, plain));
     },
     "mixed[plain, octet-stream, octet-stream]"},
    {"5 an attachment behind an alternative",
     [](Mail& m) {
       m.set(HeaderId::Subject, u"s");
       givePair(m);
       m.attach("1");
     },
     "mixed[alternative[plain, html], octet-stream]"},
    {"6 attachments alone",
     [](Mail& m) {
       const HBODY root = m.at(IBL_ROOT);
       m.attach("1");
       m.attach("2");
       EXPECT_EQ(root, m.at(IBL_ROOT));
     },
     "mixed[octet-stream, octet-stream]"},
    {"6 then a text",
     [](Mail& m) {
       m.attach("1");
       m.attach("2");
       givePlain(m);
     },
     "mixed[plain, octet-stream, octet-stream]"},
    {"7 related without a text", [](Mail& m) { EXPECT_EQ(m.at(IBL_ROOT), m.toMultipart(HBODY_ROOT, "related")); },
     "related[]"},
    {"7 then the text",
     [](Mail& m) {
       m.toMultipart(HBODY_ROOT, "related");
       givePlain(m);
     },
     "related[plain]"},
    {"8 related around a pair",
     [](Mail& m) {
       givePair(m);
       m.toMultipart(HBODY_ROOT, "related");
     },
     "related[alternative[plain, html]]"},
    {"9 a part that the text refers to",
     [](Mail& m) {
       givePlain(m);
       m.toMultipart(HBODY_ROOT, "related");
       const HBODY made = m.attachUrl("1", URL_ATTACH_GENERATE_CID);
       const HBODY bare = m.attachUrl("2");
       EXPECT_EQ('<', m.get(HeaderId::ContentId, made)[0]);
       EXPECT_EQ("[800CCE05]", m.get(HeaderId::ContentId, bare));
     },
     "related[plain, octet-stream, octet-stream]"},
    {"10 both kinds of attachments",
     [](Mail& m) {
       givePlain(m);
       m.toMultipart(HBODY_ROOT, "related");
       m.attachUrl("1");
       m.attach("2");
       m.attachUrl("3");
     },
     "mixed[related[plain, octet-stream, octet-stream], octet-stream]"},
    {"11 a card with a picture",
     [](Mail& m) {
       m.setData(HBODY_ROOT, "text", "x-vcard", "BEGIN:VCARD");
       m.attachUrl("1", URL_ATTACH_GENERATE_CID);
     },
     "related[x-vcard, octet-stream]"},
    {"12 a card with a file, then a picture",
     [](Mail& m) {
       m.setData(HBODY_ROOT, "text", "x-vcard", "BEGIN:VCARD");
       m.attach("1");
       m.attachUrl("2");
     },
     "mixed[related[x-vcard, octet-stream], octet-stream]"},
    {"13 a report around its text",
     [](Mail& m) {
       const HBODY plain = givePlain(m);
       const HBODY root = m.toMultipart(plain, "report");
       EXPECT_EQ(root, m.at(IBL_ROOT));
       EXPECT_EQ(plain, m.at(IBL_FIRST));
       m.setData(plain, "text", "plain", "other");
       m.setData(m.insert(IBL_LAST, root), "message", "delivery-status", "x");
       m.set("par:content-type:report-type", u"delivery-status");
       EXPECT_EQ("delivery-status", m.get("par:content-type:report-type", root));
     },
     "report[plain, delivery-status]"},
    {"14 a plain text takes the place of a pair",
     [](Mail& m) {
       const HBODY plain = givePair(m);
       EXPECT_EQ(plain, m.setText(TXT_PLAIN, "new"));
       m.toMultipart(plain, "report");
       EXPECT_EQ("new", m.data(plain));
     },
     "report[plain]"},
    {"15 the returned message",
     [](Mail& m) {
       const HBODY root = m.toMultipart(givePlain(m), "report");
       m.setData(m.insert(IBL_LAST, root), "message", "delivery-status", "x");
       m.attach("1");
     },
     "report[plain, delivery-status, octet-stream]"},
    {"16 a stored report that lost its parts",
     [](Mail& m) {
       giveStored(m, kReportBlock);
       const HBODY first = m.attach("1");
       const HBODY second = m.attach("2");
       m.remove(first);
       m.remove(second);
       EXPECT_EQ(S_OK, m->IsContentType(HBODY_ROOT, "multipart", "report"));
     },
     "report[]"},
    {"17 a stored report built anew",
     [](Mail& m) {
       giveStored(m, kReportBlock);
       m.remove(m.attach("1"));
       m.setData(HBODY_ROOT, "text", "plain", "text");
       const HBODY plain = m.at(IBL_ROOT);
       const HBODY root = m.toMultipart(HBODY_ROOT, "report");
       EXPECT_EQ(plain, m.at(IBL_FIRST));
       m.setData(m.insert(IBL_LAST, root), "message", "delivery-status", "x");
       m.setData(m.insert(IBL_LAST, root), "text", "rfc822-headers", "y");
       EXPECT_NE(std::string::npos, m.save().find("\r\n--stored--\r\n"));
     },
     "report[plain, delivery-status, rfc822-headers]"},
    {"18 three parts in front of each other",
     [](Mail& m) {
       const HBODY root = m.at(IBL_ROOT);
       insertThree(m);
       EXPECT_EQ(root, m.at(IBL_ROOT));
     },
     "report[x-three, x-two, x-one]"},
    {"19 in front of a text",
     [](Mail& m) {
       const HBODY plain = givePlain(m);
       insertThree(m);
       EXPECT_EQ(plain, m.at(IBL_ROOT));
     },
     "report[x-three, x-two, x-one, plain]"},
    {"20 after the attachments went",
     [](Mail& m) {
       givePair(m);
       m.remove(m.attach("1"));
       insertThree(m);
     },
     "report[x-three, x-two, x-one, alternative[plain, html]]"},
    {"20 of nothing but attachments",
     [](Mail& m) {
       m.remove(m.attach("1"));
       insertThree(m);
     },
     "report[x-three, x-two, x-one]"},
    {"21 an empty text for two attachments",
     [](Mail& m) {
       m.attach("1");
       m.attach("2");
       EXPECT_NE(nullptr, m.setText(TXT_PLAIN, "", nullptr, IET_BINARY));
     },
     "mixed[plain, octet-stream, octet-stream]"},
    {"21 never in place of a text",
     [](Mail& m) {
       m.setText(TXT_HTML, "<p>");
       m.attach("1");
       EXPECT_EQ(nullptr, m.setText(TXT_PLAIN, "", nullptr, IET_BINARY));
     },
     "mixed[html, octet-stream]"},
    {"22 a calendar beside the texts",
     [](Mail& m) {
       m.toMultipart(givePlain(m), "alternative");
       FINDBODY find{"multipart", "alternative", 0};
       HBODY alternative = nullptr;
       EXPECT_EQ(S_OK, m->FindFirst(&find, &alternative));
       m.setData(m.insert(IBL_LAST, alternative), "text", "calendar", "BEGIN:VCALENDAR");
     },
     "alternative[plain, calendar]"},
    {"23 a calendar with a file",
     [](Mail& m) {
       m.setData(HBODY_ROOT, "text", "calendar", "BEGIN:VCALENDAR");
       const HBODY calendar = m.at(IBL_ROOT);
       m.attach("1");
       EXPECT_EQ(calendar, m.at(IBL_FIRST));
     },
     "mixed[calendar, octet-stream]"},
    {"24 a message within",
     [](Mail& m) {
       Mail inner;
       inner.set(HeaderId::Subject, u"inner");
       givePlain(inner);
       givePlain(m);
       m.attach(inner);
     },
     "mixed[plain, rfc822]"},
    {"26 an encrypted attachment alone",
     [](Mail& m) { m.set(HeaderId::ContentType, u"application/pkcs7-mime", m.attach("1")); }, "mixed[pkcs7-mime]"},
};

TEST(MimeTree, SequencesOfOperations) {
  for (const Sequence& sequence : kSequences) {
    SCOPED_TRACE(sequence.why);
    Mail mail;
    EXPECT_EQ("[800CCE05]", mail.get("Subject"));
    mail.set("X-Mark", u"the message's own");
    sequence.run(mail);
    EXPECT_EQ(sequence.tree, mail.tree());
    EXPECT_EQ("the message's own", mail.get("X-Mark"));
    const std::string saved = mail.save();
    EXPECT_EQ(saved, mail.save()) << "saved twice, two texts";
    // What is read back is what was built, apart from a multipart without parts and the encrypted root.
    const Mail again(saved);
    EXPECT_EQ("the message's own", again.get("X-Mark"));
    const bool isEmpty = sequence.tree.ends_with("[]");
    const bool isFlat = sequence.tree == "mixed[pkcs7-mime]";
    EXPECT_EQ(isEmpty ? "plain" : isFlat ? "pkcs7-mime" : sequence.tree, again.tree());
  }
}

TEST(MimeTree, NewMessageAnswersNothing) {
  const Mail mail;
  ULONG count = 9;
  EXPECT_EQ(S_OK, mail->CountBodies(HBODY_ROOT, 1, &count));
  EXPECT_EQ(0U, count);
  EXPECT_EQ(nullptr, mail.at(IBL_FIRST));
  EXPECT_EQ("text/plain", mail.get(HeaderId::ContentType));
  EXPECT_EQ(MIME_E_NOT_FOUND, mail->GetTextBody(TXT_PLAIN, IET_BINARY, nullptr, nullptr));
  FINDBODY find{nullptr, nullptr, 0};
  EXPECT_EQ(MIME_E_NOT_FOUND, mail->FindFirst(&find, nullptr));
  EXPECT_EQ(S_FALSE, mail->QueryProp(HeaderId::Subject, "", 0, 0));
  EXPECT_TRUE(mail.attachments().empty());
  EXPECT_EQ("\r\n", mail.save());
}

TEST(MimeTree, LoadedMessageTakesTheRowsOfARun) {
  const std::string signedText =
      "Received: by x\nSubject: old\nContent-Type: multipart/signed; boundary=b\n\n--b\n\ntext \xE4\n--b\n"
      "Content-Type: application/pgp-signature\n\nx\n--b--\n";
  Mail mail;
  mail.set(HeaderId::Subject, u"new");
  mail.set("X-New", u"1");
  mail.set(HeaderId::ContentType, u"multipart/mixed");
  ComPtr<IMimePropertySet> clone;
  ASSERT_EQ(S_OK, mail.body()->Clone(clone.put()));
  EXPECT_EQ(S_OK, clone->DeleteProp(HeaderId::ContentType));
  EXPECT_EQ(MIME_E_NOT_FOUND, clone->DeleteProp(HeaderId::MimeVersion));
  const HBODY old = mail.at(IBL_ROOT);
  mail.load(signedText);
  EXPECT_EQ(S_OK, clone->CopyProps(0, nullptr, mail.body().get()));
  std::string expected = signedText;
  expected.replace(expected.find("Subject: old"), 12, "Subject: new");
  expected.insert(expected.find("\n\n") + 1, "X-New: 1\n");
  EXPECT_EQ(expected, mail.save());
  void* bound = nullptr;
  EXPECT_EQ(E_HANDLE, mail->BindToObject(old, IMimeBody::kIid, &bound));
}

TEST(MimeTree, BoundBodyOutlivesItsTree) {
  Mail mail("Subject: a\r\n\r\ndata");
  const ComPtr<IMimeBody> body = mail.body();
  EXPECT_EQ(S_OK, mail->InitNew());
  ComPtr<IStream> stream;
  ASSERT_EQ(S_OK, body->GetData(IET_BINARY, stream.put()));
  EXPECT_EQ("data", contentOf(stream.get()));
  EXPECT_EQ(S_OK, body->QueryProp(HeaderId::Subject, "A", 0, 0));
}

TEST(MimeTree, MessageCannotHoldItself) {
  Mail outer;
  Mail inner;
  outer.attach(inner);
  EXPECT_EQ(E_INVALIDARG, inner->AttachObject(IMimeMessage::kIid, outer.message.get(), nullptr));
  EXPECT_EQ(E_INVALIDARG, inner->AttachObject(IMimeMessage::kIid, inner.message.get(), nullptr));
}

TEST(MimeTree, TenThousandAttachmentsAreLinear) {
  Mail mail;
  mail.setText(TXT_PLAIN, "x");
  for (int i = 0; i < 9000; ++i) {
    mail.attach("data");
  }
  EXPECT_EQ(9000U, mail.attachments().size());
  const Mail again(mail.save());
  EXPECT_EQ(9000U, again.attachments().size());
}

TEST(MimeTree, DeepNestingNeedsNoStack) {
  constexpr int kDepth = 2000;
  Mail mail;
  mail.setText(TXT_PLAIN, "innermost");
  for (int i = 0; i < 200; ++i) {
    Mail outer;
    outer.set(HeaderId::Subject, u"level");
    outer.attach(mail);
    mail = outer;
  }
  const std::string saved = mail.save();
  EXPECT_NE(std::string::npos, saved.find("innermost"));
  Mail nested;
  nested.setText(TXT_PLAIN, "x");
  for (int i = 0; i < kDepth; ++i) {
    nested.toMultipart(HBODY_ROOT, i % 2 == 0 ? "mixed" : "related");
  }
  // Read back no deeper than the limit, and nothing is lost.
  const std::string deep = nested.save();
  Mail again(deep);
  EXPECT_EQ(101U, allBodies(again).size());
  again.set("X-A", u"1");
  EXPECT_NE(std::string::npos, again.save().find(deep.substr(deep.size() / 2)));
}

}  // namespace
}  // namespace nalvo::mime::testing
