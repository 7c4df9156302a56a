#include "mime/header_rows.h"

#include <algorithm>

#include "mime/header_names.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

// What stands behind the colon of a whole row.
std::string_view valueOf(std::string_view name, std::string_view row) {
  row.remove_prefix(std::min(name.size(), row.size()));
  const std::size_t colon = row.find(':');
  return name.empty() || colon == std::string_view::npos ? row : row.substr(colon + 1);
}

// In lines of 76 characters, each further one behind a blank, which the reader of such a row skips.
std::string writeInPieces(std::string_view name, std::string_view text, std::string_view lineEnd) {
  constexpr std::size_t kColumn = 76;
  std::string result(name);
  result += ": ";
  result.reserve(result.size() + text.size() + (text.size() / (kColumn - 1) + 1) * (lineEnd.size() + 1));
  std::size_t column = result.size();
  while (!text.empty()) {
    if (column >= kColumn) {
      result += lineEnd;
      result += ' ';
      column = 1;
    }
    const std::string_view piece = text.substr(0, kColumn - column);
    for (const char c : piece) {
      result += c == '\r' || c == '\n' || c == '\0' ? ' ' : c;
    }
    column += piece.size();
    text.remove_prefix(piece.size());
  }
  result += lineEnd;
  return result;
}

}  // namespace

std::string writeRow(std::string_view name, const RowValue& value, const HeaderStyle& style) {
  if (const auto* raw = std::get_if<RawRow>(&value)) {
    return raw->text;
  }
  if (const auto* narrow = std::get_if<NarrowValue>(&value); narrow != nullptr && equalsIgnoreCase(name, kXMapi)) {
    return writeInPieces(name, narrow->text, style.lineEnd);
  }
  std::string result(name);
  result += ": ";
  const HeaderFold fold{result.size(), style.foldColumn, style.lineEnd};
  if (const auto* narrow = std::get_if<NarrowValue>(&value)) {
    result += foldHeader(narrow->text, fold);
  } else if (const auto* wide = std::get_if<WideValue>(&value)) {
    result += encodeHeaderText(wide->text, style.charset, fold);
  } else if (const auto* list = std::get_if<ParameterList>(&value)) {
    result += list->write(style.charset, fold);
  } else if (const auto* addresses = std::get_if<std::vector<Address>>(&value)) {
    result += writeAddressList(*addresses, style.charset, fold);
  }
  result += style.lineEnd;
  return result;
}

void HeaderRows::setSource(std::shared_ptr<Source> source, bool bareLineFeed) {
  source_ = std::move(source);
  bareLineFeed_ = bareLineFeed;
}

std::size_t HeaderRows::find(std::string_view name, std::size_t from) const {
  for (std::size_t i = from; i < rows_.size(); ++i) {
    if (equalsIgnoreCase(rows_[i].name, name)) {
      return i;
    }
  }
  return kNone;
}

std::size_t HeaderRows::placeOf(std::uint32_t id) const {
  if (id == 0 || id >= nextId_) {
    return kNone;
  }
  if (places_.empty()) {
    places_.assign(nextId_, 0);
    for (std::size_t i = 0; i < rows_.size(); ++i) {
      places_[rows_[i].id] = static_cast<std::uint32_t>(i + 1);
    }
  }
  return places_[id] == 0 ? kNone : places_[id] - 1;
}

void HeaderRows::changed() {
  intact_ = false;
  places_.clear();
}

HeaderRow& HeaderRows::insert(std::size_t at, std::string_view name, RowValue value) {
  const auto place = rows_.begin() + static_cast<std::ptrdiff_t>(std::min(at, rows_.size()));
  HeaderRow row{nextId_++, std::string(name), {}, std::make_unique<RowValue>(std::move(value))};
  changed();
  return *rows_.insert(place, std::move(row));
}

HeaderRow& HeaderRows::set(std::size_t at, RowValue value) {
  rows_[at].own = std::make_unique<RowValue>(std::move(value));
  rows_[at].isDefault = false;
  changed();
  return rows_[at];
}

void HeaderRows::remove(std::size_t at) {
  rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(at));
  changed();
}

bool HeaderRows::removeAll(std::string_view name, std::size_t from) {
  const auto first = rows_.begin() + static_cast<std::ptrdiff_t>(std::min(from, rows_.size()));
  const auto end =
      std::remove_if(first, rows_.end(), [&](const HeaderRow& row) { return equalsIgnoreCase(row.name, name); });
  if (end == rows_.end()) {
    return false;
  }
  rows_.erase(end, rows_.end());
  changed();
  return true;
}

void HeaderRows::move(std::size_t from, std::size_t to) {
  to = std::min(to, rows_.size() - 1);
  const auto at = [&](std::size_t i) { return rows_.begin() + static_cast<std::ptrdiff_t>(i); };
  if (from < to) {
    std::rotate(at(from), at(from + 1), at(to + 1));
  } else if (to < from) {
    std::rotate(at(to), at(from), at(from + 1));
  } else {
    return;
  }
  changed();
}

void HeaderRows::clear() {
  rows_.clear();
  changed();
}

void HeaderRows::replaceRows(HeaderRows&& other) {
  rows_ = std::move(other.rows_);
  for (HeaderRow& row : rows_) {
    row.id = nextId_++;
  }
  changed();
}

void HeaderRows::markContentRowsStored() {
  for (HeaderRow& row : rows_) {
    row.isStored = isContentRow(row.name);
  }
}

void HeaderRows::adopt(HeaderRow row, const HeaderRows& from) {
  if (row.isLoaded()) {
    if (source_ == nullptr) {
      source_ = from.source_;
      bareLineFeed_ = from.bareLineFeed_;
    }
    if (source_ != from.source_) {
      row.own = std::make_unique<RowValue>(RawRow{from.source_->text(row.span)});
    }
  }
  row.id = nextId_++;
  row.isStored = false;  // It speaks for the content that it went with.
  rows_.push_back(std::move(row));
  changed();
}

std::string HeaderRows::rowText(const HeaderRow& row, const HeaderStyle& style) const {
  return row.isLoaded() ? source_->text(row.span) : writeRow(row.name, *row.own, style);
}

std::string HeaderRows::rawValue(const HeaderRow& row, const HeaderStyle& style) const {
  if (row.isLoaded()) {
    return unfold(valueOf(row.name, source_->text(row.span)));
  }
  if (const auto* narrow = std::get_if<NarrowValue>(row.own.get())) {
    return unfold(narrow->text);
  }
  return unfold(valueOf(row.name, writeRow(row.name, *row.own, style)));
}

std::u16string HeaderRows::wideValue(const HeaderRow& row, const Charset* charset) const {
  if (!row.isLoaded()) {
    if (const auto* wide = std::get_if<WideValue>(row.own.get())) {
      return wide->text;
    }
  }
  return decodeHeaderText(rawValue(row, {}), charset);
}

ParameterList HeaderRows::parameters(const HeaderRow& row, const Charset* charset) const {
  if (!row.isLoaded()) {
    if (const auto* list = std::get_if<ParameterList>(row.own.get())) {
      return *list;
    }
  }
  return ParameterList::parse(rawValue(row, {}), charset);
}

std::vector<Address> HeaderRows::addresses(const HeaderRow& row, const Charset* charset) const {
  if (!row.isLoaded()) {
    if (const auto* list = std::get_if<std::vector<Address>>(row.own.get())) {
      return *list;
    }
  }
  return parseAddressList(rawValue(row, {}), charset);
}

HeaderRows HeaderRows::copy() const {
  HeaderRows result;
  result.bareLineFeed_ = bareLineFeed_;
  result.rows_.reserve(rows_.size());
  for (const HeaderRow& row : rows_) {
    RowValue value = row.isLoaded() ? RowValue(RawRow{source_->text(row.span)}) : *row.own;
    result.rows_.push_back({row.id, row.name, {}, std::make_unique<RowValue>(std::move(value))});
  }
  result.nextId_ = nextId_;
  result.intact_ = false;
  return result;
}

}  // namespace nalvo::mime
