// The message: the tree, what was set for all of it, and the operations that callers know.
#pragma once

#include "mime/address_book.h"
#include "mime/header_names.h"
#include "mime/text_bodies.h"
#include "platform/com/unknown_impl.h"

namespace nalvo::mime {

class MessageObject final : public IUnknownImpl<IMimeMessage> {
 public:
  // For AttachObject, to find this class behind an interface.
  static constexpr IID kOwnIid{0x6E9C2A61, 0x3D0B, 0x4D4F, {0x9B, 0x1E, 0x27, 0x54, 0xC8, 0x0A, 0x77, 0x13}};

  MessageObject() : tree_(this) {}

  // IMimeMessageTree
  HRESULT InitNew() noexcept override;
  HRESULT Load(IStream* stream) noexcept override;
  HRESULT Save(IStream* stream, BOOL clearDirty) noexcept override;
  HRESULT IsDirty() noexcept override { return isDirty_ ? S_OK : S_FALSE; }
  HRESULT SetOption(DWORD id, const PROPVARIANT* value) noexcept override;
  HRESULT GetOption(DWORD id, PROPVARIANT* value) noexcept override;
  HRESULT BindToObject(HBODY body, const IID& iid, void** out) noexcept override;
  HRESULT GetBody(BodyLocation location, HBODY pivot, HBODY* out) noexcept override;
  HRESULT InsertBody(BodyLocation location, HBODY pivot, HBODY* out) noexcept override;
  HRESULT DeleteBody(HBODY body, DWORD flags) noexcept override;
  HRESULT CountBodies(HBODY parent, BOOL recurse, ULONG* out) noexcept override;
  HRESULT SaveBody(HBODY body, DWORD flags, IStream* stream) noexcept override;
  HRESULT FindFirst(FINDBODY* find, HBODY* out) noexcept override;
  HRESULT FindNext(FINDBODY* find, HBODY* out) noexcept override;
  HRESULT ToMultipart(HBODY body, const char* subtype, HBODY* out) noexcept override;
  HRESULT IsBodyType(HBODY body, BodyType type) noexcept override;
  HRESULT IsContentType(HBODY body, const char* type, const char* subtype) noexcept override;
  HRESULT QueryBodyProp(HBODY body, HeaderName name, const char* text, BOOL substring, BOOL caseSensitive) noexcept override;
  HRESULT GetBodyProp(HBODY body, HeaderName name, DWORD flags, PROPVARIANT* value) noexcept override;
  HRESULT SetBodyProp(HBODY body, HeaderName name, DWORD flags, const PROPVARIANT* value) noexcept override;
  HRESULT GetCharset(HCHARSET* out) noexcept override;
  HRESULT SetCharset(HCHARSET charset, DWORD apply) noexcept override;

  // IMimeMessage
  HRESULT GetProp(HeaderName name, DWORD flags, PROPVARIANT* value) noexcept override;
  HRESULT SetProp(HeaderName name, DWORD flags, const PROPVARIANT* value) noexcept override;
  HRESULT DeleteProp(HeaderName name) noexcept override;
  HRESULT QueryProp(HeaderName name, const char* text, BOOL substring, BOOL caseSensitive) noexcept override;
  HRESULT GetTextBody(TextType type, Encoding encoding, IStream** stream, HBODY* body) noexcept override;
  HRESULT SetTextBody(TextType type, Encoding encoding, HBODY alternative, IStream* stream, HBODY* out) noexcept override;
  HRESULT AttachObject(const IID& iid, void* object, HBODY* out) noexcept override;
  HRESULT AttachURL(const char* base, const char* url, DWORD flags, IStream* stream, char** contentUrl,
                    HBODY* out) noexcept override;
  HRESULT GetAttachments(ULONG* count, HBODY** bodies) noexcept override;
  HRESULT GetAddressTable(IMimeAddressTable** out) noexcept override;
  HRESULT GetAddressTypes(DWORD kinds, DWORD properties, AddressList* out) noexcept override;

  // For the other objects of the layer.
  Tree& tree() { return tree_; }
  AddressBook& addresses() { return addresses_; }
  // The texts as the tree stands; the roles of all bodies are up to date behind it.
  const TextBodies& texts();
  // Something was changed: the mark is set, what was worked out before is void.
  void touch();
  bool isChanged() const { return isChanged_; }
  // Writes pending addresses into the rows of the root, because somebody wants these.
  void settleAddresses();
  // The same if the name is that of an address row.
  void settleAddressesFor(const ParsedName& name);
  // What was set, else what the text says. Never null.
  const Charset* charset();
  const Charset* chosenCharset() const { return charset_; }
  std::size_t foldColumn() const { return foldColumn_; }

 private:
  void* queryOther(const IID& iid) noexcept override;

  void setText(Body& body, TextType type, Encoding encoding, IStream* stream);
  Body* placeText(TextType type, HBODY alternative);
  Body& placeAttachment();
  Body& placeRelated();
  HRESULT find(FINDBODY* record, Body* from, HBODY* out);

  Tree tree_;
  AddressBook addresses_;
  const Charset* charset_ = nullptr;
  std::size_t foldColumn_ = 76;
  std::vector<std::pair<DWORD, PROPVARIANT>> keptOptions_;
  TextBodies texts_;
  bool rolesAreFresh_ = false;
  const Charset* foundCharset_ = nullptr;
  bool isLoaded_ = false;
  bool isChanged_ = false;  // since Load
  bool isDirty_ = false;
};

// Gives a body the data of a stream and a type.
void setData(Body& body, Encoding encoding, std::string_view type, IStream* stream);

}  // namespace nalvo::mime
