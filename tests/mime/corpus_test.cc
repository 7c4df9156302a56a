#include "tests/mime/mime_support.h"

namespace nalvo::mime::testing {
namespace {

constexpr HeaderId kIds[] = {HeaderId::Subject,     HeaderId::MessageId, HeaderId::ReturnPath,         HeaderId::Date,
                             HeaderId::ContentType, HeaderId::ContentId, HeaderId::ContentDisposition, HeaderId::XPriority,
                             HeaderId::FileName,    HeaderId::Name};

// Whatever is asked for, in every form: nothing but the two answers of a header.
void readAllProperties(const Mail& mail, HBODY body) {
  for (const HeaderId id : kIds) {
    for (const VarType type : {VT_LPSTR, VT_LPWSTR, VT_UI4, VT_FILETIME}) {
      ScopedPropVariant value(type);
      const HRESULT hr = mail->GetBodyProp(body, id, 0, &value);
      EXPECT_TRUE(hr == S_OK || hr == MIME_E_NOT_FOUND || (hr == MIME_E_BAD_DATE && type == VT_FILETIME)) << hr;
    }
  }
  const ComPtr<IMimeHeaderTable> table = mail.table(body);
  ULONG rows = 0;
  EXPECT_EQ(S_OK, table->CountRows(nullptr, &rows));
  for (ULONG i = 0; i < rows; ++i) {
    HHEADERROW row = nullptr;
    HeaderRowData data{};
    EXPECT_EQ(S_OK, table->GetRow(i, &row));
    EXPECT_EQ(S_OK, table->GetRowData(row, &data));
    taskFree(data.name);
    taskFree(data.value);
  }
}

TEST(MimeCorpus, WhatNobodyTouchedIsSavedByteForByte) {
  for (const auto& path : corpusMessages()) {
    SCOPED_TRACE(path.filename().string());
    const std::string text = fileText(path);
    const ComPtr<TestStream> in = streamOf(text);
    Mail mail;
    ASSERT_EQ(S_OK, mail->Load(in.get()));
    for (const HBODY body : allBodies(mail)) {
      readAllProperties(mail, body);
      mail.data(body, IET_BINARY);
      mail.data(body, IET_UNICODE);
    }
    AddressList list{};
    EXPECT_EQ(S_OK, mail->GetAddressTypes(IAT_ALL, IAP_NAME_AND_EMAIL, &list));
    ComPtr<IMimeAllocator> allocator;
    ASSERT_EQ(S_OK, createMimeAllocator(allocator.put()));
    allocator->FreeAddressList(&list);
    EXPECT_EQ(0U, in->position());
    ASSERT_TRUE(mail.save() == text);
  }
}

// With one row more, everything else is what it was: the writer goes body by body instead of copying the whole.
TEST(MimeCorpus, OneMoreRowChangesNothingElse) {
  for (const auto& path : corpusMessages()) {
    SCOPED_TRACE(path.filename().string());
    const std::string text = fileText(path);
    Mail mail(text);
    mail.setNarrow("X-Added", "1");
    const std::string saved = mail.save();
    const std::size_t row = saved.find("X-Added: 1");
    ASSERT_NE(std::string::npos, row);
    std::size_t end = saved.find('\n', row) + 1;
    std::string rest = saved.substr(0, row) + saved.substr(end);
    if (rest != text) {
      // A header that ended without an empty line has one now.
      end += saved.compare(end, 2, "\r\n") == 0 ? 2U : 1U;
      rest = saved.substr(0, row) + saved.substr(end);
      if (rest.size() > text.size()) {
        // And the last row of it a line end.
        rest = saved.substr(0, row - (saved[row - 2] == '\r' ? 2U : 1U)) + saved.substr(end);
      }
    }
    ASSERT_TRUE(rest == text);
  }
}

}  // namespace
}  // namespace nalvo::mime::testing
