// The name under which a property travels: its tag, or for a named property its name, whose id holds within one object only.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "nalvo/interfaces.h"

namespace nalvo {

// Entries of IAnnotations have the long path, those of a stream the short one.
enum class AnnotationPath { Vendor, Short };

// "/tags/0037001f" or "/names/0000101f {...} [UN] "Keywords"". Asks `object` for the name of a tag whose identifier is
// 0x8000 or above. Throws what MapiName::fromPropertyTag throws.
std::string annotationName(ULONG tag, AnnotationPath path, IConvertObject* object, IMapiAllocator* allocator);

// The tag on `object`, which gives a new name an id. No value for an entry that nobody may set from outside: a bare
// identifier of 0x8000 or above, which means another property in each store, or a type without values. Throws
// MAPI_E_CORRUPT_DATA for what is no such name, and what MapiName::getPropertyTag throws.
std::optional<ULONG> tagFromAnnotationName(std::string_view text, AnnotationPath path, IConvertObject* object);

}  // namespace nalvo
