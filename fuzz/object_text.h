// What is asked of every calendar and card object that was read from some text.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "mail/v_base.h"
#include "platform/text/text.h"

namespace nalvo::fuzz {

inline void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// Words inside words are decoded a few times, and a carriage return that goes may join a new one.
inline bool mayChange(const mail::Component& component) {
  const auto odd = [](std::string_view text) {
    return text.find("=?") != std::string::npos || text.find('\r') != std::string::npos;
  };
  for (const mail::Property& property : component.properties()) {
    if (std::any_of(property.values.begin(), property.values.end(), [&](const auto& value) { return odd(value.text); })) {
      return true;
    }
  }
  return odd(component.name) || std::any_of(component.children.begin(), component.children.end(), mayChange);
}

// Reads `object`, and requires that what it writes is valid, reads again and is written the same. Whether it was read.
template <typename Object>
bool readStable(Object& object, const std::uint8_t* data, std::size_t size) {
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  const bool read = object.read(in);
  const std::string once = object.toText();
  require(isValidUtf8(once));
  if (!mayChange(object.root())) {
    Object again;
    std::istringstream text(once);
    again.read(text);
    require(again.toText() == once || once.empty());
  }
  return read;
}

}  // namespace nalvo::fuzz
