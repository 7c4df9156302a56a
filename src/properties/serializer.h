// The text of a property value: a tag of its type and the tokens of the value, as "LONG 0000002a". The server keeps what one
// client wrote and hands it to another, so a value reads back byte for byte.
#pragma once

#include <string>
#include <string_view>

#include "nalvo/interfaces.h"

namespace nalvo::Serializer {

// Throws E_INVALIDARG for null, for a null text, GUID or array inside and for a type that never has a text, E_NOTIMPL for
// currencies and variant times.
std::string toString(const SPropValue* value);

// Reads a text into `value`, whose tag is set and which is a block of the allocator: all that hangs on it is allocated with
// it as parent. Throws E_INVALIDARG and E_NOTIMPL as above, MAPI_E_CORRUPT_DATA for a text that is none of that type, and
// the allocator's code. A failure leaves the value partly filled. What stands behind the value is ignored.
void fromString(std::string_view text, IMapiAllocator* allocator, SPropValue* value);

}  // namespace nalvo::Serializer
