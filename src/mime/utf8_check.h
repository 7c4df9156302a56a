// Whether bytes are ASCII, and whether they are UTF-8, piece by piece.
#pragma once

#include <string_view>

namespace nalvo::mime {

class Utf8Check {
 public:
  void update(std::string_view piece) {
    for (const char c : piece) {
      next(static_cast<unsigned char>(c));
    }
  }
  bool isAscii() const { return isAscii_; }
  // A character cut at the end is not valid.
  bool isValid() const { return isValid_ && missing_ == 0; }

 private:
  void next(unsigned char byte) {
    if (missing_ > 0) {
      isValid_ = isValid_ && byte >= low_ && byte <= high_;
      low_ = 0x80;
      high_ = 0xBF;
      --missing_;
      return;
    }
    if (byte < 0x80) {
      return;
    }
    isAscii_ = false;
    low_ = byte == 0xE0 ? 0xA0 : byte == 0xF0 ? 0x90 : 0x80;
    high_ = byte == 0xED ? 0x9F : byte == 0xF4 ? 0x8F : 0xBF;
    missing_ = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : 1;
    isValid_ = isValid_ && byte >= 0xC2 && byte <= 0xF4;
  }

  bool isAscii_ = true;
  bool isValid_ = true;
  unsigned missing_ = 0;
  unsigned char low_ = 0x80;
  unsigned char high_ = 0xBF;
};

}  // namespace nalvo::mime
