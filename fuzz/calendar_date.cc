// Any text is a date or none; one that prints reads as what it printed, and its fields may be set to anything.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "mail/date_time.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"
#include "tests/mail/zones.h"

using namespace nalvo;
using mail::DateTime;

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const mail::testing::ScopedZone machine("America/New_York");
  static const ScopedClock clock(*fileTimeOfUnix(1'199'188'800));
  static const auto zone = mail::testing::SystemZone::make("Europe/Prague", 2007, 2008);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (DateTime date : {DateTime::parse(text), DateTime::parse(text, zone), DateTime::parseAsUtc(text)}) {
    const std::string printed = date.toString();
    const DateTime again = DateTime::parse(printed);
    require(again.toString() == printed);
    for (int i = 0; size != 0 && i < mail::kDateFields; ++i) {
      const auto field = static_cast<mail::DateField>(i);
      const int value = (data[0] - 128) * (i % 2 == 0 ? 1 : 16'000'000);
      date.setField(field, value, i);
      require(date.isNull() ||
              (date.seconds() >= mail::calendar::kFirstSecond && date.seconds() <= mail::calendar::kLastSecond));
      require(date.count(field, data[0] % 8, i) >= 0);
    }
  }
  return 0;
}
