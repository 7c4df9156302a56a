// The objects and flags of one run, through which every stage reaches them.
//
// A state is idle until a direction is chosen, which happens once between two resets. Every getter throws E_INVALIDARG in
// the idle state; those marked (*) throw E_POINTER for an object that this run has not.
#pragma once

#include "frame/flags.h"
#include "mime/mime.h"
#include "nalvo/interfaces.h"
#include "platform/com/com_ptr.h"
#include "properties/map_name.h"

namespace nalvo {

class ConvertorDataBase {
 public:
  ConvertorDataBase() = default;
  ConvertorDataBase(const ConvertorDataBase&) = delete;
  ConvertorDataBase& operator=(const ConvertorDataBase&) = delete;

  IMapiAllocator* getAllocator() const;        // (*)
  mime::IMimeMessage* getMimeMessage() const;  // (*)
  IStream* getAnnotationStream() const;        // (*)
  IAnnotations* getAnnotations() const;        // (*)
  // The flags of the run's direction. Asking for those of the other one throws E_INVALIDARG.
  ToMimeFlags getToMimeFlags() const;
  ToMapiFlags getToMapiFlags() const;
  // Narrows or restores the flags in mid-run.
  void setFlags(ToMimeFlags flags);
  void setFlags(ToMapiFlags flags);

  // The tag of a named property on an object of this run. An id holds within one object, so nothing outlives the run.
  ULONG tagOf(const NamedProperty& property, IConvertObject* object) { return namedTags_.tagOf(property, object); }

 protected:
  ~ConvertorDataBase() = default;

  // E_INVALIDARG if a direction is chosen already.
  void setMapiToMime(IMapiAllocator* allocator, ToMimeFlags flags);
  void setMimeToMapi(IMapiAllocator* allocator, ToMapiFlags flags);
  // E_INVALIDARG for null.
  void initMimeMessage(mime::IMimeMessage* message);
  // The run's annotations are the caller's set, or a new empty stream; never both.
  void initAnnotations(IAnnotations* annotations);
  void initAnnotationStream();

  void checkDirection(const char* function) const;
  bool isMapiToMime() const { return direction_ == Direction::ToMime; }
  // E_INVALIDARG in the idle state unless `force`.
  void reset(bool force);

 private:
  enum class Direction { None, ToMime, ToMapi };

  ComPtr<IMapiAllocator> allocator_;
  ComPtr<mime::IMimeMessage> mimeMessage_;
  ComPtr<IStream> annotationStream_;
  ComPtr<IAnnotations> annotations_;
  ToMimeFlags toMimeFlags_ = ToMimeFlags::Normal;
  ToMapiFlags toMapiFlags_ = ToMapiFlags::Normal;
  Direction direction_ = Direction::None;
  NamedTagCache namedTags_;
};

// The state of a whole message.
class ConvertorDataMessage : public ConvertorDataBase {
 public:
  ~ConvertorDataMessage() { reset(true); }

  IMimeFlags* getMimeFlags() const;         // (*)
  IConvertMessage* getMapiMessage() const;  // (*)
  // The message that embeds this one; null for a run of its own.
  IConvertMessage* getSuperMessage() const;
  Converted getConverted() const;

  // Both make the MIME message of the run: an empty one, or one loaded from `stream`. ToMimeFlags::ForSend and ToAttachment
  // choose an annotation stream in place of `annotations`, and so does ToMapiFlags::FromAttachment.
  void setMapiToMime(IConvertMessage* message, IMapiAllocator* allocator, ToMimeFlags flags, IAnnotations* annotations,
                     IStream* stream, IMimeFlags* mimeFlags, Converted converted);
  void setMimeToMapi(IStream* stream, IAnnotations* annotations, IMimeFlags* mimeFlags, IConvertMessage* message,
                     IMapiAllocator* allocator, ToMapiFlags flags);
  // For an embedded message: an annotation stream, no IMAP flags.
  void setMimeToMapi(IStream* stream, IConvertMessage* message, IMapiAllocator* allocator, ToMapiFlags flags);
  // For a message converted inside another one, over the MIME message of that run. Nothing is saved at its reset.
  void setMapiToMime(IConvertMessage* message, IConvertMessage* super, IMapiAllocator* allocator, ToMimeFlags flags,
                     IAnnotations* annotations, mime::IMimeMessage* mimeMessage, IMimeFlags* mimeFlags);
  void setMimeToMapi(mime::IMimeMessage* mimeMessage, IAnnotations* annotations, IMimeFlags* mimeFlags,
                     IConvertMessage* message, IMapiAllocator* allocator, ToMapiFlags flags);

  // Ends the run. Unless `force`, the MIME message is saved into the stream of a run to MIME whose parts have the body, and
  // the stream's position is put back. Throws the code of Save or Seek.
  void reset(bool force);

 private:
  ComPtr<IStream> stream_;
  ComPtr<IMimeFlags> mimeFlags_;
  ComPtr<IConvertMessage> mapiMessage_;
  ComPtr<IConvertMessage> superMessage_;
  Converted converted_ = Converted::Nothing;
};

// The state of one attachment.
class ConvertorDataAttachment : public ConvertorDataBase {
 public:
  IConvertAttachment* getMapiAttachment() const;      // (*)
  IConvertMessage* getParentMapiMessage() const;      // (*)
  mime::IMimePropertySet* getMimeAttachment() const;  // (*)
  mime::HBODY getMimeAttachmentHandle() const;        // (*)

  void setMapiToMime(mime::IMimeMessage* mimeMessage, IMapiAllocator* allocator, ToMimeFlags flags,
                     IConvertAttachment* attachment, IConvertMessage* parent);
  void setMimeToMapi(mime::IMimeMessage* mimeMessage, IMapiAllocator* allocator, ToMapiFlags flags,
                     IConvertAttachment* attachment);
  // Binds the body. Towards MIME the message's charset is applied to it. E_INVALIDARG for a null handle.
  void setAttachmentBody(mime::HBODY body);
  void reset();

 private:
  ComPtr<IConvertAttachment> mapiAttachment_;
  ComPtr<IConvertMessage> parentMapiMessage_;
  ComPtr<mime::IMimePropertySet> mimeAttachment_;
  mime::HBODY mimeAttachmentHandle_ = nullptr;
};

namespace detail {

// A MIME message with the options of this system, loaded from `source` or empty if that is null.
ComPtr<mime::IMimeMessage> initNewMessage(IStream* source);

}  // namespace detail
}  // namespace nalvo
