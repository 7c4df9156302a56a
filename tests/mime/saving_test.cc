// What is written: stored header blocks, encodings, charsets, addresses.
#include "platform/text/text.h"
#include "tests/mime/mime_support.h"

namespace nalvo::mime::testing {
namespace {

void insertAddress(const Mail& mail, DWORD kind, const char* email, std::u16string name) {
  ComPtr<IMimeAddressTable> table;
  ASSERT_EQ(S_OK, mail->GetAddressTable(table.put()));
  std::string copy = email;
  const AddressProperties entry{IAP_ADRTYPE | IAP_ENCODING | IAP_NAME_AND_EMAIL, kind, IET_UNICODE, copy.data(),
                                name.data()};
  EXPECT_EQ(S_OK, table->Insert(&entry, nullptr));
}
void deleteAddresses(const Mail& mail, DWORD kinds) {
  ComPtr<IMimeAddressTable> table;
  ASSERT_EQ(S_OK, mail->GetAddressTable(table.put()));
  EXPECT_EQ(S_OK, table->DeleteTypes(kinds));
}
// "kind name <address>; ".
std::string addresses(const Mail& mail, DWORD kinds) {
  AddressList list{};
  EXPECT_EQ(S_OK, mail->GetAddressTypes(kinds, IAP_NAME_AND_EMAIL, &list));
  std::string result;
  for (ULONG i = 0; i < list.count; ++i) {
    const AddressProperties& a = list.addresses[i];
    std::string name;
    for (const char16_t* c = a.name; c != nullptr && *c != 0; ++c) {
      name += *c < 0x80 ? static_cast<char>(*c) : '?';
    }
    result += std::to_string(a.kind) + " " + name + " <" + (a.email != nullptr ? a.email : "") + ">; ";
  }
  ComPtr<IMimeAllocator> allocator;
  EXPECT_EQ(S_OK, createMimeAllocator(allocator.put()));
  allocator->FreeAddressList(&list);
  return result;
}

constexpr std::string_view kStored =
    "Received: from a by b\r\n"
    "From: \"Sender, A\" <a@example.com>\r\n"
    "To: =?iso-8859-1?Q?=E4?= <b@example.com>,\r\n\tTeam: c@example.com, d@example.com;\r\n"
    "To: e@example.com\r\n"
    "Subject: =?iso-8859-1?Q?Gr=FC=DFe?=\r\n"
    "Date: Tue, 1 Jan 2008 10:00:00 +0100\r\n"
    "MIME-Version: 1.0 (made by x)\r\n"
    "Content-Type: multipart/mixed;\r\n\tboundary=\"----=_stored\"\r\n"
    "X-Last: 1\r\n";

// The From list of a stored message is read before the same one is written; a run clears it first.
TEST(MimeSaving, StoredBlockComesBackByteForByte) {
  Mail mail;
  EXPECT_EQ(S_OK, mail.table()->Load(streamOf(kStored).get()));
  mail.setText(TXT_PLAIN, "text");
  mail.attach("data");
  deleteAddresses(mail, IAT_ALL);
  mail.set(HeaderId::Subject, u"Gr\u00FC\u00DFe");
  insertAddress(mail, IAT_SENDER, "a@example.com", u"Sender, A");
  insertAddress(mail, IAT_FROM, "a@example.com", u"Sender, A");
  insertAddress(mail, IAT_TO, "b@example.com", u"\u00E4");
  insertAddress(mail, IAT_TO, "c@example.com", u"c@example.com");
  insertAddress(mail, IAT_TO, "d@example.com", u"");
  insertAddress(mail, IAT_TO, "e@example.com", u"");
  const std::string saved = mail.save();
  EXPECT_EQ(kStored, saved.substr(0, kStored.size()));
  EXPECT_EQ("\r\n------=_stored\r\n", saved.substr(kStored.size(), 18));
  EXPECT_EQ("mixed[plain, octet-stream]", Mail(saved).tree());

  insertAddress(mail, IAT_TO, "f@example.com", u"");
  std::string more = mail.save();
  const std::size_t to = more.find("To: ");
  const std::size_t subject = more.find("Subject: ");
  EXPECT_EQ(kStored.substr(0, kStored.find("To: ")), more.substr(0, to));
  EXPECT_EQ(kStored.substr(kStored.find("Subject: ")), more.substr(subject, kStored.size() - kStored.find("Subject: ")));
  EXPECT_EQ("4 ? <b@example.com>; 4  <c@example.com>; 4  <d@example.com>; 4  <e@example.com>; 4  <f@example.com>; ",
            addresses(Mail(more), IAT_TO));
}

TEST(MimeSaving, StoredBoundaryGivesWayWhenItEndsInABlank) {
  Mail mail;
  EXPECT_EQ(S_OK, mail.table()->Load(streamOf("Content-Type: multipart/mixed; boundary=\"b \"\r\n").get()));
  mail.setText(TXT_PLAIN, "text");
  mail.attach("data");
  const Mail again(mail.save());
  EXPECT_EQ("mixed[plain, octet-stream]", again.tree());
  EXPECT_EQ("data", again.data(again.at(IBL_LAST)));
}

TEST(MimeSaving, StoredBoundaryGivesWayWhenAPartHoldsIt) {
  Mail mail;
  EXPECT_EQ(S_OK, mail.table()->Load(streamOf(kStored).get()));
  mail.setText(TXT_PLAIN, "text\r\n------=_stored\r\nnot a part");
  mail.attach("data");
  const std::string saved = mail.save();
  EXPECT_EQ(saved, mail.save());
  const Mail again(saved);
  EXPECT_EQ("mixed[plain, octet-stream]", again.tree());
  EXPECT_EQ("text\r\n------=_stored\r\nnot a part", again.data(again.at(IBL_FIRST)));
}

TEST(MimeSaving, StoredTypeOfAnotherContentGivesWay) {
  Mail mail;
  EXPECT_EQ(S_OK,
            mail.table()->Load(streamOf("Content-Transfer-Encoding: base64\r\nContent-Type: multipart/x;\r\n boundary=b\r\n"
                                        "Content-Language: de\r\nContent-MD5: x\r\nSubject: s\r\nbanner\r\n")
                                   .get()));
  mail.setText(TXT_PLAIN, "text");
  EXPECT_EQ(
      "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: 7bit\r\n"
      "Content-Language: de\r\nSubject: s\r\n\r\ntext",
      mail.save());
}

TEST(MimeSaving, StoredTypeHoldsForWhatReadersTakeForTheSame) {
  struct Case {
    const char* why;
    const char* stored;
    std::vector<const char*> parts;  // "text", or the type of an attachment
    const char* saved;               // the type that the root ends with
  };
  const Case cases[] = {
      {"an odd text", "text/richtext; charset=us-ascii", {"text"}, "text/richtext; charset=us-ascii"},
      {"a word without a slash", "X-sun-attachment", {"text"}, "X-sun-attachment"},
      {"HTML is no odd text", "text/html; charset=us-ascii", {"text"}, "text/plain; charset=us-ascii"},
      {"a calendar neither", "text/calendar", {"text"}, "text/plain; charset=us-ascii"},
      {"a list of messages",
       "multipart/digest; boundary=b",
       {"message/rfc822", "message/rfc822"},
       "multipart/digest; boundary=b"},
      {"a list of another kind", "multipart/x-y; boundary=b", {"text", "image/png"}, "multipart/x-y; boundary=b"},
      {"an encrypted text",
       "multipart/encrypted; protocol=\"application/pgp-encrypted\"; boundary=b",
       {"application/pgp-encrypted", "application/octet-stream"},
       "multipart/encrypted; protocol=\"application/pgp-encrypted\"; boundary=b"},
      {"which somebody has read",
       "multipart/encrypted; protocol=\"application/pgp-encrypted\"; boundary=b",
       {"text", "a/b"},
       ""},
      {"parts that hang together", "multipart/alternative; boundary=b", {"text", "image/png"}, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Mail mail;
    EXPECT_EQ(S_OK, mail.table()->Load(streamOf("Content-Type: " + std::string(c.stored) + "\r\nSubject: s\r\n").get()));
    HCHARSET ascii = nullptr;
    ASSERT_EQ(S_OK, MimeOleFindCharset("us-ascii", &ascii));
    EXPECT_EQ(S_OK, mail->SetCharset(ascii, CSET_APPLY_ALL));
    for (const char* part : c.parts) {
      if (std::string_view(part) == "text") {
        mail.setWideText(TXT_PLAIN, u"some text");
      } else {
        mail.set(HeaderId::ContentType, ansiToWide(part).c_str(), mail.attach("data"));
      }
    }
    const std::string saved = mail.save();
    const std::string wanted = "Content-Type: " + std::string(c.saved);
    EXPECT_TRUE(*c.saved != 0
                    ? saved.starts_with(wanted + "\r\n") || saved.find("\r\n" + wanted + "\r\n") != std::string::npos
                    : saved.find("multipart/mixed") != std::string::npos)
        << saved;
    EXPECT_EQ(saved, mail.save());
  }
}

TEST(MimeSaving, RowsOfAContentGoWithTheOnePartThatItBecame) {
  Mail mail;
  EXPECT_EQ(S_OK,
            mail.table()->Load(streamOf("Content-Type: image/png\r\nContent-MD5: sum\r\nContent-Description: raptors\r\n"
                                        "Content-Language: en\r\nSubject: s\r\n")
                                   .get()));
  mail.set(HeaderId::ContentType, u"image/png", mail.attach("picture"));
  const Mail again(mail.save());
  EXPECT_EQ("mixed[png]", again.tree());
  const HBODY part = again.at(IBL_FIRST);
  EXPECT_EQ("sum", again.get("Content-MD5", part));
  EXPECT_EQ("raptors", again.get("Content-Description", part));
  EXPECT_EQ("[800CCE05]", again.get("Content-MD5"));
  EXPECT_EQ("en", again.get("Content-Language")) << "speaks of the message";
}

TEST(MimeSaving, StoredEncodingStaysWhereItCanCarryTheText) {
  const std::string block =
      "Content-Type: text/plain; charset=\"UTF-8\"\r\nContent-Transfer-Encoding: Quoted-Printable\r\nMIME-Version: 1.0\r\n";
  Mail mail;
  EXPECT_EQ(S_OK, mail.table()->Load(streamOf(block).get()));
  mail.setWideText(TXT_PLAIN, u"plain = ascii");
  EXPECT_EQ(block + "\r\nplain =3D ascii", mail.save());
}

TEST(MimeSaving, StoredCharsetGivesWayToTheActualOne) {
  const std::string block = "MIME-Version: 1.0\r\nContent-Type: text/html; charset=iso-8859-1; x=y\r\n";
  for (const char* charset : {"ISO-8859-1", "utf-8"}) {
    Mail mail;
    EXPECT_EQ(S_OK, mail.table()->Load(streamOf(block).get()));
    HCHARSET handle = nullptr;
    ASSERT_EQ(S_OK, MimeOleFindCharset(charset, &handle));
    EXPECT_EQ(S_OK, mail->SetCharset(handle, CSET_APPLY_ALL));
    mail.setText(TXT_HTML, "<p>\xE4</p>");
    const std::string saved = mail.save();
    EXPECT_EQ(std::string_view(charset) == "ISO-8859-1", saved.starts_with(block)) << saved;
    const Mail again(saved);
    EXPECT_TRUE(charset == again.get("par:content-type:charset") || saved.starts_with(block));
    EXPECT_EQ("y", again.get("par:content-type:x"));
  }
}

TEST(MimeSaving, StoredRowsGoDownWithTheirContent) {
  Mail mail;
  EXPECT_EQ(S_OK, mail.table()->Load(streamOf("Content-Type: text/plain\r\nContent-Language: de\r\nSubject: s\r\n").get()));
  mail.setText(TXT_PLAIN, "x");
  mail.attach("data");
  const Mail again(mail.save());
  EXPECT_EQ("[800CCE05]", again.get("Content-Language"));
  EXPECT_EQ("de", again.get("Content-Language", again.at(IBL_FIRST)));
  EXPECT_EQ("s", again.get(HeaderId::Subject));
}

TEST(MimeSaving, EmptyRootHasNoBody) {
  Mail mail;
  EXPECT_EQ(S_OK, mail.table()->Load(streamOf("Subject: s\r\nContent-Type: text/html\r\n").get()));
  EXPECT_EQ("Subject: s\r\n\r\n", mail.save());
  EXPECT_EQ(nullptr, Mail(mail.save()).textBody(TXT_PLAIN));
}

TEST(MimeSaving, RowsOfANewRootComeInOrder) {
  Mail mail;
  mail.setText(TXT_PLAIN, "x");
  EXPECT_EQ(S_OK, mail.table()->AppendRow(HeaderId::MimeVersion, 0, "", 0, nullptr));
  mail.set(HeaderId::Subject, u"s");
  EXPECT_EQ(
      "MIME-Version: 1.0\r\nSubject: s\r\nContent-Type: text/plain; charset=utf-8\r\n"
      "Content-Transfer-Encoding: 7bit\r\n\r\nx",
      mail.save());
  const HBODY part = mail.attach("data");
  mail.set("att:filename", u"a.bin", part);
  const ComPtr<TestStream> out = streamOf("");
  EXPECT_EQ(S_OK, mail->SaveBody(part, 0, out.get()));
  EXPECT_EQ(
      "Content-Type: application/octet-stream; name=a.bin\r\nContent-Transfer-Encoding: base64\r\n"
      "Content-Disposition: attachment; filename=a.bin\r\n\r\nZGF0YQ==",
      out->text());
}

// Whatever a text holds, the same UTF-16 comes back.
TEST(MimeSaving, TextsSurvive) {
  const std::u16string odd[] = {
      u"plain\r\n",
      u"lone\nLF",
      u"lone\rCR",
      std::u16string(u"a NUL \0 within", 14),
      std::u16string(999, u'x'),
      u"trailing blank \r\nand tab\t\r\n \r\n",
      u"emoji \U0001F600",
      u"From the start\r\n.\r\n=3D",
      u"",
      u"\u4E2D\u6587" + std::u16string(500, u'\u4E2D'),
  };
  for (const char* charset : {"iso-8859-1", "utf-8", "us-ascii", "iso-2022-jp", "utf-16", "gb18030"}) {
    HCHARSET handle = nullptr;
    ASSERT_EQ(S_OK, MimeOleFindCharset(charset, &handle));
    for (const std::u16string& text : odd) {
      SCOPED_TRACE(charset);
      Mail mail;
      mail.setWideText(TXT_PLAIN, text);
      mail.attach("more");
      mail.set("X-Text", u"\u00E4\U0001F600");
      EXPECT_EQ(S_OK, mail->SetCharset(handle, CSET_APPLY_ALL));
      const Mail again(mail.save());
      ASSERT_NE(nullptr, again.textBody(TXT_PLAIN));
      EXPECT_TRUE(text == again.wideData(again.textBody(TXT_PLAIN)));
      EXPECT_EQ(u"\u00E4\U0001F600", again.getWide("X-Text"));
    }
  }
}

TEST(MimeSaving, BytesOfATextAreLabelledByWhatTheyAre) {
  struct Case {
    const char* why;
    std::string text;
    std::string charset;
  };
  const Case cases[] = {{"ASCII", "abc", "utf-8"}, {"UTF-8", "\xC3\xA4", "utf-8"}, {"neither", "\xE4", "windows-1252"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Mail mail;
    mail.setText(TXT_HTML, c.text);
    const Mail again(mail.save());
    EXPECT_EQ(c.charset, again.get("par:content-type:charset"));
    EXPECT_EQ(c.text, again.data(HBODY_ROOT));
  }
}

TEST(MimeSaving, DataSurvivesInItsEncoding) {
  std::string bytes;
  for (int i = 0; i < 70000; ++i) {
    bytes += static_cast<char>(i % 251 * (i % 13) % 256);
  }
  Mail inner;
  inner.setText(TXT_PLAIN, "\xC3\xA4");
  inner.attach(bytes);
  Mail mail;
  mail.attach(bytes);
  const HBODY encoded = mail.attach("QUJD\r\nREVG");
  EXPECT_EQ(S_OK, mail.body(encoded)->SetCurrentEncoding(IET_BASE64));
  const HBODY status = mail.insert(IBL_LAST, HBODY_ROOT);
  mail.setData(status, "message", "delivery-status", "Reporting-MTA: x\r\n\r\nAction: \xE4\r\n");
  mail.attach(inner);
  const std::string saved = mail.save();
  const Mail again(saved);
  HBODY part = again.at(IBL_FIRST);
  EXPECT_TRUE(bytes == again.data(part));
  part = again.at(IBL_NEXT, part);
  EXPECT_EQ("QUJD\r\nREVG", again.data(part, IET_BASE64));
  EXPECT_EQ("ABCDEF", again.data(part));
  part = again.at(IBL_NEXT, part);
  EXPECT_EQ("8bit", again.get("Content-Transfer-Encoding", part));
  EXPECT_EQ("Reporting-MTA: x\r\n\r\nAction: \xE4\r\n", again.data(part));
  part = again.at(IBL_NEXT, part);
  EXPECT_EQ("7bit", again.get("Content-Transfer-Encoding", part));
  const Mail within(again.data(part));
  EXPECT_TRUE(bytes == within.data(within.at(IBL_LAST)));
}

TEST(MimeSaving, EncryptedAttachmentIsTheRoot) {
  for (const bool isStored : {false, true}) {
    Mail mail;
    if (isStored) {
      EXPECT_EQ(S_OK, mail.table()->Load(streamOf("Subject: s\r\nContent-Type: application/x-pkcs7-mime;\r\n "
                                                  "smime-type=enveloped-data; name=\"smime.p7m\"\r\n"
                                                  "X-MAPI: root\r\n")
                                             .get()));
    }
    const HBODY part = mail.attach("secret");
    mail.set(HeaderId::ContentType, u"application/x-pkcs7-mime", part);
    mail.set("att:filename", u"smime.p7m", part);
    mail.setNarrow("X-MAPI", "part", part);
    const Mail again(mail.save());
    EXPECT_EQ("x-pkcs7-mime", again.tree());
    EXPECT_EQ("secret", again.data(HBODY_ROOT));
    EXPECT_EQ(isStored ? "enveloped-data" : "[800CCE05]", again.get("par:content-type:smime-type"));
    EXPECT_EQ(isStored ? "root" : "part", again.get("X-MAPI"));
    EXPECT_EQ("smime.p7m", again.get(HeaderId::Name));
    EXPECT_EQ(isStored ? "[800CCE05]" : "smime.p7m", again.get(HeaderId::FileName)) << "the stored rows are the whole truth";
  }
}

TEST(MimeSaving, BigAnnotationsComeBackFromRootAndPart) {
  std::string text(20 * 1024 * 1024, 'A');
  for (std::size_t i = 0; i < text.size(); i += 7) {
    text[i] = static_cast<char>('A' + i % 26);
  }
  Mail mail;
  mail.setText(TXT_PLAIN, "x");
  const HBODY part = mail.attach("y");
  mail.setNarrow("X-MAPI", text);
  mail.setNarrow("X-MAPI", text.substr(1), part);
  const Mail again(mail.save());
  EXPECT_EQ("mixed[plain, octet-stream]", again.tree());
  std::string root = again.get("X-MAPI");
  std::string below = again.get("X-MAPI", again.at(IBL_LAST));
  std::erase(root, ' ');
  std::erase(below, ' ');
  EXPECT_TRUE(root == text);
  EXPECT_TRUE(below == text.substr(1));
}

// In a tree that was changed every body that nobody touched is still what it was.
TEST(MimeSaving, ChangesLeaveNeighboursAlone) {
  const std::string text =
      "Subject: s\nContent-Type: multipart/mixed; boundary=b\n\npreamble\n--b \nX: 1\n\none "
      "\xE4\n\n--b\n\ntwo\n--b\nBroken\n"
      "three\n--b--\nepilogue\n--b\n";
  const auto edit = [&](auto&& change) {
    Mail mail(text);
    change(mail);
    return mail.save();
  };
  std::string expected = text;
  expected.replace(expected.find("\n--b\n\ntwo"), 9, "");
  EXPECT_EQ(expected, edit([](Mail& m) { m.remove(m.at(IBL_NEXT, m.at(IBL_FIRST))); }));
  expected = text;
  expected.replace(expected.find("X: 1"), 4, "X: 2");
  EXPECT_EQ(expected, edit([](Mail& m) { m.set("X", u"2", m.at(IBL_FIRST)); }));
  expected = text;
  expected.insert(expected.find("\n--b--"),
                  "\n--b\nContent-Type: application/octet-stream\r\nContent-Transfer-Encoding: base64\r\n"
                  "Content-Disposition: attachment\r\n\r\nZA==");
  EXPECT_EQ(expected, edit([](Mail& m) { m.attach("d"); }));
  const std::string wrapped = edit([](Mail& m) { m.toMultipart(HBODY_ROOT, "related"); });
  EXPECT_NE(std::string::npos, wrapped.find(text.substr(text.find("preamble"))));
  EXPECT_EQ("related[mixed[plain, plain, plain]]", Mail(wrapped).tree());
}

TEST(MimeAddresses, NewRowsComeInTheOrderOfInsertion) {
  Mail mail;
  deleteAddresses(mail, IAT_ALL);
  insertAddress(mail, IAT_TO, "to@x", u"");
  insertAddress(mail, IAT_FROM, "from@x", u"");
  insertAddress(mail, IAT_TO, "", u"");
  insertAddress(mail, IAT_SENDER, "from@x", u"");
  EXPECT_EQ("To: to@x\r\nFrom: from@x\r\nSender: from@x\r\n\r\n", mail.save());
}

TEST(MimeAddresses, StoredAuthorsStayWhileTheLastIsTheOne) {
  struct Case {
    const char* why;
    const char* rows;
    const char* email;
    const char16_t* name;
    bool stays;
  };
  const Case cases[] = {
      {"two in a row", "From: A <a@x>, B <b@x>\r\n", "b@x", u"B", true},
      {"two rows", "From: A <a@x>\r\nFrom: B <b@x>\r\n", "b@x", u"B", true},
      {"a name with a bare comma", "From: Last, First (Town) <b@x>\r\n", "b@x", u"First", true},
      {"a blank name", "From: \" \" <b@x>\r\n", "b@x", u"", true},
      {"another author", "From: A <a@x>, B <b@x>\r\n", "a@x", u"A", false},
      {"another name", "From: A <a@x>, B <b@x>\r\n", "b@x", u"C", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    Mail mail;
    EXPECT_EQ(S_OK, mail.table()->Load(streamOf(c.rows).get()));
    deleteAddresses(mail, IAT_ALL);
    insertAddress(mail, IAT_FROM, c.email, c.name);
    EXPECT_EQ(c.stays, mail.save() == std::string(c.rows) + "\r\n");
  }
}

TEST(MimeAddresses, TableAndRowsAreOneThing) {
  Mail mail("To: A <a@x>, group: b@x;\r\nTo: c@x\r\nCc: undisclosed-recipients:;\r\n\r\n");
  EXPECT_EQ("4 A <a@x>; 4  <b@x>; 4  <c@x>; ", addresses(mail, IAT_ALL));
  mail.set("To", u"\u00C4 <new@x>, other@x");
  EXPECT_EQ("4 ? <new@x>; 4  <other@x>; ", addresses(mail, IAT_TO));
  insertAddress(mail, IAT_CC, "cc@x", u"Last, First");
  insertAddress(mail, IAT_BCC, "", u"name alone");
  EXPECT_EQ("\"Last, First\" <cc@x>", mail.get("Cc"));
  deleteAddresses(mail, IAT_TO);
  const std::string saved = mail.save();
  EXPECT_EQ("Cc: \"Last, First\" <cc@x>\r\nBcc: \"name alone\"\r\n\r\n", saved);
  EXPECT_EQ("8 Last, First <cc@x>; 16 name alone <>; ", addresses(Mail(saved), IAT_ALL));
  ULONG count = 9;
  ComPtr<IMimeAddressTable> table;
  ASSERT_EQ(S_OK, mail->GetAddressTable(table.put()));
  EXPECT_EQ(S_OK, table->CountTypes(IAT_CC | IAT_TO, &count));
  EXPECT_EQ(1U, count);
}

}  // namespace
}  // namespace nalvo::mime::testing
