// Transfer codings from stream to stream and in memory.
#pragma once

#include <string>

#include "nalvo/com.h"

namespace nalvo::Coder {

// From the source's position to its end. The destination has to be empty or at offset 0: it is cut behind what is written,
// and rewound. A source that fails to read gives zero bytes in place of the data, by its size.
//
// Throw E_INVALIDARG for a null stream, MAPI_E_TOO_BIG for more than 2^32 - 1 bytes, E_FAIL for an encoder's source of
// 0x20000000 bytes or more, and the code of a call that failed. Once the work has begun, a failure empties the destination.
void decodeQP(IStream* source, IStream* destination);
void decodeBase64(IStream* source, IStream* destination);
// In lines of 76 characters: Base64Lines::Of76.
void encodeBase64(IStream* source, IStream* destination);

// In memory, without line breaks. A code instead of an exception: E_INVALIDARG for a null source or a null `data` with a
// size above 0. A failure leaves `text` empty.
HRESULT encodeBase64(IStream* source, std::string& text) noexcept;
HRESULT encodeBase64(const void* data, std::size_t size, std::string& text) noexcept;
HRESULT decodeBase64(const void* data, std::size_t size, std::string& text) noexcept;

}  // namespace nalvo::Coder
