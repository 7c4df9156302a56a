// Property values as bytes and as digests, for what travels beside a mail.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "host/property_value.h"

namespace nalvo::host {

// Reads numbers and texts from bytes of others. Everything throws MAPI_E_CORRUPT_DATA where the bytes end too soon.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : rest_(bytes) {}

  bool atEnd() const { return rest_.empty(); }
  std::string_view take(std::uint64_t bytes);
  template <typename T>
  T number() {
    T value;
    std::memcpy(static_cast<void*>(&value), take(sizeof value).data(), sizeof value);
    return value;
  }
  // A count of things that take at least `bytesEach`.
  std::uint32_t count(std::size_t bytesEach);
  std::string text();
  std::u16string wideText();

 private:
  std::string_view rest_;
};

void appendText(std::string& out, std::string_view text);
void appendWideText(std::string& out, std::u16string_view text);

// A stream goes in as its content. Throws the stream's code, MAPI_E_TOO_BIG for more than kLargestCarriedValue bytes.
inline constexpr std::uint64_t kLargestCarriedValue = 64U << 20;
void appendRecord(std::string& out, const PropertyRecord& record);
// MAPI_E_CORRUPT_DATA also for a content that its type does not have, an object, and a code page that nobody knows.
PropertyRecord readRecord(ByteReader& in);

// The bytes of a text, a binary value or a stream; 0 for all others.
std::uint64_t contentSize(const PropertyRecord& record);
// Equal for equal values of one stored type and code page, in memory or in a stream.
std::string digestOf(const PropertyRecord& record);
// Equal for texts of equal words, whatever their white space and their case in ASCII.
std::u16string wordsOf(std::u16string_view text);

}  // namespace nalvo::host
