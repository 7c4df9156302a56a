// Where a writer puts its text.
#pragma once

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

// Looks for a line that begins with "--" and a boundary.
class BoundaryWatch final : public TextSink {
 public:
  explicit BoundaryWatch(std::string_view boundary) : wanted_("--" + std::string(boundary)) {}
  void write(std::string_view text) override;
  bool found() const { return found_; }

 private:
  std::string wanted_;
  std::size_t matched_ = 0;  // how much of it the line has so far; kNo for a line that differs
  static constexpr std::size_t kNo = static_cast<std::size_t>(-1);
  bool found_ = false;
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
