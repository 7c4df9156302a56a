// The value of Content-Type and Content-Disposition: a word and its parameters.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mime/header_text.h"

namespace nalvo::mime {

struct Parameter {
  std::string name;     // as it was written, without "*"
  std::string value;    // bytes, out of quotes, percent codes and parts; charset not applied
  std::u16string wide;  // the value as text
};

// Reads tolerantly and writes by the book: a value split over parts or in a declared charset in any order and with gaps, an
// encoded word in or out of quotes, values with blanks but no quotes, missing semicolons, comments, paths with backslashes.
// Of several parameters of one name the first counts, of a plain and an extended form the extended one.
class ParameterList {
 public:
  // `unfoldedRaw` is the whole value. Reads raw 8-bit bytes as decodeHeaderText does.
  static ParameterList parse(std::string_view unfoldedRaw, const Charset* messageCharset);

  // "text/plain", "attachment", in its own case; may be empty.
  std::string_view word() const { return word_; }
  void setWord(std::string_view word);

  // Null if there is none. Names are compared without case. The pointer holds until the list is changed.
  const Parameter* find(std::string_view name) const;
  const std::vector<Parameter>& all() const { return parameters_; }
  // In place, else at the end.
  void set(std::string_view name, std::u16string_view value);
  // Whether there was one.
  bool erase(std::string_view name);

  // The whole value, folded between parameters. Values that are no plain ASCII or too long for a line go out split and
  // percent-encoded, in `charset` or UTF-8 when that is null or can't hold the value.
  std::string write(const Charset* charset, const HeaderFold& fold) const;

 private:
  std::string word_;
  std::vector<Parameter> parameters_;
};

}  // namespace nalvo::mime
