// What the convertors of all kinds of messages have in common: class and flags, dates, addresses, text bodies, attachments.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "convert/base_convert.h"
#include "frame/part_tags.h"

namespace nalvo {

// The classes of messages whose whole text travels in their one attachment.
inline constexpr std::u16string_view kSignedClass = u"IPM.Note.SMIME.MultipartSigned";
inline constexpr std::u16string_view kEncryptedClass = u"IPM.Note.SMIME";

// The name that the MIME layer gives a body.
std::u16string displayNameOf(mime::IMimeBody* body);

// The properties that tell one originator.
struct OriginatorTags {
  ULONG address;
  ULONG type;
  ULONG name;
  ULONG entryId;
};

namespace toMime {

class MessageConvert : public BaseConvert<kMessageLevel> {
 public:
  explicit MessageConvert(ConvertorDataMessage* data) : BaseConvert(data) {}

  virtual PartTags getPartTags(IConvertMessage* message) const;

  void mapiToMimeStart();
  void onProp(ULONG tag);
  void mapiToMimeEnd();

 protected:
  ~MessageConvert() = default;

  bool converts(Converted part) const { return hasAny(data().getConverted(), part); }
  // The whole text of a signed or an encrypted message travels in its one attachment.
  bool isSigned() const;
  bool isEncrypted() const;
  void setImapFlag(MimeFlag flag, bool value) const;

  // Loads the stored header block, over which properties then write in place.
  void setTransportMessageHeaders();

  // Fills the address table from the originators, recipients and reply-to list of `message` (null: of the run).
  void makeAddresses(IConvertMessage* message);
  void makeOneAddress(const OriginatorTags& tags, IConvertMessage* message, mime::AddressKind kind);
  // `email` null: a name alone.
  void addAddress(const std::string* email, mime::AddressKind kind, std::u16string_view name);
  // A text of an address book entry; empty if the book does not answer. E_INVALIDARG for a tag that is no text.
  std::u16string getFromAddressBook(std::string_view entryId, ULONG tag) const;

  // The compressed RTF of `message` (null: of the run) and what it was made from, both at their start, with the code page
  // that the latter is in. Returns what that is, MAPI_NATIVE_BODY_TYPE_... Throws E_INVALIDARG for a null pointer, and for
  // damaged RTF its code.
  std::uint32_t getRtfStreams(IConvertMessage* message, IStream** compressed, IStream** decoded,
                              std::uint32_t* codePage) const;
  // Unwraps compressed RTF into a new stream, which is at its start. `flags` are those of the codec.
  ComPtr<IStream> unwrapRtf(IStream* compressed, std::uint32_t flags, std::uint32_t codePage, std::uint32_t* kind) const;

  // Makes a body for each attachment, those with a content id first.
  void makeAttachments();
  // Sees that a lossless mail of two attachments has a text, so that neither is taken for it.
  void prepareForXMapi();

  // The text body made last, beside which the next one is an alternative.
  mime::HBODY lastBody_ = nullptr;

 private:
  void onMessageFlags(ULONG tag);
  void addRecipients(IConvertMessage* message);
  void addRecipient(IConvertRecipient* recipient);
  void addReplyTo(IConvertMessage* message);
  void removeEmptyDate();
  // Rows that a stored block lacks and that get a place at its end.
  void movePredefinedHeadersToEnd(mime::IMimeHeaderTable* table);
  void prepareForAttachments(const std::deque<ComPtr<IConvertAttachment>>& attachments);
  void addAttachment(IConvertAttachment* attachment, IConvertMessage* message);
};

}  // namespace toMime

namespace toMapi {

class MessageConvert : public BaseConvert<kMessageLevel> {
 public:
  explicit MessageConvert(ConvertorDataMessage* data) : BaseConvert(data) {}

  // The last stage of a run.
  void mimeToMapiEnd();

 protected:
  ~MessageConvert() = default;

  // The frame with which convertMimeToMapi of each class begins: annotations, class, then flags and dates.
  void convertMimeToMapi();
  bool fromAttachment() const { return hasFlag(ToMapiFlags::FromAttachment); }
  bool isImapFlagSet(MimeFlag flag) const;

  // Makes an attachment of each body that counts as one; of a signed or an encrypted message its whole text.
  void loadAttachments();

  void setFlags();
  void setDates();
  // Stores the header block.
  void setTransportMessageHeader();
  void setSignedEncryptedMessageClass();
  void setImportance();
  void setCharset();
  // Copies the text body of a kind to a property. False if there is none.
  bool setBody(mime::Encoding encoding, ULONG tag, mime::TextType type);
  // Makes PR_RTF_COMPRESSED of PR_BODY, if there is one, with a blank at each listed place (RichTextConvertor).
  void createRtfBodyFromPlainText(const std::vector<std::int32_t>& formatting);

  void setAddresses(bool withRecipients, bool withSender);
  // A new recipient: saved, or handed over unsaved through `result` if that is not null. The second form reads a name that
  // comes without an address as a header would; E_INVALIDARG when both are empty.
  void createRecipient(const mime::AddressProperties& address, std::uint32_t type, IConvertRecipient** result);
  void createRecipient(std::u16string_view name, std::string_view email, std::uint32_t type, IConvertRecipient** result);

 private:
  void setSenderAddresses();
  void setReceiptsFlags();
  void setReplyToAddresses();
  void setRecipientAddresses();
  void setSubjectParts();
  void loadAttachment(mime::HBODY body);
};

}  // namespace toMapi

// A list of addresses of the MIME message, freed at the end of the scope.
class ScopedAddressList {
 public:
  ScopedAddressList() = default;
  ~ScopedAddressList();
  ScopedAddressList(const ScopedAddressList&) = delete;
  ScopedAddressList& operator=(const ScopedAddressList&) = delete;

  // The addresses of `kinds`. Throws the message's code.
  void load(mime::IMimeMessage* message, DWORD kinds);
  mime::AddressList* put() { return &list_; }
  const mime::AddressProperties* begin() const { return list_.addresses; }
  const mime::AddressProperties* end() const { return list_.addresses + list_.count; }
  bool empty() const { return list_.count == 0; }

 private:
  mime::AddressList list_{0, nullptr};
};

}  // namespace nalvo
