#include "convert/base_convert.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "diagnostics/hresult_exception.h"
#include "platform/time/file_time.h"
#include "properties/annotation_reader.h"
#include "streams/coder.h"
#include "streams/stream_utils.h"
#include "streams/transfer_codecs.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\BaseConvert"};

// Carries the annotations of a text that travels alone, as Base64.
constexpr const char* kXMapi = "X-MAPI";
// X-MAPI is decoded in pieces of this many characters.
constexpr std::size_t kPiece = 65536;

IConvertObject* objectOf(const ConvertorDataMessage& data) { return data.getMapiMessage(); }
IConvertObject* objectOf(const ConvertorDataAttachment& data) { return data.getMapiAttachment(); }
// Both offer the operations on headers under the same names.
mime::IMimeMessage* headersOf(const ConvertorDataMessage& data) { return data.getMimeMessage(); }
mime::IMimePropertySet* headersOf(const ConvertorDataAttachment& data) { return data.getMimeAttachment(); }

ComPtr<IStream> openStream(IConvertObject* object, ULONG tag, ULONG create, const char* function) {
  ComPtr<IStream> stream;
  checkHResult(object->openProp(tag, create, IStream::kIid, stream.putUnknown()), kSource.at(function));
  if (!stream) {
    throwHResult(E_POINTER, kSource.at(function));
  }
  return stream;
}

}  // namespace

template <int N>
IConvertObject* BaseConvertCommons<N>::mapiObject() const {
  return objectOf(*data_);
}

template <int N>
void BaseConvertCommons<N>::propCopy(ULONG source, ULONG destination) const {
  constexpr const char* kWhere = "BaseConvertCommons::propCopy";
  if (propType(source) != propType(destination)) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  const MapiBuffer<SPropValue> value = MapiPropUtils::getProp(mapiObject(), source, data_->getAllocator());
  SPropValue copy = *value.get();
  copy.ulPropTag = destination;
  MapiPropUtils::detail::setPropInternal(mapiObject()->setProp(&copy));
}

template <int N>
void BaseConvertCommons<N>::propCopyIfExists(ULONG source, ULONG destination) const {
  if (propType(source) != propType(destination)) {
    throwHResult(E_INVALIDARG, kSource.at("BaseConvertCommons::propCopyIfExists"));
  }
  if (exists(source)) {
    propCopy(source, destination);
  }
}

template <int N>
ComPtr<IStream> BaseConvertCommons<N>::openForReading(ULONG tag) const {
  return openStream(mapiObject(), tag, 0, "BaseConvertCommons::openForReading");
}

template <int N>
ComPtr<IStream> BaseConvertCommons<N>::openForWriting(ULONG tag) const {
  constexpr const char* kWhere = "BaseConvertCommons::openForWriting";
  ComPtr<IStream> stream = openStream(mapiObject(), tag, 1, kWhere);
  checkHResult(stream->SetSize(0), kSource.at(kWhere));  // What was there may be longer.
  return stream;
}

template <int N>
bool BaseConvertCommons<N>::isWholeMessage() const {
  if constexpr (N == kMessageLevel) {
    return false;
  } else {
    mime::HBODY root = nullptr;
    checkHResult(data_->getMimeMessage()->GetBody(mime::IBL_ROOT, nullptr, &root),
                 kSource.at("BaseConvertCommons::isWholeMessage"));
    const mime::HBODY handle = data_->getMimeAttachmentHandle();
    return handle == root || handle == mime::HBODY_ROOT;
  }
}

namespace toMime {

template <int N>
void BaseConvert<N>::createAnnotationSaver() {
  annotations_.reset();
  if (hasFlag(ToMimeFlags::ToAttachment)) {
    annotations_.emplace(this->mapiObject(), this->data().getAnnotationStream());
  } else if (!hasFlag(ToMimeFlags::ForSend)) {
    annotations_.emplace(this->mapiObject(), this->data().getAnnotations());
  }
}

template <int N>
void BaseConvert<N>::storeAnnotation(ULONG tag) {
  if (annotations_) {
    annotations_->addProperty(tag);
  }
}

template <int N>
void BaseConvert<N>::storeAnnotation(const SPropValue& value) {
  if (annotations_) {
    annotations_->addProperty(&value);
  }
}

template <int N>
void BaseConvert<N>::storeXMapi() {
  constexpr const char* kWhere = "toMime::BaseConvert::storeXMapi";
  annotations_.reset();
  if (!hasFlag(ToMimeFlags::ToAttachment) || this->isWholeMessage()) {
    return;
  }
  IStream* stream = this->data().getAnnotationStream();
  streamUtils::rewind(stream);
  std::string text;
  checkHResult(Coder::encodeBase64(stream, text), kSource.at(kWhere));
  setHeader(kXMapi, text.c_str());
}

template <int N>
void BaseConvert<N>::setHeader(mime::HeaderName header, const SPropValue& value) const {
  constexpr const char* kWhere = "toMime::BaseConvert::setHeader";
  PROPVARIANT variant{VT_EMPTY, {0}};
  switch (propType(value.ulPropTag)) {
    case PT_LONG:
      variant.vt = VT_I4;
      variant.lVal = value.Value.l;
      break;
    case PT_APPTIME: {
      const std::optional<SYSTEMTIME> broken = variantTimeToSystemTime(value.Value.at);
      const std::optional<FILETIME> time = broken ? systemTimeToFileTime(*broken) : std::nullopt;
      if (!time) {
        throwHResult(E_INVALIDARG, kSource.at(kWhere));
      }
      variant.vt = VT_FILETIME;
      variant.filetime = *time;
      break;
    }
    case PT_STRING8:
      variant.vt = VT_LPSTR;
      variant.pszVal = value.Value.lpszA;
      break;
    case PT_UNICODE:
      variant.vt = VT_LPWSTR;
      variant.pwszVal = value.Value.lpszW;
      break;
    case PT_SYSTIME:
      variant.vt = VT_FILETIME;
      variant.filetime = value.Value.ft;
      break;
    default:
      throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  setHeaderInner(header, variant);
}

template <int N>
void BaseConvert<N>::setHeader(ULONG tag, mime::HeaderName header) const {
  setHeader(header, *MapiPropUtils::getProp(this->mapiObject(), tag, this->data().getAllocator()).get());
}

template <int N>
void BaseConvert<N>::setHeader(mime::HeaderName header, std::u16string_view text) const {
  std::u16string terminated(text);
  PROPVARIANT value{VT_LPWSTR, {0}};
  value.pwszVal = terminated.data();
  setHeaderInner(header, value);
}

template <int N>
void BaseConvert<N>::setHeader(mime::HeaderName header, const char* text) const {
  PROPVARIANT value{VT_LPSTR, {0}};
  value.pszVal = const_cast<char*>(text);  // only read
  setHeaderInner(header, value);
}

template <int N>
void BaseConvert<N>::setHeaderInner(mime::HeaderName header, const PROPVARIANT& value) const {
  checkHResult(headersOf(this->data())->SetProp(header, 0, &value), kSource.at("toMime::BaseConvert::setHeaderInner"));
}

template class BaseConvert<kMessageLevel>;
template class BaseConvert<kAttachmentLevel>;

}  // namespace toMime

namespace toMapi {

template <int N>
bool BaseConvert<N>::headerExists(mime::HeaderName header) const {
  ScopedPropVariant value(VT_LPSTR);
  const HRESULT hr = headersOf(this->data())->GetProp(header, 0, &value);
  if (hr == MIME_E_NOT_FOUND) {
    return false;
  }
  checkHResult(hr, kSource.at("toMapi::BaseConvert::headerExists"));
  return true;
}

template <int N>
std::u16string BaseConvert<N>::getHeaderUnicode(mime::HeaderName header) const {
  ScopedPropVariant value(VT_LPWSTR);
  checkHResult(headersOf(this->data())->GetProp(header, 0, &value), kSource.at("toMapi::BaseConvert::getHeaderUnicode"));
  return value.pwszVal == nullptr ? std::u16string() : std::u16string(value.pwszVal);
}

template <int N>
std::string BaseConvert<N>::getHeaderAnsiString(mime::HeaderName header) const {
  ScopedPropVariant value(VT_LPSTR);
  checkHResult(headersOf(this->data())->GetProp(header, 0, &value), kSource.at("toMapi::BaseConvert::getHeaderAnsiString"));
  return value.pszVal == nullptr ? std::string() : std::string(value.pszVal);
}

template <int N>
std::uint32_t BaseConvert<N>::getHeaderULong(mime::HeaderName header) const {
  ScopedPropVariant value(VT_UI4);
  checkHResult(headersOf(this->data())->GetProp(header, 0, &value), kSource.at("toMapi::BaseConvert::getHeaderULong"));
  return value.ulVal;
}

template <int N>
bool BaseConvert<N>::headerEquals(mime::HeaderName header, const char* text) const {
  const HRESULT hr = headersOf(this->data())->QueryProp(header, text, 0, 0);
  checkHResult(hr, kSource.at("toMapi::BaseConvert::headerEquals"));
  return hr == S_OK;
}

template <int N>
bool BaseConvert<N>::getHeaderIfExists(ULONG tag, mime::HeaderName header) const {
  constexpr const char* kWhere = "toMapi::BaseConvert::getHeaderIfExists";
  struct Form {
    ULONG type;
    VarType read;
    ULONG written;
  };
  constexpr Form kForms[] = {{PT_LONG, VT_UI4, PT_LONG},
                             {PT_STRING8, VT_LPWSTR, PT_UNICODE},
                             {PT_UNICODE, VT_LPWSTR, PT_UNICODE},
                             {PT_SYSTIME, VT_FILETIME, PT_SYSTIME}};
  const auto* form =
      std::find_if(std::begin(kForms), std::end(kForms), [tag](const Form& row) { return row.type == propType(tag); });
  if (header.isNull() || form == std::end(kForms)) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  ScopedPropVariant value(form->read);
  const HRESULT hr = headersOf(this->data())->GetProp(header, 0, &value);
  const bool unreadableDate =
      N == kMessageLevel && hr == MIME_E_BAD_DATE && header.text() == nullptr && header.id() == mime::HeaderId::Date;
  if (hr == MIME_E_NOT_FOUND || unreadableDate) {
    return false;
  }
  checkHResult(hr, kSource.at(kWhere));
  SPropValue property{};
  property.ulPropTag = changePropType(tag, form->written);
  switch (form->read) {
    case VT_UI4:
      property.Value.ul = value.ulVal;
      break;
    case VT_FILETIME:
      property.Value.ft = value.filetime;
      break;
    default:
      if (value.pwszVal == nullptr) {
        return false;
      }
      property.Value.lpszW = value.pwszVal;
  }
  MapiPropUtils::detail::setPropInternal(this->mapiObject()->setProp(&property));
  return true;
}

template <int N>
void BaseConvert<N>::readAnnotations() const {
  constexpr IID kKind = N == kMessageLevel ? IConvertMessage::kIid : IConvertAttachment::kIid;
  const bool fromHeader = hasFlag(ToMapiFlags::FromAttachment);
  if (fromHeader) {
    loadXMapi();
  }
  if (hasFlag(ToMapiFlags::JustFlags)) {
    return;
  }
  if (fromHeader) {
    AnnotationReader::read(this->data().getAnnotationStream(), this->mapiObject(), kKind);
  } else {
    AnnotationReader::read(this->data().getAnnotations(), this->mapiObject(), kKind);
  }
}

template <int N>
void BaseConvert<N>::loadXMapi() const {
  constexpr const char* kWhere = "toMapi::BaseConvert::loadXMapi";
  if (this->isWholeMessage()) {
    return;
  }
  ScopedPropVariant value(VT_LPSTR);
  const HRESULT hr = headersOf(this->data())->GetProp(kXMapi, 0, &value);
  if (hr == MIME_E_NOT_FOUND) {
    return;
  }
  checkHResult(hr, kSource.at(kWhere));
  IStream* stream = this->data().getAnnotationStream();
  Base64Decoder decoder;
  std::string bytes;
  std::string_view text(value.pszVal == nullptr ? "" : value.pszVal);
  while (!text.empty()) {
    decoder.update(text.substr(0, kPiece), bytes);
    text.remove_prefix(std::min(kPiece, text.size()));
    streamUtils::detail::writeStr(stream, bytes);
    bytes.clear();
  }
  decoder.finish(bytes);
  streamUtils::detail::writeStr(stream, bytes);
  streamUtils::rewind(stream);
}

template class BaseConvert<kMessageLevel>;
template class BaseConvert<kAttachmentLevel>;

}  // namespace toMapi

template class BaseConvertCommons<kMessageLevel>;
template class BaseConvertCommons<kAttachmentLevel>;

}  // namespace nalvo
