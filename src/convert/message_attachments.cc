// The attachments of a message, between its table and its bodies.
#include <algorithm>
#include <iterator>
#include <vector>

#include "convert/attachment_convert.h"
#include "convert/message_convert.h"
#include "diagnostics/hresult_exception.h"
#include "mime/mime_utils.h"
#include "platform/com/interface_array.h"
#include "platform/text/text.h"
#include "streams/stream_utils.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\MessageAttachments"};

bool isTrue(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  return MapiPropUtils::propertyExists(object, tag) && MapiPropUtils::propBool(object, tag, allocator);
}

// Attachments that a text refers to, or that are the picture of a person, hang beside the text.
bool isMarked(IConvertAttachment* attachment, IMapiAllocator* allocator) {
  return MapiPropUtils::propertyExists(attachment, PR_ATTACH_CONTENT_ID) ||
         isTrue(attachment, PR_ATTACHMENT_CONTACTPHOTO, allocator);
}

bool isNoAttachment(IConvertAttachment* attachment, IMapiAllocator* allocator) {
  return MapiPropUtils::propertyExists(attachment, PR_ATTACH_METHOD) &&
         MapiPropUtils::propULong(attachment, PR_ATTACH_METHOD, allocator) == static_cast<std::uint32_t>(AttachMethod::None);
}

bool holdsAttachmentsAlone(mime::IMimeMessage* message) {
  mime::HBODY body = nullptr;
  HRESULT hr = message->GetBody(mime::IBL_FIRST, mime::HBODY_ROOT, &body);
  while (hr != MIME_E_NOT_FOUND) {
    checkHResult(hr, kSource.at("toMime::MessageConvert::prepareForXMapi"));
    if (!MimeUtils::isBodyAttachment(message, body)) {
      return false;
    }
    const mime::HBODY pivot = body;
    hr = message->GetBody(mime::IBL_NEXT, pivot, &body);
  }
  return true;
}

}  // namespace

std::u16string displayNameOf(mime::IMimeBody* body) {
  char16_t* name = nullptr;
  checkHResult(body->GetDisplayNameW(&name), kSource.at("displayNameOf"));
  const std::u16string text = name == nullptr ? std::u16string() : std::u16string(name);
  taskFree(name);
  return text;
}

namespace toMime {

void MessageConvert::makeAttachments() {
  constexpr const char* kWhere = "toMime::MessageConvert::makeAttachments";
  IConvertMessage* message = data().getMapiMessage();
  IMapiAllocator* allocator = data().getAllocator();
  ScopedInterfaceArray array;
  checkHResult(message->getAttachments(array.put(), 1), kSource.at(kWhere));
  // The marked ones stand first, in reverse order.
  std::deque<ComPtr<IConvertAttachment>> attachments;
  for (IUnknown* element : array) {
    ComPtr<IConvertAttachment> attachment;
    checkHResult(element == nullptr ? E_INVALIDARG : element->QueryInterface(IConvertAttachment::kIid, attachment.putVoid()),
                 kSource.at(kWhere));
    if (isMarked(attachment.get(), allocator)) {
      attachments.push_front(std::move(attachment));
    } else {
      attachments.push_back(std::move(attachment));
    }
  }
  prepareForAttachments(attachments);
  ComPtr<IAddressBook> book;
  checkHResult(message->getAddressBook(book.put()), kSource.at(kWhere));
  for (const ComPtr<IConvertAttachment>& attachment : attachments) {
    if (isNoAttachment(attachment.get(), allocator)) {
      continue;
    }
    if (book) {
      checkHResult(attachment->setAddressBook(book.get()), kSource.at(kWhere));
    }
    addAttachment(attachment.get(), message);
  }
}

void MessageConvert::prepareForAttachments(const std::deque<ComPtr<IConvertAttachment>>& attachments) {
  const bool anyMarked = std::any_of(attachments.begin(), attachments.end(), [this](const auto& attachment) {
    return isMarked(attachment.get(), data().getAllocator());
  });
  if (anyMarked) {
    checkHResult(data().getMimeMessage()->ToMultipart(mime::HBODY_ROOT, "related", nullptr),
                 kSource.at("toMime::MessageConvert::prepareForAttachments"));
  }
}

void MessageConvert::addAttachment(IConvertAttachment* attachment, IConvertMessage* message) {
  if (attachment == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("toMime::MessageConvert::addAttachment"));
  }
  ConvertorDataAttachment state;
  state.setMapiToMime(data().getMimeMessage(), data().getAllocator(), flags() | ToMimeFlags::ToAttachment, attachment,
                      message);
  AttachmentConvert(&state).convert();
  state.reset();
}

void MessageConvert::prepareForXMapi() {
  constexpr const char* kWhere = "toMime::MessageConvert::prepareForXMapi";
  if (!hasFlag(ToMimeFlags::ToAttachment)) {
    return;
  }
  mime::IMimeMessage* message = data().getMimeMessage();
  const HRESULT mixed = message->IsContentType(mime::HBODY_ROOT, "multipart", "mixed");
  checkHResult(mixed, kSource.at(kWhere));
  if (mixed != S_OK) {
    return;
  }
  ULONG count = 0;
  checkHResult(message->CountBodies(mime::HBODY_ROOT, 0, &count), kSource.at(kWhere));
  // Ahead of a calendar or a card another text would make that an attachment.
  if (count == 2 && holdsAttachmentsAlone(message)) {
    const ComPtr<IStream> empty = streamUtils::createStream();
    checkHResult(message->SetTextBody(mime::TXT_PLAIN, mime::IET_BINARY, nullptr, empty.get(), nullptr), kSource.at(kWhere));
  }
}

}  // namespace toMime

namespace toMapi {

void MessageConvert::loadAttachments() {
  constexpr const char* kWhere = "toMapi::MessageConvert::loadAttachments";
  mime::IMimeMessage* message = data().getMimeMessage();
  const std::u16string messageClass = exists(PR_MESSAGE_CLASS) ? getUnicode(PR_MESSAGE_CLASS) : std::u16string();
  if (!equalsIgnoreCase(messageClass, kSignedClass) && !equalsIgnoreCase(messageClass, kEncryptedClass)) {
    std::vector<mime::HBODY> bodies;
    MimeUtils::enumAttachments(message, [&bodies](mime::HBODY body) { bodies.push_back(body); });
    for (const mime::HBODY body : bodies) {
      loadAttachment(body);
    }
    return;
  }
  ComPtr<mime::IMimeBody> root;
  mime::HBODY rootHandle = nullptr;
  checkHResult(message->BindToObject(mime::HBODY_ROOT, mime::IMimeBody::kIid, root.putVoid()), kSource.at(kWhere));
  checkHResult(root->GetHandle(&rootHandle), kSource.at(kWhere));
  loadAttachment(rootHandle);
  mime::HBODY first = nullptr;
  const HRESULT found = message->GetBody(mime::IBL_FIRST, mime::HBODY_ROOT, &first);
  if (found != MIME_E_NOT_FOUND) {
    checkHResult(found, kSource.at(kWhere));
  }
  bool hidesAttachment = false;
  if (first != nullptr) {
    const HRESULT mixed = message->IsContentType(first, "multipart", "mixed");
    checkHResult(mixed, kSource.at(kWhere));
    hidesAttachment = mixed != S_OK;
  }
  setBool(tagOf(named::kSmartNoAttach), hidesAttachment);
}

void MessageConvert::loadAttachment(mime::HBODY body) {
  constexpr const char* kWhere = "toMapi::MessageConvert::loadAttachment";
  ComPtr<IConvertAttachment> attachment;
  checkHResult(data().getMapiMessage()->createAttachment(attachment.put()), kSource.at(kWhere));
  ConvertorDataAttachment state;
  state.setMimeToMapi(data().getMimeMessage(), data().getAllocator(), flags() | ToMapiFlags::FromAttachment,
                      attachment.get());
  state.setAttachmentBody(body);
  AttachmentConvert(&state).convertMimeToMapi();
  state.reset();
  checkHResult(attachment->saveChanges(), kSource.at(kWhere));
}

}  // namespace toMapi
}  // namespace nalvo
