// Any zone structure is read or refused. One that was read can be applied at all times, and its own bytes say the same.
#include <cstdint>
#include <cstring>
#include <string_view>

#include "convert/groupware/recurrence_state_item.h"
#include "convert/groupware/time_zone_struct.h"
#include "fuzz/converter.h"
#include "host/structure_words.h"

using namespace nalvo;
using RecurrenceState::detail::ItemClock;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kStructure = 48;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  (void)host::zoneWords(bytes);
  const auto zone = detail::parseTimeZoneStruct(bytes.substr(0, kStructure));
  if (!zone) {
    return 0;
  }
  const std::string again = detail::timeZoneStructBytes(*zone);
  const auto same = detail::parseTimeZoneStruct(again);
  fuzz::expect(same && std::memcmp(&*same, &*zone, sizeof *zone) == 0);
  const ItemClock clock(*zone);
  fuzz::expect(itemZone(*zone) != nullptr);
  for (std::string_view rest = bytes.substr(kStructure); rest.size() >= sizeof(std::uint32_t); rest.remove_prefix(4)) {
    std::uint32_t minutes = 0;
    std::memcpy(&minutes, rest.data(), sizeof minutes);
    (void)clock.local(clock.instant(minutes));
    fuzz::expect(clock.utc(minutes) == clock.instant(minutes));
  }
  return 0;
}
