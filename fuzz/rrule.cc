// Any text is a rule or none; its dates ascend, are no more than its count, and each costs a bounded time.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mail/rrule.h"
#include "tests/mail/zones.h"

using namespace nalvo;
using namespace nalvo::mail;

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto zone = mail::testing::SystemZone::make("America/New_York", 2007, 2010);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const RRule rule(text);
  require(RRule(rule.toString()).toString() == rule.toString());
  DateTime start(28, 2, 2007, 7, 30, 0);
  start.setZone(zone);
  for (const bool includeStart : {false, true}) {
    constexpr int kMost = 20;
    DateTime last;
    int dates = 0;
    for (RRuleIterator i = rule.iterate(start, includeStart); !i.hasEnded() && dates < kMost; i.advance(), ++dates) {
      require(last < i.current());
      last = i.current();
    }
    require(rule.count < 0 || dates <= rule.count || !rule.valid);
  }
  return 0;
}
