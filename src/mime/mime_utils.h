// Which bodies of a message travel as attachments, and how the data of a body is read.
#pragma once

#include <functional>

#include "mime/mime.h"

namespace nalvo::MimeUtils {

// All throw E_INVALIDARG for null and the codes of the MIME objects.
bool isBodyAttachment(mime::IMimeMessageTree* tree, mime::HBODY body);
// Calls back with each body that counts as an attachment, in order.
void enumAttachments(mime::IMimeMessage* message, const std::function<void(mime::HBODY)>& callback);
// Writes the data of `body` to `stream`, at its position: IET_BINARY and IET_ENCODED its bytes, IET_UNICODE UTF-16 text.
void extractData(mime::IMimeBody* body, mime::Encoding encoding, IStream* stream);

}  // namespace nalvo::MimeUtils
