// Regular expressions over message classes.
#pragma once

#include <boost/regex.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace nalvo {

// A class name in which a dot stands for any one character and bracketed classes such as "[[:print:]]*" may follow; without
// regard to case, over UTF-16 text taken as whole code points. Built once; matching is free of locks.
class WidePattern {
 public:
  // Throws boost::regex_error for an ill-formed expression.
  explicit WidePattern(std::u16string_view expression);
  // True if the whole text matches. An expression that grows too complex on a text does not match it.
  bool matches(std::u16string_view text) const;

 private:
  // What stands ahead of the first bracket decides nearly always, and without the cost of an expression.
  std::u16string prefix_;
  std::optional<boost::wregex> regex_;  // none for a name without brackets
};

}  // namespace nalvo
