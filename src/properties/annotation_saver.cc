#include "properties/annotation_saver.h"

#include <algorithm>
#include <string>

#include "diagnostics/hresult_exception.h"
#include "platform/mapi/property_types.h"
#include "properties/annotation_name.h"
#include "properties/annotation_stream.h"
#include "properties/mapi_alloc.h"
#include "properties/mapi_prop_utils.h"
#include "properties/narrow_text.h"
#include "properties/serializer.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\Annotations"};

// A text is prepared and written in pieces of this many characters, so that a big value is never held twice.
constexpr std::size_t kPiece = 65536;

}  // namespace

AnnotationSaver::AnnotationSaver(IConvertObject* object, IAnnotations* annotations)
    : object_(ComPtr<IConvertObject>::retain(object)), annotations_(ComPtr<IAnnotations>::retain(annotations)) {
  if (object == nullptr || annotations == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("AnnotationSaver::AnnotationSaver"));
  }
  allocator_ = MapiPropUtils::detail::getAllocator(nullptr, object);
}

AnnotationSaver::AnnotationSaver(IConvertObject* object, IStream* stream)
    : object_(ComPtr<IConvertObject>::retain(object)), stream_(ComPtr<IStream>::retain(stream)) {
  if (object == nullptr || stream == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("AnnotationSaver::AnnotationSaver"));
  }
  allocator_ = MapiPropUtils::detail::getAllocator(nullptr, object);
  write(annotation_stream::kMarker);
}

void AnnotationSaver::addProperty(ULONG tag) {
  if (propType(tag) == PT_OBJECT) {
    return;
  }
  addProperty(MapiPropUtils::getProp(object_.get(), tag, allocator_.get()).get());
}

void AnnotationSaver::addProperty(const SPropValue* value) {
  if (value == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("AnnotationSaver::addProperty"));
  }
  if (propType(value->ulPropTag) == PT_OBJECT) {
    return;
  }
  if (stream_) {
    addToStream(*value);
  } else {
    addToAnnotations(*value);
  }
}

void AnnotationSaver::addToAnnotations(const SPropValue& value) {
  const std::string text = Serializer::toString(&value);
  const std::string name = annotationName(value.ulPropTag, AnnotationPath::Vendor, object_.get(), allocator_.get());
  checkHResult(annotations_->addAnnotation(name.c_str(), text.c_str()), kSource.at("AnnotationSaver::addToAnnotations"));
}

void AnnotationSaver::addToStream(const SPropValue& value) {
  const std::string name = annotationName(value.ulPropTag, AnnotationPath::Short, object_.get(), allocator_.get());
  const std::string text = Serializer::toString(&value);
  if (notFirst_) {
    write(" ");
  }
  write("\"");
  writeQuoted(name);
  write("\" \"");
  writeQuoted(text);
  write("\"");
  notFirst_ = true;
}

void AnnotationSaver::writeQuoted(std::string_view text) {
  std::string sanitised;
  std::string stored;
  for (; !text.empty(); text.remove_prefix(std::min(kPiece, text.size()))) {
    sanitised.clear();
    stored.clear();
    annotation_stream::appendSanitised(text.substr(0, kPiece), sanitised);
    appendStored(sanitised, stored);
    write(stored);
  }
}

void AnnotationSaver::write(std::string_view bytes) {
  constexpr const char* kWhere = "AnnotationSaver::write";
  // A stream that takes less gets the rest in further calls.
  while (!bytes.empty()) {
    ULONG written = 0;
    checkHResult(stream_->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written), kSource.at(kWhere));
    if (written == 0) {
      throwHResult(STG_E_MEDIUMFULL, kSource.at(kWhere));
    }
    bytes.remove_prefix(std::min<std::size_t>(written, bytes.size()));
  }
}

}  // namespace nalvo
