// The vocabulary of mapping a property to a header, for a whole message and for one attachment.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "frame/conversion_state.h"
#include "mime/mime.h"
#include "platform/mapi/tags.h"
#include "properties/annotation_saver.h"
#include "properties/mapi_prop_utils.h"
#include "properties/named_properties.h"

namespace nalvo {

// 0: a message, 1: an attachment.
inline constexpr int kMessageLevel = 0;
inline constexpr int kAttachmentLevel = 1;

// The MAPI side of a level, with the allocator of the run.
template <int N>
class BaseConvertCommons {
 public:
  using Data = std::conditional_t<N == kMessageLevel, ConvertorDataMessage, ConvertorDataAttachment>;

  explicit BaseConvertCommons(Data* data) : data_(data) {}
  BaseConvertCommons(const BaseConvertCommons&) = delete;
  BaseConvertCommons& operator=(const BaseConvertCommons&) = delete;

 protected:
  ~BaseConvertCommons() = default;

  Data& data() const { return *data_; }
  // The message or the attachment.
  IConvertObject* mapiObject() const;
  // The tag of a named property on that object.
  ULONG tagOf(const NamedProperty& property) const { return data_->tagOf(property, mapiObject()); }

  bool exists(ULONG tag) const { return MapiPropUtils::propertyExists(mapiObject(), tag); }
  // A missing property is a failure of all five.
  std::uint32_t getULong(ULONG tag) const { return MapiPropUtils::propULong(mapiObject(), tag, data_->getAllocator()); }
  bool getBool(ULONG tag) const { return MapiPropUtils::propBool(mapiObject(), tag, data_->getAllocator()); }
  SYSTEMTIME getSysTime(ULONG tag) const { return MapiPropUtils::propSysTime(mapiObject(), tag, data_->getAllocator()); }
  std::string getBinary(ULONG tag) const { return MapiPropUtils::propBinary(mapiObject(), tag, data_->getAllocator()); }
  std::u16string getUnicode(ULONG tag) const {
    return MapiPropUtils::propUnicodeT(mapiObject(), tag, data_->getAllocator());
  }
  // False when it is missing.
  bool isTrue(ULONG tag) const { return exists(tag) && getBool(tag); }
  std::uint32_t getULongOr(ULONG tag, std::uint32_t missing) const { return exists(tag) ? getULong(tag) : missing; }

  // E_INVALIDARG for a tag of another type.
  void setBool(ULONG tag, bool value) const { MapiPropUtils::setBool(mapiObject(), tag, value); }
  void setSysTime(ULONG tag, const SYSTEMTIME& value) const { MapiPropUtils::setSysTime(mapiObject(), tag, value); }
  void setULong(ULONG tag, std::uint32_t value) const { MapiPropUtils::setULong(mapiObject(), tag, value); }
  void setUnicode(ULONG tag, std::u16string_view value) const { MapiPropUtils::setUnicode(mapiObject(), tag, value); }

  // Copies a value under another tag of the same type, else E_INVALIDARG.
  void propCopy(ULONG source, ULONG destination) const;
  void propCopyIfExists(ULONG source, ULONG destination) const;
  // Opens a property as a stream for reading, or anew for writing.
  ComPtr<IStream> openForReading(ULONG tag) const;
  ComPtr<IStream> openForWriting(ULONG tag) const;
  // True for an attachment that is the whole MIME message. The header X-MAPI there is that of the message.
  bool isWholeMessage() const;

 private:
  Data* data_;
};

namespace toMime {

template <int N>
class BaseConvert : public BaseConvertCommons<N> {
 public:
  using BaseConvertCommons<N>::BaseConvertCommons;

 protected:
  ~BaseConvert() = default;

  // Writes a value as a header: numbers, texts of both widths and times; E_INVALIDARG for any other type.
  void setHeader(mime::HeaderName header, const SPropValue& value) const;
  // The same with a property, whose absence is a failure.
  void setHeader(ULONG tag, mime::HeaderName header) const;
  void setHeader(mime::HeaderName header, std::u16string_view text) const;
  void setHeader(mime::HeaderName header, const char* text) const;
  void setHeaderInner(mime::HeaderName header, const PROPVARIANT& value) const;

  ToMimeFlags flags() const { return this->data().getToMimeFlags(); }
  bool hasFlag(ToMimeFlags flag) const { return hasAny(flags(), flag); }
  // True in a run to the server, whose IMAP flags and annotations lie beside the text.
  bool hasServerSide() const { return !hasFlag(ToMimeFlags::ForSend | ToMimeFlags::ToAttachment); }

  // The first step of a run: a writer of annotations, into a stream that ends up in X-MAPI or into the caller's set. A run
  // whose text goes out on the wire has none.
  void createAnnotationSaver();
  // What no rule knows travels as annotation, if the run writes any.
  void storeAnnotation(ULONG tag);
  void storeAnnotation(const SPropValue& value);
  // The last step of a run: the annotations of the stream become the header X-MAPI, and the writer goes.
  void storeXMapi();
  void dropAnnotationSaver() { annotations_.reset(); }

 private:
  std::optional<AnnotationSaver> annotations_;
};

}  // namespace toMime

namespace toMapi {

template <int N>
class BaseConvert : public BaseConvertCommons<N> {
 public:
  using BaseConvertCommons<N>::BaseConvertCommons;

 protected:
  ~BaseConvert() = default;

  bool headerExists(mime::HeaderName header) const;
  // A missing header is a failure of the three getters.
  std::u16string getHeaderUnicode(mime::HeaderName header) const;
  std::string getHeaderAnsiString(mime::HeaderName header) const;
  std::uint32_t getHeaderULong(mime::HeaderName header) const;
  // The whole value without case; false for a missing header.
  bool headerEquals(mime::HeaderName header, const char* text) const;
  // Copies a header to a property in the form that the tag's type asks for; texts go out wide. False, and the property is
  // left alone, when the header is missing; at message level also for a Date that can't be read. E_INVALIDARG for a null
  // header or a type other than number, text and time.
  bool getHeaderIfExists(ULONG tag, mime::HeaderName header) const;

  ToMapiFlags flags() const { return this->data().getToMapiFlags(); }
  bool hasFlag(ToMapiFlags flag) const { return hasAny(flags(), flag); }

  // The first step of a run: restores what travelled as annotations, from X-MAPI if the text came out of an attachment, else
  // from the caller's set. The steps behind it overwrite what MIME knows better.
  void readAnnotations() const;

 private:
  // Puts the decoded header X-MAPI, if there is one, into the annotation stream.
  void loadXMapi() const;
};

}  // namespace toMapi
}  // namespace nalvo
