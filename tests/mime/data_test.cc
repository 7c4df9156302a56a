// The data of bodies: forms, positions, failures, memory.
#include "tests/mime/mime_support.h"

namespace nalvo::mime::testing {
namespace {

TEST(MimeData, Forms) {
  struct Case {
    const char* why;
    std::string text;
    Encoding encoding;
    std::string data;
  };
  const std::string qp = "Content-Transfer-Encoding: quoted-printable\r\n\r\n";
  const std::string base64 = "Content-Transfer-Encoding: BASE64 (c)\r\n\r\n";
  const Case cases[] = {
      {"as stored", base64 + "QUJD\r\n", IET_BASE64, "QUJD\r\n"},
      {"decoded", base64 + "QUJD\r\n", IET_BINARY, "ABC"},
      {"asked for 7bit", base64 + "QUJD\r\n", IET_7BIT, "ABC"},
      {"junk and no padding", base64 + "QU*J\r\nDRA", IET_BINARY, "ABCD"},
      {"quoted-printable", qp + "a=3D=\r\nb=\r\n", IET_BINARY, "a=b"},
      {"blanks behind a soft break", qp + "a= \t\r\nb", IET_BINARY, "ab"},
      {"the same as stored, for whoever decodes it", qp + "a= \t\r\nb", IET_QP, "a=\r\nb"},
      {"encoded anew", "A: 1\r\n\r\nABC", IET_BASE64, "QUJD"},
      {"UTF-16", "Content-Type: text/plain; charset=iso-8859-1\r\n\r\n\xE4", IET_UNICODE, std::string("\xE4\0", 2)},
      {"a byte order mark is no text",
       "Content-Type: text/plain; charset=utf-8\r\n\r\n\xEF\xBB\xBF"
       "a",
       IET_UNICODE, std::string("a\0", 2)},
      {"uuencode", "Content-Transfer-Encoding: x-uuencode\r\n\r\nbegin 644 a\r\n#04)#\r\n`\r\nend\r\n", IET_BINARY, "ABC"},
      {"an unknown encoding", "Content-Transfer-Encoding: rot13\r\n\r\nabc", IET_BINARY, "abc"},
      {"text with bare LF", "A: 1\n\na\nb\r\nc", IET_8BIT, "a\r\nb\r\nc"},
      {"data with bare LF", "Content-Type: application/x\n\na\nb", IET_BINARY, "a\nb"},
      {"a multipart as it is",
       "Content-Type: multipart/x; boundary=b\r\nContent-Transfer-Encoding: base64\r\n\r\np\r\n--b\r\n\r\n1\r\n--b--",
       IET_BINARY, "p\r\n--b\r\n\r\n1\r\n--b--"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const Mail mail(c.text);
    EXPECT_EQ(c.data, mail.data(HBODY_ROOT, c.encoding));
    const ComPtr<TestStream> out = streamOf("at");
    EXPECT_EQ(S_OK, out->Seek(2, STREAM_SEEK_SET, nullptr));
    EXPECT_EQ(S_OK, mail.body()->GetDataHere(c.encoding, out.get()));
    EXPECT_EQ("at" + c.data, out->text());
  }
}

TEST(MimeData, CharsetsAreWhatTheDataCanBe) {
  struct Case {
    const char* why;
    std::string_view parameter;
    std::string_view data;
    std::string_view charset;
  };
  static constexpr Case kCases[] = {
      {"as declared", "; charset=ISO-8859-15", "\xE4", "iso-8859-15"},
      {"ASCII", "", "a", "us-ascii"},
      {"ASCII that is none", "; charset=us-ascii", "\xC3\xA4", "utf-8"},
      {"an unknown name", "; charset=x-none", "\xC3\xA4", "utf-8"},
      {"nothing fits", "; charset=us-ascii", "\xE4", "windows-1252"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const Mail mail("Content-Type: text/plain" + std::string(c.parameter) + "\r\n\r\n" + std::string(c.data));
    HCHARSET handle = nullptr;
    CharsetInfo info{};
    EXPECT_EQ(S_OK, mail.body()->GetCharset(&handle));
    EXPECT_EQ(S_OK, MimeOleGetCharsetInfo(handle, &info));
    EXPECT_EQ(c.charset, info.name);
    EXPECT_EQ(S_OK, mail->GetCharset(&handle));
    EXPECT_EQ(S_OK, MimeOleGetCharsetInfo(handle, &info));
    EXPECT_EQ(c.charset, info.name);
  }
}

TEST(MimeData, DeliveryReportWithBareLineFeeds) {
  const Mail mail(fileText(std::string(NALVO_TEST_DATA) + "/mime/delivery-report-bare-lf.eml"));
  const HBODY text = mail.at(IBL_FIRST);
  const HBODY status = mail.at(IBL_NEXT, text);
  const HBODY returned = mail.at(IBL_NEXT, status);
  EXPECT_EQ("report[plain, delivery-status, rfc822]", mail.tree());
  EXPECT_EQ(text, mail.textBody(TXT_PLAIN));
  EXPECT_EQ((std::vector<HBODY>{status, returned}), mail.attachments());
  EXPECT_EQ("Failed.\r\n", mail.data(text));
  EXPECT_EQ("Reporting-MTA: dns; x\r\n\r\nFinal-Recipient: rfc822; a@x\r\nAction: failed\r\n", mail.data(status));
  EXPECT_EQ("Subject: returned\n\ntext", mail.data(returned));
}

TEST(MimeData, DisplayNames) {
  struct Case {
    std::string rows;
    std::string name;
  };
  const Case cases[] = {
      {"Content-Disposition: attachment; filename=a.txt", "a.txt (2 KB)"},
      {"Content-Description: about", "about (2 KB)"},
      {"Content-Type: image/png", "ATT00001.png (2 KB)"},
  };
  for (const Case& c : cases) {
    const Mail mail(c.rows + "\r\n\r\n" + std::string(1025, 'x'));
    char* name = nullptr;
    EXPECT_EQ(S_OK, mail.body()->GetDisplayName(&name));
    EXPECT_STREQ(c.name.c_str(), name);
    taskFree(name);
  }
  const Mail outer("Content-Type: message/rfc822\r\n\r\nSubject: within\r\n\r\nx");
  char* name = nullptr;
  EXPECT_EQ(S_OK, outer.body()->GetDisplayName(&name));
  EXPECT_STREQ("within", name);
  taskFree(name);
}

TEST(MimeData, LoadBeginsAtThePositionAndPutsItBack) {
  const ComPtr<TestStream> stream = streamOf("0123456789Subject: a\r\n\r\ntext");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(S_OK, stream->Seek(10, STREAM_SEEK_SET, nullptr));
    Mail mail;
    EXPECT_EQ(S_OK, mail->Load(stream.get()));
    EXPECT_EQ(10U, stream->position());
    EXPECT_EQ("a", mail.get(HeaderId::Subject));
    EXPECT_EQ("text", mail.data(HBODY_ROOT));
    EXPECT_EQ("Subject: a\r\n\r\ntext", mail.save());
    EXPECT_EQ(10U, stream->position());
  }
  EXPECT_EQ(S_OK, stream->Seek(0, STREAM_SEEK_END, nullptr));
  Mail fromEnd;
  EXPECT_EQ(S_OK, fromEnd->Load(stream.get()));
  EXPECT_EQ(stream->text(), fromEnd.save());
}

TEST(MimeData, StreamsHandedOutAreReadOnlyAndSeekable) {
  for (const Encoding encoding : {IET_BASE64, IET_BINARY}) {
    const Mail mail("Content-Transfer-Encoding: base64\r\n\r\nQUJDREVG");
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, mail.body()->GetData(encoding, stream.put()));
    const std::string all = contentOf(stream.get());
    std::uint64_t at = 0;
    EXPECT_EQ(S_OK, stream->Seek(-2, STREAM_SEEK_END, &at));
    EXPECT_EQ(all.size() - 2, at);
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->Seek(-100, STREAM_SEEK_CUR, nullptr));
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(clone.put()));
    char two[2];
    ULONG got = 0;
    EXPECT_EQ(S_OK, clone->Read(two, 2, &got));
    EXPECT_EQ(all.substr(all.size() - 2), std::string(two, got));
    const ComPtr<TestStream> copy = streamOf("");
    EXPECT_EQ(S_OK, stream->Seek(1, STREAM_SEEK_SET, nullptr));
    std::uint64_t read = 0;
    EXPECT_EQ(S_OK, stream->CopyTo(copy.get(), 100, &read, nullptr));
    EXPECT_EQ(all.substr(1), copy->text());
    STATSTG stat{};
    EXPECT_EQ(S_OK, stream->Stat(&stat, STATFLAG_NONAME));
    EXPECT_EQ(all.size(), stat.cbSize);
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->Write("x", 1, nullptr));
  }
}

// Fails at each call in turn: the code comes out, nothing is left behind, and the next try works.
TEST(MimeData, FailuresOfStreamsComeOutAndPass) {
  const int before = TestStream::alive();
  const std::string text =
      "Subject: a\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Transfer-Encoding: "
      "base64\r\n\r\nQUJD\r\n--b--";
  int failures = 0;
  for (int call = 1;; ++call) {
    ASSERT_LT(call, 500);
    const ComPtr<TestStream> in = streamOf(text);
    const ComPtr<TestStream> part = streamOf("more \xE4");
    const ComPtr<TestStream> out = streamOf("");
    const ComPtr<TestStream> decoded = streamOf("");
    Mail mail;
    const auto run = [&] {
      HRESULT hr = mail->Load(in.get());
      HBODY body = nullptr;
      if (hr == S_OK) {
        hr = mail->AttachObject(IStream::kIid, static_cast<IStream*>(part.get()), &body);
      }
      if (hr == S_OK) {
        hr = mail->SetTextBody(TXT_HTML, IET_ENCODED, mail.at(IBL_FIRST), part.get(), nullptr);
      }
      if (hr == S_OK) {
        hr = mail->Save(out.get(), 1);
      }
      return hr == S_OK ? mail.body(body)->GetDataHere(IET_BASE64, decoded.get()) : hr;
    };
    in->failAt(call, makeHResult(0x80030101));
    part->failAt(call, makeHResult(0x80030102));
    out->failAt(call, makeHResult(0x80030103));
    decoded->failAt(call, makeHResult(0x80030104));
    const HRESULT hr = run();
    if (hr == S_OK) {
      break;
    }
    ++failures;
    EXPECT_TRUE(hr >= makeHResult(0x80030101) && hr <= makeHResult(0x80030104)) << Mail::codeText(hr);
    for (const ComPtr<TestStream>& stream : {in, part, out, decoded}) {
      stream->failAt(0);
    }
    EXPECT_EQ(S_OK, run());
  }
  EXPECT_GT(failures, 5);
  EXPECT_EQ(before, TestStream::alive());
}

// 200 MiB that nobody holds: `period` bytes over and over, behind a start.
class BigStream final : public IUnknownImpl<IStream> {
 public:
  BigStream(std::string start, std::string period, std::uint64_t size)
      : start_(std::move(start)), period_(std::move(period)), size_(size) {}

  HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept override {
    const ULONG count = static_cast<ULONG>(std::min<std::uint64_t>(bytes, size_ > at_ ? size_ - at_ : 0));
    for (ULONG i = 0; i < count; ++i, ++at_) {
      static_cast<char*>(buffer)[i] = at_ < start_.size()
                                          ? start_[static_cast<std::size_t>(at_)]
                                          : period_[static_cast<std::size_t>((at_ - start_.size()) % period_.size())];
    }
    if (read != nullptr) {
      *read = count;
    }
    return S_OK;
  }
  HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* position) noexcept override {
    at_ = (origin == STREAM_SEEK_SET ? 0 : origin == STREAM_SEEK_CUR ? at_ : size_) + static_cast<std::uint64_t>(move);
    if (position != nullptr) {
      *position = at_;
    }
    return S_OK;
  }
  // Takes everything and keeps none of it.
  HRESULT Write(const void*, ULONG bytes, ULONG* written) noexcept override {
    at_ += bytes;
    size_ = std::max(size_, at_);
    if (written != nullptr) {
      *written = bytes;
    }
    return S_OK;
  }
  std::uint64_t size() const { return size_; }
  HRESULT SetSize(std::uint64_t) noexcept override { return E_NOTIMPL; }
  HRESULT CopyTo(IStream*, std::uint64_t, std::uint64_t*, std::uint64_t*) noexcept override { return E_NOTIMPL; }
  HRESULT Commit(DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT Revert() noexcept override { return E_NOTIMPL; }
  HRESULT LockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT UnlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT Stat(STATSTG*, DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT Clone(IStream**) noexcept override { return E_NOTIMPL; }

 private:
  std::string start_;
  std::string period_;
  std::uint64_t size_;
  std::uint64_t at_ = 0;
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NALVO_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define NALVO_SANITIZED
#endif
#endif

#ifndef NALVO_SANITIZED  // They hold memory back on purpose.
// A line of the kernel's report on this process, in KiB: "VmRSS" is what is held now, "VmHWM" the most so far.
long memory(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name + ":")) {
      return std::strtol(line.c_str() + name.size() + 1, nullptr, 10);
    }
  }
  return -1;
}

TEST(MimeData, BodiesOf200MebibytesAreNeverHeld) {
  constexpr std::uint64_t kSize = 200ULL * 1024 * 1024;
  const std::string line = "QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVphYmNkZWZnaGlqa2xtbm9wcXJzdHV2d3h5ejAxMjM0\r\n";
  const std::string head =
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Transfer-Encoding: base64\r\n\r\n";
  const auto in = makeCom<BigStream>(head, line, kSize);
  const auto out = makeCom<BigStream>("", "x", 0ULL);
  const auto decoded = makeCom<BigStream>("", "x", 0ULL);
  const auto data = makeCom<BigStream>("", "some text \r\n", kSize);
  std::ofstream("/proc/self/clear_refs") << "5";  // The most so far is what is held now.
  const long before = memory("VmRSS");
  ASSERT_LT(memory("VmHWM"), before + 4 * 1024);
  Mail mail;
  ASSERT_EQ(S_OK, mail->Load(in.get()));
  const HBODY first = mail.at(IBL_FIRST);
  EXPECT_EQ(S_OK, mail.body(first)->GetDataHere(IET_BINARY, decoded.get()));
  EXPECT_EQ((kSize - head.size()) / line.size() * 57, decoded->size() / 57 * 57);
  ComPtr<IStream> lazy;
  ASSERT_EQ(S_OK, mail.body(first)->GetData(IET_BINARY, lazy.put()));
  std::uint64_t size = 0;
  EXPECT_EQ(S_OK, lazy->Seek(0, STREAM_SEEK_END, &size));
  EXPECT_EQ(decoded->size(), size);
  ASSERT_EQ(S_OK, mail->AttachObject(IStream::kIid, static_cast<IStream*>(data.get()), nullptr));
  EXPECT_EQ(S_OK, mail->Save(out.get(), 1));
  EXPECT_GT(out->size(), kSize * 7 / 3);
  EXPECT_LT(memory("VmHWM") - before, 24 * 1024);
}
#endif

}  // namespace
}  // namespace nalvo::mime::testing
