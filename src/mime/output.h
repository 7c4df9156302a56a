// Where a writer puts its text.
#pragma once

#include <map>
#include <set>

#include "mime/source.h"

namespace nalvo::mime {

class TextSink {
 public:
  virtual ~TextSink() = default;
  virtual void write(std::string_view text) = 0;
};

// At the position of a stream.
class StreamSink final : public TextSink {
 public:
  explicit StreamSink(IStream* stream) : stream_(stream) {}
  void write(std::string_view text) override;

 private:
  IStream* stream_;
};

class CountingSink final : public TextSink {
 public:
  void write(std::string_view text) override { bytes_ += text.size(); }
  std::uint64_t bytes() const { return bytes_; }

 private:
  std::uint64_t bytes_ = 0;
};

// Counts the lines that begin with "--" and one of several boundaries.
class BoundaryCounter final : public TextSink {
 public:
  void add(std::string_view boundary);
  void write(std::string_view text) override;
  // Also of the last line, which needs no end.
  std::size_t linesOf(std::string_view boundary);

 private:
  void endLine();

  std::map<std::string, std::size_t, std::less<>> lines_;  // by boundary
  std::set<std::size_t> lengths_;                          // of the boundaries
  std::string line_;                                       // as much of it as the longest boundary asks for
};

// Gathers small pieces, and joins spans that follow each other in one source into one copy.
class Output {
 public:
  explicit Output(TextSink& sink) : sink_(sink) {}

  void write(std::string_view text);
  // The source must live until the next flush.
  void copy(Source& source, Span span);
  // Whether what was written last was copied from `source` and ended at `offset`.
  bool continues(const Source& source, std::uint64_t offset) const { return copied_ == &source && pending_.end() == offset; }
  // Nothing written yet counts as the start of a line.
  bool isAtLineStart();
  void flush();

 private:
  void copyPending();
  void put(std::string_view text);

  TextSink& sink_;
  std::string buffer_;
  Source* copied_ = nullptr;
  Span pending_;
  char last_ = '\n';
};

}  // namespace nalvo::mime
