// The header rows of a body: one ordered table.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>  // as_const
#include <variant>
#include <vector>

#include "mime/addresses.h"
#include "mime/parameters.h"
#include "mime/source.h"

namespace nalvo::mime {

// What a row that is not in the source holds.
struct RawRow {
  std::string text;  // the whole row: name, colon, value with its folds, line end
};
struct NarrowValue {
  std::string text;  // goes out as it is, folded
};
struct WideValue {
  std::u16string text;  // encoded when it is written, in the charset that the message has then
};
// An empty row that marks a place; neither saved nor copied.
struct Placeholder {};
using RowValue = std::variant<RawRow, NarrowValue, WideValue, ParameterList, std::vector<Address>, Placeholder>;

struct HeaderRow {
  std::uint32_t id = 0;           // never used twice in a table; survives moves
  std::string name;               // as it was written; empty for a line that is no row, such as "From "
  Span span;                      // where the row lies in the source, name and line end included
  std::unique_ptr<RowValue> own;  // null for a row of the source
  // A content row of a header block that was loaded into the root of a message: it speaks for a content that may differ.
  bool isStored = false;
  // A Content-Type that nobody gave a place: the writer puts it last on a root.
  bool isFloating = false;
  // A disposition that nobody chose: it follows the type.
  bool isDefault = false;

  bool isLoaded() const { return own == nullptr; }
  bool isPlaceholder() const { return own != nullptr && std::holds_alternative<Placeholder>(*own); }
};

// How rows are written.
struct HeaderStyle {
  const Charset* charset = nullptr;  // for encoded words; null: UTF-8
  std::size_t foldColumn = 76;
  std::string_view lineEnd = "\r\n";
};

class HeaderRows {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  HeaderRows() = default;
  HeaderRows(HeaderRows&&) = default;
  HeaderRows& operator=(HeaderRows&&) = default;

  std::size_t size() const { return rows_.size(); }
  const HeaderRow& operator[](std::size_t at) const { return rows_[at]; }
  // Whether the table is as it was loaded, so that its span holds its text.
  bool isIntact() const { return intact_; }
  bool storedWithBareLineFeed() const { return bareLineFeed_; }
  std::string_view lineEnd() const { return bareLineFeed_ ? "\n" : "\r\n"; }

  // The first row of the name at or behind `from`, or kNone.
  std::size_t find(std::string_view name, std::size_t from = 0) const;
  // The place of the row with that id, or kNone.
  std::size_t placeOf(std::uint32_t id) const;

  // While loading. All rows of a table come from one source.
  void setSource(std::shared_ptr<Source> source, bool bareLineFeed);
  void appendLoaded(std::string_view name, Span span) { rows_.push_back({nextId_++, std::string(name), span, nullptr}); }
  void extendLast(std::uint64_t bytes) { rows_.back().span.length += bytes; }
  const HeaderRow& last() const { return rows_.back(); }

  // Changes. A row that stays keeps its id.
  HeaderRow& insert(std::size_t at, std::string_view name, RowValue value);
  HeaderRow& append(std::string_view name, RowValue value) { return insert(rows_.size(), name, std::move(value)); }
  HeaderRow& set(std::size_t at, RowValue value);
  void remove(std::size_t at);
  // All rows of the name from the place `from` on; tells whether there were any.
  bool removeAll(std::string_view name, std::size_t from = 0);
  // `to` counts among the rows without the moved one; beyond the last: last.
  void move(std::size_t from, std::size_t to);
  void clear();
  // Takes the rows of a table without source. Ids go on counting.
  void replaceRows(HeaderRows&& other);
  void markContentRowsStored();
  void markDefault(std::size_t at) { rows_[at].isDefault = true; }
  // Moves the rows for which `goes(row)` holds to the end of `target`.
  template <typename Predicate>
  void moveRowsTo(HeaderRows& target, Predicate goes);

  // The whole row as it stands in the text; an own row is written by `style`.
  std::string rowText(const HeaderRow& row, const HeaderStyle& style) const;
  // The value, unfolded and trimmed, not decoded.
  std::string rawValue(const HeaderRow& row, const HeaderStyle& style) const;
  // The value as text. `charset` (may be null) reads raw 8-bit bytes.
  std::u16string wideValue(const HeaderRow& row, const Charset* charset) const;
  ParameterList parameters(const HeaderRow& row, const Charset* charset) const;
  std::vector<Address> addresses(const HeaderRow& row, const Charset* charset) const;

  const std::shared_ptr<Source>& source() const { return source_; }
  // A copy that needs no source: loaded rows as raw text, placeholders left as they are.
  HeaderRows copy() const;

 private:
  void changed();
  void adopt(HeaderRow row, const HeaderRows& from);

  std::vector<HeaderRow> rows_;
  std::shared_ptr<Source> source_;
  std::uint32_t nextId_ = 1;
  bool intact_ = true;
  bool bareLineFeed_ = false;
  // placeOf by id; made when it is asked for, gone with each change.
  mutable std::vector<std::uint32_t> places_;
};

template <typename Predicate>
void HeaderRows::moveRowsTo(HeaderRows& target, Predicate goes) {
  std::vector<HeaderRow> stay;
  for (HeaderRow& row : rows_) {
    if (goes(std::as_const(row))) {
      target.adopt(std::move(row), *this);
    } else {
      stay.push_back(std::move(row));
    }
  }
  rows_ = std::move(stay);
  changed();
}

// Writes the value of a row behind its name; ends with a line end.
std::string writeRow(std::string_view name, const RowValue& value, const HeaderStyle& style);

}  // namespace nalvo::mime
