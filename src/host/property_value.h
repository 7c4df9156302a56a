// A property value as the host keeps it.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "nalvo/interfaces.h"
#include "platform/com/com_ptr.h"
#include "platform/text/code_pages.h"

namespace nalvo::host {

// Bytes of PT_BINARY or of a PT_STRING8 text are std::string. Values of the multi types are vectors. A value that was
// written through a stream stays one: UTF-16 for PT_UNICODE, bytes for PT_BINARY and PT_STRING8.
using PropertyContent =
    std::variant<std::monostate, std::int16_t, std::int32_t, std::int64_t, float, double, bool, FILETIME, GUID, std::string,
                 std::u16string, std::vector<std::int16_t>, std::vector<std::int32_t>, std::vector<std::int64_t>,
                 std::vector<float>, std::vector<double>, std::vector<FILETIME>, std::vector<GUID>, std::vector<std::string>,
                 std::vector<std::u16string>, ComPtr<IStream>>;

struct PropertyRecord {
  ULONG type = 0;  // as it was stored, so that a narrow text stays narrow in a file
  PropertyContent content;
  CodePage codePage = 0;  // of a narrow text that came from a file; 0 is the ANSI code page
};

// True for a type whose values the library can write as text, so that they travel.
bool hasTextForm(ULONG type);
// True for a time that is out of the range of SYSTEMTIME.
bool hasOddTime(const PropertyRecord& record);

// A copy of a caller's value. No value for a type that no property has or a null array that counts elements.
std::optional<PropertyRecord> recordOf(const SPropValue& value);
// The value as one block of HostAllocator under `tag`, whose type is that of the record or the other width of it.
// A narrow text is answered narrow as it is stored; a wide one as ANSI text, or as UTF-8 where it has characters that the
// ANSI code page lacks. MAPI_E_NOT_FOUND for a type that the record can't give; MAPI_E_TOO_BIG for a stream of 2^32 bytes
// and more; the allocator's or the stream's code.
HRESULT makeSPropValue(const PropertyRecord& record, ULONG tag, SPropValue** out);
// True if a value of type `stored` answers for `wanted`: the same type, or a text of the other width.
bool answersFor(ULONG stored, ULONG wanted);
// The value as a stream for reading at its start: wide text for PT_UNICODE, bytes otherwise. MAPI_E_NOT_FOUND for a type
// that is no stream.
HRESULT openRecord(const PropertyRecord& record, ULONG type, IStream** out);
// The whole of a record's text or bytes; a stream is read through a clone. A narrow text is decoded in its code page. Throws
// the stream's code.
std::u16string textOf(const PropertyRecord& record);
std::string bytesOf(const PropertyRecord& record);
// The elements of a multi-valued text.
std::vector<std::u16string> textsOf(const PropertyRecord& record);

}  // namespace nalvo::host
