#include "mime/stored_block.h"

#include <algorithm>

#include "mime/header_names.h"
#include "mime/line_reader.h"

namespace nalvo::mime {
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
