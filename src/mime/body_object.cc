#include "mime/body_object.h"

#include <algorithm>
#include <limits>
#include <unordered_map>

#include "diagnostics/boundary.h"
#include "mime/body_context.h"
#include "mime/body_data.h"
#include "mime/display_name.h"
#include "mime/header_names.h"
#include "mime/properties.h"
#include "mime/stored_block.h"
#include "mime/writer.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

constexpr SourceFile kSource{".\\MimeBody"};

// For CopyProps, to find this class behind an interface.
constexpr IID kOwnIid{0x2F7C1D54, 0xA3A8, 0x4E0B, {0x8C, 0x35, 0x90, 0x6B, 0x12, 0xE7, 0x4D, 0x21}};

HHEADERROW rowHandle(std::uint32_t id) { return reinterpret_cast<HHEADERROW>(std::uintptr_t{id}); }

class BodyObject final : public IUnknownImpl<IMimeBody, IMimeHeaderTable> {
 public:
  BodyObject(ComPtr<MessageObject> message, std::shared_ptr<Body> body)
      : message_(std::move(message)), body_(std::move(body)) {}

  Body& body() { return *body_; }

  // IMimePropertySet
  HRESULT GetProp(HeaderName name, DWORD, PROPVARIANT* value) noexcept override {
    if (value == nullptr) {
      return E_INVALIDARG;
    }
    value->pszVal = nullptr;
    return atBoundary([&] { return getProperty(*body_, settled(name), *value); });
  }

  HRESULT SetProp(HeaderName name, DWORD, const PROPVARIANT* value) noexcept override {
    if (value == nullptr) {
      return E_INVALIDARG;
    }
    return atBoundary([&] {
      if (setProperty(*body_, settled(name), *value)) {
        touch();
      }
    });
  }

  HRESULT DeleteProp(HeaderName name) noexcept override {
    return atBoundary([&]() -> HRESULT {
      if (!deleteProperty(*body_, settled(name))) {
        return MIME_E_NOT_FOUND;
      }
      touch();
      return S_OK;
    });
  }

  HRESULT QueryProp(HeaderName name, const char* text, BOOL substring, BOOL caseSensitive) noexcept override {
    if (text == nullptr) {
      return E_INVALIDARG;
    }
    return atBoundary(
        [&] { return queryProperty(*body_, settled(name), text, substring != 0, caseSensitive != 0) ? S_OK : S_FALSE; });
  }

  HRESULT IsContentType(const char* type, const char* subtype) noexcept override {
    return atBoundary([&] {
      const MediaType own = mediaTypeOf(*body_);
      const bool matches = (type == nullptr || equalsIgnoreCase(own.type, type)) &&
                           (subtype == nullptr || equalsIgnoreCase(own.subtype, subtype));
      return matches ? S_OK : S_FALSE;
    });
  }

  HRESULT Clone(IMimePropertySet** out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = nullptr;
    return atBoundary([&] {
      settle();
      auto copy = std::make_shared<Body>();
      copy->rows = body_->rows.copy();
      copy->charset = headerStyle(*body_).charset;
      *out = new BodyObject(nullptr, std::move(copy));
    });
  }

  HRESULT CopyProps(ULONG count, const char* const* names, IMimePropertySet* target) noexcept override;

  HRESULT BindToObject(const IID& iid, void** out) noexcept override {
    return out == nullptr ? E_INVALIDARG : QueryInterface(iid, out);
  }

  HRESULT GetCharset(HCHARSET* out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = nullptr;
    return atBoundary([&] { *out = reinterpret_cast<HCHARSET>(charsetOf(*body_)); });
  }

  HRESULT SetCharset(HCHARSET charset, DWORD) noexcept override {
    if (charset == nullptr) {
      return E_INVALIDARG;
    }
    return atBoundary([&] {
      body_->charset = reinterpret_cast<const Charset*>(charset);
      touch();
    });
  }

  // IMimeBody
  HRESULT GetHandle(HBODY* out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = body_->handle;
    return S_OK;
  }

  HRESULT SetData(Encoding encoding, const char* type, const char* subtype, const IID& iid, void* object) noexcept override {
    if (object == nullptr || type == nullptr || subtype == nullptr) {
      return E_INVALIDARG;
    }
    if (iid != IStream::kIid) {
      return E_NOINTERFACE;
    }
    return atBoundary([&] {
      setData(*body_, encoding, std::string(type) + "/" + subtype, static_cast<IStream*>(object));
      touch();
    });
  }

  HRESULT GetData(Encoding encoding, IStream** out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = nullptr;
    return atBoundary([&] { *out = openData(body_, encoding).detach(); });
  }

  HRESULT GetDataHere(Encoding encoding, IStream* stream) noexcept override {
    if (stream == nullptr) {
      return E_INVALIDARG;
    }
    return atBoundary([&] { copyData(*body_, encoding, stream); });
  }

  HRESULT GetCurrentEncoding(Encoding* out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = IET_BINARY;
    return atBoundary([&] { *out = storedEncoding(*body_); });
  }

  HRESULT SetCurrentEncoding(Encoding encoding) noexcept override {
    return atBoundary([&] {
      StreamContent* stream = body_->stream();
      if (stream == nullptr) {
        throwHResult(E_INVALIDARG, kSource.at("MimeBody::SetCurrentEncoding"));
      }
      stream->encoding = encoding;
      touch();
    });
  }

  HRESULT GetEstimatedSize(Encoding encoding, ULONG* out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = 0;
    return atBoundary([&] {
      *out = static_cast<ULONG>(std::min<std::uint64_t>(estimatedSize(*body_, encoding), std::numeric_limits<ULONG>::max()));
    });
  }

  HRESULT GetDisplayName(char** out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = nullptr;
    return atBoundary([&] { *out = taskCopy(wideToAnsi(displayNameOf(*body_))); });
  }

  HRESULT GetDisplayNameW(char16_t** out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = nullptr;
    return atBoundary([&] { *out = taskCopy(displayNameOf(*body_)); });
  }

  // IMimeHeaderTable; Save is that of IMimeBody too.
  HRESULT Load(IStream* stream) noexcept override;

  HRESULT Save(IStream* stream, BOOL) noexcept override {
    if (stream == nullptr) {
      return E_INVALIDARG;
    }
    return atBoundary([&] {
      settle();
      StreamSink sink(stream);
      writeRows(body_->rows, headerStyle(*body_), sink);
    });
  }

  HRESULT FindFirst(HeaderName name, HHEADERROW* row) noexcept override;

  HRESULT FindNext(HHEADERROW row, HHEADERROW* next) noexcept override {
    if (next == nullptr) {
      return E_INVALIDARG;
    }
    *next = nullptr;
    return atBoundary([&]() -> HRESULT {
      const std::size_t at = placeOf(row);
      const std::size_t found = body_->rows.find(body_->rows[at].name, at + 1);
      if (found == HeaderRows::kNone) {
        return MIME_E_NOT_FOUND;
      }
      *next = rowHandle(body_->rows[found].id);
      return S_OK;
    });
  }

  HRESULT CountRows(const char* name, ULONG* out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = 0;
    return atBoundary([&] {
      settle();
      const HeaderRows& rows = body_->rows;
      if (name == nullptr) {
        *out = static_cast<ULONG>(rows.size());
        return;
      }
      for (std::size_t at = rows.find(name); at != HeaderRows::kNone; at = rows.find(name, at + 1)) {
        ++*out;
      }
    });
  }

  HRESULT AppendRow(HeaderName name, DWORD, const char* value, ULONG valueBytes, HHEADERROW* row) noexcept override {
    if (row != nullptr) {
      *row = nullptr;
    }
    return atBoundary([&] {
      settle();
      const ParsedName parsed = parseName(name);
      if (parsed.isFileName || !parsed.parameter.empty()) {
        throwHResult(E_INVALIDARG, kSource.at("MimeBody::AppendRow"));
      }
      const std::string_view text = value == nullptr ? std::string_view() : std::string_view(value, valueBytes);
      RowValue content = Placeholder{};
      if (!text.empty() && isAscii(text)) {
        content = NarrowValue{std::string(text)};
      } else if (!text.empty()) {
        content = WideValue{ansiToWide(text)};
      }
      const HeaderRow& appended = body_->rows.append(parsed.header, std::move(content));
      if (row != nullptr) {
        *row = rowHandle(appended.id);
      }
      touch();
    });
  }

  HRESULT SetRowNumber(HHEADERROW row, ULONG number) noexcept override {
    return atBoundary([&] {
      const std::size_t from = placeOf(row);
      if (from != std::min<std::size_t>(number, body_->rows.size() - 1)) {
        body_->rows.move(from, number);
        touch();
      }
    });
  }

  HRESULT GetRowData(HHEADERROW row, HeaderRowData* out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = {};
    return atBoundary([&] {
      const HeaderRow& found = body_->rows[placeOf(row)];
      const std::string value = body_->rows.rawValue(found, found.isLoaded() ? HeaderStyle() : headerStyle(*body_));
      out->name = taskCopy(found.name);
      try {
        out->value = taskCopy(value);
      } catch (const std::bad_alloc&) {
        taskFree(std::exchange(out->name, nullptr));
        throw;
      }
      out->valueBytes = static_cast<ULONG>(value.size());
    });
  }

  HRESULT GetRow(ULONG number, HHEADERROW* row) noexcept override {
    if (row == nullptr) {
      return E_INVALIDARG;
    }
    *row = nullptr;
    return atBoundary([&]() -> HRESULT {
      settle();
      if (number >= body_->rows.size()) {
        return MIME_E_NOT_FOUND;
      }
      *row = rowHandle(body_->rows[number].id);
      return S_OK;
    });
  }

 private:
  void* queryOther(const IID& iid) noexcept override {
    if (iid == IMimePropertySet::kIid) {
      return static_cast<IMimePropertySet*>(this);
    }
    return iid == kOwnIid ? this : nullptr;
  }

  // The message whose tree the body is in; null for a body that left it.
  MessageObject* owner() const { return body_->message; }
  void touch() {
    if (owner() != nullptr) {
      owner()->touch();
    }
  }
  void settle() {
    if (owner() != nullptr) {
      owner()->settleAddresses();
    }
  }
  // The name, with addresses in the rows if it is one of theirs.
  ParsedName settled(HeaderName name) {
    const ParsedName parsed = parseName(name);
    if (owner() != nullptr) {
      owner()->settleAddressesFor(parsed);
    }
    return parsed;
  }

  std::size_t placeOf(HHEADERROW row) const {
    const auto id = reinterpret_cast<std::uintptr_t>(row);
    const std::size_t place = id <= std::numeric_limits<std::uint32_t>::max()
                                  ? body_->rows.placeOf(static_cast<std::uint32_t>(id))
                                  : HeaderRows::kNone;
    if (place == HeaderRows::kNone) {
      throwHResult(E_HANDLE, kSource.at("MimeBody::placeOf"));
    }
    return place;
  }

  ComPtr<MessageObject> message_;  // keeps the owner of the tree alive
  std::shared_ptr<Body> body_;
};

HRESULT BodyObject::FindFirst(HeaderName name, HHEADERROW* row) noexcept {
  if (row == nullptr) {
    return E_INVALIDARG;
  }
  *row = nullptr;
  return atBoundary([&]() -> HRESULT {
    settle();
    const ParsedName parsed = parseName(name);
    if (parsed.isFileName) {
      throwHResult(E_INVALIDARG, kSource.at("MimeBody::FindFirst"));
    }
    const std::size_t place = body_->rows.find(parsed.header);
    const bool isThere =
        place != HeaderRows::kNone &&
        (parsed.parameter.empty() || body_->rows.parameters(body_->rows[place], nullptr).find(parsed.parameter) != nullptr);
    if (!isThere) {
      return MIME_E_NOT_FOUND;
    }
    *row = rowHandle(body_->rows[place].id);
    return S_OK;
  });
}

HRESULT BodyObject::Load(IStream* stream) noexcept {
  if (stream == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    Body& body = *body_;
    const MediaType type = mediaTypeOf(body);
    const std::shared_ptr<Source> source = Source::fromPosition(stream);
    // Read in full before anything is changed: the stream may fail.
    Body loaded;
    loadRows(loaded, *source);
    body.rows.replaceRows(std::move(loaded.rows));
    if (owner() == nullptr) {
      return;
    }
    if (body.isRoot()) {
      owner()->addresses().forget();
      takeAsStored(body);
    }
    if (body.hasContent()) {
      setMediaType(body, type.type + "/" + type.subtype);
    }
    touch();
  });
}

// The value with the line ends of another block.
RowValue copiedValue(const HeaderRows& rows, const HeaderRow& row, std::string_view lineEnd) {
  if (!row.isLoaded() && !std::holds_alternative<RawRow>(*row.own)) {
    return *row.own;
  }
  std::string text;
  for (const char c : rows.rowText(row, {})) {
    if (c == '\n') {
      text += lineEnd;
    } else if (c != '\r') {
      text += c;
    }
  }
  return RawRow{std::move(text)};
}

HRESULT BodyObject::CopyProps(ULONG count, const char* const* names, IMimePropertySet* target) noexcept {
  if (target == nullptr || (count > 0 && names == nullptr)) {
    return E_INVALIDARG;
  }
  return atBoundary([&]() -> HRESULT {
    ComPtr<BodyObject> other;
    if (failed(target->QueryInterface(kOwnIid, other.putVoid()))) {
      return E_INVALIDARG;
    }
    if (other->body_ == body_) {
      return S_OK;
    }
    settle();
    other->settle();
    const HeaderRows& from = body_->rows;
    HeaderRows& to = other->body_->rows;
    const auto isWanted = [&](std::string_view name) {
      return count == 0 || std::any_of(names, names + count, [&](const char* wanted) {
               return wanted != nullptr && equalsIgnoreCase(name, wanted);
             });
    };
    // How far each name has been copied: the place behind its last row in the target, or kNone when those are used up.
    std::unordered_map<std::string, std::size_t> progress;
    for (std::size_t i = 0; i < from.size(); ++i) {
      const HeaderRow& row = from[i];
      if (row.name.empty() || row.isPlaceholder() || !isWanted(row.name) || equalsIgnoreCase(row.name, kTransferEncoding)) {
        continue;
      }
      if (equalsIgnoreCase(row.name, kContentType) && other->body_->hasContent()) {
        const std::u16string text = from.wideValue(row, nullptr);
        PROPVARIANT value{VT_LPWSTR, {0}};
        value.pwszVal = const_cast<char16_t*>(text.c_str());
        setProperty(*other->body_, {kContentType, {}, false}, value);
        continue;
      }
      const auto [entry, isFirst] = progress.try_emplace(toLowerAscii(row.name), 0);
      const std::size_t place = entry->second == HeaderRows::kNone ? HeaderRows::kNone : to.find(row.name, entry->second);
      if (place == HeaderRows::kNone) {
        to.append(row.name, copiedValue(from, row, to.lineEnd()));
        entry->second = HeaderRows::kNone;
        continue;
      }
      entry->second = place + 1;
      if (to[place].isPlaceholder() || to.rawValue(to[place], {}) != from.rawValue(row, headerStyle(*body_))) {
        to.set(place, copiedValue(from, row, to.lineEnd()));
      }
    }
    for (const auto& [name, place] : progress) {
      if (place != HeaderRows::kNone) {
        to.removeAll(name, place);
      }
    }
    other->touch();
    return S_OK;
  });
}

}  // namespace

HRESULT bindBody(ComPtr<MessageObject> message, std::shared_ptr<Body> body, const IID& iid, void** out) {
  return makeCom<BodyObject>(std::move(message), std::move(body))->QueryInterface(iid, out);
}

}  // namespace nalvo::mime
