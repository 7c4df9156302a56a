#include "mail/v_params.h"

#include <cstring>

namespace nalvo::mail {
namespace {

// An item is a number, low seven bits first and the high bit set in all bytes but the last, and then the text. The number is
// twice the text's length, one more for a name.
void append(std::string& bytes, std::string_view text, bool isName) {
  std::size_t number = text.size() * 2 + (isName ? 1 : 0);
  for (; number > 0x7F; number >>= 7) {
    bytes.push_back(static_cast<char>(number | 0x80));
  }
  bytes.push_back(static_cast<char>(number));
  bytes.append(text);
}

}  // namespace

void Params::Iterator::decode() {
  if (rest_.empty()) {
    return;
  }
  std::size_t number = 0, at = 0;
  int shift = 0;
  do {
    number |= (static_cast<std::size_t>(rest_[at]) & 0x7F) << shift;
    shift += 7;
  } while ((rest_[at++] & 0x80) != 0);
  item_ = {(number & 1) != 0, rest_.substr(at, number / 2)};
  taken_ = at + number / 2;
}

Params::Params(const std::vector<Param>& params) {
  std::string bytes;
  for (const Param& param : params) {
    append(bytes, param.name, true);
    for (const std::string& value : param.values) {
      append(bytes, value, false);
    }
  }
  *this = Params(std::string_view(bytes));
}

Params::Params(std::string_view bytes) {
  if (const std::size_t size = bytes.size(); size != 0) {
    block_ = std::make_unique_for_overwrite<char[]>(sizeof size + size);
    std::memcpy(block_.get(), &size, sizeof size);
    std::memcpy(block_.get() + sizeof size, bytes.data(), size);
  }
}

std::string_view Params::bytes() const {
  if (block_ == nullptr) {
    return {};
  }
  std::size_t size = 0;
  std::memcpy(&size, block_.get(), sizeof size);
  return {block_.get() + sizeof size, size};
}

std::vector<Param> Params::all() const {
  std::vector<Param> params;
  for (const auto& [isName, text] : *this) {
    if (isName) {
      params.push_back({std::string(text), {}});
    } else {
      params.back().values.emplace_back(text);
    }
  }
  return params;
}

}  // namespace nalvo::mail
