#include "convert/attachment_convert.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "convert/message_convert.h"
#include "diagnostics/hresult_exception.h"
#include "frame/conversion.h"
#include "frame/message_class_detector.h"
#include "mail/content_sources.h"
#include "mail/v_items.h"
#include "mime/mime_utils.h"
#include "platform/text/media_types.h"
#include "platform/text/text.h"
#include "properties/no_convert.h"
#include "streams/stream_utils.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\AttachmentConvert"};

constexpr const char* kEmbeddedDisposition = "x-embeded-message";
constexpr const char* kOleDisposition = "x-ole-data";
constexpr const char* kExternalBody = "message/external-body";
constexpr const char* kOctetStream = "application/octet-stream";

// The MIME attachment identifier of PR_ATTACH_TAG.
constexpr BYTE kMimeTag[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x14, 0x03, 0x0A, 0x04};

// Names of a file, the best first.
constexpr ULONG kNames[] = {PR_ATTACH_LONG_FILENAME, PR_ATTACH_FILENAME, PR_DISPLAY_NAME};

// Told by the body, or worked out anew on the way back.
constexpr ULONG kDropped[] = {PR_DISPLAY_NAME,         PR_ATTACH_DATA_BIN, PR_ATTACH_ENCODING,      PR_ATTACH_EXTENSION,
                              PR_ATTACH_FILENAME,      PR_ATTACH_METHOD,   PR_ATTACH_LONG_FILENAME, PR_ATTACH_TAG,
                              PR_ATTACH_LONG_PATHNAME, PR_ATTACH_MIME_TAG};

// Codes with which the content of an embedded message says that it is none.
constexpr HRESULT kBadContent[] = {MAPI_E_CORRUPT_DATA, MIME_E_NOT_FOUND, MIME_E_BAD_DATE};

bool isTokenCharacter(char16_t c) {
  return c > 0x20 && c < 0x7F && std::u16string_view(u"()<>@,;:\\\"/[]?=").find(c) == std::u16string_view::npos;
}

// A media type that a by-value file may have: a token, a slash, a token, and no multipart, whose parts nobody would see.
bool isUsableType(std::u16string_view type) {
  const std::size_t slash = type.find(u'/');
  if (slash == 0 || slash == std::u16string_view::npos || slash + 1 == type.size()) {
    return false;
  }
  const std::u16string_view main = type.substr(0, slash);
  const std::u16string_view sub = type.substr(slash + 1);
  return std::all_of(main.begin(), main.end(), isTokenCharacter) && std::all_of(sub.begin(), sub.end(), isTokenCharacter) &&
         !equalsIgnoreCase(main, u"multipart");
}

std::u16string withoutBrackets(std::u16string_view contentId) {
  std::u16string_view text = trim(contentId);
  if (text.starts_with(u'<')) {
    text.remove_prefix(1);
  }
  if (text.ends_with(u'>')) {
    text.remove_suffix(1);
  }
  return std::u16string(text);
}

// Without the size that the MIME layer puts behind the name of a body, and only that: a name may end in brackets of its own.
std::u16string withoutSize(std::u16string name) {
  constexpr std::u16string_view kUnit = u" KB)";
  if (!name.ends_with(kUnit)) {
    return name;
  }
  const std::size_t end = name.size() - kUnit.size();
  const std::size_t open = name.rfind(u" (", end);
  const bool isSize =
      open != std::u16string::npos && open + 2 < end &&
      std::all_of(name.begin() + static_cast<std::ptrdiff_t>(open + 2), name.begin() + static_cast<std::ptrdiff_t>(end),
                  [](char16_t c) { return c >= u'0' && c <= u'9'; });
  if (isSize) {
    name.resize(open);
  }
  return name;
}

std::u16string extensionOf(std::u16string_view name) {
  const std::size_t dot = name.rfind(u'.');
  return std::u16string(dot == std::u16string_view::npos ? std::u16string_view() : name.substr(dot));
}

}  // namespace

namespace toMime {

void AttachmentConvert::convert() {
  makeBody();
  if (!isSignedAttachment()) {
    for (const ULONG tag : NoConvert::getConvertableProps(data().getMapiAttachment(), IConvertAttachment::kIid)) {
      if (propType(tag) != PT_OBJECT) {
        onProp(tag);
      }
    }
  }
  mapiToMimeEnd();
}

void AttachmentConvert::makeBody() {
  createAnnotationSaver();
  if (isSignedAttachment()) {
    processSignedAttachment();
    return;
  }
  const AttachMethod how = method();
  // Without a source, or with one that fails, the MIME layer makes the content id.
  ComPtr<IContentIdSource> source;
  (void)data().getMapiAttachment()->getContentIdSource(source.put());
  data().setAttachmentBody(initAttachmentBody(how));
  setAttachHeaders(how);
  if (exists(PR_ATTACHMENT_CONTACTPHOTO) && !exists(PR_ATTACH_CONTENT_ID)) {
    setPhotoContentId(source.get());
  }
}

AttachMethod AttachmentConvert::method() const {
  return static_cast<AttachMethod>(getULongOr(PR_ATTACH_METHOD, static_cast<std::uint32_t>(AttachMethod::ByValue)));
}

mime::HBODY AttachmentConvert::initAttachmentBody(AttachMethod how) {
  switch (how) {
    case AttachMethod::None:
      return nullptr;
    case AttachMethod::ByValue:
      return attachByValue();
    case AttachMethod::ByReference:
      return attachStream(createExternalMessageFakeBody().get());
    case AttachMethod::EmbeddedMessage:
      return attachEmbeddedMessage();
    case AttachMethod::Ole:
      return attachStream(openForReading(kTagAttachDataOle).get());
    default:
      throwHResult(MAPI_E_NO_SUPPORT, kSource.at("toMime::AttachmentConvert::initAttachmentBody"));
  }
}

mime::HBODY AttachmentConvert::attachStream(IStream* stream) {
  mime::HBODY handle = nullptr;
  checkHResult(data().getMimeMessage()->AttachObject(IStream::kIid, stream, &handle),
               kSource.at("toMime::AttachmentConvert::initAttachmentBody"));
  return handle;
}

mime::HBODY AttachmentConvert::attachByValue() {
  const ComPtr<IStream> stream = openForReading(PR_ATTACH_DATA_BIN);
  IConvertMessage* parent = data().getParentMapiMessage();
  const bool isContact = MapiPropUtils::propertyExists(parent, PR_MESSAGE_CLASS) &&
                         MapiPropUtils::propUnicodeT(parent, PR_MESSAGE_CLASS, data().getAllocator()) == u"IPM.Contact";
  const bool hasId = exists(PR_ATTACH_CONTENT_ID);
  const bool isPhoto = isTrue(PR_ATTACHMENT_CONTACTPHOTO);
  if (!isContact && !hasId && !isPhoto) {
    return attachStream(stream.get());
  }
  mime::HBODY handle = nullptr;
  const DWORD how = isContact && !hasId ? mime::URL_ATTACH_GENERATE_CID : 0;
  checkHResult(data().getMimeMessage()->AttachURL(nullptr, nullptr, how, stream.get(), nullptr, &handle),
               kSource.at("toMime::AttachmentConvert::initAttachmentBody"));
  return handle;
}

mime::HBODY AttachmentConvert::attachEmbeddedMessage() {
  constexpr const char* kWhere = "toMime::AttachmentConvert::initAttachmentBody";
  ComPtr<IConvertMessage> embedded;
  checkHResult(data().getMapiAttachment()->openProp(PR_ATTACH_DATA_OBJ, 0, IConvertMessage::kIid, embedded.putUnknown()),
               kSource.at(kWhere));
  const ComPtr<IMapiAllocator> allocator = MapiPropUtils::detail::getAllocator(nullptr, embedded.get());
  ComPtr<mime::IMimeMessage> message;
  Conversion::mapiToMime(embedded.get(), allocator.get(), flags() | ToMimeFlags::ToAttachment | ToMimeFlags::NoMimeStream,
                         message.put());
  mime::HBODY handle = nullptr;
  checkHResult(data().getMimeMessage()->AttachObject(mime::IMimeMessage::kIid, message.get(), &handle), kSource.at(kWhere));
  return handle;
}

ComPtr<IStream> AttachmentConvert::createExternalMessageFakeBody() const {
  std::u16string name;
  for (const ULONG tag : {PR_ATTACH_LONG_FILENAME, PR_ATTACH_FILENAME}) {
    if (name.empty() && exists(tag)) {
      name = getUnicode(tag);
    }
  }
  ComPtr<IStream> stream = streamUtils::createStream();
  streamUtils::detail::writeStr(stream.get(), "\r\nContent-type: ");
  streamUtils::detail::writeStr(stream.get(), mediaTypeOfName(name));
  streamUtils::detail::writeStr(stream.get(), "\r\n\r\nThis is just reference to file!");
  streamUtils::rewind(stream.get());
  return stream;
}

std::u16string AttachmentConvert::fileName() const {
  for (const ULONG tag : kNames) {
    if (exists(tag)) {
      return getUnicode(tag);
    }
  }
  return {};
}

void AttachmentConvert::setAttachHeaders(AttachMethod how) {
  switch (how) {
    case AttachMethod::ByValue:
      setAttachHeadersByValue();
      return;
    case AttachMethod::ByReference:
      setAttachHeadersByReference();
      return;
    case AttachMethod::EmbeddedMessage:
      if (exists(PR_DISPLAY_NAME)) {
        setHeader("par:content-type:name", getUnicode(PR_DISPLAY_NAME));
      }
      if (exists(PR_ATTACH_LONG_FILENAME)) {
        setHeader("par:content-disposition:filename", getUnicode(PR_ATTACH_LONG_FILENAME));
      }
      return;
    case AttachMethod::Ole:
      setHeader(mime::HeaderId::ContentDisposition, kOleDisposition);
      setHeader(mime::HeaderId::ContentType, kOctetStream);
      if (const std::u16string name = fileName(); !name.empty()) {
        setHeader("att:filename", name);
      }
      return;
    default:
      return;
  }
}

void AttachmentConvert::setAttachHeadersByValue() {
  const std::u16string name = fileName();
  if (!name.empty()) {
    setHeader("att:filename", name);
  }
  std::u16string type = exists(PR_ATTACH_MIME_TAG) ? getUnicode(PR_ATTACH_MIME_TAG) : std::u16string();
  if (!isUsableType(type)) {
    type = ansiToWide(mediaTypeOfName(name));
  }
  setHeader(mime::HeaderId::ContentType, type);
}

void AttachmentConvert::setAttachHeadersByReference() {
  setHeader(mime::HeaderId::ContentType, kExternalBody);
  std::u16string path;
  for (const ULONG tag : {PR_ATTACH_LONG_PATHNAME, PR_ATTACH_PATHNAME}) {
    if (path.empty() && exists(tag)) {
      path = getUnicode(tag);
    }
  }
  if (path.empty()) {
    return;
  }
  if (path.find(u"://") != std::u16string::npos) {
    setHeader("par:content-type:access-type", "URL");
    setHeader("par:content-type:URL", path);
  } else {
    setHeader("par:content-type:access-type", "local-file");
    setHeader("par:content-type:name", path);
  }
}

void AttachmentConvert::setPhotoContentId(IContentIdSource* source) {
  char16_t* contentId = nullptr;
  if (source == nullptr || failed(source->getContentId(&contentId)) || contentId == nullptr) {
    return;
  }
  const std::u16string text = contentId;
  taskFree(contentId);
  setHeader(mime::HeaderId::ContentId, text);
  (void)source->contentIdUsed();
}

bool AttachmentConvert::isSignedAttachment() const {
  if (!exists(PR_ATTACH_MIME_TAG) || !equalsIgnoreCase(getUnicode(PR_ATTACH_MIME_TAG), u"multipart/signed")) {
    return false;
  }
  // A signed mail that is attached to a mail of another kind is a file.
  IConvertMessage* parent = data().getParentMapiMessage();
  return MapiPropUtils::propertyExists(parent, PR_MESSAGE_CLASS) &&
         equalsIgnoreCase(MapiPropUtils::propUnicodeT(parent, PR_MESSAGE_CLASS, data().getAllocator()), kSignedClass);
}

void AttachmentConvert::processSignedAttachment() {
  constexpr const char* kWhere = "toMime::AttachmentConvert::processSignedAttachment";
  mime::IMimeMessage* message = data().getMimeMessage();
  const auto root = [&] {
    ComPtr<mime::IMimePropertySet> set;
    checkHResult(message->BindToObject(mime::HBODY_ROOT, mime::IMimePropertySet::kIid, set.putVoid()), kSource.at(kWhere));
    return set;
  };
  ComPtr<mime::IMimePropertySet> headers;
  checkHResult(root()->Clone(headers.put()), kSource.at(kWhere));
  for (const mime::HeaderId id : {mime::HeaderId::ContentType, mime::HeaderId::MimeVersion}) {
    const HRESULT hr = headers->DeleteProp(id);
    if (hr != MIME_E_NOT_FOUND) {
      checkHResult(hr, kSource.at(kWhere));
    }
  }
  const auto setOption = [&](std::uint32_t value) {
    PROPVARIANT option{VT_UI4, {0}};
    option.ulVal = value;
    checkHResult(message->SetOption(mime::OID_KEPT_40, &option), kSource.at(kWhere));
  };
  setOption(0);
  checkHResult(message->Load(openForReading(PR_ATTACH_DATA_BIN).get()), kSource.at(kWhere));
  setOption(1);
  checkHResult(headers->CopyProps(0, nullptr, root().get()), kSource.at(kWhere));
}

void AttachmentConvert::onProp(ULONG tag) {
  if (std::find(std::begin(kDropped), std::end(kDropped), tag) != std::end(kDropped)) {
    return;
  }
  switch (tag) {
    case PR_ATTACH_RENDERING:
      if (exists(PR_ATTACH_METHOD) && method() == AttachMethod::Ole) {
        storeAnnotation(tag);
      }
      return;
    case PR_ATTACH_CONTENT_ID:
      setHeader(tag, mime::HeaderId::ContentId);
      return;
    case PR_ATTACH_CONTENT_LOCATION:
      setHeader(tag, mime::HeaderId::ContentLocation);
      return;
    default:
      storeAnnotation(tag);
  }
}

void AttachmentConvert::mapiToMimeEnd() {
  const bool sentByValue = hasFlag(ToMimeFlags::ForSend) && exists(PR_ATTACH_METHOD) && method() == AttachMethod::ByValue;
  if (!isSignedAttachment() && !sentByValue) {
    storeXMapi();
  }
  dropAnnotationSaver();
}

}  // namespace toMime

namespace toMapi {

void AttachmentConvert::convertMimeToMapi() {
  readAnnotations();
  setProps();
  loadData();
}

ComPtr<mime::IMimeBody> AttachmentConvert::body() const {
  ComPtr<mime::IMimeBody> bound;
  checkHResult(data().getMimeAttachment()->BindToObject(mime::IMimeBody::kIid, bound.putVoid()),
               kSource.at("toMapi::AttachmentConvert::body"));
  return bound;
}

bool AttachmentConvert::isContentType(const char* type, const char* subtype) const {
  const HRESULT hr = data().getMimeAttachment()->IsContentType(type, subtype);
  checkHResult(hr, kSource.at("toMapi::AttachmentConvert::isContentType"));
  return hr == S_OK;
}

// An item, for which a message has one place: a calendar of several events or some cards stay a file.
bool AttachmentConvert::isContentTypeToEmbed() const {
  const ComPtr<mime::IMimeBody> source = body();
  if (!MessageClassDetector::isKnownGroupware(source.get())) {
    return false;
  }
  ComPtr<IStream> text;
  checkHResult(source->GetData(mime::IET_BINARY, text.put()), kSource.at("toMapi::AttachmentConvert::isContentTypeToEmbed"));
  ScopedPropVariant charset(VT_LPSTR);
  const bool hasCharset = succeeded(source->GetProp("par:content-type:charset", 0, &charset)) && charset.pszVal != nullptr;
  mail::vcWinIStreamLex lexer(text.get(), hasCharset ? charset.pszVal : "");
  return !mail::holdsSeveralItems(lexer);
}

void AttachmentConvert::setProps() {
  if (headerExists(mime::HeaderId::ContentId)) {
    setUnicode(PR_ATTACH_CONTENT_ID, withoutBrackets(getHeaderUnicode(mime::HeaderId::ContentId)));
  }
  getHeaderIfExists(PR_ATTACH_CONTENT_LOCATION, mime::HeaderId::ContentLocation);
  getHeaderIfExists(PR_ATTACH_CONTENT_BASE, mime::HeaderId::ContentBase);
  AttachMethod how = AttachMethod::ByValue;
  if (headerEquals(mime::HeaderId::ContentDisposition, kEmbeddedDisposition)) {
    how = AttachMethod::EmbeddedMessage;
  } else if (headerEquals(mime::HeaderId::ContentDisposition, kOleDisposition)) {
    how = AttachMethod::Ole;
  }
  setFileName();
  if (processExternalBody()) {
    how = AttachMethod::ByReference;
  }
  if (isContentType("message", "rfc822") || isContentTypeToEmbed()) {
    how = AttachMethod::EmbeddedMessage;
  }
  setMethod(how);
  if (!exists(PR_RENDERING_POSITION)) {
    setULong(PR_RENDERING_POSITION, static_cast<std::uint32_t>(-1));
  }
}

void AttachmentConvert::setFileName() {
  std::u16string name;
  if (headerExists(mime::HeaderId::FileName)) {
    name = getHeaderUnicode(mime::HeaderId::FileName);
  } else if (headerExists(mime::HeaderId::Name)) {
    name = getHeaderUnicode(mime::HeaderId::Name);
  } else {
    name = displayNameOf(body().get());
    // A size stands behind the name in brackets, but for an embedded message, whose subject may have brackets of its own.
    if (const std::size_t bracket = name.rfind(u'(');
        bracket != std::u16string::npos && !isContentType("message", "rfc822")) {
      name = trim(std::u16string_view(name).substr(0, bracket));
    }
  }
  setUnicode(PR_ATTACH_FILENAME, name);
  setUnicode(PR_ATTACH_LONG_FILENAME, name);
  setUnicode(PR_ATTACH_EXTENSION, extensionOf(name));
}

bool AttachmentConvert::processExternalBody() {
  if (!isContentType("message", "external-body") || !headerExists("par:content-type:access-type")) {
    return false;
  }
  std::u16string path;
  if (headerEquals("par:content-type:access-type", "local-file") && headerExists(mime::HeaderId::Name)) {
    path = getHeaderUnicode(mime::HeaderId::Name);
  } else if (headerEquals("par:content-type:access-type", "url") && headerExists("par:content-type:url")) {
    path = getHeaderUnicode("par:content-type:url");
  }
  if (path.empty()) {
    return false;
  }
  for (const ULONG tag : {PR_DISPLAY_NAME, PR_ATTACH_PATHNAME, PR_ATTACH_LONG_PATHNAME}) {
    setUnicode(tag, path);
  }
  return true;
}

void AttachmentConvert::setMethod(AttachMethod how) {
  setULong(PR_ATTACH_METHOD, static_cast<std::uint32_t>(how));
  if (how == AttachMethod::ByReference || how == AttachMethod::Ole) {
    return;
  }
  getHeaderIfExists(PR_ATTACH_MIME_TAG, mime::HeaderId::ContentType);
  if (how == AttachMethod::EmbeddedMessage) {
    if (!getHeaderIfExists(PR_DISPLAY_NAME, mime::HeaderId::Name)) {
      setUnicode(PR_DISPLAY_NAME, withoutSize(displayNameOf(body().get())));
    }
    return;
  }
  setULong(PR_ATTACH_MIME_SEQUENCE, 0);
  MapiPropUtils::setBinary(data().getMapiAttachment(), PR_ATTACH_TAG, kMimeTag, sizeof kMimeTag);
  if (!exists(PR_ATTACH_MIME_TAG)) {
    const std::u16string name = exists(PR_ATTACH_FILENAME) ? getUnicode(PR_ATTACH_FILENAME) : std::u16string();
    setUnicode(PR_ATTACH_MIME_TAG, ansiToWide(mediaTypeOfName(name)));
  }
}

void AttachmentConvert::loadData() {
  switch (const auto how = static_cast<AttachMethod>(getULong(PR_ATTACH_METHOD))) {
    case AttachMethod::ByValue:
    case AttachMethod::Ole:
      loadBytes(how);
      return;
    case AttachMethod::EmbeddedMessage:
      try {
        loadEmbeddedMessage();
      } catch (const HResultException& failure) {
        const HRESULT hr = failure.getHResult();
        if (std::find(std::begin(kBadContent), std::end(kBadContent), hr) == std::end(kBadContent)) {
          throw;
        }
        // What can't be read as a message is kept as a file.
        MapiPropUtils::deletePropIfExist(data().getMapiAttachment(), PR_ATTACH_DATA_OBJ);
        setMethod(AttachMethod::ByValue);
        loadBytes(AttachMethod::ByValue);
      }
      return;
    default:
      return;
  }
}

ComPtr<IStream> AttachmentConvert::createPropertyStream(AttachMethod how) {
  return openForWriting(how == AttachMethod::Ole ? kTagAttachDataOle : PR_ATTACH_DATA_BIN);
}

void AttachmentConvert::loadBytes(AttachMethod how) {
  constexpr const char* kWhere = "toMapi::AttachmentConvert::loadData";
  const ComPtr<mime::IMimeBody> source = body();
  const ComPtr<IStream> target = createPropertyStream(how);
  if (isContentType("multipart", "signed")) {
    // A signed text is verified with its headers.
    checkHResult(source->Save(target.get(), 0), kSource.at(kWhere));
    streamUtils::detail::writeStr(target.get(), "\r\n");
  }
  MimeUtils::extractData(source.get(), mime::IET_BINARY, target.get());
  checkHResult(target->Commit(0), kSource.at(kWhere));
}

void AttachmentConvert::loadEmbeddedMessage() {
  constexpr const char* kWhere = "toMapi::AttachmentConvert::loadData";
  ToMapiFlags embeddedFlags = flags() | ToMapiFlags::FromAttachment;
  ComPtr<IStream> text;
  if (MessageClassDetector::isKnownGroupware(body().get())) {
    text = streamUtils::createStream();
    checkHResult(data().getMimeMessage()->SaveBody(data().getMimeAttachmentHandle(), 0, text.get()), kSource.at(kWhere));
    embeddedFlags |= ToMapiFlags::NoAttachment;
  } else {
    checkHResult(body()->GetData(mime::IET_BINARY, text.put()), kSource.at(kWhere));
  }
  streamUtils::rewind(text.get());
  ComPtr<IConvertMessage> embedded;
  checkHResult(data().getMapiAttachment()->openProp(PR_ATTACH_DATA_OBJ, 1, IConvertMessage::kIid, embedded.putUnknown()),
               kSource.at(kWhere));
  Conversion::mimeToMapi(text.get(), embedded.get(), data().getAllocator(), embeddedFlags);
  checkHResult(embedded->saveChanges(), kSource.at(kWhere));
}

}  // namespace toMapi
}  // namespace nalvo
