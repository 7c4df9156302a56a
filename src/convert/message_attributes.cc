// Class, dates, flags, importance, subject parts and charset, between properties, headers and IMAP flags.
#include <algorithm>
#include <iterator>

#include "convert/importance.h"
#include "convert/message_convert.h"
#include "diagnostics/hresult_exception.h"
#include "frame/message_class_detector.h"
#include "mime/mime_utils.h"
#include "platform/text/code_pages.h"
#include "platform/text/text.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\MessageAttributes"};

constexpr std::uint32_t kSecuritySigned = 1;
constexpr std::uint32_t kSecurityEncrypted = 2;

// Bits of PR_MESSAGE_FLAGS.
constexpr std::uint32_t kFlagRead = 0x1;
constexpr std::uint32_t kFlagUnsent = 0x8;
constexpr std::uint32_t kFlagHidden = 0x40;
constexpr std::uint32_t kFlagReadReceiptPending = 0x100;
constexpr std::uint32_t kFlagNonReadReceiptPending = 0x200;
constexpr std::uint32_t kReceiptPending = kFlagReadReceiptPending | kFlagNonReadReceiptPending;
// What the IMAP flags tell anew.
constexpr std::uint32_t kFlagsOfServer = 0x359;

// Worked out anew from the rest of a message or, the first three, by the rules of items that can be private.
constexpr ULONG kDerived[] = {kTagAlternateRecipientAllowed,
                              kTagRecipientReassignmentProhibited,
                              PR_SENSITIVITY,
                              PR_SUBJECT_PREFIX,
                              PR_REPLY_RECIPIENT_ENTRIES,
                              PR_REPLY_RECIPIENT_NAMES,
                              PR_NORMALIZED_SUBJECT,
                              PR_ACCESS};

struct SubjectParts {
  std::u16string_view prefix;
  std::u16string_view rest;
};

constexpr bool isLineBreak(char16_t c) {
  return c == u'\n' || c == u'\r' || c == u'\f' || c == 0x85 || c == 0x2028 || c == 0x2029;
}

constexpr bool isAsciiLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

// One to three letters, a colon and a blank are the prefix of a subject of one line.
SubjectParts splitSubject(std::u16string_view subject) {
  if (std::any_of(subject.begin(), subject.end(), isLineBreak)) {
    return {{}, subject};
  }
  const std::size_t colon = subject.find(u':');
  const bool prefixed = colon >= 1 && colon <= 3 && subject.size() > colon + 1 && subject[colon + 1] == u' ' &&
                        std::all_of(subject.begin(), subject.begin() + static_cast<std::ptrdiff_t>(colon), isAsciiLetter);
  const std::size_t length = prefixed ? colon + 2 : 0;
  return {subject.substr(0, length), subject.substr(length)};
}

}  // namespace

namespace toMime {

PartTags MessageConvert::getPartTags(IConvertMessage* message) const {
  const ULONG isSpam = MapiName(named::kIsSpam).getPropertyTag(message);
  return PartTags::extend(PartTags(), {PR_MESSAGE_CLASS, PR_MESSAGE_FLAGS, PR_MESSAGE_DELIVERY_TIME, isSpam},
                          {PR_MESSAGE_FLAGS}, {}, {PR_LAST_MODIFICATION_TIME, PR_NORMALIZED_SUBJECT, PR_SUBJECT_PREFIX});
}

bool MessageConvert::isSigned() const {
  return exists(PR_MESSAGE_CLASS) && equalsIgnoreCase(getUnicode(PR_MESSAGE_CLASS), kSignedClass);
}

bool MessageConvert::isEncrypted() const {
  return exists(PR_MESSAGE_CLASS) && equalsIgnoreCase(getUnicode(PR_MESSAGE_CLASS), kEncryptedClass);
}

void MessageConvert::setImapFlag(MimeFlag flag, bool value) const {
  checkHResult(data().getMimeFlags()->setFlag(static_cast<ULONG>(flag), value ? 1 : 0),
               kSource.at("toMime::MessageConvert::setImapFlag"));
}

void MessageConvert::mapiToMimeStart() {
  createAnnotationSaver();
  lastBody_ = nullptr;
}

void MessageConvert::onProp(ULONG tag) {
  constexpr const char* kWhere = "toMime::MessageConvert::onProp";
  const bool serverSide = hasServerSide();
  if (tag == tagOf(named::kImapDeleted)) {
    if (serverSide) {
      setImapFlag(MimeFlag::Deleted, getULong(tag) != 0);
    }
    return;
  }
  if (tag == tagOf(named::kIsSpam)) {
    if (serverSide) {
      const bool spam = getBool(tag);
      setImapFlag(MimeFlag::Junk, spam);
      setImapFlag(MimeFlag::NotJunk, !spam);
    }
    return;
  }
  if (std::find(std::begin(kDerived), std::end(kDerived), tag) != std::end(kDerived)) {
    return;
  }
  if (serverSide) {
    switch (tag) {
      case PR_MESSAGE_CLASS:
        // A hidden item is no mail to the server, so its class travels beside it.
        if ((getULongOr(PR_MESSAGE_FLAGS, 0) & kFlagHidden) == 0) {
          checkHResult(data().getMimeFlags()->setMessageClass(getUnicode(tag).c_str()), kSource.at(kWhere));
          return;
        }
        break;
      case PR_MESSAGE_DELIVERY_TIME: {
        const SYSTEMTIME delivered = getSysTime(tag);
        checkHResult(data().getMimeFlags()->setInternalDate(&delivered), kSource.at(kWhere));
        return;
      }
      case PR_MESSAGE_FLAGS:
        onMessageFlags(tag);
        return;
      default:
        break;
    }
  }
  storeAnnotation(tag);
}

void MessageConvert::onMessageFlags(ULONG tag) {
  const std::uint32_t value = getULong(tag);
  setImapFlag(MimeFlag::Read, (value & kFlagRead) != 0);
  setImapFlag(MimeFlag::Draft, (value & kFlagUnsent) != 0);
  setImapFlag(MimeFlag::ReceiptDealtWith, (value & kReceiptPending) != kReceiptPending);
  SPropValue rest{};
  rest.ulPropTag = tag;
  rest.Value.ul = value & ~kFlagsOfServer;
  storeAnnotation(rest);
}

void MessageConvert::mapiToMimeEnd() {
  if (converts(Converted::Body)) {
    makeAddresses(data().getSuperMessage());
    makeAttachments();
  }
  prepareForXMapi();
  storeXMapi();
  if (!isSigned()) {
    removeEmptyDate();
  }
}

void MessageConvert::removeEmptyDate() {
  ScopedPropVariant date(VT_LPSTR);
  mime::IMimeMessage* message = data().getMimeMessage();
  if (succeeded(message->GetProp(mime::HeaderId::Date, 0, &date)) && (date.pszVal == nullptr || *date.pszVal == '\0')) {
    (void)message->DeleteProp(mime::HeaderId::Date);
  }
}

}  // namespace toMime

namespace toMapi {

void MessageConvert::convertMimeToMapi() {
  readAnnotations();
  if (!hasFlag(ToMapiFlags::WithoutBody | ToMapiFlags::JustFlags)) {
    setSignedEncryptedMessageClass();
    if (!hasFlag(ToMapiFlags::NoAttachment)) {
      loadAttachments();
    }
  }
  setFlags();
  setDates();
}

bool MessageConvert::isImapFlagSet(MimeFlag flag) const {
  if (fromAttachment()) {
    return false;
  }
  const HRESULT hr = data().getMimeFlags()->isFlagSet(static_cast<ULONG>(flag));
  checkHResult(hr, kSource.at("toMapi::MessageConvert::isImapFlagSet"));
  return hr == S_OK;
}

void MessageConvert::setFlags() {
  constexpr const char* kWhere = "toMapi::MessageConvert::setFlags";
  std::uint32_t value = 0;
  if (exists(PR_MESSAGE_FLAGS)) {
    value = getULong(PR_MESSAGE_FLAGS) & ~kFlagsOfServer;
    setULong(PR_MESSAGE_FLAGS, value);
  }
  const bool read = fromAttachment() || isImapFlagSet(MimeFlag::Read);
  const bool draft = isImapFlagSet(MimeFlag::Draft);
  const bool deleted = isImapFlagSet(MimeFlag::Deleted);
  const bool receiptDealtWith = isImapFlagSet(MimeFlag::ReceiptDealtWith);
  setULong(PR_CONTENT_UNREAD, read ? 0 : 1);
  value |= (read ? kFlagRead : 0) | (draft ? kFlagUnsent : 0);
  if (!fromAttachment()) {
    const HRESULT hidden = data().getMimeFlags()->isHidden();
    checkHResult(hidden, kSource.at(kWhere));
    value |= hidden == S_OK ? kFlagHidden : 0;
  }
  setULong(tagOf(named::kImapDeleted), deleted ? 1 : 0);
  ComPtr<mime::IMimeAddressTable> table;
  ULONG receiptsTo = 0;
  checkHResult(data().getMimeMessage()->GetAddressTable(table.put()), kSource.at(kWhere));
  checkHResult(table->CountTypes(mime::IAT_DISPOSITION_NOTIFICATION, &receiptsTo), kSource.at(kWhere));
  if (receiptsTo != 0 && !fromAttachment() && !receiptDealtWith) {
    value |= kReceiptPending;
  }
  setULong(PR_MESSAGE_FLAGS, value);
}

void MessageConvert::setDates() {
  constexpr const char* kWhere = "toMapi::MessageConvert::setDates";
  if (!fromAttachment()) {
    SYSTEMTIME time{};
    checkHResult(data().getMimeFlags()->getInternalDate(&time), kSource.at(kWhere));
    setSysTime(PR_MESSAGE_DELIVERY_TIME, time);
    if (!exists(PR_CREATION_TIME)) {
      setSysTime(PR_CREATION_TIME, time);
    }
    checkHResult(data().getMimeFlags()->getModificationDate(&time), kSource.at(kWhere));
    setSysTime(PR_LAST_MODIFICATION_TIME, time);
  }
  if (!hasFlag(ToMapiFlags::WithoutBody | ToMapiFlags::JustFlags)) {
    getHeaderIfExists(PR_CLIENT_SUBMIT_TIME, mime::HeaderId::Date);
  }
}

void MessageConvert::setSignedEncryptedMessageClass() {
  constexpr const char* kWhere = "toMapi::MessageConvert::setSignedEncryptedMessageClass";
  if (exists(PR_MESSAGE_CLASS)) {
    const std::u16string present = getUnicode(PR_MESSAGE_CLASS);
    if (!present.empty() && !equalsIgnoreCase(present, u"IPM.Note")) {
      return;
    }
  }
  const auto rootIs = [&](const char* type, const char* subtype) {
    const HRESULT hr = data().getMimeMessage()->IsContentType(mime::HBODY_ROOT, type, subtype);
    checkHResult(hr, kSource.at(kWhere));
    return hr == S_OK;
  };
  if (rootIs("multipart", "signed")) {
    setUnicode(PR_MESSAGE_CLASS, kSignedClass);
    setULong(PR_SECURITY, kSecuritySigned);
  } else if (rootIs("application", "pkcs7-mime") || rootIs("application", "x-pkcs7-mime")) {
    setUnicode(PR_MESSAGE_CLASS, kEncryptedClass);
    setULong(PR_SECURITY, kSecurityEncrypted);
  }
}

void MessageConvert::setImportance() {
  if (headerExists("Importance")) {
    setULong(PR_IMPORTANCE, static_cast<std::uint32_t>(rowOfWord(kImportances, getHeaderAnsiString("Importance")).value));
  }
  // Many say "1 (Highest)"; one without a number says nothing.
  const std::string xPriority =
      headerExists(mime::HeaderId::XPriority) ? getHeaderAnsiString(mime::HeaderId::XPriority) : std::string();
  if (!xPriority.empty() && xPriority.front() >= '0' && xPriority.front() <= '9') {
    const std::uint32_t number = getHeaderULong(mime::HeaderId::XPriority);
    setULong(PR_PRIORITY, static_cast<std::uint32_t>(number == 3 ? 0 : number < 3 ? 1 : -1));
  }
  if (!exists(PR_PRIORITY) && headerExists(mime::HeaderId::XMsMailPriority)) {
    const PriorityRow& row = rowOfWord(kPriorities, getHeaderAnsiString(mime::HeaderId::XMsMailPriority));
    setULong(PR_PRIORITY, static_cast<std::uint32_t>(row.value));
  }
  if (!exists(PR_IMPORTANCE) && exists(PR_PRIORITY)) {
    if (const PriorityRow* row = rowOfValue(kPriorities, getULong(PR_PRIORITY))) {
      setULong(PR_IMPORTANCE, static_cast<std::uint32_t>(row->importance));
    }
  }
  if (!exists(PR_PRIORITY)) {
    setULong(PR_PRIORITY, 0);
  }
  if (!exists(PR_IMPORTANCE)) {
    setULong(PR_IMPORTANCE, 1);
  }
}

void MessageConvert::setCharset() {
  constexpr const char* kWhere = "toMapi::MessageConvert::setCharset";
  mime::HCHARSET charset = nullptr;
  mime::CharsetInfo info{};
  checkHResult(data().getMimeMessage()->GetCharset(&charset), kSource.at(kWhere));
  checkHResult(mime::MimeOleGetCharsetInfo(charset, &info), kSource.at(kWhere));
  // The page of the bytes themselves, which the HTML body keeps.
  const Charset* known = findCharset(info.name);
  if (known == nullptr) {
    throwHResult(E_FAIL, kSource.at(kWhere));
  }
  setULong(PR_INTERNET_CPID, known->codePage);
}

bool MessageConvert::setBody(mime::Encoding encoding, ULONG tag, mime::TextType type) {
  constexpr const char* kWhere = "toMapi::MessageConvert::setBody";
  mime::IMimeMessage* message = data().getMimeMessage();
  mime::HBODY handle = nullptr;
  const HRESULT hr = message->GetTextBody(type, encoding, nullptr, &handle);
  if (hr == MIME_E_NOT_FOUND) {
    return false;
  }
  checkHResult(hr, kSource.at(kWhere));
  ComPtr<mime::IMimeBody> body;
  checkHResult(message->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at(kWhere));
  const ComPtr<IStream> property = openForWriting(tag);
  MimeUtils::extractData(body.get(), encoding, property.get());
  checkHResult(property->Commit(0), kSource.at(kWhere));
  return true;
}

void MessageConvert::setSubjectParts() {
  if (!exists(PR_SUBJECT)) {
    return;
  }
  const std::u16string subject = getUnicode(PR_SUBJECT);
  const SubjectParts parts = splitSubject(subject);
  setUnicode(PR_SUBJECT_PREFIX, parts.prefix);
  setUnicode(PR_NORMALIZED_SUBJECT, parts.rest);
}

void MessageConvert::mimeToMapiEnd() {
  if (hasFlag(ToMapiFlags::JustFlags)) {
    return;
  }
  if (!fromAttachment()) {
    // Both may not be known; the property is then left alone.
    const HRESULT hasAttachments = data().getMimeFlags()->hasAttachments();
    if (succeeded(hasAttachments)) {
      setBool(PR_HASATTACH, hasAttachments == S_OK);
    }
    ULONG size = 0;
    if (succeeded(data().getMimeFlags()->getMessageSize(&size))) {
      setULong(PR_MESSAGE_SIZE, size);
    }
  }
  setSubjectParts();
  if (!exists(PR_CONVERSATION_TOPIC)) {
    propCopyIfExists(PR_NORMALIZED_SUBJECT, PR_CONVERSATION_TOPIC);
  }
  const ULONG contentClass = tagOf(named::kContentClass);
  if (!exists(contentClass) && exists(PR_MESSAGE_CLASS)) {
    setUnicode(contentClass, contentClassFromMessageClass(getUnicode(PR_MESSAGE_CLASS)));
  }
}

}  // namespace toMapi
}  // namespace nalvo
