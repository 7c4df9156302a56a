#include "convert/groupware/groupware_convert.h"

#include <algorithm>
#include <vector>

#include "mime/mime_utils.h"
#include "platform/text/code_pages.h"
#include "platform/text/text.h"
#include "properties/hexadecimal.h"
#include "streams/stream_convertor.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\GroupwareBaseConvert"};

constexpr const char* kPrimaryType = "text";
constexpr const char* kComponentParameter = "par:content-type:component";
constexpr const char* kMethodParameter = "par:content-type:method";
constexpr const char* kCharsetParameter = "par:content-type:charset";

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

constexpr std::uint32_t kSensitivityNone = 0;
constexpr std::uint32_t kSensitivityPrivate = 2;

bool isPrintable(char c) { return static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) <= 0x7F; }

}  // namespace

namespace detail {

void throwNoServerObject() { throwHResult(E_OUTOFMEMORY, kSource.at("GroupwareObjectHolder::createNewServerObject")); }

std::string getUtf8Text(IConvertMessage* message, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "toMime::GroupwareBaseConvertHelper::getUtf8Text";
  if (!MapiPropUtils::propertyExists(message, PR_BODY)) {
    return {};
  }
  try {
    return wideToUtf8(MapiPropUtils::propUnicodeT(message, PR_BODY, allocator));
  } catch (const HResultException& e) {
    if (e.getHResult() != E_OUTOFMEMORY && e.getHResult() != MAPI_E_NOT_FOUND) {
      throw;
    }
  }
  // Too long for one value.
  ComPtr<IStream> wide;
  checkHResult(message->openProp(PR_BODY, 0, IStream::kIid, wide.putUnknown()), kSource.at(kWhere));
  const ComPtr<IStream> narrow = streamUtils::createStream();
  StreamConvertor::instance()->streamToStream(kUtf16, kUtf8, wide.get(), narrow.get());
  streamUtils::rewind(narrow.get());
  std::string text(streamUtils::getStreamSize(narrow.get()), '\0');
  streamUtils::detail::readData(narrow.get(), text.data(), static_cast<std::uint32_t>(text.size()));
  return text;
}

std::string groupwareIdText(std::string_view bytes) {
  if (std::all_of(bytes.begin(), bytes.end(), isPrintable)) {
    return std::string(bytes);
  }
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kHexDigits[byte >> 4];
    text += kHexDigits[byte & 0xF];
  }
  return text;
}

std::string groupwareIdBytes(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes += static_cast<char>(hexDigit(text[i]) * 16 + hexDigit(text[i + 1]));
  }
  // Ids of other makers that merely look like hexadecimal would not come back as they were.
  return groupwareIdText(bytes) == text ? bytes : std::string(text);
}

namespace {

// Whether the body's type says in which charset it is.
bool existsProp(mime::IMimeBody* body) {
  constexpr const char* kWhere = "detail::existsProp";
  ComPtr<mime::IMimeHeaderTable> table;
  mime::HHEADERROW row = nullptr;
  checkHResult(body->BindToObject(mime::IMimeHeaderTable::kIid, table.putVoid()), kSource.at(kWhere));
  const HRESULT hr = table->FindFirst(kCharsetParameter, &row);
  if (hr == MIME_E_NOT_FOUND) {
    return false;
  }
  checkHResult(hr, kSource.at(kWhere));
  return true;
}

std::uint32_t codePageOf(mime::IMimeBody* body) {
  constexpr const char* kWhere = "toMapi::GroupwareBaseConvertHelper::findAndLoadGroupwareBody";
  if (!existsProp(body)) {
    return kUtf8;
  }
  mime::HCHARSET charset = nullptr;
  mime::CharsetInfo info{};
  checkHResult(body->GetCharset(&charset), kSource.at(kWhere));
  checkHResult(mime::MimeOleGetCharsetInfo(charset, &info), kSource.at(kWhere));
  return info.cpiInternet;
}

// The body that counts: the first that is no attachment, as the class of the message is told by it; else the first.
mime::HBODY findBodyPart(mime::IMimeMessage* message, const GroupwareBody& type) {
  constexpr const char* kWhere = "toMapi::detail::findBodyPart";
  mime::HBODY first = nullptr;
  for (const char* subType : {type.subType, type.alternativeSubType}) {
    mime::FINDBODY find{kPrimaryType, subType, 0};
    mime::HBODY body = nullptr;
    HRESULT hr = subType == nullptr ? MIME_E_NOT_FOUND : message->FindFirst(&find, &body);
    for (; hr != MIME_E_NOT_FOUND; hr = message->FindNext(&find, &body)) {
      checkHResult(hr, kSource.at(kWhere));
      if (!MimeUtils::isBodyAttachment(message, body)) {
        return body;
      }
      first = first == nullptr ? body : first;
    }
  }
  return first;
}

}  // namespace
}  // namespace detail

namespace toMime {

void GroupwareBaseConvertHelper::storeIfFragile(ULONG tag, std::string_view text) {
  if (detail::isFragile(text)) {
    storeAnnotation(tag);
  }
}

std::string GroupwareBaseConvertHelper::getUtf8(ULONG tag) {
  std::string text = wideToUtf8(getUnicode(tag));
  storeIfFragile(tag, text);
  return detail::withoutBareReturns(std::move(text));
}

std::string GroupwareBaseConvertHelper::takeUtf8Text() {
  std::string text = getUtf8Text();
  storeIfFragile(PR_BODY, text);
  return detail::withoutBareReturns(std::move(text));
}

void GroupwareBaseConvertHelper::makeCategories(mail::VBase& object) {
  const ULONG tag = tagOf(named::kKeywords);
  const std::vector<std::string> categories =
      MapiPropUtils::propMultiUtf8(data().getMapiMessage(), tag, data().getAllocator());
  if (detail::rereadCategories(categories) != categories) {
    storeAnnotation(tag);
  }
  object.setCategories(categories);
}

void GroupwareBaseConvertHelper::storePrivate(ULONG tag, mail::VBase& object) const {
  if (exists(tag)) {
    object.setClass(getBool(tag) ? mail::Privacy::Private : mail::Privacy::Public);
  }
}

void GroupwareBaseConvertHelper::setUtf8Charset() const {
  constexpr const char* kWhere = "toMime::GroupwareBaseConvertHelper::setUtf8Charset";
  ComPtr<mime::IMimeInternational> charsets;
  mime::HCHARSET utf8 = nullptr;
  checkHResult(mime::createMimeInternational(charsets.put()), kSource.at(kWhere));
  checkHResult(charsets->FindCharset("utf-8", &utf8), kSource.at(kWhere));
  checkHResult(data().getMimeMessage()->SetCharset(utf8, mime::CSET_APPLY_ALL), kSource.at(kWhere));
}

GeneratedBodiesTypes GroupwareBaseConvertHelper::renderBodies(IStream* /*plain*/, IStream* /*html*/) {
  return GeneratedBodiesTypes::None;
}

void GroupwareBaseConvertHelper::setReadableBodies(GeneratedBodiesTypes types, IStream* plain, IStream* html) {
  constexpr const char* kWhere = "toMime::GroupwareBaseConvertHelper::setReadableBodies";
  if (types == GeneratedBodiesTypes::None) {
    return;
  }
  mime::IMimeMessage* message = data().getMimeMessage();
  mime::HBODY body = nullptr;
  if (types != GeneratedBodiesTypes::Html) {
    streamUtils::rewind(plain);
    checkHResult(message->SetTextBody(mime::TXT_PLAIN, mime::IET_UNICODE, nullptr, plain, &body), kSource.at(kWhere));
  }
  if (types != GeneratedBodiesTypes::Plain) {
    streamUtils::rewind(html);
    checkHResult(message->SetTextBody(mime::TXT_HTML, mime::IET_UNICODE, body, html, &body), kSource.at(kWhere));
  }
  if (types != GeneratedBodiesTypes::Both) {
    checkHResult(message->ToMultipart(body, "alternative", nullptr), kSource.at(kWhere));
  }
}

ComPtr<mime::IMimeBody> GroupwareBaseConvertHelper::setDataBody(const GroupwareBody& type, const mail::VBase& object) const {
  constexpr const char* kWhere = "toMime::GroupwareBaseConvertHelper::setDataBody";
  const ComPtr<IStream> text = streamUtils::createStream();
  checkHResult(object.print(text.get()), kSource.at(kWhere));
  streamUtils::rewind(text.get());
  mime::IMimeMessage* message = data().getMimeMessage();
  mime::FINDBODY find{"multipart", "alternative", 0};
  mime::HBODY alternatives = nullptr;
  mime::HBODY place = mime::HBODY_ROOT;
  const HRESULT found = message->FindFirst(&find, &alternatives);
  if (found != MIME_E_NOT_FOUND) {
    checkHResult(found, kSource.at(kWhere));
    checkHResult(message->InsertBody(mime::IBL_LAST, alternatives, &place), kSource.at(kWhere));
  }
  ComPtr<mime::IMimeBody> body;
  checkHResult(message->BindToObject(place, mime::IMimeBody::kIid, body.putVoid()), kSource.at(kWhere));
  checkHResult(body->SetData(mime::IET_BINARY, kPrimaryType, type.subType, IStream::kIid, text.get()), kSource.at(kWhere));
  return body;
}

void GroupwareBaseConvertHelper::setCalendarParameters(mime::IMimeBody* body, const char* component,
                                                       const std::string& method) const {
  const auto set = [&](const char* name, const char* text) {
    PROPVARIANT value{VT_LPSTR, {0}};
    value.pszVal = const_cast<char*>(text);  // only read
    checkHResult(body->SetProp(name, 0, &value), kSource.at("toMime::CalendarBaseConvert::modifyGroupwareBody"));
  };
  set(kComponentParameter, component);
  if (!method.empty()) {
    set(kMethodParameter, method.c_str());
  }
}

}  // namespace toMime

namespace toMapi {

void GroupwareBaseConvertHelper::findAndLoadGroupwareBody(const GroupwareBody& type, mail::VBase& object) const {
  constexpr const char* kWhere = "toMapi::GroupwareBaseConvertHelper::findAndLoadGroupwareBody";
  mime::IMimeMessage* message = data().getMimeMessage();
  const mime::HBODY handle = detail::findBodyPart(message, type);
  if (handle == nullptr) {
    return;
  }
  ComPtr<mime::IMimeBody> body;
  checkHResult(message->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at(kWhere));
  const std::uint32_t codePage = detail::codePageOf(body.get());
  ComPtr<IStream> text;
  if (codePage == kUtf8) {
    checkHResult(body->GetData(mime::IET_BINARY, text.put()), kSource.at(kWhere));
  } else {
    ComPtr<IStream> encoded;
    checkHResult(body->GetData(mime::IET_ENCODED, encoded.put()), kSource.at(kWhere));
    text = streamUtils::createStream();
    StreamConvertor::instance()->streamToStream(codePage, kUtf8, encoded.get(), text.get());
    streamUtils::rewind(text.get());
  }
  if (!object.read(text.get(), "utf-8")) {
    throwHResult(MAPI_E_CORRUPT_DATA, kSource.at(kWhere));
  }
}

void GroupwareBaseConvertHelper::setUtf8(ULONG tag, std::string_view text) const {
  if (exists(tag)) {
    const std::string restored =
        tag == PR_BODY ? detail::getUtf8Text(data().getMapiMessage(), data().getAllocator()) : wideToUtf8(getUnicode(tag));
    if (detail::isFragile(restored) && detail::rereadText(restored) == text) {
      return;
    }
  }
  MapiPropUtils::setUtf8(data().getMapiMessage(), tag, text);
}

void GroupwareBaseConvertHelper::setUtf8IfNotEmpty(ULONG tag, std::string_view text) const {
  if (!text.empty()) {
    setUtf8(tag, text);
  }
}

void GroupwareBaseConvertHelper::setBodyText(std::string_view text) {
  setUtf8(PR_BODY, text);
  createRtfBodyFromPlainText({});
}

void GroupwareBaseConvertHelper::setCategories(const mail::VBase& object) const {
  const ULONG tag = tagOf(named::kKeywords);
  IConvertMessage* message = data().getMapiMessage();
  const std::vector<std::string> told = object.getCategories();
  // As with texts, those that came back in the annotations count if these are what became of them.
  if (told.empty() ||
      (exists(tag) && detail::rereadCategories(MapiPropUtils::propMultiUtf8(message, tag, data().getAllocator())) == told)) {
    return;
  }
  std::vector<std::u16string> categories;
  for (const std::string& category : told) {
    categories.push_back(utf8ToWide(category));
  }
  MapiPropUtils::setMultiUnicode(message, tag, categories);
}

void GroupwareBaseConvertHelper::setPrivate(const mail::VBase& object) const {
  setBool(tagOf(named::kPrivate), object.getClass() != mail::Privacy::Public);
}

void GroupwareBaseConvertHelper::setSensitivity() const {
  const bool isPrivate = isTrue(tagOf(named::kPrivate));
  setBool(kTagAlternateRecipientAllowed, !isPrivate);
  setBool(kTagRecipientReassignmentProhibited, isPrivate);
  setULong(PR_SENSITIVITY, isPrivate ? kSensitivityPrivate : kSensitivityNone);
}

void GroupwareBaseConvertHelper::setDate(ULONG tag, const mail::DateTime& date) const {
  if (!date.isNull()) {
    SYSTEMTIME time{};
    date.toSystemTime(time);
    setSysTime(tag, time);
  }
}

void GroupwareBaseConvertHelper::setULongIfMissing(ULONG tag, std::uint32_t value) const {
  if (!exists(tag)) {
    setULong(tag, value);
  }
}

}  // namespace toMapi
}  // namespace nalvo
