// Typed reads and writes of single properties.
//
// Every function throws E_INVALIDARG for a null object or a tag of another type than the function takes, and otherwise the
// object's own code. Texts cross as UTF-16 whatever the tag says, except where a name says "Ansi".
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nalvo/interfaces.h"
#include "platform/com/com_ptr.h"
#include "properties/mapi_alloc.h"

namespace nalvo::MapiPropUtils {

// Getters. A property that is absent is MAPI_E_NOT_FOUND, as a rule; ask propertyExists first. An answer of another type
// than the one asked for is MAPI_E_UNEXPECTED_TYPE, one of PT_ERROR throws its code. A null `allocator` costs a call to ask
// the object for its own.
std::uint32_t propULong(IConvertObject* object, ULONG tag, IMapiAllocator* allocator = nullptr);
bool propBool(IConvertObject* object, ULONG tag, IMapiAllocator* allocator = nullptr);
double propDouble(IConvertObject* object, ULONG tag, IMapiAllocator* allocator = nullptr);
// UTC, as stored.
SYSTEMTIME propSysTime(IConvertObject* object, ULONG tag, IMapiAllocator* allocator = nullptr);
// The exact bytes.
std::string propBinary(IConvertObject* object, ULONG tag, IMapiAllocator* allocator = nullptr);
std::u16string propUnicodeT(IConvertObject* object, ULONG tag, IMapiAllocator* allocator = nullptr);
// Asked for as PT_STRING8: bytes in the object's 8-bit code page.
std::string propAnsi(IConvertObject* object, ULONG tag, IMapiAllocator* allocator = nullptr);
std::vector<std::uint32_t> propMultiULong(IConvertObject* object, ULONG tag, IMapiAllocator* allocator = nullptr);
std::vector<std::string> propMultiUtf8(IConvertObject* object, ULONG tag, IMapiAllocator* allocator = nullptr);
// The value as it comes.
MapiBuffer<SPropValue> getProp(IConvertObject* object, ULONG tag, IMapiAllocator* allocator = nullptr);

// Setters. A property that the object computes by itself (MAPI_E_COMPUTED) is not written, and that is a success. The multi
// forms throw E_INVALIDARG for no values at all.
void setULong(IConvertObject* object, ULONG tag, std::uint32_t value);
void setBool(IConvertObject* object, ULONG tag, bool value);
void setDouble(IConvertObject* object, ULONG tag, double value);
void setSysTime(IConvertObject* object, ULONG tag, const SYSTEMTIME& value);
void setBinary(IConvertObject* object, ULONG tag, const void* bytes, ULONG count);
void setBinary(IConvertObject* object, ULONG tag, std::string_view bytes);
void setAnsiString(IConvertObject* object, ULONG tag, std::string_view value);
// A null character ends a text for those who read it, so here and below none is written, and what stands behind one stays.
void setUnicode(IConvertObject* object, ULONG tag, std::u16string_view value);
void setUnicodeIfNotEmpty(IConvertObject* object, ULONG tag, std::u16string_view value);
// A text that is no UTF-8 is written as an empty one.
void setUtf8(IConvertObject* object, ULONG tag, std::string_view value);
void setMultiLong(IConvertObject* object, ULONG tag, std::span<const std::uint32_t> values);
void setMultiBin(IConvertObject* object, ULONG tag, std::span<const std::string> values);
void setMultiUnicode(IConvertObject* object, ULONG tag, std::span<const std::u16string> values);

bool propertyExists(IConvertObject* object, ULONG tag);
// S_OK when the source has no such property, otherwise what setProp answered, MAPI_E_COMPUTED included.
HRESULT propCopyIfExist(IConvertObject* source, IConvertObject* destination, IMapiAllocator* allocator, ULONG tag);
// Nothing happens when it is absent, also when it vanishes in between.
void deletePropIfExist(IConvertObject* object, ULONG tag);

namespace detail {

// `allocator` if it is given, else the object's own.
ComPtr<IMapiAllocator> getAllocator(IMapiAllocator* allocator, IConvertObject* object);
// The rule of all setters for what setProp answered.
void setPropInternal(HRESULT hr);

}  // namespace detail
}  // namespace nalvo::MapiPropUtils
