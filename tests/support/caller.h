// A caller for tests: all objects of one conversion, and verbs over them.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>

#include "host/caller_objects.h"
#include "host/memory_objects.h"
#include "host/property_stream.h"
#include "mime/mime.h"
#include "nalvo/convert.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"
#include "properties/named_properties.h"
#include "streams/stream_utils.h"

namespace nalvo::test {

inline constexpr SYSTEMTIME kArrived{2020, 3, 1, 2, 9, 30, 0, 0};

// Lines with LF become lines with CR LF.
inline std::string crLf(std::string_view text) {
  std::string result;
  for (const char c : text) {
    result += c == '\n' ? "\r\n" : std::string(1, c);
  }
  return result;
}

class Caller {
 public:
  explicit Caller(host::HostContextPtr shared = std::make_shared<host::HostContext>())
      : context(std::move(shared)),
        message(host::makeMessage(context)),
        annotations(makeCom<host::MemoryAnnotations>(context)),
        flags(makeCom<host::MemoryFlags>(context)),
        addressBook(makeCom<host::MemoryAddressBook>(context)),
        log(makeCom<host::MemoryLog>(context)),
        allocator(makeCom<host::HostAllocator>(context)),
        allocations_(context.get()) {
    flags->internalDate = kArrived;
    flags->modificationDate = kArrived;
    message->setAddressBook(addressBook.as<IAddressBook>());
  }

  // A stream of the caller, whose calls the fault plan counts.
  ComPtr<IStream> stream(std::string_view text = {}) const {
    ComPtr<IStream> inner = streamUtils::createStream();
    streamUtils::detail::writeStr(inner.get(), text);
    streamUtils::rewind(inner.get());
    return ComPtr<IStream>::attach(new host::PropertyStream(context, std::move(inner), nullptr));
  }

  HRESULT toMapi(IStream* mail, DWORD word = 0) {
    return mimeToMapi(annotations.get(), mail, flags.get(), message.get(), allocator.get(), word, log.get());
  }
  void read(std::string_view mail, DWORD word = 0) { ASSERT_EQ(toMapi(stream(crLf(mail)).get(), word), S_OK); }

  HRESULT toMime(IStream* out, DWORD word = 0, DWORD* converted = nullptr) {
    return mapiToMime(message.get(), annotations.get(), out, flags.get(), allocator.get(), word, converted, log.get());
  }
  std::string write(DWORD word = 0) {
    const ComPtr<IStream> out = stream();
    EXPECT_EQ(toMime(out.get(), word), S_OK);
    return contentOf(out.get());
  }

  static std::string contentOf(IStream* out) {
    std::uint64_t position = 0;
    std::string text;
    char buffer[4096];
    EXPECT_EQ(out->Seek(0, STREAM_SEEK_CUR, &position), S_OK);
    EXPECT_EQ(out->Seek(0, STREAM_SEEK_SET, nullptr), S_OK);
    for (ULONG got = 1; got != 0;) {
      EXPECT_EQ(out->Read(buffer, sizeof buffer, &got), S_OK);
      text.append(buffer, got);
    }
    EXPECT_EQ(out->Seek(static_cast<std::int64_t>(position), STREAM_SEEK_SET, nullptr), S_OK);
    return text;
  }

  void set(ULONG tag, host::PropertyContent content) {
    message->bag().set(tag, host::PropertyRecord{propType(tag), std::move(content)});
  }
  void set(const NamedProperty& property, host::PropertyContent content) { set(tagOf(property), std::move(content)); }
  ULONG tagOf(const NamedProperty& property) const { return MapiName(property).getPropertyTag(message.get()); }
  bool has(ULONG tag) const { return message->bag().find(tag) != nullptr; }

  template <typename T>
  T get(ULONG tag) const {
    const host::PropertyRecord* record = message->bag().find(tag);
    const T* value = record == nullptr ? nullptr : std::get_if<T>(&record->content);
    EXPECT_NE(value, nullptr) << std::hex << tag;
    return value == nullptr ? T{} : *value;
  }
  std::uint32_t number(ULONG tag) const { return static_cast<std::uint32_t>(get<std::int32_t>(tag)); }
  std::u16string text(ULONG tag) const {
    const host::PropertyRecord* record = message->bag().find(tag);
    EXPECT_NE(record, nullptr) << std::hex << tag;
    return record == nullptr ? std::u16string() : host::textOf(*record);
  }
  std::string bytes(ULONG tag) const {
    const host::PropertyRecord* record = message->bag().find(tag);
    EXPECT_NE(record, nullptr) << std::hex << tag;
    return record == nullptr ? std::string() : host::bytesOf(*record);
  }

  void addRecipient(std::int32_t type, std::u16string name, std::u16string addressType, std::string address) {
    ComPtr<IConvertRecipient> made;
    ASSERT_EQ(message->createRecipient(made.put()), S_OK);
    ASSERT_EQ(made->saveChanges(), S_OK);
    host::PropertyBag& bag = message->parts().recipients.back()->bag();
    bag.set(PR_RECIPIENT_TYPE, {PT_LONG, type});
    bag.set(PR_DISPLAY_NAME, {PT_UNICODE, std::move(name)});
    bag.set(PR_ADDRTYPE, {PT_UNICODE, std::move(addressType)});
    bag.set(PR_EMAIL_ADDRESS_A, {PT_STRING8, std::move(address)});
  }

  host::HostContextPtr context;
  ComPtr<host::MemoryMessage> message;
  ComPtr<host::MemoryAnnotations> annotations;
  ComPtr<host::MemoryFlags> flags;
  ComPtr<host::MemoryAddressBook> addressBook;
  ComPtr<host::MemoryLog> log;
  ComPtr<host::HostAllocator> allocator;

 private:
  host::ScopedContext allocations_;
};

// The headers of a mail as a reader sees them.
class Mail {
 public:
  explicit Mail(std::string text) : text_(std::move(text)) {
    ComPtr<IStream> stream = streamUtils::createStream();
    streamUtils::detail::writeStr(stream.get(), text_);
    streamUtils::rewind(stream.get());
    EXPECT_EQ(mime::createMimeMessage(message_.put()), S_OK);
    EXPECT_EQ(message_->Load(stream.get()), S_OK);
  }

  // UTF-8; "<none>" for a header that is not there.
  std::string header(mime::HeaderName name) const {
    ScopedPropVariant value(VT_LPWSTR);
    const HRESULT hr = message_->GetProp(name, 0, &value);
    return hr == MIME_E_NOT_FOUND ? "<none>" : wideToUtf8(value.pwszVal);
  }
  std::string body(mime::TextType type) const {
    ComPtr<IStream> stream;
    mime::HBODY handle = nullptr;
    const HRESULT hr = message_->GetTextBody(type, mime::IET_UNICODE, stream.put(), &handle);
    if (failed(hr)) {
      return "<none>";
    }
    std::u16string text;
    streamUtils::copyToString(stream.get(), text, false);
    return wideToUtf8(text);
  }
  bool isType(const char* type, const char* subtype) const {
    return message_->IsContentType(mime::HBODY_ROOT, type, subtype) == S_OK;
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
  ComPtr<mime::IMimeMessage> message_;
};

}  // namespace nalvo::test
