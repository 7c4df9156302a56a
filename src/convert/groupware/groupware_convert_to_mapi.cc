// From the text of an item to its message.
#include "convert/groupware/groupware_convert.h"
#include "mime/mime_utils.h"
#include "platform/text/code_pages.h"
#include "platform/text/text.h"
#include "streams/stream_convertor.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\GroupwareBaseConvert"};

constexpr const char* kCharsetParameter = "par:content-type:charset";

constexpr std::uint32_t kSensitivityNone = 0;
constexpr std::uint32_t kSensitivityPrivate = 2;

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
    mime::FINDBODY find{GroupwareBody::kPrimaryType, subType, 0};
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

namespace toMapi {

void GroupwareBaseConvertHelper::findAndLoadGroupwareBody(const GroupwareBody& type, mail::VBase& object) const {
  constexpr const char* kWhere = "toMapi::GroupwareBaseConvertHelper::findAndLoadGroupwareBody";
  mime::IMimeMessage* message = data().getMimeMessage();
  const mime::HBODY handle = findBodyPart(message, type);
  if (handle == nullptr) {
    return;
  }
  ComPtr<mime::IMimeBody> body;
  checkHResult(message->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at(kWhere));
  const std::uint32_t codePage = codePageOf(body.get());
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

bool GroupwareBaseConvertHelper::isRestored(ULONG tag, std::string_view text) const {
  if (!exists(tag)) {
    return false;
  }
  const std::string restored =
      tag == PR_BODY ? detail::getUtf8Text(data().getMapiMessage(), data().getAllocator()) : wideToUtf8(getUnicode(tag));
  return detail::isFragile(restored) && detail::rereadText(restored) == text;
}

void GroupwareBaseConvertHelper::setUtf8(ULONG tag, std::string_view text) const {
  if (!isRestored(tag, text)) {
    MapiPropUtils::setUtf8(data().getMapiMessage(), tag, text);
  }
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
  categories.reserve(told.size());
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
