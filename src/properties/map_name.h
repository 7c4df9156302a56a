// Named properties: their names, which hold everywhere, and their tags, which hold within one object alone.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "nalvo/interfaces.h"
#include "platform/com/com_ptr.h"
#include "properties/property_sets.h"

namespace nalvo {

// A named property that the convertors know by heart. Rows are constants; their address tells them apart.
struct NamedProperty {
  GUID set;
  ULONG type;
  const char16_t* name;  // null for one that is named by number
  std::uint32_t id;
};

// The name of a property. Texts are always wide: PT_STRING8 becomes PT_UNICODE, PT_MV_STRING8 becomes PT_MV_UNICODE.
class MapiName {
 public:
  MapiName(const GUID& set, std::u16string name, ULONG type);
  MapiName(const GUID& set, std::uint32_t id, ULONG type);
  explicit MapiName(const NamedProperty& property);

  // The name of a tag on an object. Throws E_INVALIDARG for a null object or a tag without a type, and the object's code.
  static MapiName fromPropertyTag(ULONG tag, IConvertObject* object, IMapiAllocator* allocator);
  // The tag on an object, which gives the name an id if it has none. Throws E_INVALIDARG for a null object, E_FAIL for an
  // answer of PT_ERROR, and the object's code.
  ULONG getPropertyTag(IConvertObject* object) const;

  // The name as text, which holds everywhere: "0000101f {00020329-0000-0000-C000-000000000046} [UN] "Keywords"".
  std::string annotationString() const;
  // Throws MAPI_E_CORRUPT_DATA for a text that is no name.
  static MapiName fromAnnotationString(std::string_view text);

  const GUID& set() const { return set_; }
  ULONG kind() const { return kind_; }
  const std::u16string& name() const { return name_; }
  std::uint32_t id() const { return id_; }
  ULONG type() const { return type_; }

  // Maps names to tags on one object, which it holds.
  class NamedTag {
   public:
    // Throws E_INVALIDARG for a null object.
    explicit NamedTag(IConvertObject* object);
    ULONG operator()(const MapiName& name) const;

   private:
    ComPtr<IConvertObject> object_;
  };

 private:
  GUID set_;
  ULONG kind_;
  std::u16string name_;
  std::uint32_t id_ = 0;
  ULONG type_;
};

// The tags of one run. An id holds within one object only, so a run asks each object once and forgets all at its end.
class NamedTagCache {
 public:
  // Throws what MapiName::getPropertyTag throws.
  ULONG tagOf(const NamedProperty& property, IConvertObject* object);
  void clear() { tags_.clear(); }

 private:
  std::map<std::pair<const NamedProperty*, IConvertObject*>, ULONG> tags_;
};

}  // namespace nalvo
