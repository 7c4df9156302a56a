// The two halves of a conversion, with UTF-16 between them; for the files of this folder.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/text/code_pages.h"

namespace nalvo {

// What a half does with a character that it can't take: `substitute` goes in its place and `count` grows; without one it is
// left out and not counted.
struct BadCharacters {
  char16_t substitute = 0;  // 0: none
  std::size_t count = 0;
};

// Bytes of a code page to UTF-16.
class Decoder {
 public:
  explicit Decoder(char16_t substitute) : bad_{substitute} {}
  virtual ~Decoder() = default;
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  virtual void decode(std::string_view in, std::u16string& out) = 0;
  virtual void finish(std::u16string& out) = 0;
  std::size_t badCount() const { return bad_.count; }

 protected:
  void bad(std::u16string& out) {
    if (bad_.substitute != 0) {
      out.push_back(bad_.substitute);
      ++bad_.count;
    }
  }

 private:
  BadCharacters bad_;
};

// UTF-16 to bytes of a code page. A surrogate pair may be cut by the end of a piece.
class Encoder {
 public:
  explicit Encoder(char16_t substitute) : bad_{substitute} {}
  virtual ~Encoder() = default;
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  virtual void encode(std::u16string_view in, std::string& out) = 0;
  virtual void finish(std::string& out) = 0;
  std::size_t badCount() const { return bad_.count; }

 protected:
  // Counts a character that the page lacks; what to write in its place, 0 for nothing.
  char16_t bad() {
    bad_.count += bad_.substitute != 0 ? 1 : 0;
    return bad_.substitute;
  }

 private:
  BadCharacters bad_;
};

// Null when the engine doesn't have the converter.
std::unique_ptr<Decoder> makeIconvDecoder(const Charset& charset, char16_t substitute);
std::unique_ptr<Encoder> makeIconvEncoder(const Charset& charset, char16_t substitute);
std::unique_ptr<Decoder> makeIcuDecoder(const Charset& charset, char16_t substitute);
std::unique_ptr<Encoder> makeIcuEncoder(const Charset& charset, char16_t substitute);

}  // namespace nalvo
