// Any recurrence pattern is read or refused. What one that was read becomes comes back the same, and is told in words.
#include <cstdint>
#include <sstream>
#include <string_view>

#include "convert/groupware/recurrence_pattern.h"
#include "convert/groupware/recurrence_state.h"
#include "convert/groupware/time_zone_struct.h"
#include "diagnostics/boundary.h"
#include "fuzz/converter.h"
#include "host/series.h"
#include "host/structure_words.h"
#include "mail/calendar.h"
#include "properties/named_properties.h"

using namespace nalvo;

namespace {

struct Item {
  explicit Item(ItemKind kind) : property(kind == ItemKind::Task ? named::kTaskRecurrence : named::kAppointmentRecur) {
    state.setMimeToMapi(fuzz::streamOf("\r\n").get(), caller.message.get(), caller.allocator.get(), ToMapiFlags::Normal);
    // New York.
    TIME_ZONE_INFORMATION zone{};
    zone.Bias = 300;
    zone.DaylightBias = -60;
    zone.DaylightDate = {0, 3, 0, 2, 2, 0, 0, 0};
    zone.StandardDate = {0, 11, 0, 1, 2, 0, 0, 0};
    writeTimeZoneStruct(state, zone);
  }

  ULONG tag() const { return MapiName(property).getPropertyTag(caller.message.get()); }
  void set(std::string_view bytes) { caller.message->bag().set(tag(), {PT_BINARY, std::string(bytes)}); }
  std::string get() const {
    const host::PropertyRecord* record = caller.message->bag().find(tag());
    return record == nullptr ? std::string() : host::bytesOf(*record);
  }

  const NamedProperty& property;
  fuzz::Converter caller;
  ConvertorDataMessage state;
};

// The pattern that the text of `bytes` has; empty when the bytes are refused.
template <typename Object>
std::string roundTrip(std::string_view bytes, ItemKind kind) {
  Item item(kind);
  item.set(bytes);
  Object object;
  object.createNew("u");
  const bool isTold = succeeded(atBoundary([&] { RecurrenceState::createState(item.state, object, {}); }));
  fuzz::expect(isTold ==
               host::isToldSeries(bytes, kind == ItemKind::Task ? host::SeriesKind::Task : host::SeriesKind::Appointment));
  if (!isTold) {
    return {};
  }
  Object read;
  std::istringstream text(object.toText());
  fuzz::expect(read.read(text));
  const RecurrencePattern pattern = readRecurrencePattern(fuzz::streamOf(bytes).get(), kind);
  const mail::DateTime start(mail::calendar::kFirstSecond + 60 * (std::int64_t{pattern.startDate} + pattern.startOffset));
  RecurrenceState::ParseState(start, start + mail::Duration(3600), item.state, read);
  return item.get();
}

template <typename Object>
void check(std::string_view bytes, ItemKind kind) {
  const std::string once = roundTrip<Object>(bytes, kind);
  if (once.empty()) {
    return;
  }
  const RecurrencePattern pattern = readRecurrencePattern(fuzz::streamOf(once).get(), kind);
  fuzz::expect(pattern.modified.size() == pattern.exceptions.size());
  fuzz::expect(host::recurrenceWords(once) != "unreadable");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kMostBytes = 65536;  // Cost is linear, and each date is looked at by several readers.
  const std::string_view bytes(reinterpret_cast<const char*>(data), std::min(size, kMostBytes));
  (void)host::recurrenceWords(bytes);
  check<mail::VEvent>(bytes, ItemKind::Appointment);
  check<mail::VTodo>(bytes, ItemKind::Task);
  return 0;
}
