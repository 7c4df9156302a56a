#include "properties/map_name.h"

#include "diagnostics/hresult_exception.h"
#include "platform/mapi/property_types.h"
#include "platform/text/text.h"
#include "properties/lexical.h"
#include "properties/mapi_alloc.h"
#include "properties/mapi_prop_utils.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\MapiName"};

// What tells the kind of a name in its text.
constexpr std::string_view kById = "[I]";
constexpr std::string_view kByNarrowName = "[N]";  // only read
constexpr std::string_view kByWideName = "[UN]";

// Only the low half is a type; the other half of an outside text must not reach the identifier of a tag.
ULONG wideType(ULONG type) {
  switch (propType(type)) {
    case PT_STRING8:
      return PT_UNICODE;
    case PT_MV_STRING8:
      return PT_MV_UNICODE;
    default:
      return propType(type);
  }
}

}  // namespace

MapiName::MapiName(const GUID& set, std::u16string name, ULONG type)
    : set_(set), kind_(MNID_STRING), name_(std::move(name)), type_(wideType(type)) {}

MapiName::MapiName(const GUID& set, std::uint32_t id, ULONG type)
    : set_(set), kind_(MNID_ID), id_(id), type_(wideType(type)) {}

MapiName::MapiName(const NamedProperty& property)
    : MapiName(property.name != nullptr ? MapiName(property.set, std::u16string(property.name), property.type)
                                        : MapiName(property.set, property.id, property.type)) {}

MapiName MapiName::fromPropertyTag(ULONG tag, IConvertObject* object, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiName::fromPropertyTag";
  if (object == nullptr || propType(tag) == PT_UNSPECIFIED) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  FreeBuffer freeBuffer = nullptr;
  checkHResult(MapiPropUtils::detail::getAllocator(allocator, object)->getAllocators(nullptr, nullptr, &freeBuffer),
               kSource.at(kWhere));
  if (freeBuffer == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  MapiBuffer<MAPINAMEID> answer(freeBuffer);
  checkHResult(object->getNamesFromIds(tag, answer.put()), kSource.at(kWhere));
  if (!answer || answer->lpguid == nullptr) {
    throwHResult(MAPI_E_NOT_FOUND, kSource.at(kWhere));
  }
  if (answer->ulKind == MNID_ID) {
    return MapiName(*answer->lpguid, static_cast<std::uint32_t>(answer->Kind.lID), propType(tag));
  }
  const char16_t* text = answer->Kind.lpwstrName;
  return MapiName(*answer->lpguid, text == nullptr ? std::u16string() : std::u16string(text), propType(tag));
}

ULONG MapiName::getPropertyTag(IConvertObject* object) const {
  constexpr const char* kWhere = "MapiName::getPropertyTag";
  if (object == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  GUID set = set_;
  std::u16string name = name_;
  MAPINAMEID query{};
  query.lpguid = &set;
  query.ulKind = kind_;
  if (kind_ == MNID_ID) {
    query.Kind.lID = static_cast<std::int32_t>(id_);
  } else {
    query.Kind.lpwstrName = name.data();
  }
  ULONG tag = 0;
  checkHResult(object->getIdsFromNames(&query, 1, &tag), kSource.at(kWhere));
  if (propType(tag) == PT_ERROR) {
    throwHResult(E_FAIL, kSource.at(kWhere));
  }
  return changePropType(tag, type_);
}

std::string MapiName::annotationString() const {
  LexicalSynthesizer out;
  out.putLong(type_);
  out.putGuid(set_);
  if (kind_ == MNID_ID) {
    out.putRaw(kById);
    out.putLong(id_);
  } else {
    out.putRaw(kByWideName);
    out.putWideString(name_);
  }
  return out.take();
}

MapiName MapiName::fromAnnotationString(std::string_view text) {
  LexicalParser in(text);
  const ULONG type = in.getLong();
  const GUID set = in.getGuid();
  const std::string_view kind = in.nextToken();
  if (kind == kById) {
    return {set, in.getLong(), type};
  }
  if (kind == kByNarrowName) {
    return {set, ansiToWide(in.getString()), type};
  }
  if (kind == kByWideName) {
    return {set, in.getStringOld(), type};
  }
  throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("MapiName::fromAnnotationString"));
}

MapiName::NamedTag::NamedTag(IConvertObject* object) : object_(ComPtr<IConvertObject>::retain(object)) {
  if (object == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("MapiName::NamedTag::NamedTag"));
  }
}

ULONG MapiName::NamedTag::operator()(const MapiName& name) const { return name.getPropertyTag(object_.get()); }

ULONG NamedTagCache::tagOf(const NamedProperty& property, IConvertObject* object) {
  const auto key = std::pair(&property, object);
  if (const auto known = tags_.find(key); known != tags_.end()) {
    return known->second;
  }
  const ULONG tag = MapiName(property).getPropertyTag(object);
  tags_.emplace(key, tag);
  return tag;
}

}  // namespace nalvo
