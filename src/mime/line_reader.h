// The lines of a source, without holding more than a window of it.
#pragma once

#include "mime/source.h"

namespace nalvo::mime {

struct Line {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;  // with the line end
  unsigned lineEnd = 0;      // 2 for CR LF, 1 for a bare LF, 0 for a last line without one
  // The line without its end; of a line longer than a window only the start. Valid until the reader moves.
  std::string_view text;

  std::uint64_t end() const { return offset + length; }
  bool isEmpty() const { return length == lineEnd; }
};

class LineReader {
 public:
  // What is shown of a line longer than a window.
  static constexpr std::size_t kLongLineHead = 4096;

  explicit LineReader(Source& source) : source_(source) {}

  // False at the end.
  bool next(Line& line);
  // Passes over lines up to the next one that begins with "--". `lineEndAhead` takes the length of the line end in front of
  // it; 0 if the reader was moved there.
  bool nextDashed(Line& line, unsigned& lineEndAhead);

  std::uint64_t position() const { return position_; }
  // To the start of a line.
  void moveTo(std::uint64_t offset) {
    position_ = offset;
    lineEndBehind_ = 0;
  }

 private:
  Source& source_;
  std::uint64_t position_ = 0;
  unsigned lineEndBehind_ = 0;  // of the last line that was read
  std::string longHead_;
};

}  // namespace nalvo::mime
