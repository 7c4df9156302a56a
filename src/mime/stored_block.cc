#include "mime/stored_block.h"

#include <algorithm>

#include "mime/header_names.h"
#include "mime/line_reader.h"
#include "mime/text_bodies.h"

namespace nalvo::mime {
namespace {

// Multiparts whose parts hang together in a way of their own, which a list of parts does not have.
constexpr std::string_view kOwnRules[] = {"alternative", "mixed", "related", "signed"};

bool isPlainText(const Body& content) {
  return content.stream() != nullptr && content.attached == Attached::No && hasMediaType(content, "text", "plain");
}

// A text that a reader takes for plain since it knows nothing better: "text/richtext", "text", a word without a slash.
bool readsAsPlain(const MediaType& type, std::string_view word) {
  return type.type.empty() ? !word.empty() : type.type == "text" && type.subtype != "html" && !isItemType(type);
}

// The parts of an encrypted text are what its protocol says, and nobody has put a text beside them.
bool isEncryptedPair(const ParameterList& stored, const Body& content) {
  const Parameter* protocol = stored.find("protocol");
  const MediaType wanted = splitMediaType(protocol == nullptr ? std::string_view() : std::string_view(protocol->value));
  return content.childCount == 2 && !wanted.type.empty() && hasMediaType(*content.first, wanted.type, wanted.subtype);
}

}  // namespace

bool holdsStoredType(const Body& root, const Body& content) {
  if (root.stored == nullptr || root.stored->typeRow.empty()) {
    return false;
  }
  const std::string_view word = root.stored->type.word();
  const MediaType stored = splitMediaType(word);
  const MediaType now = mediaTypeOf(content);
  if (!stored.type.empty() && now.is(stored.type, stored.subtype)) {
    return true;
  }
  if (isPlainText(content)) {
    return readsAsPlain(stored, word);
  }
  if (!content.isMultipart() || content.isLoaded || stored.type != "multipart" || stored.subtype.empty() ||
      std::find(std::begin(kOwnRules), std::end(kOwnRules), stored.subtype) != std::end(kOwnRules)) {
    return false;
  }
  if (stored.subtype == "encrypted") {
    return isEncryptedPair(root.stored->type, content);
  }
  if (stored.subtype == "report") {
    return now.isMultipart("mixed") && content.first != nullptr && content.first->attached == Attached::No;
  }
  return now.isMultipart("mixed") || now.isMultipart("related");
}

void loadRows(Body& body, Source& source) {
  body.rows.clear();
  std::uint64_t start = 0;
  for (std::string_view piece = source.view(0); !piece.empty(); piece = source.view(start)) {
    const std::size_t skip = std::min(piece.find_first_not_of(std::string_view("\r\n\0", 3)), piece.size());
    start += skip;
    if (skip < piece.size()) {
      break;
    }
  }
  LineReader reader(source);
  reader.moveTo(start);
  std::string name;
  std::string text;
  const auto endRow = [&] {
    if (!text.empty()) {
      body.rows.append(name, RawRow{std::move(text)});
      text.clear();
    }
  };
  Line line;
  const std::size_t limit = ScanLimits{}.rows;
  while (body.rows.size() < limit && reader.next(line) && !line.isEmpty()) {
    const bool isFold =
        !line.text.empty() && (line.text[0] == ' ' || line.text[0] == '\t') && !text.empty() && !name.empty();
    const std::string lineName(line.text.substr(0, rowNameBytes(line.text)));
    if (!isFold) {
      endRow();
      name = lineName;
    }
    text += source.text({line.offset, line.length - line.lineEnd});
    text += "\r\n";
    reader.moveTo(line.end());
  }
  endRow();
}

void takeAsStored(Body& root) {
  auto stored = std::make_unique<StoredBlock>();
  const std::size_t place = root.rows.find(kContentType);
  if (place != HeaderRows::kNone) {
    stored->type = root.rows.parameters(root.rows[place], nullptr);
    stored->typeRow = root.rows.rowText(root.rows[place], {});
  }
  stored->hasSender = root.rows.find("Sender") != HeaderRows::kNone;
  root.rows.markContentRowsStored();
  root.stored = std::move(stored);
}

}  // namespace nalvo::mime
