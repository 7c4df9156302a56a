#include "frame/conversion.h"

#include "diagnostics/hresult_exception.h"
#include "frame/convertor_list.h"
#include "frame/message_class_detector.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"
#include "properties/mapi_prop_utils.h"

namespace nalvo::Conversion {
namespace {

constexpr SourceFile kSource{".\\Conversion"};

void checkArguments(const char* function, std::initializer_list<const void*> arguments) {
  for (const void* argument : arguments) {
    if (argument == nullptr) {
      throwHResult(E_INVALIDARG, kSource.at(function));
    }
  }
}

// How deep this thread stands in messages inside messages.
class EmbeddingDepth {
 public:
  EmbeddingDepth(HRESULT tooDeep, const char* function) {
    if (depth() >= kMaxEmbedding) {
      throwHResult(tooDeep, kSource.at(function), "Too many messages inside messages.");
    }
    ++depth();
  }
  ~EmbeddingDepth() { --depth(); }
  EmbeddingDepth(const EmbeddingDepth&) = delete;
  EmbeddingDepth& operator=(const EmbeddingDepth&) = delete;

 private:
  static int& depth() {
    thread_local int value = 0;
    return value;
  }
};

ComPtr<IConvertor> convertorOf(const std::u16string& messageClass) {
  return ConvertorList::instance().getConvertor(messageClass.c_str());
}

// The detected class is written over a class that says nothing; a more specific one of the client stays.
void setDetectedClass(IConvertMessage* message, IMapiAllocator* allocator, std::u16string_view detected) {
  const std::u16string present = detail::readClass(message, allocator);
  const bool saysNothing = present.empty() || equalsIgnoreCase(present, u"IPM") || equalsIgnoreCase(present, u"IPM.Note");
  if (saysNothing && !detected.empty()) {
    MapiPropUtils::setUnicode(message, PR_MESSAGE_CLASS, detected);
  }
}

}  // namespace

std::u16string detail::readClass(IConvertMessage* message, IMapiAllocator* allocator) {
  try {
    return MapiPropUtils::propUnicodeT(message, PR_MESSAGE_CLASS, allocator);
  } catch (const HResultException& wide) {
    if (wide.getHResult() != MAPI_E_BAD_CHARWIDTH) {
      return {};
    }
  }
  try {
    return ansiToWide(MapiPropUtils::propAnsi(message, PR_MESSAGE_CLASS_A, allocator));
  } catch (const HResultException&) {
    return {};
  }
}

void mapiToMime(IConvertMessage* message, IAnnotations* annotations, IStream* stream, IMimeFlags* mimeFlags,
                IMapiAllocator* allocator, ToMimeFlags flags, Converted* converted) {
  checkArguments("Conversion::mapiToMime", {message, stream, allocator});
  convertorOf(detail::readClass(message, allocator))
      ->mapiToMime(message, annotations, stream, mimeFlags, allocator, flags, converted);
}

void mapiToMime(IConvertMessage* message, IMapiAllocator* allocator, ToMimeFlags flags, mime::IMimeMessage** result) {
  constexpr const char* kWhere = "Conversion::mapiToMime";
  checkArguments(kWhere, {message, allocator, result});
  const EmbeddingDepth depth(MAPI_E_TOO_COMPLEX, kWhere);
  convertorOf(detail::readClass(message, allocator))->mapiToMime(message, allocator, flags, result);
}

void mimeToMapi(IAnnotations* annotations, IStream* stream, IMimeFlags* mimeFlags, IConvertMessage* message,
                IMapiAllocator* allocator, ToMapiFlags flags) {
  constexpr const char* kWhere = "Conversion::mimeToMapi";
  checkArguments(kWhere, {message, annotations, stream, mimeFlags, allocator});
  const bool detect = !hasAny(flags, ToMapiFlags::WithoutBody | ToMapiFlags::JustFlags);
  const std::u16string messageClass =
      detect ? MessageClassDetector::detect(stream, false) : detail::readClass(message, allocator);
  const ComPtr<IConvertor> convertor = convertorOf(messageClass);
  if (hasAny(flags, ToMapiFlags::WithoutBody) && !convertor->mimeToMapiSupportNoBody()) {
    throw NoBodyError(wideToAnsi(messageClass)).at(kSource.at(kWhere));
  }
  if (detect) {
    setDetectedClass(message, allocator, messageClass);
  }
  convertor->mimeToMapi(annotations, stream, mimeFlags, message, allocator, flags);
}

void mimeToMapi(IStream* stream, IConvertMessage* message, IMapiAllocator* allocator, ToMapiFlags flags) {
  constexpr const char* kWhere = "Conversion::mimeToMapi";
  checkArguments(kWhere, {stream, message, allocator});
  const EmbeddingDepth depth(MAPI_E_CORRUPT_DATA, kWhere);
  const std::u16string messageClass = MessageClassDetector::detect(stream, true);
  if (!messageClass.empty()) {
    MapiPropUtils::setUnicode(message, PR_MESSAGE_CLASS, messageClass);
  }
  convertorOf(messageClass)->mimeToMapi(stream, message, allocator, flags);
}

bool mimeToMapiSupportNoBody(const char16_t* messageClass) {
  return ConvertorList::instance().getConvertor(messageClass)->mimeToMapiSupportNoBody();
}

}  // namespace nalvo::Conversion
