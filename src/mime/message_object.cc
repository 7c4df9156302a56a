#include "mime/message_object.h"

#include <algorithm>

#include "diagnostics/boundary.h"
#include "mime/body_data.h"
#include "mime/body_object.h"
#include "mime/properties.h"
#include "mime/stored_block.h"
#include "mime/writer.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

constexpr SourceFile kSource{".\\MimeMessage"};

// Runs the body of a method that gives out a handle, which is cleared first; a null `out` is E_INVALIDARG.
template <typename Run>
HRESULT giveHandle(HBODY* out, Run&& run) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  return atBoundary([&]() -> HRESULT {
    Body* body = run();
    if (body == nullptr) {
      return MIME_E_NOT_FOUND;
    }
    *out = body->handle;
    return S_OK;
  });
}

bool typeMatches(const Body& body, const char* type, const char* subtype) {
  // A root built here whose parts make what the stored block said is that already.
  const bool isAsStored = body.isRoot() && body.isMultipart() && holdsStoredType(body);
  const MediaType own = isAsStored ? splitMediaType(body.stored->type.word()) : mediaTypeOf(body);
  return (type == nullptr || equalsIgnoreCase(own.type, type)) &&
         (subtype == nullptr || equalsIgnoreCase(own.subtype, subtype));
}

void clearValue(PROPVARIANT& value) { value.pszVal = nullptr; }

}  // namespace

void* MessageObject::queryOther(const IID& iid) noexcept {
  if (iid == IMimeMessageTree::kIid) {
    return static_cast<IMimeMessageTree*>(this);
  }
  return iid == kOwnIid ? static_cast<IMimeMessage*>(this) : nullptr;
}

const TextBodies& MessageObject::texts() {
  if (!rolesAreFresh_) {
    texts_ = assignRoles(tree_);
    rolesAreFresh_ = true;
  }
  return texts_;
}

void MessageObject::touch() {
  isDirty_ = true;
  isChanged_ = true;
  rolesAreFresh_ = false;
  foundCharset_ = nullptr;
}

void MessageObject::settleAddresses() {
  if (addresses_.isPending()) {
    addresses_.settle(tree_.root());
    touch();
  }
}

void MessageObject::settleAddressesFor(const ParsedName& name) {
  if (addressKindOf(name.header) != 0) {
    settleAddresses();
  }
}

const Charset* MessageObject::charset() {
  if (charset_ != nullptr) {
    return charset_;
  }
  if (!isLoaded_) {
    return findCodePage(kUtf8);
  }
  if (foundCharset_ == nullptr) {
    const auto says = [](const Body* body) {
      return body != nullptr && (body->stream() == nullptr || body->stream()->encoding != IET_UNICODE);
    };
    const TextBodies found = texts();
    if (says(found.html)) {
      foundCharset_ = charsetOf(*found.html);
    } else if (says(found.plain)) {
      foundCharset_ = charsetOf(*found.plain);
    } else {
      const Charset* named = findCharset(parameterOf(tree_.root(), "Content-Type", "charset"));
      foundCharset_ = named != nullptr ? named : findCodePage(kUsAscii);
    }
  }
  return foundCharset_;
}

HRESULT MessageObject::InitNew() noexcept {
  return atBoundary([&] {
    tree_.reset();
    addresses_.forget();
    charset_ = nullptr;
    isLoaded_ = false;
    touch();
    isDirty_ = false;
  });
}

HRESULT MessageObject::Load(IStream* stream) noexcept {
  if (stream == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    tree_.load(Source::fromPosition(stream));
    addresses_.forget();
    charset_ = nullptr;
    touch();
    isLoaded_ = true;
    isChanged_ = false;
    isDirty_ = false;
  });
}

HRESULT MessageObject::Save(IStream* stream, BOOL clearDirty) noexcept {
  if (stream == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    settleAddresses();
    StreamSink sink(stream);
    writeBody(tree_.root(), sink);
    isDirty_ = isDirty_ && clearDirty == 0;
  });
}

HRESULT MessageObject::SaveBody(HBODY handle, DWORD, IStream* stream) noexcept {
  if (stream == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    settleAddresses();
    StreamSink sink(stream);
    writeBody(tree_.at(handle), sink);
  });
}

HRESULT MessageObject::SetOption(DWORD id, const PROPVARIANT* value) noexcept {
  if (value == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    if (id == OID_HEADER_FOLD_COLUMN) {
      foldColumn_ = std::clamp<std::size_t>(value->ulVal, 20, kLineLimit);
      return;
    }
    std::erase_if(keptOptions_, [&](const auto& option) { return option.first == id; });
    PROPVARIANT kept = *value;
    if (kept.vt == VT_LPSTR || kept.vt == VT_LPWSTR) {
      kept = {VT_EMPTY, {0}};  // No option is a text.
    }
    keptOptions_.emplace_back(id, kept);
  });
}

HRESULT MessageObject::GetOption(DWORD id, PROPVARIANT* value) noexcept {
  if (value == nullptr) {
    return E_INVALIDARG;
  }
  *value = {VT_EMPTY, {0}};
  if (id == OID_HEADER_FOLD_COLUMN) {
    value->vt = VT_UI4;
    value->ulVal = static_cast<std::uint32_t>(foldColumn_);
    return S_OK;
  }
  for (const auto& [kept, option] : keptOptions_) {
    if (kept == id) {
      *value = option;
      return S_OK;
    }
  }
  return E_INVALIDARG;
}

HRESULT MessageObject::BindToObject(HBODY handle, const IID& iid, void** out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  return atBoundary([&] {
    Body& body = tree_.at(handle);
    return bindBody(ComPtr<MessageObject>::retain(this), tree_.share(body), iid, out);
  });
}

HRESULT MessageObject::GetBody(BodyLocation location, HBODY pivot, HBODY* out) noexcept {
  return giveHandle(out, [&]() -> Body* {
    if (location == IBL_ROOT) {
      return &tree_.root();
    }
    const Body& body = tree_.at(pivot);
    switch (location) {
      case IBL_PARENT:
        return body.parent;
      case IBL_FIRST:
        return body.first;
      case IBL_LAST:
        return body.last;
      case IBL_NEXT:
        return body.next;
      case IBL_PREV:
        return body.previous;
      default:
        throwHResult(E_INVALIDARG, kSource.at("MimeMessage::GetBody"));
    }
  });
}

HRESULT MessageObject::InsertBody(BodyLocation location, HBODY pivot, HBODY* out) noexcept {
  HBODY unwanted = nullptr;
  return giveHandle(out != nullptr ? out : &unwanted, [&]() -> Body* {
    Body& body = tree_.at(pivot);
    const bool isBelow = location == IBL_FIRST || location == IBL_LAST;
    const bool isBeside = location == IBL_NEXT || location == IBL_PREV;
    if ((!isBelow && !isBeside) || (isBeside && body.isRoot())) {
      throwHResult(E_INVALIDARG, kSource.at("MimeMessage::InsertBody"));
    }
    touch();
    if (isBeside) {
      return &tree_.insert(*body.parent, location == IBL_PREV ? &body : body.next);
    }
    if (!body.hasContent()) {
      tree_.becomeMultipart(body, hasMediaType(body, "multipart", "report") ? "report" : "mixed");
    } else if (!body.isMultipart()) {
      tree_.open(body, "mixed");
    }
    return &tree_.insert(body, location == IBL_FIRST ? body.first : nullptr);
  });
}

HRESULT MessageObject::DeleteBody(HBODY handle, DWORD) noexcept {
  return atBoundary([&] {
    Body& body = tree_.at(handle);
    tree_.remove(body);
    touch();
  });
}

HRESULT MessageObject::CountBodies(HBODY parent, BOOL recurse, ULONG* out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = 0;
  return atBoundary([&] {
    const Body& top = tree_.at(parent);
    if (recurse == 0) {
      *out = top.childCount;
      return;
    }
    for (const Body* body = top.nextInWalk(&top); body != nullptr; body = body->nextInWalk(&top)) {
      ++*out;
    }
  });
}

HRESULT MessageObject::find(FINDBODY* record, Body* from, HBODY* out) {
  for (Body* body = from; body != nullptr; body = body->nextInWalk(nullptr)) {
    const bool isEmptyRoot = body->isRoot() && !body->hasContent();
    if (!isEmptyRoot && typeMatches(*body, record->type, record->subtype)) {
      record->place = reinterpret_cast<std::uintptr_t>(body->handle);
      if (out != nullptr) {
        *out = body->handle;
      }
      return S_OK;
    }
  }
  return MIME_E_NOT_FOUND;
}

HRESULT MessageObject::FindFirst(FINDBODY* record, HBODY* out) noexcept {
  if (out != nullptr) {
    *out = nullptr;
  }
  return record == nullptr ? E_INVALIDARG : atBoundary([&] { return find(record, &tree_.root(), out); });
}

HRESULT MessageObject::FindNext(FINDBODY* record, HBODY* out) noexcept {
  if (out != nullptr) {
    *out = nullptr;
  }
  if (record == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    if (record->place == 0) {
      return find(record, &tree_.root(), out);
    }
    return find(record, tree_.at(reinterpret_cast<HBODY>(record->place)).nextInWalk(nullptr), out);
  });
}

HRESULT MessageObject::ToMultipart(HBODY handle, const char* subtype, HBODY* out) noexcept {
  HBODY unwanted = nullptr;
  return giveHandle(out != nullptr ? out : &unwanted, [&]() -> Body* {
    if (subtype == nullptr || *subtype == 0) {
      throwHResult(E_INVALIDARG, kSource.at("MimeMessage::ToMultipart"));
    }
    Body& body = tree_.at(handle);
    if (body.isMultipart() && hasMediaType(body, "multipart", toLowerAscii(subtype))) {
      return &body;
    }
    touch();
    if (!body.hasContent()) {
      tree_.becomeMultipart(body, subtype);
      return &body;
    }
    return &tree_.wrap(body, subtype);
  });
}

HRESULT MessageObject::IsBodyType(HBODY handle, BodyType type) noexcept {
  return atBoundary([&]() -> HRESULT {
    const Body& body = tree_.at(handle);
    texts();
    switch (type) {
      case IBT_ATTACHMENT:
        return body.role.isAttachment ? S_OK : S_FALSE;
      case IBT_AUTOATTACH:
        return body.role.isAutoAttach ? S_OK : S_FALSE;
      default:
        return E_INVALIDARG;
    }
  });
}

HRESULT MessageObject::IsContentType(HBODY handle, const char* type, const char* subtype) noexcept {
  return atBoundary([&] { return typeMatches(tree_.at(handle), type, subtype) ? S_OK : S_FALSE; });
}

HRESULT MessageObject::QueryBodyProp(HBODY handle, HeaderName name, const char* text, BOOL substring,
                                     BOOL caseSensitive) noexcept {
  if (text == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    const ParsedName parsed = parseName(name);
    settleAddressesFor(parsed);
    return queryProperty(tree_.at(handle), parsed, text, substring != 0, caseSensitive != 0) ? S_OK : S_FALSE;
  });
}

HRESULT MessageObject::GetBodyProp(HBODY handle, HeaderName name, DWORD, PROPVARIANT* value) noexcept {
  if (value == nullptr) {
    return E_INVALIDARG;
  }
  clearValue(*value);
  return atBoundary([&] {
    const ParsedName parsed = parseName(name);
    settleAddressesFor(parsed);
    return getProperty(tree_.at(handle), parsed, *value);
  });
}

HRESULT MessageObject::SetBodyProp(HBODY handle, HeaderName name, DWORD, const PROPVARIANT* value) noexcept {
  if (value == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    const ParsedName parsed = parseName(name);
    settleAddressesFor(parsed);
    if (setProperty(tree_.at(handle), parsed, *value)) {
      touch();
    }
  });
}

HRESULT MessageObject::GetProp(HeaderName name, DWORD flags, PROPVARIANT* value) noexcept {
  return GetBodyProp(HBODY_ROOT, name, flags, value);
}

HRESULT MessageObject::SetProp(HeaderName name, DWORD flags, const PROPVARIANT* value) noexcept {
  return SetBodyProp(HBODY_ROOT, name, flags, value);
}

HRESULT MessageObject::DeleteProp(HeaderName name) noexcept {
  return atBoundary([&]() -> HRESULT {
    const ParsedName parsed = parseName(name);
    settleAddressesFor(parsed);
    if (!deleteProperty(tree_.root(), parsed)) {
      return MIME_E_NOT_FOUND;
    }
    touch();
    return S_OK;
  });
}

HRESULT MessageObject::QueryProp(HeaderName name, const char* text, BOOL substring, BOOL caseSensitive) noexcept {
  return QueryBodyProp(HBODY_ROOT, name, text, substring, caseSensitive);
}

HRESULT MessageObject::GetCharset(HCHARSET* out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  return atBoundary([&] { *out = reinterpret_cast<HCHARSET>(charset()); });
}

HRESULT MessageObject::SetCharset(HCHARSET charset, DWORD) noexcept {
  if (charset == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    charset_ = reinterpret_cast<const Charset*>(charset);
    touch();
  });
}

}  // namespace nalvo::mime
