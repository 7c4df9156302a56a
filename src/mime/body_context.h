// What the readers and writers of a body ask about the message that it belongs to. A body that belongs to none has answers
// of its own.
#pragma once

#include "mime/body.h"

namespace nalvo::mime {

HeaderStyle headerStyle(const Body& body);
// For raw 8-bit bytes in the row; null when it has none.
const Charset* readingCharset(const Body& body, const HeaderRow& row);
// For text that is given as UTF-16. Never null.
const Charset* writingCharset(const Body& body);
// What a caller set for the whole message; null if nobody did.
const Charset* chosenCharset(const Body& body);
// The charset parameter of the root, if it is known.
const Charset* rootCharset(const Body& body);

bool isTextBody(const Body& body);
// Reads as an attachment though no row says so.
bool isRescued(const Body& body);
// Nothing in its message was changed since it was loaded.
bool isUntouched(const Body& body);

// The root of the message that the body holds.
Body& embeddedRoot(const Body& body);
// Releases a message, but never from within the release of another: messages in messages are as deep as callers like.
void releaseLater(ComPtr<IMimeMessage> message) noexcept;

}  // namespace nalvo::mime
