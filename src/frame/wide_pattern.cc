#include "frame/wide_pattern.h"

#include <algorithm>
#include <locale>
#include <stdexcept>

#include "platform/text/text.h"

namespace nalvo {
namespace {

std::wstring codePoints(std::u16string_view text) {
  std::wstring result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isHighSurrogate(text[i]) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
      result += static_cast<wchar_t>(0x10000 + ((text[i] - 0xD800) << 10) + (text[i + 1] - 0xDC00));
      ++i;
    } else {
      result += static_cast<wchar_t>(text[i]);
    }
  }
  return result;
}

}  // namespace

WidePattern::WidePattern(std::u16string_view expression) : prefix_(expression.substr(0, expression.find(u'['))) {
  if (prefix_.size() == expression.size()) {
    return;
  }
  // Character classes must not depend on the locale of the process.
  static const std::locale locale("C.UTF-8");
  regex_.emplace();
  regex_->imbue(locale);
  regex_->assign(codePoints(expression), boost::wregex::perl | boost::wregex::icase);
}

bool WidePattern::matches(std::u16string_view text) const {
  if (text.size() < prefix_.size() || (!regex_ && text.size() != prefix_.size()) ||
      !std::equal(prefix_.begin(), prefix_.end(), text.begin(), [](char16_t wanted, char16_t given) {
        return wanted == u'.' || toLowerAscii(wanted) == toLowerAscii(given);
      })) {
    return false;
  }
  if (!regex_) {
    return true;
  }
  try {
    return boost::regex_match(codePoints(text), *regex_);
  } catch (const std::runtime_error&) {  // the library's complexity limit
    return false;
  }
}

}  // namespace nalvo
