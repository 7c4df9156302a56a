#include "convert/groupware/groupware_convert.h"

#include <algorithm>
#include <vector>

#include "platform/text/code_pages.h"
#include "platform/text/text.h"
#include "properties/hexadecimal.h"
#include "streams/stream_convertor.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\GroupwareBaseConvert"};

constexpr const char* kComponentParameter = "par:content-type:component";
constexpr const char* kMethodParameter = "par:content-type:method";

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

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
  checkHResult(body->SetData(mime::IET_BINARY, GroupwareBody::kPrimaryType, type.subType, IStream::kIid, text.get()),
               kSource.at(kWhere));
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
}  // namespace nalvo
