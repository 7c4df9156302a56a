#include "frame/convertor_list.h"

#include <algorithm>

#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\ConvertorList"};

constexpr std::u16string_view kAnyPrintable = u"[[:print:]]*";

ComPtr<IConvertor> make(CreateConvertor create) {
  ComPtr<IConvertor> convertor;
  checkHResult(create(convertor.put()), kSource.at("ConvertorList::getConvertor"));
  return convertor;
}

}  // namespace

bool ConvertorList::LessIgnoringCase::operator()(std::u16string_view a, std::u16string_view b) const {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [](char16_t x, char16_t y) { return toLowerAscii(x) < toLowerAscii(y); });
}

ConvertorList& ConvertorList::instance() {
  static ConvertorList list;
  return list;
}

bool ConvertorList::registerConvertor(CreateConvertor create, const char16_t* pattern) {
  if (create == nullptr || pattern == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("ConvertorList::registerConvertor"));
  }
  std::u16string key = pattern;
  const std::size_t asterisk = key.find(u'*');
  if (asterisk == std::u16string::npos) {
    return exact_.insert_or_assign(std::move(key), create).second;
  }
  key.replace(asterisk, 1, kAnyPrintable);
  WidePattern expression(key);
  return patterns_.insert_or_assign(std::move(key), Pattern{std::move(expression), create}).second;
}

ComPtr<IConvertor> ConvertorList::getConvertor(const char16_t* messageClass) const {
  constexpr const char* kWhere = "ConvertorList::getConvertor";
  if (messageClass == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  std::u16string_view name = messageClass;
  ComPtr<IConvertor> found;
  for (const auto& [key, pattern] : patterns_) {
    if (pattern.expression.matches(name)) {
      found = make(pattern.create);
    }
  }
  if (found) {
    return found;
  }
  while (true) {
    if (const auto row = exact_.find(name); row != exact_.end()) {
      return make(row->second);
    }
    if (name.empty()) {
      throwHResult(MAPI_E_NOT_FOUND, kSource.at(kWhere));
    }
    const std::size_t dot = name.rfind(u'.');
    name = name.substr(0, dot == std::u16string_view::npos ? 0 : dot);
  }
}

}  // namespace nalvo
