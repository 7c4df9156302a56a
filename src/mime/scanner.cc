#include "mime/scanner.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <unordered_map>

#include "mime/header_names.h"
#include "mime/line_reader.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

bool isFold(const Line& line) { return !line.text.empty() && (line.text[0] == ' ' || line.text[0] == '\t'); }

bool isMailboxLine(std::string_view line) { return line.starts_with("From ") || line.starts_with(">From "); }

struct TextHash : std::hash<std::string_view> {
  using is_transparent = void;
};

class Scanner {
 public:
  Scanner(const std::shared_ptr<Source>& source, const ScanLimits& limits)
      : source_(source), limits_(limits), reader_(*source) {}

  std::vector<ScannedBody> run() {
    openBody(-1, {});
    do {
      readHeader();
    } while (readContent());
    closeLevels(0, source_->size());
    return std::move(bodies_);
  }

 private:
  // A multipart whose delimiters are looked for.
  struct Level {
    std::size_t body;
    bool hasParts = false;
    bool isClosed = false;  // its last delimiter was seen
  };
  struct Delimiter {
    std::size_t level;
    bool isLast;
  };

  ScannedBody& current() { return bodies_[current_]; }

  void openBody(std::int32_t parent, Span delimiter) {
    current_ = bodies_.size();
    ScannedBody& body = bodies_.emplace_back();
    body.parent = parent;
    body.spans.delimiter = delimiter;
    body.spans.leading = {reader_.position(), 0};
  }

  // Reads rows of the current body up to its content.
  void readHeader();
  // Empty lines without a row behind them: the first ends an empty header.
  void endEmptyHeader();
  void endHeader(std::uint64_t at, Span separator);
  // True when the line is a row, a fold of one, or a mailbox line in front of the first.
  bool takeRow(const Line& line);
  void openLevel();
  // Reads content up to a delimiter that opens the next body. False at the end.
  bool readContent();
  // True if the line was a delimiter and a new body is open; the line is consumed either way.
  bool takeDelimiter(const Line& line, unsigned lineEndAhead);
  std::optional<Delimiter> findDelimiter(std::string_view line) const;
  void closeLevels(std::size_t keep, std::uint64_t end);
  void endContent(std::uint64_t at);
  void forget(std::size_t level);

  std::shared_ptr<Source> source_;
  ScanLimits limits_;
  LineReader reader_;
  std::vector<ScannedBody> bodies_;
  std::size_t current_ = 0;
  bool inLeaf_ = true;  // the content being read is that of a body, not the preamble or epilogue of a multipart
  std::vector<Level> levels_;
  // The levels that wait for a boundary, the innermost last.
  std::unordered_map<std::string, std::vector<std::size_t>, TextHash, std::equal_to<>> waiting_;
  std::size_t longestBoundary_ = 0;
};

void Scanner::readHeader() {
  Line line;
  const bool isRoot = current_ == 0;
  const auto onlyEmptyLines = [&] { return isRoot && current().rows.size() == 0 && !current().spans.leading.empty(); };
  while (reader_.next(line)) {
    if (isRoot && current().rows.size() == 0 && trim(line.text).empty()) {
      // Also a line of blanks alone, which is no fold as long as there is no row.
      current().spans.leading.length += line.length;
      continue;
    }
    if (line.isEmpty()) {
      endHeader(line.offset, {line.offset, line.length});
      return;
    }
    const bool isDelimiter = line.text.starts_with("--") && !levels_.empty() && findDelimiter(line.text);
    if (isDelimiter || !takeRow(line)) {
      if (onlyEmptyLines()) {
        endEmptyHeader();
      } else {
        reader_.moveTo(line.offset);
        endHeader(line.offset, {line.offset, 0});
      }
      return;
    }
  }
  if (onlyEmptyLines()) {
    endEmptyHeader();
  } else {
    endHeader(reader_.position(), {reader_.position(), 0});
  }
}

void Scanner::endEmptyHeader() {
  Line line;
  reader_.moveTo(0);
  reader_.next(line);
  current().spans.leading.length = 0;
  endHeader(0, {0, line.length});
}

bool Scanner::takeRow(const Line& line) {
  HeaderRows& rows = current().rows;
  if (isFold(line) && rows.size() > 0) {
    const HeaderRow& row = rows.last();
    if (row.span.length + line.length > limits_.rowBytes && !equalsIgnoreCase(row.name, kXMapi)) {
      return false;
    }
    rows.extendLast(line.length);
    return true;
  }
  const std::size_t name = rowNameBytes(line.text);
  const bool isMailbox = name == 0 && current_ == 0 && rows.size() == 0 && isMailboxLine(line.text);
  if ((name == 0 && !isMailbox) || rows.size() >= limits_.rows ||
      (line.length > limits_.rowBytes && !equalsIgnoreCase(line.text.substr(0, name), kXMapi))) {
    return false;
  }
  if (rows.size() == 0) {
    rows.setSource(source_, line.lineEnd == 1);
  }
  rows.appendLoaded(line.text.substr(0, name), {line.offset, line.length});
  return true;
}

void Scanner::endHeader(std::uint64_t at, Span separator) {
  BodySpans& spans = current().spans;
  spans.header = {spans.leading.end(), at - spans.leading.end()};
  spans.separator = separator;
  spans.content = {separator.end(), 0};
  if (current().rows.size() == 0) {
    const std::string lineEnd = source_->text(separator);
    current().rows.setSource(source_, lineEnd == "\n");
  }
  inLeaf_ = true;
  openLevel();
}

// Waits for the delimiters of the current body if it is a multipart with a boundary.
void Scanner::openLevel() {
  ScannedBody& body = current();
  const std::size_t place = body.rows.find(kContentType);
  if (place == HeaderRows::kNone || levels_.size() >= limits_.depth) {
    return;
  }
  const Span span = body.rows[place].span;
  if (span.length > limits_.contentTypeBytes) {
    return;
  }
  const std::string value = body.rows.rawValue(body.rows[place], {});
  if (!startsWithIgnoreCase(value, "multipart")) {
    return;
  }
  const ParameterList list = ParameterList::parse(value, nullptr);
  const Parameter* boundary = list.find("boundary");
  if (!startsWithIgnoreCase(list.word(), "multipart/") || boundary == nullptr) {
    return;
  }
  const std::string_view text = trimRight(boundary->value);
  if (text.empty() || text.size() > limits_.boundaryBytes) {
    return;
  }
  body.boundary = text;
  longestBoundary_ = std::max(longestBoundary_, text.size());
  waiting_[body.boundary].push_back(levels_.size());
  levels_.push_back({current_});
  inLeaf_ = false;
}

bool Scanner::readContent() {
  while (!waiting_.empty()) {
    Line line;
    unsigned lineEndAhead = 0;
    if (!reader_.nextDashed(line, lineEndAhead)) {
      return false;
    }
    if (takeDelimiter(line, lineEndAhead)) {
      return true;
    }
  }
  return false;
}

std::optional<Scanner::Delimiter> Scanner::findDelimiter(std::string_view line) const {
  line = trimRight(line.substr(2), " \t\r");
  if (line.size() > longestBoundary_ + 2) {
    return std::nullopt;
  }
  if (const auto found = waiting_.find(line); found != waiting_.end()) {
    return Delimiter{found->second.back(), false};
  }
  if (line.ends_with("--")) {
    line.remove_suffix(2);
    if (const auto found = waiting_.find(line); found != waiting_.end()) {
      return Delimiter{found->second.back(), true};
    }
  }
  return std::nullopt;
}

bool Scanner::takeDelimiter(const Line& line, unsigned lineEndAhead) {
  const std::optional<Delimiter> found = findDelimiter(line.text);
  if (!found) {
    return false;
  }
  const bool isFull = !found->isLast && bodies_.size() >= limits_.bodies;
  // The line end ahead is the delimiter's, unless it ends the header.
  const std::uint64_t contentStart = bodies_[current_].spans.content.offset;
  const std::uint64_t start = line.offset > contentStart ? line.offset - lineEndAhead : line.offset;
  closeLevels(found->level + 1, start);
  Level& level = levels_[found->level];
  ScannedBody& owner = bodies_[level.body];
  if (!level.hasParts) {
    owner.spans.preamble = {owner.spans.content.offset, start - owner.spans.content.offset};
    if (found->isLast) {
      // A multipart that has no part: a leaf with a line that looks like a delimiter.
      owner.spans.preamble = {};
      forget(found->level);
      levels_.pop_back();
      current_ = level.body;
      inLeaf_ = true;
      return false;
    }
    level.hasParts = true;
    owner.hasParts = true;
  }
  if (found->isLast || isFull) {
    owner.spans.closing = {start, 0};
    level.isClosed = true;
    forget(found->level);
    if (isFull) {
      waiting_.clear();
    }
    return false;
  }
  openBody(static_cast<std::int32_t>(level.body), {start, line.end() - start});
  return true;
}

// Ends the content of the current body and of all levels from `keep` on at `end`.
void Scanner::closeLevels(std::size_t keep, std::uint64_t end) {
  if (inLeaf_) {
    endContent(end);
  }
  while (levels_.size() > keep) {
    const Level level = levels_.back();
    ScannedBody& body = bodies_[level.body];
    body.spans.content.length = end - body.spans.content.offset;
    if (level.isClosed) {
      body.spans.closing.length = end - body.spans.closing.offset;
    } else {
      forget(levels_.size() - 1);
      body.spans.closing = {end, 0};
    }
    if (!body.hasParts) {
      body.boundary.clear();
    }
    levels_.pop_back();
  }
  inLeaf_ = false;
}

void Scanner::endContent(std::uint64_t at) {
  Span& content = current().spans.content;
  content.length = at - content.offset;
}

// The level no longer waits for its boundary.
void Scanner::forget(std::size_t level) {
  const auto found = waiting_.find(bodies_[levels_[level].body].boundary);
  if (found == waiting_.end()) {
    return;
  }
  std::erase(found->second, level);
  if (found->second.empty()) {
    waiting_.erase(found);
  }
}

}  // namespace

std::vector<ScannedBody> scanMessage(const std::shared_ptr<Source>& source, const ScanLimits& limits) {
  return Scanner(source, limits).run();
}

}  // namespace nalvo::mime
