// The vocabulary in which the system moves bytes between streams.
//
// Every operation throws: E_INVALIDARG for a null stream, else the code of the stream call that failed.
#pragma once

#include <string>
#include <string_view>

#include "platform/com/com_ptr.h"

namespace nalvo::streamUtils {

// An empty stream, in memory while small, in a temporary file beyond.
void createStream(IStream** out);
ComPtr<IStream> createStream();

// MAPI_E_TOO_BIG for 2^32 bytes and more.
std::uint32_t getStreamSize(IStream* stream);
void rewind(IStream* stream);
// Moves from the present position, not from the start.
void seek(IStream* stream, std::int32_t offset);
// All that lies behind the source's position. The destination's position stays behind what was written; the source's comes
// back with `keepPosition`. E_INVALIDARG for one stream on both sides.
void copy(IStream* source, IStream* destination, bool keepPosition);
// Appends the rest of the stream, taken as UTF-16 in the machine's order. An odd last byte is dropped.
void copyToString(IStream* stream, std::u16string& text, bool rewindAfter);
// Turns the whole source, wide plain text, into wide HTML text: & " ' < > become entities and each line end a <br> with
// CR LF. A source that fails to read ends there. A CR LF across a border of 0x8000 characters gives two <br>. The
// destination is not rewound. E_INVALIDARG for one stream on both sides.
void replaceHtmlEntities(IStream* source, IStream* destination);

namespace detail {

void checkStream(IStream* stream);
// Exactly `size` bytes; STG_E_READFAULT for less, E_INVALIDARG for a null buffer.
void readData(IStream* stream, void* buffer, std::uint32_t size);

// One Write without a terminator; none for an empty or null text. Wide text goes out as UTF-16 in the machine's order.
void writeStr(IStream* stream, std::string_view text);
void writeStr(IStream* stream, std::u16string_view text);
void writeStr(IStream* stream, const char* text);
void writeStr(IStream* stream, const char16_t* text);
void writeStr(IStream* stream, const void* bytes, std::uint32_t count);

}  // namespace detail
}  // namespace nalvo::streamUtils
