// The photo of a contact: an attachment on the MAPI side, to which the card refers by its content id.
#include <algorithm>
#include <iterator>
#include <optional>

#include "convert/attachment_convert.h"
#include "convert/groupware/contact_convert.h"
#include "platform/com/interface_array.h"
#include "platform/text/text.h"
#include "properties/guid.h"
#include "streams/coder.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\ContactConvert"};

// Ahead of a content id in PHOTO.
constexpr std::string_view kContentIdScheme = "cid:";
constexpr std::u16string_view kContentIdDomain = u"@nalvo.invalid";

std::u16string makeContentId() {
  const std::u16string guid = Guid::create().toWideString();
  return guid.substr(1, guid.size() - 2).append(kContentIdDomain);
}

// Without the brackets that may stand around it.
std::u16string_view bareContentId(std::u16string_view contentId) {
  if (contentId.starts_with(u'<')) {
    contentId.remove_prefix(1);
  }
  if (contentId.ends_with(u'>')) {
    contentId.remove_suffix(1);
  }
  return contentId;
}

struct PictureRow {
  std::string_view head;  // how such a file begins
  std::u16string_view type, fileName;
};

constexpr PictureRow kPictures[] = {
    {"\xFF\xD8\xFF", u"image/jpeg", u"ContactPicture.jpg"},
    {"\x89PNG", u"image/png", u"ContactPicture.png"},
    {"GIF8", u"image/gif", u"ContactPicture.gif"},
    {"RIFF", u"image/webp", u"ContactPicture.webp"},
    {"BM", u"image/bmp", u"ContactPicture.bmp"},
};

struct Picture {
  const PictureRow* kind;
  std::string bytes;
};

// The picture that stands in the card itself, as Base64 or as a URI with that; none if the text is a reference.
std::optional<Picture> pictureIn(std::string_view photo) {
  constexpr std::string_view kBase64Mark = ";base64,";
  if (startsWithIgnoreCase(photo, "data:")) {
    const std::size_t mark = photo.find(kBase64Mark);
    photo.remove_prefix(mark == std::string_view::npos ? photo.size() : mark + kBase64Mark.size());
  }
  if (photo.find_first_of(":@") != std::string_view::npos) {
    return std::nullopt;
  }
  Picture picture{nullptr, {}};
  checkHResult(Coder::decodeBase64(photo.data(), photo.size(), picture.bytes),
               kSource.at("toMapi::ContactConvert::createPhoto"));
  picture.kind = std::find_if(std::begin(kPictures), std::end(kPictures),
                              [&](const PictureRow& row) { return picture.bytes.starts_with(row.head); });
  return picture.kind == std::end(kPictures) ? std::nullopt : std::optional(std::move(picture));
}

// Calls `visit` with each attachment until it answers true. Whether one did.
template <typename Visit>
bool anyAttachment(IConvertMessage* message, const char* where, Visit visit) {
  ScopedInterfaceArray attachments;
  checkHResult(message->getAttachments(attachments.put(), 1), kSource.at(where));
  for (IUnknown* element : attachments) {
    ComPtr<IConvertAttachment> attachment;
    if (element == nullptr || failed(element->QueryInterface(IConvertAttachment::kIid, attachment.putVoid()))) {
      throwHResult(E_INVALIDARG, kSource.at(where));
    }
    if (visit(attachment.get())) {
      return true;
    }
  }
  return false;
}

}  // namespace

namespace toMime {

void ContactConvert::storePhoto() {
  IMapiAllocator* allocator = data().getAllocator();
  const bool isAttached =
      anyAttachment(data().getMapiMessage(), "toMime::ContactConvert::storePhoto", [&](IConvertAttachment* attachment) {
        if (!MapiPropUtils::propertyExists(attachment, PR_ATTACHMENT_CONTACTPHOTO) ||
            !MapiPropUtils::propBool(attachment, PR_ATTACHMENT_CONTACTPHOTO, allocator)) {
          return false;
        }
        std::u16string contentId;
        if (MapiPropUtils::propertyExists(attachment, PR_ATTACH_CONTENT_ID)) {
          contentId = MapiPropUtils::propUnicodeT(attachment, PR_ATTACH_CONTENT_ID, allocator);
        } else {
          contentId = makeContentId();
          MapiPropUtils::setUnicode(attachment, PR_ATTACH_CONTENT_ID, contentId);
        }
        object().setPhoto(std::string(kContentIdScheme) + wideToUtf8(bareContentId(contentId)));
        return true;
      });
  if (isAttached) {
    return;
  }
  // A link that came with a card.
  if (const std::string link = textOf(tagOf(named::kContactPictureCid)); link.find("://") != std::string::npos) {
    object().setPhoto(link);
  }
}

}  // namespace toMime

namespace toMapi {

void ContactConvert::createPhoto() {
  std::string photo = object().getPhoto();
  if (photo.empty()) {
    return;
  }
  setBool(tagOf(named::kHasPicture), true);
  if (const std::optional<Picture> picture = pictureIn(photo)) {
    const std::u16string contentId = makeContentId();
    setUnicode(tagOf(named::kContactPictureCid), contentId);
    attachPhoto(picture->bytes, picture->kind->type, picture->kind->fileName, contentId);
    return;
  }
  if (startsWithIgnoreCase(photo, kContentIdScheme)) {
    photo.erase(0, kContentIdScheme.size());
  }
  setUtf8(tagOf(named::kContactPictureCid), photo);
  markPhoto(utf8ToWide(photo));
}

void ContactConvert::attachPhoto(std::string_view bytes, std::u16string_view type, std::u16string_view fileName,
                                 std::u16string_view contentId) {
  constexpr const char* kWhere = "toMapi::ContactConvert::attachPhoto";
  ComPtr<IConvertAttachment> photo;
  checkHResult(data().getMapiMessage()->createAttachment(photo.put()), kSource.at(kWhere));
  MapiPropUtils::setULong(photo.get(), PR_ATTACH_METHOD, static_cast<std::uint32_t>(AttachMethod::ByValue));
  for (const ULONG tag : {PR_ATTACH_FILENAME, PR_ATTACH_LONG_FILENAME, PR_DISPLAY_NAME}) {
    MapiPropUtils::setUnicode(photo.get(), tag, fileName);
  }
  MapiPropUtils::setUnicode(photo.get(), PR_ATTACH_EXTENSION, fileName.substr(fileName.rfind(u'.')));
  MapiPropUtils::setUnicode(photo.get(), PR_ATTACH_MIME_TAG, type);
  MapiPropUtils::setUnicode(photo.get(), PR_ATTACH_CONTENT_ID, contentId);
  MapiPropUtils::setULong(photo.get(), PR_RENDERING_POSITION, static_cast<std::uint32_t>(-1));
  MapiPropUtils::setBinary(photo.get(), PR_ATTACH_DATA_BIN, bytes.data(), static_cast<ULONG>(bytes.size()));
  MapiPropUtils::setBool(photo.get(), PR_ATTACHMENT_CONTACTPHOTO, true);
  checkHResult(photo->saveChanges(), kSource.at(kWhere));
}

void ContactConvert::markPhoto(std::u16string_view contentId) {
  constexpr const char* kWhere = "toMapi::ContactConvert::createPhoto";
  anyAttachment(data().getMapiMessage(), kWhere, [&](IConvertAttachment* attachment) {
    if (!MapiPropUtils::propertyExists(attachment, PR_ATTACH_CONTENT_ID) ||
        bareContentId(MapiPropUtils::propUnicodeT(attachment, PR_ATTACH_CONTENT_ID, data().getAllocator())) !=
            bareContentId(contentId)) {
      return false;
    }
    MapiPropUtils::setBool(attachment, PR_ATTACHMENT_CONTACTPHOTO, true);
    checkHResult(attachment->saveChanges(), kSource.at(kWhere));
    return true;
  });
}

}  // namespace toMapi
}  // namespace nalvo
