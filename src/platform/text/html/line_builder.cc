#include "platform/text/html/line_builder.h"

#include <algorithm>
#include <utility>

namespace nalvo::html {
namespace {

constexpr std::string_view kCollapsing = " \t\n\r\f";

}  // namespace

void LineBuilder::addCollapsing(std::string_view utf8, bool keepsLineFeeds) {
  while (!utf8.empty()) {
    const std::size_t blanks = std::min(utf8.find_first_not_of(kCollapsing), utf8.size());
    if (blanks != 0) {
      const std::string_view run = utf8.substr(0, blanks);
      const auto feeds = keepsLineFeeds ? std::count(run.begin(), run.end(), '\n') : 0;
      for (auto i = feeds; i > 0; --i) {
        addMark('\n');
      }
      space_ = space_ || (!atLineStart_ && feeds == 0);
      utf8.remove_prefix(blanks);
      continue;
    }
    const std::size_t length = std::min(utf8.find_first_of(kCollapsing), utf8.size());
    putSpace();
    put(utf8.substr(0, length));
    atLineStart_ = false;
    utf8.remove_prefix(length);
  }
}

void LineBuilder::addPreserved(std::string_view utf8) {
  if (!utf8.empty()) {
    putSpace();
    put(utf8);
    atLineStart_ = utf8.back() == '\n';
  }
}

void LineBuilder::addMark(char mark) {
  space_ = false;
  put(std::string_view(&mark, 1));
  atLineStart_ = true;
}

void LineBuilder::addObject() {
  putSpace();
  atLineStart_ = false;
}

void LineBuilder::requireBreaks(int count) {
  space_ = false;
  atLineStart_ = true;
  required_ = std::max(required_, count);
}

void LineBuilder::startInner() {
  putSpace();
  atLineStart_ = true;
}

void LineBuilder::endInner() {
  space_ = false;
  atLineStart_ = false;
}

void LineBuilder::putSpace() {
  if (std::exchange(space_, false)) {
    put(" ");
  }
}

void LineBuilder::put(std::string_view utf8) {
  if (const int breaks = std::exchange(required_, 0); !text_.empty()) {
    text_.append(static_cast<std::size_t>(breaks), '\n');
  }
  text_.append(utf8);
}

}  // namespace nalvo::html
