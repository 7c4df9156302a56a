// Numbers as files hold them, least significant byte first.
#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace nalvo::host {

static_assert(std::endian::native == std::endian::little, "Numbers and UTF-16 text are copied as they lie in memory");

// The bytes from `offset` on must be there.
template <typename T>
T loadAt(std::string_view bytes, std::size_t offset) {
  static_assert(std::is_trivially_copyable_v<T>);
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

template <typename T>
void storeAt(std::string& bytes, std::size_t offset, const T& value) {
  static_assert(std::is_trivially_copyable_v<T>);
  std::memcpy(bytes.data() + offset, &value, sizeof value);
}

template <typename T>
void appendTo(std::string& bytes, const T& value) {
  static_assert(std::is_trivially_copyable_v<T>);
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// All whole values that lie in `bytes`.
template <typename T>
std::vector<T> valuesOf(std::string_view bytes) {
  static_assert(std::is_trivially_copyable_v<T>);
  std::vector<T> values(bytes.size() / sizeof(T));
  if (!values.empty()) {
    std::memcpy(static_cast<void*>(values.data()), bytes.data(), values.size() * sizeof(T));
  }
  return values;
}

}  // namespace nalvo::host
