#include "mime/body.h"

#include "mime/body_context.h"
#include "mime/header_names.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

// The row, unless it is absent or a placeholder.
const HeaderRow* usableRow(const Body& body, std::string_view name) {
  const std::size_t place = body.rows.find(name);
  return place == HeaderRows::kNone || body.rows[place].isPlaceholder() ? nullptr : &body.rows[place];
}

// The first word of a structured value, without its parameters.
std::string_view wordOf(std::string_view value) { return trim(value.substr(0, value.find(';'))); }

std::string rowWord(const Body& body, std::string_view name) {
  const HeaderRow* row = usableRow(body, name);
  if (row == nullptr) {
    return {};
  }
  if (!row->isLoaded()) {
    if (const auto* list = std::get_if<ParameterList>(row->own.get())) {
      return toLowerAscii(list->word());
    }
  }
  const std::string value = body.rows.rawValue(*row, {});
  // A comment or an odd separator needs the full reader.
  const std::string_view word = wordOf(value);
  return toLowerAscii(
      word.find_first_of(" \t(\"=,") == std::string_view::npos ? word : ParameterList::parse(value, nullptr).word());
}

}  // namespace

Body::~Body() {
  if (auto* held = std::get_if<MessageContent>(&content)) {
    releaseLater(std::move(held->message));
  }
}

Body* Body::nextInWalk(const Body* top) const { return first != nullptr ? first : nextBeside(top); }

Body* Body::nextBeside(const Body* top) const {
  for (const Body* body = this; body != nullptr && body != top; body = body->parent) {
    if (body->next != nullptr) {
      return body->next;
    }
  }
  return nullptr;
}

MediaType splitMediaType(std::string_view word) {
  const std::size_t slash = word.find('/');
  if (slash == std::string_view::npos) {
    return {};
  }
  return {toLowerAscii(trim(word.substr(0, slash))), toLowerAscii(trim(word.substr(slash + 1)))};
}

MediaType mediaTypeOf(const Body& body) {
  MediaType result = splitMediaType(rowWord(body, kContentType));
  if (result.type.empty()) {
    const bool isBelowDigest = body.parent != nullptr && body.rows.find(kContentType) == HeaderRows::kNone &&
                               mediaTypeOf(*body.parent).isMultipart("digest");
    return isBelowDigest ? MediaType{"message", "rfc822"} : MediaType{"text", "plain"};
  }
  if (result.type == "multipart" && body.span() != nullptr) {
    return {"text", "plain"};
  }
  return result;
}

bool hasMediaType(const Body& body, std::string_view type, std::string_view subtype) {
  return mediaTypeOf(body).is(type, subtype);
}

std::string parameterOf(const Body& body, std::string_view row, std::string_view parameter) {
  const HeaderRow* found = usableRow(body, row);
  if (found == nullptr) {
    return {};
  }
  const ParameterList list = body.rows.parameters(*found, nullptr);
  const Parameter* value = list.find(parameter);
  return value != nullptr ? value->value : std::string();
}

std::string dispositionOf(const Body& body) {
  const HeaderRow* row = usableRow(body, kContentDisposition);
  const bool speaksForAnother = row != nullptr && row->isStored && body.stored != nullptr &&
                                !equalsIgnoreCase(body.stored->type.word(), rowWord(body, kContentType));
  return speaksForAnother ? std::string() : rowWord(body, kContentDisposition);
}

bool hasFileName(const Body& body) {
  return !parameterOf(body, kContentDisposition, "filename").empty() || !parameterOf(body, kContentType, "name").empty();
}

}  // namespace nalvo::mime
