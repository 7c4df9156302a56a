#include "tool/reproducible.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "host/digest.h"
#include "platform/com/guid.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"

namespace nalvo::tool {
namespace {

constexpr std::int64_t kBeginningOf2000 = 946684800;  // seconds since 1970

// The first 128 bits of a digest, marked as a GUID that was made from a text.
GUID guidOf(const std::string& digest) {
  GUID guid{};
  unsigned char bytes[sizeof guid];
  for (std::size_t i = 0; i < sizeof bytes; ++i) {
    std::from_chars(digest.data() + 2 * i, digest.data() + 2 * i + 2, bytes[i], 16);
  }
  std::memcpy(&guid, bytes, sizeof guid);
  guid.Data3 = static_cast<std::uint16_t>((guid.Data3 & 0x0FFFU) | 0x5000U);
  guid.Data4[0] = static_cast<std::uint8_t>((guid.Data4[0] & 0x3FU) | 0x80U);
  return guid;
}

}  // namespace

struct Reproducible::State {
  State(std::string seed, FILETIME moment)
      : ids([seed = std::move(seed), number = 0]() mutable {
          return guidOf(host::sha256(seed + " " + std::to_string(++number)));
        }),
        clock(moment) {}

  ScopedGuidSource ids;
  ScopedClock clock;
};

Reproducible::Reproducible(const Input& input, IStream* file)
    : state_(std::make_unique<State>(host::digestOf(file).sha256, momentOf(input))) {}
Reproducible::~Reproducible() = default;

FILETIME momentOf(const Input& input) {
  if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH")) {
    const std::string_view text = epoch;
    std::int64_t seconds = 0;
    const bool isNumber = std::from_chars(text.data(), text.data() + text.size(), seconds).ptr == text.data() + text.size();
    if (const std::optional<FILETIME> moment = isNumber ? fileTimeOfUnix(seconds) : std::nullopt; moment && !text.empty()) {
      return *moment;
    }
  }
  return input.isStandardInput() ? *fileTimeOfUnix(kBeginningOf2000) : input.modified();
}

}  // namespace nalvo::tool
