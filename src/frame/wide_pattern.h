// Regular expressions over message classes.
#pragma once

#include <boost/regex.hpp>
#include <string_view>

namespace nalvo {

// An expression in Perl syntax, without regard to case, over UTF-16 text taken as whole code points. Built once; matching is
// free of locks.
class WidePattern {
 public:
  // Throws boost::regex_error for an ill-formed expression.
  explicit WidePattern(std::u16string_view expression);
  // True if the whole text matches. An expression that grows too complex on a text does not match it.
  bool matches(std::u16string_view text) const;

 private:
  boost::wregex regex_;
};

}  // namespace nalvo
