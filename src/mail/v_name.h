// Names of components and properties.
#pragma once

#include <string>
#include <string_view>

namespace nalvo::mail {

// In the space of a pointer: a tree holds many names, and nearly all of them are of the few that are known.
class Name {
 public:
  Name() : Name(std::string_view()) {}
  Name(std::string_view text);                              // NOLINT(google-explicit-constructor): a name is its text
  Name(const char* text) : Name(std::string_view(text)) {}  // NOLINT(google-explicit-constructor)
  Name(const Name& other);
  Name(Name&& other) noexcept;
  Name& operator=(Name other) noexcept;
  ~Name();

  operator std::string_view() const { return *text_; }  // NOLINT(google-explicit-constructor)

 private:
  const std::string* text_;  // of the table of known names, or its own
};

}  // namespace nalvo::mail
