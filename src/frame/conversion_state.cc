#include "frame/conversion_state.h"

#include "diagnostics/hresult_exception.h"
#include "streams/stream_utils.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\ConvertorData"};

constexpr std::uint32_t kLongestHeaderLine = 76;

template <typename T>
T* required(const ComPtr<T>& pointer, const char* function) {
  if (!pointer) {
    throwHResult(E_POINTER, kSource.at(function));
  }
  return pointer.get();
}

}  // namespace

ComPtr<mime::IMimeMessage> detail::initNewMessage(IStream* source) {
  constexpr const char* kWhere = "detail::initNewMessage";
  ComPtr<mime::IMimeMessage> message;
  checkHResult(mime::createMimeMessage(message.put()), kSource.at(kWhere));
  const struct {
    DWORD id;
    std::uint32_t value;
  } options[] = {{mime::OID_HEADER_FOLD_COLUMN, kLongestHeaderLine},
                 {mime::OID_CLEANUP_TREE_ON_SAVE, 0},
                 {mime::OID_KEPT_41, 1},
                 {mime::OID_KEPT_38, 1}};
  for (const auto& [id, value] : options) {
    PROPVARIANT option{VT_UI4, {0}};
    option.ulVal = value;
    checkHResult(message->SetOption(id, &option), kSource.at(kWhere));
  }
  checkHResult(source != nullptr ? message->Load(source) : message->InitNew(), kSource.at(kWhere));
  return message;
}

void ConvertorDataBase::checkDirection(const char* function) const {
  if (direction_ == Direction::None) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
}

IMapiAllocator* ConvertorDataBase::getAllocator() const {
  checkDirection("ConvertorDataBase::getAllocator");
  return required(allocator_, "ConvertorDataBase::getAllocator");
}

mime::IMimeMessage* ConvertorDataBase::getMimeMessage() const {
  checkDirection("ConvertorDataBase::getMimeMessage");
  return required(mimeMessage_, "ConvertorDataBase::getMimeMessage");
}

IStream* ConvertorDataBase::getAnnotationStream() const {
  checkDirection("ConvertorDataBase::getAnnotationStream");
  return required(annotationStream_, "ConvertorDataBase::getAnnotationStream");
}

IAnnotations* ConvertorDataBase::getAnnotations() const {
  checkDirection("ConvertorDataBase::getAnnotations");
  return required(annotations_, "ConvertorDataBase::getAnnotations");
}

ToMimeFlags ConvertorDataBase::getToMimeFlags() const {
  if (direction_ != Direction::ToMime) {
    throwHResult(E_INVALIDARG, kSource.at("ConvertorDataBase::getFlags"));
  }
  return toMimeFlags_;
}

ToMapiFlags ConvertorDataBase::getToMapiFlags() const {
  if (direction_ != Direction::ToMapi) {
    throwHResult(E_INVALIDARG, kSource.at("ConvertorDataBase::getFlags"));
  }
  return toMapiFlags_;
}

void ConvertorDataBase::setFlags(ToMimeFlags flags) {
  if (direction_ != Direction::ToMime) {
    throwHResult(E_INVALIDARG, kSource.at("ConvertorDataBase::setFlags"));
  }
  toMimeFlags_ = flags;
}

void ConvertorDataBase::setFlags(ToMapiFlags flags) {
  if (direction_ != Direction::ToMapi) {
    throwHResult(E_INVALIDARG, kSource.at("ConvertorDataBase::setFlags"));
  }
  toMapiFlags_ = flags;
}

void ConvertorDataBase::setMapiToMime(IMapiAllocator* allocator, ToMimeFlags flags) {
  if (direction_ != Direction::None) {
    throwHResult(E_INVALIDARG, kSource.at("ConvertorDataBase::setMapiToMime"));
  }
  allocator_ = ComPtr<IMapiAllocator>::retain(allocator);
  toMimeFlags_ = flags;
  direction_ = Direction::ToMime;
}

void ConvertorDataBase::setMimeToMapi(IMapiAllocator* allocator, ToMapiFlags flags) {
  if (direction_ != Direction::None) {
    throwHResult(E_INVALIDARG, kSource.at("ConvertorDataBase::setMimeToMapi"));
  }
  allocator_ = ComPtr<IMapiAllocator>::retain(allocator);
  toMapiFlags_ = flags;
  direction_ = Direction::ToMapi;
}

void ConvertorDataBase::initMimeMessage(mime::IMimeMessage* message) {
  if (message == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("ConvertorDataBase::initMimeMessage"));
  }
  mimeMessage_ = ComPtr<mime::IMimeMessage>::retain(message);
}

void ConvertorDataBase::initAnnotations(IAnnotations* annotations) {
  if (annotations == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("ConvertorDataBase::initAnnotations"));
  }
  annotations_ = ComPtr<IAnnotations>::retain(annotations);
  annotationStream_.reset();
}

void ConvertorDataBase::initAnnotationStream() {
  annotations_.reset();
  annotationStream_.reset();
  streamUtils::createStream(annotationStream_.put());
  checkHResult(annotationStream_->SetSize(0), kSource.at("ConvertorDataBase::initAnnotationStream"));
}

void ConvertorDataBase::reset(bool force) {
  if (!force) {
    checkDirection("ConvertorDataBase::reset");
  }
  mimeMessage_.reset();
  annotations_.reset();
  allocator_.reset();
  toMimeFlags_ = ToMimeFlags::Normal;
  toMapiFlags_ = ToMapiFlags::Normal;
  direction_ = Direction::None;
  namedTags_.clear();
}

IMimeFlags* ConvertorDataMessage::getMimeFlags() const {
  checkDirection("ConvertorDataMessage::getMimeFlags");
  return required(mimeFlags_, "ConvertorDataMessage::getMimeFlags");
}

IConvertMessage* ConvertorDataMessage::getMapiMessage() const {
  checkDirection("ConvertorDataMessage::getMapiMessage");
  return required(mapiMessage_, "ConvertorDataMessage::getMapiMessage");
}

IConvertMessage* ConvertorDataMessage::getSuperMessage() const {
  checkDirection("ConvertorDataMessage::getSuperMessage");
  return superMessage_.get();
}

Converted ConvertorDataMessage::getConverted() const {
  checkDirection("ConvertorDataMessage::getConverted");
  return converted_;
}

void ConvertorDataMessage::setMapiToMime(IConvertMessage* message, IMapiAllocator* allocator, ToMimeFlags flags,
                                         IAnnotations* annotations, IStream* stream, IMimeFlags* mimeFlags,
                                         Converted converted) {
  setMapiToMime(message, nullptr, allocator, flags, annotations, detail::initNewMessage(nullptr).get(), mimeFlags);
  stream_ = ComPtr<IStream>::retain(stream);
  converted_ = converted;
}

void ConvertorDataMessage::setMapiToMime(IConvertMessage* message, IConvertMessage* super, IMapiAllocator* allocator,
                                         ToMimeFlags flags, IAnnotations* annotations, mime::IMimeMessage* mimeMessage,
                                         IMimeFlags* mimeFlags) {
  ConvertorDataBase::setMapiToMime(allocator, flags);
  mapiMessage_ = ComPtr<IConvertMessage>::retain(message);
  superMessage_ = ComPtr<IConvertMessage>::retain(super);
  if (hasAny(flags, ToMimeFlags::ForSend | ToMimeFlags::ToAttachment)) {
    initAnnotationStream();
  } else {
    initAnnotations(annotations);
  }
  mimeFlags_ = ComPtr<IMimeFlags>::retain(mimeFlags);
  converted_ = Converted::All;
  initMimeMessage(mimeMessage);
}

void ConvertorDataMessage::setMimeToMapi(IStream* stream, IAnnotations* annotations, IMimeFlags* mimeFlags,
                                         IConvertMessage* message, IMapiAllocator* allocator, ToMapiFlags flags) {
  setMimeToMapi(detail::initNewMessage(stream).get(), annotations, mimeFlags, message, allocator, flags);
}

void ConvertorDataMessage::setMimeToMapi(IStream* stream, IConvertMessage* message, IMapiAllocator* allocator,
                                         ToMapiFlags flags) {
  setMimeToMapi(stream, nullptr, nullptr, message, allocator, flags);
}

void ConvertorDataMessage::setMimeToMapi(mime::IMimeMessage* mimeMessage, IAnnotations* annotations, IMimeFlags* mimeFlags,
                                         IConvertMessage* message, IMapiAllocator* allocator, ToMapiFlags flags) {
  ConvertorDataBase::setMimeToMapi(allocator, flags);
  // The exports insist on an annotations object in every run, so the flag decides and not the pointer.
  if (hasAny(flags, ToMapiFlags::FromAttachment) || annotations == nullptr) {
    initAnnotationStream();
  } else {
    initAnnotations(annotations);
  }
  mimeFlags_ = ComPtr<IMimeFlags>::retain(mimeFlags);
  mapiMessage_ = ComPtr<IConvertMessage>::retain(message);
  initMimeMessage(mimeMessage);
}

void ConvertorDataMessage::reset(bool force) {
  constexpr const char* kWhere = "ConvertorDataMessage::reset";
  if (!force) {
    checkDirection(kWhere);
    if (stream_ && hasAny(converted_, Converted::Body)) {
      std::uint64_t position = 0;
      checkHResult(stream_->Seek(0, STREAM_SEEK_CUR, &position), kSource.at(kWhere));
      checkHResult(getMimeMessage()->Save(stream_.get(), 1), kSource.at(kWhere));
      checkHResult(stream_->Seek(static_cast<std::int64_t>(position), STREAM_SEEK_SET, nullptr), kSource.at(kWhere));
    }
  }
  stream_.reset();
  mimeFlags_.reset();
  mapiMessage_.reset();
  superMessage_.reset();
  converted_ = Converted::Nothing;
  ConvertorDataBase::reset(force);
}

IConvertAttachment* ConvertorDataAttachment::getMapiAttachment() const {
  checkDirection("ConvertorDataAttachment::getMapiAttachment");
  return required(mapiAttachment_, "ConvertorDataAttachment::getMapiAttachment");
}

IConvertMessage* ConvertorDataAttachment::getParentMapiMessage() const {
  checkDirection("ConvertorDataAttachment::getParentMapiMessage");
  return required(parentMapiMessage_, "ConvertorDataAttachment::getParentMapiMessage");
}

mime::IMimePropertySet* ConvertorDataAttachment::getMimeAttachment() const {
  checkDirection("ConvertorDataAttachment::getMimeAttachment");
  return required(mimeAttachment_, "ConvertorDataAttachment::getMimeAttachment");
}

mime::HBODY ConvertorDataAttachment::getMimeAttachmentHandle() const {
  checkDirection("ConvertorDataAttachment::getMimeAttachmentHandle");
  if (mimeAttachmentHandle_ == nullptr) {
    throwHResult(E_POINTER, kSource.at("ConvertorDataAttachment::getMimeAttachmentHandle"));
  }
  return mimeAttachmentHandle_;
}

void ConvertorDataAttachment::setMapiToMime(mime::IMimeMessage* mimeMessage, IMapiAllocator* allocator, ToMimeFlags flags,
                                            IConvertAttachment* attachment, IConvertMessage* parent) {
  ConvertorDataBase::setMapiToMime(allocator, flags);
  mapiAttachment_ = ComPtr<IConvertAttachment>::retain(attachment);
  parentMapiMessage_ = ComPtr<IConvertMessage>::retain(parent);
  initAnnotationStream();
  initMimeMessage(mimeMessage);
}

void ConvertorDataAttachment::setMimeToMapi(mime::IMimeMessage* mimeMessage, IMapiAllocator* allocator, ToMapiFlags flags,
                                            IConvertAttachment* attachment) {
  ConvertorDataBase::setMimeToMapi(allocator, flags);
  mapiAttachment_ = ComPtr<IConvertAttachment>::retain(attachment);
  initMimeMessage(mimeMessage);
  initAnnotationStream();
}

void ConvertorDataAttachment::setAttachmentBody(mime::HBODY body) {
  constexpr const char* kWhere = "ConvertorDataAttachment::setAttachmentBody";
  mime::IMimeMessage* message = getMimeMessage();
  if (body == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  checkHResult(message->BindToObject(body, mime::IMimePropertySet::kIid, mimeAttachment_.putVoid()), kSource.at(kWhere));
  mimeAttachmentHandle_ = body;
  if (isMapiToMime()) {
    mime::HCHARSET charset = nullptr;
    checkHResult(message->GetCharset(&charset), kSource.at(kWhere));
    checkHResult(mimeAttachment_->SetCharset(charset, mime::CSET_APPLY_ALL), kSource.at(kWhere));
  }
}

void ConvertorDataAttachment::reset() {
  checkDirection("ConvertorDataAttachment::reset");
  mapiAttachment_.reset();
  ConvertorDataBase::reset(false);
}

}  // namespace nalvo
