#include "mime/body_context.h"

#include <utility>  // exchange

#include "mime/header_names.h"
#include "mime/message_object.h"
#include "platform/text/text.h"

namespace nalvo::mime {

HeaderStyle headerStyle(const Body& body) {
  HeaderStyle style;
  style.lineEnd = body.rows.lineEnd();
  if (body.message != nullptr) {
    style.foldColumn = body.message->foldColumn();
  }
  style.charset = body.charset != nullptr ? body.charset : writingCharset(body);
  return style;
}

const Charset* readingCharset(const Body& body, const HeaderRow& row) {
  if (body.message == nullptr || !row.isLoaded() || isAscii(std::string_view(body.rows.rowText(row, {})))) {
    return nullptr;
  }
  return body.message->charset();
}

const Charset* writingCharset(const Body& body) {
  return body.message != nullptr ? body.message->charset() : findCodePage(kUtf8);
}

const Charset* chosenCharset(const Body& body) { return body.message != nullptr ? body.message->chosenCharset() : nullptr; }

const Charset* rootCharset(const Body& body) {
  return findCharset(parameterOf(body.message != nullptr ? body.message->tree().root() : body, kContentType, "charset"));
}

bool isTextBody(const Body& body) {
  if (body.message == nullptr) {
    return false;
  }
  const TextBodies& texts = body.message->texts();
  return &body == texts.plain || &body == texts.html;
}

bool isRescued(const Body& body) {
  if (body.message == nullptr) {
    return false;
  }
  body.message->texts();
  return body.role.isRescued;
}

bool isUntouched(const Body& body) {
  return body.isLoaded && (body.message == nullptr ? body.hasLoadedParts() : !body.message->isChanged());
}

Body& embeddedRoot(const Body& body) {
  auto* message = static_cast<MessageObject*>(body.embedded()->message.get());
  message->settleAddresses();
  return message->tree().root();
}

void releaseLater(ComPtr<IMimeMessage> message) noexcept {
  thread_local std::vector<ComPtr<IMimeMessage>> waiting;
  thread_local bool isReleasing = false;
  try {
    waiting.push_back(std::move(message));
  } catch (const std::bad_alloc&) {
    return;  // `message` still holds it and goes here.
  }
  if (std::exchange(isReleasing, true)) {
    return;
  }
  while (!waiting.empty()) {
    const ComPtr<IMimeMessage> next = std::move(waiting.back());
    waiting.pop_back();
  }
  isReleasing = false;
}

}  // namespace nalvo::mime
