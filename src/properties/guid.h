// GUIDs as values with a text form.
#pragma once

#include <string>
#include <string_view>

#include "nalvo/com.h"

namespace nalvo {

// A GUID in its memory layout. Its text is "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case.
class Guid {
 public:
  Guid() = default;
  explicit Guid(const GUID& value) : value_(value) {}

  // A new one; all zero if the system has no randomness to give.
  static Guid create() noexcept;

  const GUID& get() const { return value_; }
  std::string toString() const;
  std::u16string toWideString() const;

  // Reads the text, in either case, with or without braces and with blanks around it. A text that is no GUID leaves the
  // object as it was: E_INVALIDARG for one that begins with a brace, kInvalidStringUuid for any other.
  HRESULT fromString(std::string_view text);
  HRESULT fromString(std::u16string_view text);
  // The same, and throws the failure.
  Guid& operator=(std::string_view text);
  Guid& operator=(std::u16string_view text);

  friend bool operator==(const Guid&, const Guid&) = default;

 private:
  GUID value_{};
};

// Win32's 1705, the string UUID is invalid.
inline constexpr HRESULT kInvalidStringUuid = static_cast<HRESULT>(0x800706A9U);

}  // namespace nalvo
