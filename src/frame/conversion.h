// The driver between an export and a convertor.
#pragma once

#include <string>

#include "frame/flags.h"
#include "mime/mime.h"
#include "nalvo/interfaces.h"

namespace nalvo::Conversion {

// Messages lie inside messages at most this deep. Deeper ones would end on the stack: towards MAPI the innermost stays a
// file (MAPI_E_CORRUPT_DATA, which the attachment step answers so), towards MIME the run fails with MAPI_E_TOO_COMPLEX.
inline constexpr int kMaxEmbedding = 100;

// The forms of the exports. Throw E_INVALIDARG for a null argument that is not optional there, and whatever fails first.
void mapiToMime(IConvertMessage* message, IAnnotations* annotations, IStream* stream, IMimeFlags* mimeFlags,
                IMapiAllocator* allocator, ToMimeFlags flags, Converted* converted);
// MAPI_E_NO_SUPPORT when the class can't be converted without its body.
void mimeToMapi(IAnnotations* annotations, IStream* stream, IMimeFlags* mimeFlags, IConvertMessage* message,
                IMapiAllocator* allocator, ToMapiFlags flags);
bool mimeToMapiSupportNoBody(const char16_t* messageClass);

// The forms for a message inside another one. `result` takes one reference.
void mapiToMime(IConvertMessage* message, IMapiAllocator* allocator, ToMimeFlags flags, mime::IMimeMessage** result);
// The class that the text shows is always written to the message.
void mimeToMapi(IStream* stream, IConvertMessage* message, IMapiAllocator* allocator, ToMapiFlags flags);

namespace detail {

// The message's class; empty when it has none or it can't be read.
std::u16string readClass(IConvertMessage* message, IMapiAllocator* allocator);

}  // namespace detail
}  // namespace nalvo::Conversion
