// Puts the pieces of a rendered text together, as browsers do for innerText.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace nalvo::html {

// White space that may run together does so across pieces and goes at the ends of lines. Line breaks that are only required
// (around blocks) count by the greatest that meet, and not at the ends of the text; those that are written count each.
class LineBuilder {
 public:
  // Text that may run together; `keepsLineFeeds` makes each LF a line break.
  void addCollapsing(std::string_view utf8, bool keepsLineFeeds);
  // Text as it stands.
  void addPreserved(std::string_view utf8);
  // A line break, tab or the like that no white space touches.
  void addMark(char mark);
  // Something in the line that shows no text of its own.
  void addObject();

  // A block begins or ends: at least `count` line breaks between what is before and what comes.
  void requireBreaks(int count);
  // A line of its own begins inside of the present one, or ends.
  void startInner();
  void endInner();

  std::string take() { return std::move(text_); }

 private:
  void put(std::string_view utf8);
  void putSpace();

  std::string text_;
  int required_ = 0;
  bool atLineStart_ = true;
  bool space_ = false;  // waits for a character behind it
};

}  // namespace nalvo::html
