// Reads numbers out of bytes, least significant byte first. What lies behind the end is zero, and told.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace nalvo::host {

class NumberReader {
 public:
  explicit NumberReader(std::string_view bytes) : rest_(bytes) {}

  std::uint32_t word() { return number(2); }
  std::uint32_t dword() { return number(4); }
  // Of at most 4 bytes.
  std::uint32_t number(std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = std::min(size, rest_.size()); i > 0; --i) {
      value = value << 8 | static_cast<unsigned char>(rest_[i - 1]);
    }
    skip(size);
    return value;
  }
  void skip(std::uint64_t size) {
    isCut_ = isCut_ || size > rest_.size();
    rest_.remove_prefix(static_cast<std::size_t>(std::min<std::uint64_t>(size, rest_.size())));
  }
  bool isCut() const { return isCut_; }

 private:
  std::string_view rest_;
  bool isCut_ = false;
};

}  // namespace nalvo::host
