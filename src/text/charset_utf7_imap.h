// The modified UTF-7 of mailbox names: ASCII as it is, "&-" for "&", all else as UTF-16 in sextets between "&" and "-".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace nalvo::utils {

// Where a run of sextets stands between two pieces of text; all zero when idle.
struct Utf7ImapState {
  bool inBase64 = false;
  unsigned bitCount = 0;   // left over from the previous unit: 0, 2 or 4
  std::uint16_t bits = 0;  // those bits, moved to the top of the next unit
};

// What a malformed sequence does. With neither, it gives U+0000.
struct Utf7ImapOptions {
  bool acceptMalformed = false;   // it gives "&", and decoding goes on behind its first byte
  bool throwOnMalformed = false;  // Exception, unless malformed text is accepted
};

class Utf7ImapDecoder {
 public:
  explicit Utf7ImapDecoder(Utf7ImapOptions options) : options_(options) {}

  // Appends what `in` gives to `out`. Without `final` the last bytes may be left: returns how many were read. Counts every
  // sequence that could not be taken in failures().
  std::size_t decode(std::string_view in, bool final, std::u16string& out);

  std::size_t failures() const { return failures_; }
  void reset() { *this = Utf7ImapDecoder(options_); }

 private:
  std::size_t step(std::string_view in, char16_t& unit);
  std::size_t malformed(const char* message, std::size_t bytes, char16_t& unit);

  Utf7ImapOptions options_;
  Utf7ImapState state_;
  std::size_t failures_ = 0;
};

class Utf7ImapEncoder {
 public:
  void encode(std::u16string_view in, std::string& out);
  // Ends an open run; the encoder then stands at the start of a new text.
  void finish(std::string& out);

 private:
  Utf7ImapState state_;
};

}  // namespace nalvo::utils
