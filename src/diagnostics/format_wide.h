// Formatting of log texts.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

namespace nalvo {

// An argument of formatWide: a whole number or a text, narrow text taken in the ANSI code page. A null text is empty.
class FormatArgument {
 public:
  template <std::signed_integral Number>
  FormatArgument(Number value) : value_(std::int64_t{value}) {}  // NOLINT(google-explicit-constructor)
  template <std::unsigned_integral Number>
  FormatArgument(Number value) : value_(std::uint64_t{value}) {}  // NOLINT(google-explicit-constructor)
  FormatArgument(std::u16string_view text);                       // NOLINT(google-explicit-constructor)
  FormatArgument(std::string_view text);                          // NOLINT(google-explicit-constructor)
  FormatArgument(const char16_t* text);                           // NOLINT(google-explicit-constructor)
  FormatArgument(const char* text);                               // NOLINT(google-explicit-constructor)

  using Value = std::variant<std::int64_t, std::uint64_t, std::wstring>;
  const Value& value() const { return value_; }

 private:
  Value value_;
};

// Formats as printf does, with "%s" for every text. A format or a number of arguments that does not fit gives a text that
// says so; only want of memory throws.
std::u16string formatWide(std::u16string_view format, std::initializer_list<FormatArgument> arguments);

}  // namespace nalvo
