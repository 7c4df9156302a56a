// The caller's interfaces over a store of one's own: what all stores do alike is done here, what differs stays open.
//
// Derive from PropertyObject and say where values lie. A value that is opened as a stream is held whole in memory while it
// is written; a store of big bodies overrides openProp.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "nalvo/caller.h"
#include "nalvo/convert.h"

namespace nalvo::caller {

// A counted array for IConvertMessage::getRecipients and getAttachments.
template <typename T>
HRESULT arrayOf(const std::vector<Ref<T>>& objects, InterfaceArray** out) noexcept {
  auto* array = static_cast<InterfaceArray*>(taskAlloc(sizeof(InterfaceArray)));
  auto* elements = static_cast<IUnknown**>(taskAlloc(objects.size() * sizeof(IUnknown*)));
  if (array == nullptr || elements == nullptr) {
    taskFree(array);
    taskFree(elements);
    return E_OUTOFMEMORY;
  }
  *array = {static_cast<std::uint32_t>(objects.size()), elements};
  for (const Ref<T>& object : objects) {
    *elements++ = object.share();
  }
  *out = array;
  return S_OK;
}

// Bytes that are no UTF-8 count as Latin-1, so that none is lost.
inline std::u16string toWide(const std::string& text) {
  std::u16string wide;
  for (std::size_t i = 0; i < text.size();) {
    const auto first = static_cast<unsigned char>(text[i]);
    const std::size_t more = first < 0x80   ? 0
                             : first < 0xC2 ? 4
                             : first < 0xE0 ? 1
                             : first < 0xF0 ? 2
                             : first < 0xF5 ? 3
                                            : 4;
    char32_t c = more == 0 ? first : first & (0x3FU >> more);
    bool valid = more < 4 && i + more < text.size();
    for (std::size_t k = 1; valid && k <= more; ++k) {
      valid = (static_cast<unsigned char>(text[i + k]) & 0xC0U) == 0x80;
      c = (c << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3FU);
    }
    valid = valid && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF) && (more != 2 || c >= 0x800) && (more != 3 || c >= 0x10000);
    if (!valid) {
      return {reinterpret_cast<const unsigned char*>(text.data()),
              reinterpret_cast<const unsigned char*>(text.data()) + text.size()};
    }
    if (c >= 0x10000) {
      wide += static_cast<char16_t>(0xD7C0 + (c >> 10));
      wide += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    } else {
      wide += static_cast<char16_t>(c);
    }
    i += more + 1;
  }
  return wide;
}

// UTF-8; half of a pair becomes U+FFFD.
inline std::string toNarrow(const std::u16string& text) {
  std::string narrow;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;
    }
    const int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    narrow += static_cast<char>(more == 0 ? c : (0xF0U << (3 - more)) | (c >> (6 * more)));
    for (int k = more - 1; k >= 0; --k) {
      narrow += static_cast<char>(0x80U | ((c >> (6 * k)) & 0x3FU));
    }
  }
  return narrow;
}

// A stream of the library, at its start, that holds `bytes`.
inline HRESULT openStream(const std::string& bytes, IStream** out) noexcept {
  Ref<IStream> stream;
  HRESULT hr = createStream(stream.put());
  hr = hr == S_OK ? stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr) : hr;
  hr = hr == S_OK ? stream->Seek(0, STREAM_SEEK_SET, nullptr) : hr;
  *out = hr == S_OK ? stream.share() : nullptr;
  return hr;
}

// All that a stream holds, whose position stays where it is. MAPI_E_TOO_BIG for what no single value can hold.
inline HRESULT readAll(IStream* stream, std::string* bytes) noexcept {
  return guarded([&] {
    std::uint64_t position = 0;
    std::uint64_t size = 0;
    HRESULT hr = stream->Seek(0, STREAM_SEEK_CUR, &position);
    hr = hr == S_OK ? stream->Seek(0, STREAM_SEEK_END, &size) : hr;
    hr = hr == S_OK ? stream->Seek(0, STREAM_SEEK_SET, nullptr) : hr;
    if (hr != S_OK || size > UINT32_MAX) {
      return hr != S_OK ? hr : MAPI_E_TOO_BIG;
    }
    bytes->resize(size);
    hr = stream->Read(bytes->data(), static_cast<ULONG>(size), nullptr);
    return hr == S_OK ? stream->Seek(static_cast<std::int64_t>(position), STREAM_SEEK_SET, nullptr) : hr;
  });
}

// The bytes of one value as a stream, at its start. `commit` gets what was written.
class ValueStream final : public Object<IStream> {
 public:
  using OnCommit = std::function<HRESULT(const std::string& bytes)>;

  static HRESULT open(const std::string& bytes, OnCommit commit, IUnknown** out) noexcept {
    return guarded([&] {
      Ref<IStream> inner;
      const HRESULT hr = openStream(bytes, inner.put());
      *out = hr == S_OK ? new ValueStream(std::move(inner), std::move(commit)) : nullptr;
      return hr;
    });
  }

  HRESULT QueryInterface(const IID& iid, void** out) noexcept override {
    return Object::QueryInterface(iid == ISequentialStream::kIid ? IStream::kIid : iid, out);
  }
  HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept override { return inner_->Read(buffer, bytes, read); }
  HRESULT Write(const void* buffer, ULONG bytes, ULONG* written) noexcept override {
    return inner_->Write(buffer, bytes, written);
  }
  HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* position) noexcept override {
    return inner_->Seek(move, origin, position);
  }
  HRESULT SetSize(std::uint64_t size) noexcept override { return inner_->SetSize(size); }
  HRESULT CopyTo(IStream* to, std::uint64_t bytes, std::uint64_t* read, std::uint64_t* written) noexcept override {
    return inner_->CopyTo(to, bytes, read, written);
  }
  HRESULT Commit(DWORD) noexcept override {
    return guarded([&] {
      std::string bytes;
      const HRESULT hr = readAll(inner_.get(), &bytes);
      return hr == S_OK ? commit_(bytes) : hr;
    });
  }
  HRESULT Revert() noexcept override { return E_NOTIMPL; }
  HRESULT LockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return STG_E_INVALIDFUNCTION; }
  HRESULT UnlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return STG_E_INVALIDFUNCTION; }
  HRESULT Stat(STATSTG* stat, DWORD flag) noexcept override { return inner_->Stat(stat, flag); }
  HRESULT Clone(IStream** out) noexcept override { return inner_->Clone(out); }

 private:
  ValueStream(Ref<IStream> inner, OnCommit commit) : inner_(std::move(inner)), commit_(std::move(commit)) {}

  Ref<IStream> inner_;
  OnCommit commit_;
};

// An object with properties. A store says where they lie; each identifier has one value. Texts are listed as wide ones and
// answered in the width that is asked for.
template <typename Interface>
class PropertyObject : public Object<Interface> {
 public:
  explicit PropertyObject(Names& names) : names_(names) {}

  HRESULT getPropList(ULONG* count, ULONG** tags) noexcept override {
    return guarded([&] {
      std::vector<ULONG> list = allTags();
      for (ULONG& tag : list) {
        tag = propType(tag) == PT_STRING8 ? changePropType(tag, PT_UNICODE) : tag;
      }
      return copyTags(list, count, tags);
    });
  }
  // All of them, unless the store tells changes apart.
  HRESULT getChangedPropList(ULONG* count, ULONG** tags) noexcept override { return getPropList(count, tags); }
  HRESULT getProp(ULONG tag, SPropValue** value) noexcept override {
    *value = nullptr;
    return guarded([&] {
      const std::optional<Value> found = findOfType(tag);
      return found ? copyValue(**found, value) : MAPI_E_NOT_FOUND;
    });
  }
  HRESULT openProp(ULONG tag, ULONG create, const IID& iid, IUnknown** out) noexcept override {
    *out = nullptr;
    if (iid == IConvertMessage::kIid) {
      return guarded([&] { return openMessage(tag, create != 0, out); });
    }
    return guarded([&] {
      const std::optional<Value> found = create == 0 ? findOfType(tag) : std::nullopt;
      if (create == 0 && !found) {
        return MAPI_E_NOT_FOUND;
      }
      Ref<PropertyObject> self(this);
      self.share();
      return ValueStream::open(
          found ? bytesOf(**found) : std::string(),
          [self, tag](const std::string& bytes) {
            self->put(valueOf(tag, bytes));
            return S_OK;
          },
          out);
    });
  }
  HRESULT setProp(const SPropValue* value) noexcept override {
    return guarded([&] {
      put(Value(*value));
      return S_OK;
    });
  }
  HRESULT deleteProp(ULONG tag) noexcept override {
    return guarded([&] { return erase(propId(tag)) ? S_OK : MAPI_E_NOT_FOUND; });
  }
  HRESULT propExists(ULONG tag) noexcept override {
    return guarded([&] { return findOfType(tag) ? S_OK : S_FALSE; });
  }
  HRESULT getNamesFromIds(ULONG tag, MAPINAMEID** name) noexcept override { return names_.copyName(propId(tag), name); }
  HRESULT getIdsFromNames(const MAPINAMEID* name, BOOL create, ULONG* tag) noexcept override {
    return guarded([&] {
      const ULONG id = names_.idOf(*name, create != 0);
      *tag = propTag(PT_UNSPECIFIED, id);
      return id == 0 ? MAPI_E_NOT_FOUND : S_OK;
    });
  }
  void reserved12() noexcept override {}
  HRESULT getAllocator(IMapiAllocator** out) noexcept override {
    return guarded([&] {
      *out = new Allocator;
      return S_OK;
    });
  }
  HRESULT saveChanges() noexcept override { return S_OK; }

 protected:
  Names& names() const { return names_; }

  // In the order in which the object lists them.
  virtual std::vector<ULONG> allTags() const = 0;
  virtual std::optional<Value> find(ULONG id) const = 0;
  virtual void put(const Value& value) = 0;
  // Tells whether it was there.
  virtual bool erase(ULONG id) = 0;
  // A property that is a message; only an attachment has one.
  virtual HRESULT openMessage(ULONG, bool, IUnknown**) { return MAPI_E_NOT_FOUND; }

 private:
  std::optional<Value> findOfType(ULONG tag) const {
    std::optional<Value> found = find(propId(tag));
    const ULONG wanted = propType(tag);
    const ULONG type = found ? propType((*found)->ulPropTag) : PT_UNSPECIFIED;
    if (type == PT_STRING8 && (wanted == PT_UNICODE || wanted == PT_UNSPECIFIED)) {
      return Value(changePropType(tag, PT_UNICODE), toWide((*found)->Value.lpszA));
    }
    if (type == PT_UNICODE && wanted == PT_STRING8) {
      return Value(tag, toNarrow((*found)->Value.lpszW));
    }
    return wanted == PT_UNSPECIFIED || wanted == type ? found : std::nullopt;
  }
  static HRESULT copyTags(const std::vector<ULONG>& from, ULONG* count, ULONG** tags) {
    void* memory = nullptr;
    const HRESULT hr = Allocator::allocate(static_cast<ULONG>(from.size() * sizeof(ULONG)), &memory);
    if (hr == S_OK && !from.empty()) {
      std::memcpy(memory, from.data(), from.size() * sizeof(ULONG));
    }
    *count = hr == S_OK ? static_cast<ULONG>(from.size()) : 0;
    *tags = static_cast<ULONG*>(memory);
    return hr;
  }
  static std::string bytesOf(const SPropValue& value) {
    switch (propType(value.ulPropTag)) {
      case PT_STRING8:
        return value.Value.lpszA;
      case PT_UNICODE: {
        const std::u16string_view text = value.Value.lpszW;
        return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
      }
      case PT_BINARY:
        return {reinterpret_cast<const char*>(value.Value.bin.lpb), value.Value.bin.cb};
      default:
        return {};
    }
  }
  static Value valueOf(ULONG tag, const std::string& bytes) {
    if (propType(tag) != PT_UNICODE) {
      return {tag, bytes};
    }
    std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
    return {tag, text};
  }

  Names& names_;
};

// The IMAP side of one message.
class Flags : public Object<IMimeFlags> {
 public:
  std::set<ULONG> set{static_cast<ULONG>(MimeFlag::Read)};
  SYSTEMTIME internalDate{2000, 1, 6, 1, 0, 0, 0, 0};  // UTC
  SYSTEMTIME modificationDate{2000, 1, 6, 1, 0, 0, 0, 0};
  std::u16string messageClass;
  std::optional<ULONG> messageSize;
  bool hidden = false;
  bool attachments = false;

  HRESULT isFlagSet(ULONG flag) noexcept override { return set.contains(flag) ? S_OK : S_FALSE; }
  HRESULT setFlag(ULONG flag, BOOL value) noexcept override {
    return guarded([&] {
      if (value != 0) {
        set.insert(flag);
      } else {
        set.erase(flag);
      }
      return S_OK;
    });
  }
  HRESULT getInternalDate(SYSTEMTIME* out) noexcept override {
    *out = internalDate;
    return S_OK;
  }
  HRESULT setInternalDate(const SYSTEMTIME* date) noexcept override {
    internalDate = *date;
    return S_OK;
  }
  HRESULT getModificationDate(SYSTEMTIME* out) noexcept override {
    *out = modificationDate;
    return S_OK;
  }
  void reserved8() noexcept override {}
  HRESULT setMessageClass(const char16_t* name) noexcept override {
    return guarded([&] {
      messageClass = name;
      return S_OK;
    });
  }
  void reserved10() noexcept override {}
  void reserved11() noexcept override {}
  HRESULT isHidden() noexcept override { return hidden ? S_OK : S_FALSE; }
  HRESULT getMessageSize(ULONG* out) noexcept override {
    *out = messageSize.value_or(0);
    return messageSize ? S_OK : MAPI_E_NOT_FOUND;
  }
  void reserved14() noexcept override {}
  void reserved15() noexcept override {}
  HRESULT hasAttachments() noexcept override { return attachments ? S_OK : S_FALSE; }
};

// Annotations of a caller whose properties travel inside the mail (CONVERT_TO_ATTACHMENT, CONVERT_FROM_ATTACHMENT).
class NoAnnotations final : public Object<IAnnotations> {
 public:
  HRESULT addAnnotation(const char*, const char*) noexcept override { return S_OK; }
  HRESULT enumAnnotations(IEnumAnnotations** out) noexcept override {
    return guarded([&] {
      *out = new None;
      return S_OK;
    });
  }

 private:
  class None final : public Object<IEnumAnnotations> {
   public:
    HRESULT nextAnnotation(char** name, char** value) noexcept override {
      *name = nullptr;
      *value = nullptr;
      return S_FALSE;
    }
  };
};

// The address book of a caller that knows nobody.
class NoAddressBook : public Object<IAddressBook> {
 public:
  HRESULT getEntryProp(ULONG, const BYTE*, ULONG, SPropValue** value) noexcept override {
    *value = nullptr;
    return MAPI_E_NOT_FOUND;
  }
  HRESULT getOwner(char16_t** name, ULONG, char16_t** address) noexcept override {
    *name = nullptr;
    *address = nullptr;
    const HRESULT hr = emptyText(name);
    return hr == S_OK ? emptyText(address) : hr;
  }
  HRESULT getFolderKind(ULONG, const BYTE*, ULONG* kind) noexcept override {
    *kind = 0;
    return S_OK;
  }
  HRESULT getFolderGuid(ULONG, const BYTE*, GUID*) noexcept override { return MAPI_E_NOT_FOUND; }

 private:
  static HRESULT emptyText(char16_t** text) noexcept {
    void* memory = nullptr;
    const HRESULT hr = Allocator::allocate(sizeof(char16_t), &memory);
    *text = static_cast<char16_t*>(memory);
    if (hr == S_OK) {
      **text = u'\0';
    }
    return hr;
  }
};

}  // namespace nalvo::caller
