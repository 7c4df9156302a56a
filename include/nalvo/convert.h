// The exports: one call, one conversion.
//
// No exception leaves an export. Failures come back as the HRESULT of the first thing that failed; with a log they are also
// written there. What was written to the caller's object before a failure stays there, unsaved.
#pragma once

#include "nalvo/com.h"
#include "nalvo/interfaces.h"

#pragma GCC visibility push(default)
extern "C" {

// Words that steer a conversion. A bit means one thing going to MIME and another going to MAPI.
extern const nalvo::DWORD CONVERT_NORMAL;           // 0x0000, both: full conversion
extern const nalvo::DWORD CONVERT_FOR_SEND;         // 0x0001, to MIME: the text goes out on the wire
extern const nalvo::DWORD CONVERT_TO_ATTACHMENT;    // 0x0002, to MIME: what MIME can't hold travels in X-MAPI
extern const nalvo::DWORD CONVERT_NO_MIME_STREAM;   // 0x0004, to MIME: inside the library; the exports still need a stream
extern const nalvo::DWORD CONVERT_JUST_CHANGED;     // 0x0008, to MIME: only if it is the whole word
extern const nalvo::DWORD CONVERT_NO_ATTACHMENT;    // 0x0001, to MAPI: attachments are not loaded
extern const nalvo::DWORD CONVERT_FROM_ATTACHMENT;  // 0x0002, to MAPI: annotations come from X-MAPI, flags are not asked
extern const nalvo::DWORD CONVERT_WITHOUT_BODY;     // 0x0004, to MAPI: the stream holds no body
extern const nalvo::DWORD CONVERT_JUST_FLAGS;       // 0x0008, to MAPI: only flags and dates
extern const nalvo::DWORD CONVERT_EMBED_AS_NORMAL;  // 0x4000, to MAPI: inside the library, for embedded tasks
extern const nalvo::DWORD CONVERT_INSIDE_MAPI;      // 0x8000, both: the caller runs inside a MAPI provider

// Parts that a conversion to MIME produced. With CONVERT_JUST_CHANGED flags and annotations are written whatever the word
// says; the word tells the caller what to take.
extern const nalvo::DWORD CONVERTED_NOTHING;      // 0
extern const nalvo::DWORD CONVERTED_FLAGS;        // 1
extern const nalvo::DWORD CONVERTED_BODY;         // 2
extern const nalvo::DWORD CONVERTED_ANNOTATIONS;  // 4

// An empty stream, in memory up to 2,000,000 bytes and in a temporary file beyond.
nalvo::HRESULT createStream(nalvo::IStream** out) noexcept;

// Writes `message` as MIME text into `stream` at its position and leaves the position there. The text is not cut behind
// its end: hand in an empty stream.
//
// annotations, mimeFlags  may be null with CONVERT_FOR_SEND or CONVERT_TO_ATTACHMENT.
// converted               takes CONVERTED_* bits; may be null unless flags is CONVERT_JUST_CHANGED.
// log                     may be null.
nalvo::HRESULT mapiToMime(nalvo::IConvertMessage* message, nalvo::IAnnotations* annotations, nalvo::IStream* stream,
                          nalvo::IMimeFlags* mimeFlags, nalvo::IMapiAllocator* allocator, nalvo::DWORD flags,
                          nalvo::DWORD* converted, nalvo::ILog* log) noexcept;

// Reads the MIME text of `stream` from its position into `message`, which the caller then saves. Only `log` may be null.
nalvo::HRESULT mimeToMapi(nalvo::IAnnotations* annotations, nalvo::IStream* stream, nalvo::IMimeFlags* mimeFlags,
                          nalvo::IConvertMessage* message, nalvo::IMapiAllocator* allocator, nalvo::DWORD flags,
                          nalvo::ILog* log) noexcept;

// S_OK if a message of this class can be converted with CONVERT_WITHOUT_BODY, S_FALSE if not.
nalvo::HRESULT mimeToMapiSupportNoBody(const char16_t* messageClass, nalvo::ILog* log) noexcept;

// Folders and stores travel as annotations alone. `flags` is 0. The two FromMapiToMime calls answer S_FALSE when nothing
// convertible had changed.
nalvo::HRESULT folderFromMapiToMime(nalvo::IConvertFolder* folder, nalvo::IAnnotations* annotations, nalvo::DWORD flags,
                                    nalvo::ILog* log) noexcept;
nalvo::HRESULT folderFromMimeToMapi(nalvo::IAnnotations* annotations, nalvo::IConvertFolder* folder, nalvo::DWORD flags,
                                    nalvo::ILog* log) noexcept;
nalvo::HRESULT storeFromMapiToMime(nalvo::IConvertStore* store, nalvo::IAnnotations* annotations, nalvo::DWORD flags,
                                   nalvo::ILog* log) noexcept;
nalvo::HRESULT storeFromMimeToMapi(nalvo::IAnnotations* annotations, nalvo::IConvertStore* store, nalvo::DWORD flags,
                                   nalvo::ILog* log) noexcept;
}
#pragma GCC visibility pop
