// What the tests of the MIME objects share: a stream that counts and fails on demand, verbs for the common calls.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "mime/mime.h"
#include "platform/com/unknown_impl.h"

namespace nalvo::mime::testing {

// A stream over bytes in memory.
class TestStream final : public IUnknownImpl<IStream> {
 public:
  explicit TestStream(std::string text = {}) : text_(std::move(text)) { ++alive(); }

  static int& alive() {
    static int count = 0;
    return count;
  }
  std::string& text() { return text_; }
  std::uint64_t position() const { return position_; }
  // The n-th call from now on, counted from 1, and all behind it answer `hr`. 0: none.
  void failAt(int call, HRESULT hr = STG_E_READFAULT) {
    left_ = call;
    failure_ = hr;
  }
  int calls() const { return calls_; }

  HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept override {
    if (fails()) {
      return failure_;
    }
    const std::size_t left = position_ < text_.size() ? text_.size() - static_cast<std::size_t>(position_) : 0;
    const std::size_t got = std::min<std::size_t>(bytes, left);
    std::copy_n(text_.data() + (got == 0 ? 0 : position_), got, static_cast<char*>(buffer));
    position_ += got;
    if (read != nullptr) {
      *read = static_cast<ULONG>(got);
    }
    return S_OK;
  }
  HRESULT Write(const void* buffer, ULONG bytes, ULONG* written) noexcept override {
    if (fails()) {
      return failure_;
    }
    const auto at = static_cast<std::size_t>(position_);
    text_.resize(std::max(text_.size(), at + bytes));
    std::copy_n(static_cast<const char*>(buffer), bytes, text_.data() + at);
    position_ += bytes;
    if (written != nullptr) {
      *written = bytes;
    }
    return S_OK;
  }
  HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* position) noexcept override {
    if (fails()) {
      return failure_;
    }
    const std::uint64_t base = origin == STREAM_SEEK_SET ? 0 : origin == STREAM_SEEK_CUR ? position_ : text_.size();
    position_ = base + static_cast<std::uint64_t>(move);
    if (position != nullptr) {
      *position = position_;
    }
    return S_OK;
  }
  // The layer needs none of these of a stream that it is given.
  HRESULT SetSize(std::uint64_t) noexcept override { return E_NOTIMPL; }
  HRESULT CopyTo(IStream*, std::uint64_t, std::uint64_t*, std::uint64_t*) noexcept override { return E_NOTIMPL; }
  HRESULT Commit(DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT Revert() noexcept override { return E_NOTIMPL; }
  HRESULT LockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT UnlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT Stat(STATSTG*, DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT Clone(IStream**) noexcept override { return E_NOTIMPL; }

 private:
  ~TestStream() override { --alive(); }

  bool fails() {
    ++calls_;
    return left_ > 0 && --left_ == 0 ? (left_ = 1, true) : false;
  }

  std::string text_;
  std::uint64_t position_ = 0;
  int calls_ = 0;
  int left_ = 0;
  HRESULT failure_ = S_OK;
};

inline ComPtr<TestStream> streamOf(std::string_view text) { return makeCom<TestStream>(std::string(text)); }
inline ComPtr<TestStream> wideStreamOf(std::u16string_view text) {
  return makeCom<TestStream>(std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2));
}

// All of a stream from its start.
inline std::string contentOf(IStream* stream) {
  std::string result;
  EXPECT_EQ(S_OK, stream->Seek(0, STREAM_SEEK_SET, nullptr));
  std::vector<char> buffer(64 * 1024);
  for (;;) {
    ULONG got = 0;
    const HRESULT hr = stream->Read(buffer.data(), static_cast<ULONG>(buffer.size()), &got);
    EXPECT_EQ(S_OK, hr);
    if (hr != S_OK || got == 0) {
      return result;
    }
    result.append(buffer.data(), got);
  }
}

// A message and the verbs of its callers. Every call is expected to succeed unless the verb says otherwise.
class Mail {
 public:
  Mail() { EXPECT_EQ(S_OK, createMimeMessage(message.put())); }
  explicit Mail(std::string_view text) : Mail() { load(text); }

  IMimeMessage* operator->() const { return message.get(); }

  void load(std::string_view text) { EXPECT_EQ(S_OK, message->Load(streamOf(text).get())); }
  std::string save() const {
    const ComPtr<TestStream> out = streamOf("");
    EXPECT_EQ(S_OK, message->Save(out.get(), 1));
    return out->text();
  }

  ComPtr<IMimeBody> body(HBODY handle = HBODY_ROOT) const {
    ComPtr<IMimeBody> result;
    EXPECT_EQ(S_OK, message->BindToObject(handle, IMimeBody::kIid, result.putVoid()));
    return result;
  }
  ComPtr<IMimeHeaderTable> table(HBODY handle = HBODY_ROOT) const {
    ComPtr<IMimeHeaderTable> result;
    EXPECT_EQ(S_OK, message->BindToObject(handle, IMimeHeaderTable::kIid, result.putVoid()));
    return result;
  }
  HBODY at(BodyLocation location, HBODY pivot = HBODY_ROOT) const {
    HBODY result = nullptr;
    message->GetBody(location, pivot, &result);
    return result;
  }

  HBODY setText(TextType type, std::string_view text, HBODY alternative = nullptr, Encoding encoding = IET_ENCODED) {
    HBODY result = nullptr;
    EXPECT_EQ(S_OK, message->SetTextBody(type, encoding, alternative, streamOf(text).get(), &result));
    return result;
  }
  HBODY setWideText(TextType type, std::u16string_view text, HBODY alternative = nullptr) {
    HBODY result = nullptr;
    EXPECT_EQ(S_OK, message->SetTextBody(type, IET_UNICODE, alternative, wideStreamOf(text).get(), &result));
    return result;
  }
  HBODY attach(std::string_view data) {
    HBODY result = nullptr;
    EXPECT_EQ(S_OK, message->AttachObject(IStream::kIid, static_cast<IStream*>(streamOf(data).get()), &result));
    return result;
  }
  HBODY attach(const Mail& other) {
    HBODY result = nullptr;
    EXPECT_EQ(S_OK, message->AttachObject(IMimeMessage::kIid, other.message.get(), &result));
    return result;
  }
  HBODY attachUrl(std::string_view data, DWORD flags = 0) {
    HBODY result = nullptr;
    EXPECT_EQ(S_OK, message->AttachURL(nullptr, nullptr, flags, streamOf(data).get(), nullptr, &result));
    return result;
  }
  HBODY insert(BodyLocation location, HBODY pivot) {
    HBODY result = nullptr;
    EXPECT_EQ(S_OK, message->InsertBody(location, pivot, &result));
    return result;
  }
  HBODY toMultipart(HBODY handle, const char* subtype) {
    HBODY result = nullptr;
    EXPECT_EQ(S_OK, message->ToMultipart(handle, subtype, &result));
    return result;
  }
  void setData(HBODY handle, const char* type, const char* subtype, std::string_view data) {
    EXPECT_EQ(S_OK,
              body(handle)->SetData(IET_BINARY, type, subtype, IStream::kIid, static_cast<IStream*>(streamOf(data).get())));
  }
  void remove(HBODY handle) { EXPECT_EQ(S_OK, message->DeleteBody(handle, 1)); }

  void set(HeaderName name, std::u16string_view text, HBODY handle = HBODY_ROOT) {
    std::u16string copy(text);
    PROPVARIANT value{VT_LPWSTR, {0}};
    value.pwszVal = copy.data();
    EXPECT_EQ(S_OK, message->SetBodyProp(handle, name, 0, &value));
  }
  void setNarrow(HeaderName name, std::string_view text, HBODY handle = HBODY_ROOT) {
    std::string copy(text);
    PROPVARIANT value{VT_LPSTR, {0}};
    value.pszVal = copy.data();
    EXPECT_EQ(S_OK, message->SetBodyProp(handle, name, 0, &value));
  }
  // The value, or the code in brackets.
  std::string get(HeaderName name, HBODY handle = HBODY_ROOT) const {
    ScopedPropVariant value(VT_LPSTR);
    const HRESULT hr = message->GetBodyProp(handle, name, 0, &value);
    return hr == S_OK ? std::string(value.pszVal) : codeText(hr);
  }
  std::u16string getWide(HeaderName name, HBODY handle = HBODY_ROOT) const {
    ScopedPropVariant value(VT_LPWSTR);
    const HRESULT hr = message->GetBodyProp(handle, name, 0, &value);
    EXPECT_EQ(S_OK, hr);
    return hr == S_OK ? std::u16string(value.pwszVal) : std::u16string();
  }

  std::string data(HBODY handle, Encoding encoding = IET_BINARY) const {
    ComPtr<IStream> stream;
    EXPECT_EQ(S_OK, body(handle)->GetData(encoding, stream.put()));
    return stream ? contentOf(stream.get()) : std::string();
  }
  std::u16string wideData(HBODY handle) const {
    const std::string bytes = data(handle, IET_UNICODE);
    std::u16string text(bytes.size() / 2, u'\0');
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(text.data()));
    return text;
  }
  HBODY textBody(TextType type) const {
    HBODY result = nullptr;
    message->GetTextBody(type, IET_BINARY, nullptr, &result);
    return result;
  }
  std::vector<HBODY> attachments() const {
    ULONG count = 0;
    HBODY* bodies = nullptr;
    EXPECT_EQ(S_OK, message->GetAttachments(&count, &bodies));
    std::vector<HBODY> result(bodies, bodies + count);
    taskFree(bodies);
    return result;
  }
  // The tree as "mixed[plain, octet-stream]".
  std::string tree(HBODY handle = HBODY_ROOT) const {
    const std::string type = get(HeaderId::ContentType, handle);
    std::string result = type.substr(type.find('/') + 1);
    const bool isMultipart = message->IsContentType(handle, "multipart", nullptr) == S_OK;
    if (isMultipart) {
      result += '[';
      for (HBODY child = at(IBL_FIRST, handle); child != nullptr; child = at(IBL_NEXT, child)) {
        result += (result.back() == '[' ? "" : ", ") + tree(child);
      }
      result += ']';
    }
    return result;
  }

  static std::string codeText(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "[%08X]", static_cast<unsigned>(hr));
    return text;
  }

  ComPtr<IMimeMessage> message;
};

// The messages of the corpus; none if it is not there.
inline std::vector<std::filesystem::path> corpusMessages() {
  std::vector<std::filesystem::path> result;
  if (const char* corpus = std::getenv("NALVO_CORPUS")) {
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(corpus) / "eml")) {
      const std::string name = entry.path().filename().string();
      if (entry.is_regular_file() && name != "MANIFEST.tsv" && name.find(".expect") == std::string::npos) {
        result.push_back(entry.path());
      }
    }
    EXPECT_GT(result.size(), 1000U) << "NALVO_CORPUS names no corpus";
    std::sort(result.begin(), result.end());
  }
  return result;
}

inline std::string fileText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Every body in pre-order.
inline std::vector<HBODY> allBodies(const Mail& mail) {
  std::vector<HBODY> result;
  std::vector<HBODY> open{mail.at(IBL_ROOT)};
  while (!open.empty()) {
    const HBODY body = open.back();
    open.pop_back();
    result.push_back(body);
    std::vector<HBODY> children;
    for (HBODY child = mail.at(IBL_FIRST, body); child != nullptr; child = mail.at(IBL_NEXT, child)) {
      children.push_back(child);
    }
    open.insert(open.end(), children.rbegin(), children.rend());
  }
  return result;
}

}  // namespace nalvo::mime::testing
