// The one exception class and the helpers that throw it.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "platform/com/hresult.h"

namespace nalvo {

// Where a failure arose. All texts are constants of the program.
struct SourceLocation {
  std::int32_t kind;  // always 2
  const char* file;   // ".\Coder"; may be null
  std::int32_t line;
  const char* function;  // "Coder::decodeQP"; may be null
};

// A source file's name as the log shows it. Each source file that throws has one:
//   constexpr SourceFile kSource{".\\Coder"};
//   checkHResult(hr, kSource.at("Coder::decodeQP"));
struct SourceFile {
  const char* name;

  constexpr SourceLocation at(const char* function, int line = __builtin_LINE()) const { return {2, name, line, function}; }
};

// A failure with its complete text, built when it is thrown:
//   Exception of class HResultException: .\Coder(968), Coder::detail::DestStreamDataHolder::init:
//   0x80030070 STG_E_MEDIUMFULL: text
class HResultException : public std::exception {
 public:
  // `file`, `function` and `text` may each be null. Nothing checks that `hr` is a failure.
  HResultException(HRESULT hr, std::int32_t kind, const char* file, std::int32_t line, const char* function,
                   const char* text = nullptr);
  HResultException(HRESULT hr, const SourceLocation& location, const char* text = nullptr);
  HResultException(const HResultException&) = default;
  HResultException& operator=(const HResultException&) = default;
  ~HResultException() override = default;

  const char* what() const noexcept override { return text_.c_str(); }
  virtual HRESULT getHResult() const noexcept { return hr_; }
  std::int32_t kind() const noexcept { return kind_; }

 private:
  HRESULT hr_;
  std::int32_t kind_;
  std::string text_;
};

// Throws for a negative `hr`; S_FALSE and all warnings pass.
void checkHResult(HRESULT hr, const SourceLocation& location);
[[noreturn]] void throwHResult(HRESULT hr, const SourceLocation& location, const char* text = nullptr);

// The text of "a class can't be converted without a body", made once and thrown with its code MAPI_E_NO_SUPPORT.
class NoBodyError {
 public:
  explicit NoBodyError(std::string_view messageClass);
  HResultException at(const SourceLocation& location) const;

 private:
  std::string text_;
};

// "0x80040102 MAPI_E_NO_SUPPORT", or the number alone for an unknown code.
std::string hresultText(HRESULT hr);
// The last two components of a path with backslashes.
std::string shortFileName(const char* file);

}  // namespace nalvo
