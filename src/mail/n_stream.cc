#include "mail/n_stream.h"

#include <algorithm>
#include <utility>

namespace nalvo::mail {

NStream::NStream(Read read, Write write) : read_(std::move(read)), write_(std::move(write)) { out_.reserve(kBuffer); }

bool NStream::fill() {
  inAt_ = 0;
  inEnd_ = read_ ? std::min(read_(in_.data(), in_.size()), in_.size()) : 0;
  return inEnd_ != 0;
}

bool NStream::readLine(std::string& line) {
  line.clear();
  while (inAt_ < inEnd_ || fill()) {
    const std::string_view buffered(in_.data() + inAt_, inEnd_ - inAt_);
    const std::size_t feed = buffered.find('\n');
    const std::string_view taken = buffered.substr(0, feed == std::string_view::npos ? feed : feed + 1);
    line.append(taken);
    inAt_ += taken.size();
    if (line.size() > kMostLine) {
      read_ = {};
      inAt_ = inEnd_;
      return false;
    }
    if (feed != std::string_view::npos) {
      return true;
    }
  }
  return !line.empty();
}

NStream& NStream::operator<<(std::string_view text) {
  out_.append(text);
  if (out_.size() >= kBuffer) {
    flush();
  }
  return *this;
}

bool NStream::flush() {
  if (!out_.empty()) {
    written_ = write_ && write_(out_.data(), out_.size()) && written_;
    out_.clear();
  }
  return written_;
}

}  // namespace nalvo::mail
