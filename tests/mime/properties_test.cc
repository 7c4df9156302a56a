#include "tests/mime/mime_support.h"

namespace nalvo::mime::testing {
namespace {

HRESULT readTime(const Mail& mail, FILETIME* out = nullptr) {
  ScopedPropVariant value(VT_FILETIME);
  const HRESULT hr = mail->GetProp(HeaderId::Date, 0, &value);
  if (out != nullptr) {
    *out = value.filetime;
  }
  value.vt = VT_EMPTY;
  return hr;
}

std::uint32_t readNumber(const Mail& mail, HeaderName name) {
  ScopedPropVariant value(VT_UI4);
  EXPECT_EQ(S_OK, mail->GetProp(name, 0, &value));
  return value.ulVal;
}

TEST(MimeProperties, MissingEmptyAndBrokenAreThreeAnswers) {
  EXPECT_EQ(MIME_E_NOT_FOUND, readTime(Mail("A: 1\r\n\r\n")));
  const Mail empty("Date:\r\n\r\n");
  EXPECT_EQ("", empty.get(HeaderId::Date));
  EXPECT_EQ(MIME_E_BAD_DATE, readTime(empty));
  EXPECT_EQ(MIME_E_BAD_DATE, readTime(Mail("Date: tomorrow\r\n\r\n")));
}

TEST(MimeProperties, Forms) {
  struct Case {
    const char* why;
    std::string row;
    HeaderName name;
    std::string narrow;
    std::u16string wide;
  };
  const Case cases[] = {
      {"the type alone", "Content-Type: Text/HTML; charset=x", HeaderId::ContentType, "Text/HTML", u"Text/HTML"},
      {"the word of a disposition", "content-disposition: inline; filename=a", HeaderId::ContentDisposition, "inline",
       u"inline"},
      {"a folded value", "Subject: a\r\n b", HeaderId::Subject, "a b", u"a b"},
      {"an encoded word", "Subject: =?utf-8?q?=C3=A4?=", HeaderId::Subject, "=?utf-8?q?=C3=A4?=", u"\u00E4"},
      {"raw UTF-8", "Subject: \xC3\xA4", HeaderId::Subject, "\xC3\xA4", u"\u00E4"},
      {"raw bytes in the root's charset", "Subject: \xE4\r\nContent-Type: text/plain; charset=koi8-r", HeaderId::Subject,
       "\xE4", u"\u0414"},
      {"the first of two", "Subject: 1\r\nSubject: 2", HeaderId::Subject, "1", u"1"},
      {"a value that only looks structured", "Subject: a; b=c", HeaderId::Subject, "a; b=c", u"a; b=c"},
      {"a parameter", "Content-Type: text/x; method=\"REQUEST\"", "par:content-type:method", "REQUEST", u"REQUEST"},
      {"a parameter in parts", "Content-Disposition: x; filename*0*=utf-8''%C3%A4; filename*1=b", HeaderId::FileName,
       "\xE4"
       "b",
       u"\u00E4b"},
      {"the name in place of the file name", "Content-Type: a/b; name=n", "att:filename", "n", u"n"},
      {"no such parameter", "Content-Type: a/b; name=n", HeaderId::FileName, "[800CCE05]", u""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const Mail mail(c.row + "\r\n\r\ntext");
    EXPECT_EQ(c.narrow, mail.get(c.name));
    if (c.narrow[0] != '[') {
      EXPECT_EQ(c.wide, mail.getWide(c.name));
    }
  }
  EXPECT_EQ(3U, readNumber(Mail("X-Priority: high\r\n\r\n"), HeaderId::XPriority));
  EXPECT_EQ(1U, readNumber(Mail("X-Priority: 1 (Highest)\r\n\r\n"), HeaderId::XPriority));
  EXPECT_EQ(0U, readNumber(Mail("Lines: none\r\n\r\n"), "Lines"));
}

// Setting what is read already leaves the bytes alone.
TEST(MimeProperties, SettingWhatIsReadTouchesNothing) {
  const std::string text =
      "subject:  =?iso-8859-1?q?=E4?=\r\nSubject: second\r\nX-Priority: 1 (Highest)\r\nImportance: HIGH\r\n"
      "Content-Type: TEXT/plain;\r\n\tname=\"a b\"\r\nContent-ID: <a@b>\r\n\r\ntext";
  Mail mail(text);
  mail.set(HeaderId::Subject, u"\u00E4");
  mail.set(HeaderId::XPriority, u"1");
  mail.set("Importance", u"high");
  mail.set(HeaderId::ContentType, u"TEXT/plain");
  mail.set(HeaderId::Name, u"a b");
  mail.set(HeaderId::ContentId, u"a@b");
  EXPECT_EQ(S_FALSE, mail->IsDirty());
  EXPECT_EQ(text, mail.save());
  mail.set(HeaderId::Subject, u"new");
  EXPECT_EQ(S_OK, mail->IsDirty());
  std::string expected = text;
  expected.replace(0, text.find("X-Prio"), "subject: new\r\n");
  EXPECT_EQ(expected, mail.save());
  EXPECT_EQ(S_FALSE, mail->IsDirty());
}

TEST(MimeProperties, StoredDateKeepsItsZone) {
  const std::string text = "Date: Tue, 1 Jan 2008 10:00:00 +0100\r\n\r\n";
  Mail mail(text);
  ScopedPropVariant value(VT_FILETIME);
  ASSERT_EQ(S_OK, readTime(mail, &value.filetime));
  EXPECT_EQ(S_OK, mail->SetProp(HeaderId::Date, 0, &value));
  EXPECT_EQ(text, mail.save());
  value.filetime.dwHighDateTime += 1;
  EXPECT_EQ(S_OK, mail->SetProp(HeaderId::Date, 0, &value));
  EXPECT_EQ("Date: Tue, 01 Jan 2008 09:07:09 +0000\r\n\r\n", mail.save());
  value.vt = VT_EMPTY;
}

TEST(MimeProperties, TypeTakesOnlyWhatFitsTheContent) {
  Mail mail;
  const HBODY part = mail.attach("x");
  mail.set(HeaderId::ContentType, u"word", part);
  EXPECT_EQ("application/octet-stream", mail.get(HeaderId::ContentType, part));
  mail.set(HeaderId::ContentType, u"multipart/mixed", part);
  EXPECT_EQ("application/octet-stream", mail.get(HeaderId::ContentType, part));
  mail.set(HeaderId::ContentType, u"text/calendar; method=REQUEST", part);
  mail.set(HeaderId::ContentType, u"text/x-other", part);
  EXPECT_EQ("REQUEST", mail.get("par:content-type:method", part));
  mail.set("att:filename", u"C:\\a\u4E2D.txt", part);
  EXPECT_EQ(u"C:\\a\u4E2D.txt", mail.getWide(HeaderId::FileName, part));
  EXPECT_EQ(u"C:\\a\u4E2D.txt", mail.getWide(HeaderId::Name, part));
  EXPECT_EQ("attachment", mail.get(HeaderId::ContentDisposition, part));
}

TEST(MimeProperties, NothingThatIsSetMakesARowOfItsOwn) {
  const std::u16string evil = u"x\r\nBcc: evil@example.com\r\n\r\nbody\nX:y";
  Mail mail;
  const HBODY part = mail.attach("data");
  mail.set(HeaderId::Subject, evil);
  mail.setNarrow("X-Narrow", "x\r\nBcc: evil@example.com");
  mail.set("att:filename", evil, part);
  mail.set(HeaderId::ContentId, evil, part);
  ComPtr<IMimeAddressTable> table;
  ASSERT_EQ(S_OK, mail->GetAddressTable(table.put()));
  std::u16string name = evil;
  char address[] = "a@example.com\r\nBcc: evil@example.com";
  const AddressProperties entry{IAP_ADRTYPE | IAP_ENCODING | IAP_NAME_AND_EMAIL, IAT_TO, IET_UNICODE, address, name.data()};
  EXPECT_EQ(S_OK, table->Insert(&entry, nullptr));
  const Mail again(mail.save());
  EXPECT_EQ("[800CCE05]", again.get("Bcc"));
  EXPECT_EQ("[800CCE05]", again.get("X"));
  EXPECT_EQ(evil, again.getWide(HeaderId::Subject));
  EXPECT_EQ(evil, again.getWide(HeaderId::FileName, again.at(IBL_FIRST)));
  EXPECT_EQ("mixed[octet-stream]", again.tree());
}

TEST(MimeProperties, IdsAreNoText) {
  Mail mail;
  mail.set(HeaderId::MessageId, u"\t<1@x>\r\n");
  mail.set("In-Reply-To", u" <0@x> ");
  EXPECT_EQ("Message-ID: <1@x>\r\nIn-Reply-To: <0@x>\r\n\r\n", mail.save());
  const std::string text = "Message-ID:  <1@x>\r\n\r\n";
  Mail stored(text);
  stored.set(HeaderId::MessageId, u"\t<1@x>");
  EXPECT_EQ(text, stored.save());
}

TEST(MimeProperties, LongRowsAreFolded) {
  Mail mail;
  mail.setText(TXT_PLAIN, "x");
  std::u16string subject;
  for (int i = 0; i < 60; ++i) {
    subject += u"word\u00E4 " + std::u16string(static_cast<std::size_t>(i % 9), u'x') + u" ";
  }
  mail.set(HeaderId::Subject, subject);
  mail.setNarrow("X-Long", std::string(3000, 'w'));
  std::string mapi(5000, 'M');
  mail.setNarrow("X-MAPI", mapi);
  const std::string saved = mail.save();
  std::size_t longest = 0;
  std::size_t longestMapi = 0;
  bool inMapi = false;
  for (std::size_t at = 0; at < saved.size();) {
    const std::size_t end = std::min(saved.find("\r\n", at), saved.size());
    inMapi = saved.compare(at, 7, "X-MAPI:") == 0 || (inMapi && saved[at] == ' ');
    longest = std::max(longest, end - at);
    longestMapi = inMapi ? std::max(longestMapi, end - at) : longestMapi;
    at = end + 2;
  }
  EXPECT_LE(longest, 998U);
  EXPECT_EQ(76U, longestMapi);
  const Mail again(saved);
  EXPECT_EQ(subject, again.getWide(HeaderId::Subject));
  std::string read = again.get("X-MAPI");
  std::erase(read, ' ');
  EXPECT_EQ(mapi, read);
}

TEST(MimeHeaderTable, RowsMoveAndKeepTheirHandles) {
  Mail mail("A: 1\r\nB: 2\r\nA: 3\r\n\r\ntext");
  const ComPtr<IMimeHeaderTable> table = mail.table();
  HHEADERROW first = nullptr;
  HHEADERROW second = nullptr;
  HHEADERROW none = nullptr;
  ASSERT_EQ(S_OK, table->FindFirst("a", &first));
  ASSERT_EQ(S_OK, table->FindNext(first, &second));
  EXPECT_EQ(MIME_E_NOT_FOUND, table->FindNext(second, &none));
  EXPECT_EQ(S_OK, table->SetRowNumber(second, 0));
  EXPECT_EQ(S_OK, table->SetRowNumber(first, 99));
  EXPECT_EQ("A: 3\r\nB: 2\r\nA: 1\r\n\r\ntext", mail.save());
  HHEADERROW place = nullptr;
  EXPECT_EQ(S_OK, table->AppendRow("Subject", 0, "", 0, &place));
  EXPECT_EQ("", mail.get(HeaderId::Subject));
  EXPECT_EQ("A: 3\r\nB: 2\r\nA: 1\r\n\r\ntext", mail.save());
  EXPECT_EQ(S_OK, table->SetRowNumber(place, 1));
  mail.set(HeaderId::Subject, u"s");
  EXPECT_EQ("A: 3\r\nSubject: s\r\nB: 2\r\nA: 1\r\n\r\ntext", mail.save());
  EXPECT_EQ(S_OK, mail->DeleteProp("A"));
  HeaderRowData data{};
  EXPECT_EQ(E_HANDLE, table->GetRowData(first, &data));
}

TEST(MimeHeaderTable, WorksAlone) {
  ComPtr<IMimeHeaderTable> table;
  ASSERT_EQ(S_OK, createMimeHeaderTable(table.put()));
  EXPECT_EQ(S_OK, table->Load(streamOf(std::string("\0\r\n\nbanner\nA: 1\n 2\nX-MAPI: x\nB: \t3 \n\nbody", 41)).get()));
  const ComPtr<TestStream> out = streamOf("");
  EXPECT_EQ(S_OK, table->Save(out.get(), 0));
  EXPECT_EQ("A: 1\r\n 2\r\nB: \t3 \r\n", out->text());
  HHEADERROW row = nullptr;
  ASSERT_EQ(S_OK, table->FindFirst("b", &row));
  HeaderRowData data{};
  ASSERT_EQ(S_OK, table->GetRowData(row, &data));
  EXPECT_STREQ("3", data.value);
  taskFree(data.name);
  taskFree(data.value);
}

}  // namespace
}  // namespace nalvo::mime::testing
