#include "mail/content_sources.h"

#include <algorithm>

#include "platform/com/hresult.h"

namespace nalvo::mail {

bool vcLex::nextLine() {
  std::size_t begin = lineEnd_;
  while (true) {
    // Line ends that follow each other are empty lines, and a CR may stand in the midst of what was read.
    begin = line_.find_first_not_of("\r\n", begin);
    if (begin != std::string::npos) {
      beginLine(begin);
      return true;
    }
    if (!readLine()) {
      return false;
    }
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    begin = first_ && line_.starts_with(kMark) ? kMark.size() : 0;
    first_ = false;
  }
}

bool vcIStreamLex::readLine() {
  if (!std::getline(source_, line_)) {
    return false;
  }
  line_.push_back('\n');
  return true;
}

bool vcWinIStreamLex::fill() {
  ULONG got = 0;
  at_ = end_ = 0;
  if (!source_ || source_->Read(block_.data(), static_cast<ULONG>(block_.size()), &got) < 0 || got == 0) {
    source_.reset();
    return false;
  }
  end_ = std::min<std::size_t>(got, block_.size());
  return true;
}

bool vcWinIStreamLex::readLine() {
  line_.clear();
  while (at_ < end_ || fill()) {
    const std::string_view rest(block_.data() + at_, end_ - at_);
    const std::size_t feed = rest.find('\n');
    const std::string_view taken = rest.substr(0, feed == std::string_view::npos ? feed : feed + 1);
    line_.append(taken);
    at_ += taken.size();
    if (feed != std::string_view::npos) {
      return true;
    }
  }
  // A CR ends a line as well.
  line_.erase(line_.find_last_of('\r') + 1);
  return !line_.empty();
}

}  // namespace nalvo::mail
