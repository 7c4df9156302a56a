#include "properties/annotation_name.h"

#include "diagnostics/hresult_exception.h"
#include "platform/mapi/property_types.h"
#include "properties/lexical.h"
#include "properties/map_name.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\Annotations"};

constexpr std::string_view kVendorPath = "/vendor/nalvo/mapi";
constexpr std::string_view kNames = "/names/";
constexpr std::string_view kTags = "/tags/";

bool takePrefix(std::string_view& text, std::string_view prefix) {
  const bool found = text.substr(0, prefix.size()) == prefix;
  if (found) {
    text.remove_prefix(prefix.size());
  }
  return found;
}

bool hasValues(ULONG tag) {
  const ULONG type = propType(tag);
  return type != PT_UNSPECIFIED && type != PT_OBJECT && type != PT_ERROR && type != PT_NULL;
}

}  // namespace

std::string annotationName(ULONG tag, AnnotationPath path, IConvertObject* object, IMapiAllocator* allocator) {
  std::string name(path == AnnotationPath::Vendor ? kVendorPath : std::string_view());
  if (propId(tag) >= kFirstNamedId) {
    name += kNames;
    return name += MapiName::fromPropertyTag(tag, object, allocator).annotationString();
  }
  LexicalSynthesizer number;
  number.putLong(tag);
  name += kTags;
  return name += number.text();
}

std::optional<ULONG> tagFromAnnotationName(std::string_view text, AnnotationPath path, IConvertObject* object) {
  if (path == AnnotationPath::Short || takePrefix(text, kVendorPath)) {
    if (takePrefix(text, kNames)) {
      const MapiName name = MapiName::fromAnnotationString(text);
      return hasValues(name.type()) ? std::optional(name.getPropertyTag(object)) : std::nullopt;
    }
    if (takePrefix(text, kTags)) {
      const ULONG tag = LexicalParser(text).getLong();
      return propId(tag) < kFirstNamedId && hasValues(tag) ? std::optional(tag) : std::nullopt;
    }
  }
  throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("detail::corruptedData"));
}

}  // namespace nalvo
