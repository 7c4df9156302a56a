#include "diagnostics/hresult_exception.h"

#include <array>
#include <cstdio>  // snprintf

#include "diagnostics/error_names.h"

namespace nalvo {
namespace {

std::string buildText(HRESULT hr, const char* file, std::int32_t line, const char* function, const char* text) {
  std::string result = "Exception of class HResultException: ";
  result += file == nullptr ? std::string("<unknown file>") : shortFileName(file);
  result += '(';
  result += std::to_string(line);
  result += "), ";
  result += function == nullptr ? "<no function>" : function;
  result += ":\n";
  result += hresultText(hr);
  if (text != nullptr && *text != '\0') {
    result += ": ";
    result += text;
  }
  return result;
}

}  // namespace

HResultException::HResultException(HRESULT hr, std::int32_t kind, const char* file, std::int32_t line, const char* function,
                                   const char* text)
    : hr_(hr), kind_(kind), text_(buildText(hr, file, line, function, text)) {}

HResultException::HResultException(HRESULT hr, const SourceLocation& location, const char* text)
    : HResultException(hr, location.kind, location.file, location.line, location.function, text) {}

void checkHResult(HRESULT hr, const SourceLocation& location) {
  if (failed(hr)) {
    throwHResult(hr, location);
  }
}

void throwHResult(HRESULT hr, const SourceLocation& location, const char* text) {
  throw HResultException(hr, location, text);
}

NoBodyError::NoBodyError(std::string_view messageClass)
    : text_("Can't convert " + std::string(messageClass) + " without body!") {}

HResultException NoBodyError::at(const SourceLocation& location) const {
  return {MAPI_E_NO_SUPPORT, location, text_.c_str()};
}

std::string hresultText(HRESULT hr) {
  std::array<char, 16> digits{};
  std::snprintf(digits.data(), digits.size(), "0x%08x", static_cast<std::uint32_t>(hr));
  std::string result = digits.data();
  if (const std::string_view name = errorName(hr); !name.empty()) {
    result += ' ';
    result += name;
  }
  return result;
}

std::string shortFileName(const char* file) {
  const std::string_view path = file;
  const std::size_t last = path.rfind('\\');
  if (last == std::string_view::npos || last == 0) {
    return std::string(path);
  }
  const std::size_t before = path.rfind('\\', last - 1);
  if (before == std::string_view::npos || before == 0) {
    return std::string(path);
  }
  return std::string(path.substr(before + 1));
}

}  // namespace nalvo
