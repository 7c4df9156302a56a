#include "mime/output.h"

#include <algorithm>

#include "mime/read_only_stream.h"

namespace nalvo::mime {
namespace {

constexpr std::string_view kDashes = "--";

}  // namespace

void StreamSink::write(std::string_view text) { writeAll(stream_, text); }

void BoundaryCounter::add(std::string_view boundary) {
  lines_.emplace(boundary, 0);
  lengths_.insert(boundary.size());
}

void BoundaryCounter::write(std::string_view text) {
  const std::size_t wanted = kDashes.size() + (lengths_.empty() ? 0 : *lengths_.rbegin());
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (line_.size() < wanted) {
      line_ += text.substr(0, std::min(end, wanted - line_.size()));
    }
    if (end == text.size()) {
      return;
    }
    endLine();
    text.remove_prefix(end + 1);
  }
}

void BoundaryCounter::endLine() {
  if (line_.starts_with(kDashes)) {
    for (const std::size_t length : lengths_) {
      const std::string_view start = std::string_view(line_).substr(kDashes.size(), length);
      const auto found = start.size() == length ? lines_.find(start) : lines_.end();
      if (found != lines_.end()) {
        ++found->second;
      }
    }
  }
  line_.clear();
}

std::size_t BoundaryCounter::linesOf(std::string_view boundary) {
  endLine();
  const auto found = lines_.find(boundary);
  return found == lines_.end() ? 0 : found->second;
}

void Output::write(std::string_view text) {
  if (text.empty()) {
    return;
  }
  copyPending();
  copied_ = nullptr;
  put(text);
}

void Output::copy(Source& source, Span span) {
  if (continues(source, span.offset)) {
    pending_.length += span.length;
    return;
  }
  copyPending();
  copied_ = &source;
  pending_ = span;
}

bool Output::isAtLineStart() {
  copyPending();
  return last_ == '\n';
}

void Output::flush() {
  copyPending();
  if (!buffer_.empty()) {
    sink_.write(buffer_);
    buffer_.clear();
  }
}

void Output::copyPending() {
  if (pending_.empty()) {
    return;
  }
  const Span span = pending_;
  pending_ = {span.end(), 0};
  copied_->pump(span, [this](std::string_view piece) { put(piece); });
}

void Output::put(std::string_view text) {
  if (text.empty()) {
    return;
  }
  last_ = text.back();
  if (buffer_.size() + text.size() < Source::kWindow / 2) {
    buffer_ += text;
    return;
  }
  if (!buffer_.empty()) {
    sink_.write(buffer_);
    buffer_.clear();
  }
  if (text.size() < Source::kWindow / 2) {
    buffer_ += text;
  } else {
    sink_.write(text);
  }
}

}  // namespace nalvo::mime
