// The operations of a message that give it text, attachments and addresses, and those that find them.
#include <algorithm>

#include "diagnostics/boundary.h"
#include "mime/body_data.h"
#include "mime/boundary.h"
#include "mime/header_names.h"
#include "mime/message_object.h"
#include "mime/properties.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

constexpr SourceFile kSource{".\\MimeMessage"};

// An alternative that says nothing but the text: plain and HTML leaves.
bool isTextPair(const Body& body) {
  if (!body.isMultipart() || !hasMediaType(body, "multipart", "alternative")) {
    return false;
  }
  for (const Body* child = body.first; child != nullptr; child = child->next) {
    const bool isText = hasMediaType(*child, "text", "plain") || hasMediaType(*child, "text", "html");
    if (child->isMultipart() || !isText || child->attached != Attached::No) {
      return false;
    }
  }
  return true;
}

void setDisposition(Body& body, std::string_view word) {
  ParameterList list;
  list.setWord(word);
  body.rows.append(kContentDisposition, std::move(list));
}

// The charset of what the body held says nothing about the new data; one that is set later does.
void dropCharset(Body& body) {
  const std::size_t place = body.rows.find(kContentType);
  ParameterList list = body.rows.parameters(body.rows[place], nullptr);
  if (list.erase("charset")) {
    body.rows.set(place, std::move(list));
  }
}

// Whether `outer` is `inner`, or holds it at some depth.
bool holds(MessageObject& outer, const MessageObject& inner) {
  std::vector<MessageObject*> open{&outer};
  while (!open.empty()) {
    MessageObject* message = open.back();
    open.pop_back();
    if (message == &inner) {
      return true;
    }
    for (const Body* body = &message->tree().root(); body != nullptr; body = body->nextInWalk(nullptr)) {
      if (body->embedded() != nullptr) {
        open.push_back(static_cast<MessageObject*>(body->embedded()->message.get()));
      }
    }
  }
  return false;
}

class AddressTableObject final : public IUnknownImpl<IMimeAddressTable> {
 public:
  explicit AddressTableObject(ComPtr<MessageObject> message) : message_(std::move(message)) {}

  HRESULT Insert(const AddressProperties* address, ULONG* position) noexcept override {
    if (position != nullptr) {
      *position = 0;
    }
    if (address == nullptr) {
      return E_INVALIDARG;
    }
    return atBoundary([&]() -> HRESULT {
      Address entry;
      if ((address->properties & IAP_EMAIL) != 0 && address->email != nullptr) {
        entry.email = trim(address->email);
      }
      if ((address->properties & IAP_FRIENDLYW) != 0 && address->name != nullptr) {
        entry.name = address->name;
        entry.hasName = !entry.name.empty();
      }
      if (addressRowName(address->kind).empty()) {
        return E_INVALIDARG;
      }
      if (entry.email.empty() && !entry.hasName) {
        return S_OK;
      }
      const ULONG ahead = message_->addresses().insert(message_->tree().root(), address->kind, std::move(entry));
      if (position != nullptr) {
        *position = ahead;
      }
      message_->touch();
      return S_OK;
    });
  }

  HRESULT DeleteTypes(DWORD kinds) noexcept override {
    return atBoundary([&] {
      message_->addresses().deleteKinds(kinds);
      message_->touch();
    });
  }

  HRESULT CountTypes(DWORD kinds, ULONG* out) noexcept override {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = 0;
    return atBoundary([&] { *out = message_->addresses().count(message_->tree().root(), kinds); });
  }

 private:
  ComPtr<MessageObject> message_;
};

}  // namespace

void setData(Body& body, Encoding encoding, std::string_view type, IStream* stream) {
  if (body.message != nullptr) {
    body.message->tree().removeChildren(body);
  }
  const MediaType wanted = splitMediaType(type);
  setMediaType(body, wanted.type.empty() || wanted.type == "multipart" ? "application/octet-stream" : type);
  dropCharset(body);
  const std::size_t encodingRow = body.rows.find(kTransferEncoding);
  if (encodingRow != HeaderRows::kNone && !body.rows[encodingRow].isStored) {
    body.rows.removeAll(kTransferEncoding);
  }
  body.content = StreamContent{Source::whole(stream), encoding};
}

void MessageObject::setText(Body& body, TextType type, Encoding encoding, IStream* stream) {
  setData(body, encoding, type == TXT_HTML ? "text/html" : "text/plain", stream);
  touch();
}

// The body that a text goes into.
Body* MessageObject::placeText(TextType type, HBODY alternative) {
  if (alternative != nullptr) {
    Body& first = tree_.at(alternative);
    if (first.hasContent()) {
      const bool isBeside =
          first.parent != nullptr && hasMediaType(*first.parent, "multipart", "alternative") && first.parent->isMultipart();
      return &tree_.insert(isBeside ? *first.parent : tree_.wrap(first, "alternative"), nullptr);
    }
  }
  const TextBodies now = texts();
  if (now.any()) {
    Body* same = type == TXT_HTML ? now.html : now.plain;
    Body* body = same != nullptr ? same : type == TXT_HTML ? now.plain : now.html;
    if (body->parent != nullptr && isTextPair(*body->parent)) {
      tree_.replaceParent(*body);
    }
    return body;
  }
  Body& root = tree_.root();
  if (!root.hasContent()) {
    return &root;
  }
  Body& multipart = root.isMultipart() ? root : tree_.wrap(root, "mixed");
  return &tree_.insert(multipart, multipart.first);
}

HRESULT MessageObject::SetTextBody(TextType type, Encoding encoding, HBODY alternative, IStream* stream,
                                   HBODY* out) noexcept {
  if (out != nullptr) {
    *out = nullptr;
  }
  if (stream == nullptr || (type != TXT_PLAIN && type != TXT_HTML)) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    if (encoding == IET_BINARY && alternative == nullptr && texts().any() && Source::whole(stream)->size() == 0) {
      return;  // It was only to see that there is a text.
    }
    Body& body = *placeText(type, alternative);
    setText(body, type, encoding, stream);
    if (out != nullptr) {
      *out = body.handle;
    }
  });
}

HRESULT MessageObject::GetTextBody(TextType type, Encoding encoding, IStream** stream, HBODY* out) noexcept {
  if (stream != nullptr) {
    *stream = nullptr;
  }
  if (out != nullptr) {
    *out = nullptr;
  }
  return atBoundary([&]() -> HRESULT {
    const TextBodies& now = texts();
    const Body* body = type == TXT_PLAIN ? now.plain : type == TXT_HTML ? now.html : nullptr;
    if (body == nullptr) {
      return type == TXT_PLAIN || type == TXT_HTML ? MIME_E_NOT_FOUND : E_INVALIDARG;
    }
    if (stream != nullptr) {
      *stream = openData(tree_.share(*body), encoding).detach();
    }
    if (out != nullptr) {
      *out = body->handle;
    }
    return S_OK;
  });
}

// A new body for an attachment, behind all others.
Body& MessageObject::placeAttachment() {
  Body* root = &tree_.root();
  const MediaType type = mediaTypeOf(*root);
  const bool takesMore = root->isMultipart() && (type.isMultipart("mixed") || type.isMultipart("report"));
  if (!root->hasContent()) {
    tree_.becomeMultipart(*root, type.isMultipart("report") ? "report" : "mixed");
  } else if (!takesMore) {
    root = &tree_.wrap(*root, "mixed");
  }
  return tree_.insert(*root, nullptr);
}

// The related that takes what texts refer to.
Body& MessageObject::placeRelated() {
  Body& root = tree_.root();
  for (Body* body = &root; body != nullptr; body = body->nextInWalk(nullptr)) {
    if (body->isMultipart() && hasMediaType(*body, "multipart", "related")) {
      return *body;
    }
  }
  if (!root.hasContent()) {
    tree_.becomeMultipart(root, "related");
    return root;
  }
  const MediaType type = mediaTypeOf(root);
  if (!root.isMultipart() || (!type.isMultipart("mixed") && !type.isMultipart("report"))) {
    return tree_.wrap(root, "related");
  }
  if (root.first != nullptr && root.first->attached == Attached::No) {
    return tree_.wrap(*root.first, "related");
  }
  Body& related = tree_.insert(root, root.first);
  tree_.becomeMultipart(related, "related");
  return related;
}

HRESULT MessageObject::AttachObject(const IID& iid, void* object, HBODY* out) noexcept {
  if (out != nullptr) {
    *out = nullptr;
  }
  if (object == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&]() -> HRESULT {
    ComPtr<IMimeMessage> message;
    if (iid == IMimeMessage::kIid) {
      const HRESULT hr = static_cast<IMimeMessage*>(object)->QueryInterface(kOwnIid, message.putVoid());
      if (failed(hr) || holds(*static_cast<MessageObject*>(message.get()), *this)) {
        return E_INVALIDARG;
      }
    } else if (iid != IStream::kIid) {
      return E_NOINTERFACE;
    }
    Body& body = placeAttachment();
    body.attached = Attached::Object;
    if (message) {
      body.content = MessageContent{std::move(message)};
      setMediaType(body, "message/rfc822");
    } else {
      body.content = StreamContent{Source::whole(static_cast<IStream*>(object)), IET_BINARY};
      setMediaType(body, "application/octet-stream");
    }
    setDisposition(body, "attachment");
    touch();
    if (out != nullptr) {
      *out = body.handle;
    }
    return S_OK;
  });
}

HRESULT MessageObject::AttachURL(const char*, const char* url, DWORD flags, IStream* stream, char** contentUrl,
                                 HBODY* out) noexcept {
  if (out != nullptr) {
    *out = nullptr;
  }
  if (contentUrl != nullptr) {
    *contentUrl = nullptr;
  }
  if (stream == nullptr) {
    return E_INVALIDARG;
  }
  return atBoundary([&] {
    Body& body = tree_.insert(placeRelated(), nullptr);
    body.attached = Attached::Url;
    body.content = StreamContent{Source::whole(stream), IET_BINARY};
    setMediaType(body, "application/octet-stream");
    setDisposition(body, "inline");
    body.rows.markDefault(body.rows.size() - 1);
    if (url != nullptr) {
      body.rows.append("Content-Location", NarrowValue{url});
    }
    if ((flags & URL_ATTACH_GENERATE_CID) != 0) {
      const std::string id = makeContentId();
      body.rows.append(kContentId, NarrowValue{id});
      if (contentUrl != nullptr) {
        *contentUrl = taskCopy("cid:" + id.substr(1, id.size() - 2));
      }
    }
    touch();
    if (out != nullptr) {
      *out = body.handle;
    }
  });
}

HRESULT MessageObject::GetAttachments(ULONG* count, HBODY** bodies) noexcept {
  if (count == nullptr || bodies == nullptr) {
    return E_INVALIDARG;
  }
  *count = 0;
  *bodies = nullptr;
  return atBoundary([&] {
    texts();
    std::vector<HBODY> found;
    for (const Body* body = &tree_.root(); body != nullptr; body = body->nextInWalk(nullptr)) {
      if (body->role.isAttachment || body->role.isAutoAttach) {
        found.push_back(body->handle);
      }
    }
    if (found.empty()) {
      return;
    }
    auto* list = static_cast<HBODY*>(taskAlloc(found.size() * sizeof(HBODY)));
    if (list == nullptr) {
      throwHResult(E_OUTOFMEMORY, kSource.at("MimeMessage::GetAttachments"));
    }
    std::copy(found.begin(), found.end(), list);
    *bodies = list;
    *count = static_cast<ULONG>(found.size());
  });
}

HRESULT MessageObject::GetAddressTable(IMimeAddressTable** out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  return atBoundary([&] { *out = new AddressTableObject(ComPtr<MessageObject>::retain(this)); });
}

HRESULT MessageObject::GetAddressTypes(DWORD kinds, DWORD, AddressList* out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = {};
  return atBoundary([&] {
    std::vector<std::pair<DWORD, Address>> all;
    for (const DWORD kind : kAddressKinds) {
      if ((kinds & kind) == 0) {
        continue;
      }
      for (Address& address : addresses_.list(tree_.root(), kind)) {
        all.emplace_back(kind, std::move(address));
      }
    }
    fillAddressList(all, out);
  });
}

}  // namespace nalvo::mime
