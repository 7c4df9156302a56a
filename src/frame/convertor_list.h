// The registry: which convertor handles a message class.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "frame/convertor.h"
#include "frame/wide_pattern.h"
#include "platform/com/com_ptr.h"

namespace nalvo {

// Filled during static initialisation by the convertors' own modules and only read afterwards, so lookups take no lock.
class ConvertorList {
 public:
  // The registry of the process.
  static ConvertorList& instance();

  // `pattern` is a class name, or one whose first asterisk stands for any printable text. True when the pattern is new; an
  // existing one gets the new function. Throws E_INVALIDARG for null.
  bool registerConvertor(CreateConvertor create, const char16_t* pattern);

  // A new convertor: by the patterns that match the whole class (the last in order wins), else by the class cut at its last
  // dot again and again, down to the empty text. Throws E_INVALIDARG for null, MAPI_E_NOT_FOUND when nothing is registered,
  // and the function's own code.
  ComPtr<IConvertor> getConvertor(const char16_t* messageClass) const;

 private:
  struct LessIgnoringCase {
    using is_transparent = void;
    bool operator()(std::u16string_view a, std::u16string_view b) const;
  };
  struct Pattern {
    WidePattern expression;
    CreateConvertor create;
  };

  std::map<std::u16string, CreateConvertor, LessIgnoringCase> exact_;
  std::map<std::u16string, Pattern, LessIgnoringCase> patterns_;
};

}  // namespace nalvo
