#include "mime/output.h"

#include "mime/read_only_stream.h"

namespace nalvo::mime {

void StreamSink::write(std::string_view text) { writeAll(stream_, text); }

void BoundaryWatch::write(std::string_view text) {
  for (const char c : text) {
    if (c == '\n') {
      matched_ = 0;
    } else if (matched_ != kNo) {
      matched_ = c == wanted_[matched_] ? matched_ + 1 : kNo;
      if (matched_ == wanted_.size()) {
        found_ = true;
        matched_ = kNo;
      }
    }
  }
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
