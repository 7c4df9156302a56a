#include "mime/line_reader.h"

#include <cstring>

namespace nalvo::mime {
namespace {

const char* findLineFeed(const char* from, const char* end) {
  return static_cast<const char*>(std::memchr(from, '\n', static_cast<std::size_t>(end - from)));
}

unsigned lineEndOf(char beforeLineFeed) { return beforeLineFeed == '\r' ? 2 : 1; }

}  // namespace

bool LineReader::next(Line& line) {
  std::string_view piece = source_.view(position_);
  if (piece.empty()) {
    return false;
  }
  const char* feed = findLineFeed(piece.data(), piece.data() + piece.size());
  if (feed == nullptr) {
    piece = source_.fullView(position_);
    feed = findLineFeed(piece.data(), piece.data() + piece.size());
  }
  line.offset = position_;
  if (feed != nullptr) {
    const std::size_t before = static_cast<std::size_t>(feed - piece.data());
    line.lineEnd = before > 0 ? lineEndOf(feed[-1]) : 1;
    line.length = before + 1;
    line.text = piece.substr(0, before + 1 - line.lineEnd);
    position_ = line.end();
    lineEndBehind_ = line.lineEnd;
    return true;
  }
  // The last line without an end, or one longer than a window.
  const std::uint64_t start = position_;
  longHead_.assign(piece.substr(0, kLongLineHead));
  const bool isWhole = piece.size() <= kLongLineHead;
  char last = 0;
  line.lineEnd = 0;
  while (!piece.empty()) {
    feed = findLineFeed(piece.data(), piece.data() + piece.size());
    if (feed != nullptr) {
      line.lineEnd = lineEndOf(feed > piece.data() ? feed[-1] : last);
      position_ += static_cast<std::size_t>(feed - piece.data()) + 1;
      break;
    }
    last = piece.back();
    position_ += piece.size();
    piece = source_.view(position_);
  }
  line.length = position_ - start;
  lineEndBehind_ = line.lineEnd;
  line.text = longHead_;
  if (isWhole) {
    line.text = line.text.substr(0, static_cast<std::size_t>(line.length - line.lineEnd));
  }
  return true;
}

bool LineReader::nextDashed(Line& line, unsigned& lineEndAhead) {
  lineEndAhead = lineEndBehind_;
  char last = 0;
  bool atLineStart = true;
  for (;;) {
    const std::string_view piece = source_.view(position_);
    if (piece.empty()) {
      return false;
    }
    const char* p = piece.data();
    const char* const end = p + piece.size();
    while (p < end) {
      if (atLineStart && *p == '-' && (end - p < 2 || p[1] == '-')) {
        break;
      }
      const char* const feed = findLineFeed(p, end);
      if (feed == nullptr) {
        last = end[-1];
        atLineStart = false;
        p = end;
      } else {
        lineEndAhead = lineEndOf(feed > piece.data() ? feed[-1] : last);
        last = '\n';
        atLineStart = true;
        p = feed + 1;
      }
    }
    position_ += static_cast<std::size_t>(p - piece.data());
    if (p == end) {
      continue;
    }
    next(line);
    if (line.text.starts_with("--")) {
      return true;
    }
    lineEndAhead = line.lineEnd;
    last = '\n';
    if (line.lineEnd == 0) {
      return false;
    }
  }
}

}  // namespace nalvo::mime
