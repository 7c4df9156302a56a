// The published names of property tags, types and named properties, for people who read a dump.
#pragma once

#include <string>
#include <string_view>

#include "properties/map_name.h"

namespace nalvo {

// "PR_SUBJECT"; empty for a tag whose name is not published. The type counts: 0x37010102 and 0x3701000D are two properties;
// narrow and wide texts share a name.
std::string_view tagName(ULONG tag);
// "PT_UNICODE", or the number in hexadecimal for a type that has no name.
std::string typeName(ULONG type);
// "PidLidReminderSet"; empty if none is published.
std::string_view namedPropertyName(const GUID& set, std::uint32_t id);

}  // namespace nalvo
