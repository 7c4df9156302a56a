// The bytes of a recurrence pattern, PidLidAppointmentRecur and PidLidTaskRecurrence.
//
// Times are minutes since 1601-01-01 00:00 by the wall clock of the item's zone, dates the same at midnight.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "nalvo/com.h"

namespace nalvo {

inline constexpr std::uint32_t kMinutesOfDay = 1440;

enum class ItemKind : std::uint8_t { Appointment, Task };

struct RecurrencePattern {
  enum class Frequency : std::uint8_t { Daily = 0x0A, Weekly, Monthly, Yearly };
  enum class Type : std::uint8_t { Day, Week, Month, MonthNth };
  enum class End : std::uint32_t { OnDate = 0x2021, AfterCount, Never };

  // Days of the week as bits, Sunday the lowest.
  static constexpr std::uint32_t kSunday = 1;
  // The fourth `nth` and below count from the first, this is the last.
  static constexpr std::uint32_t kLast = 5;

  struct Exception {
    std::uint32_t start = 0;
    std::uint32_t end = 0;
    std::uint32_t original = 0;  // the start that the rule gives
    std::optional<bool> allDay;  // when it differs from the item
  };

  Frequency frequency = Frequency::Daily;
  Type type = Type::Day;
  std::uint32_t firstDateTime = 0;  // where the periods begin, in minutes
  std::uint32_t period = 1;         // in minutes for Type::Day, in weeks for Type::Week, else in months
  std::uint32_t weekdays = 0;       // of Type::Week and MonthNth
  std::uint32_t monthDay = 0;       // of Type::Month; beyond the end of a month it is the last day
  std::uint32_t nth = 0;            // of Type::MonthNth: which of the weekdays
  End end = End::Never;
  std::uint32_t count = 0;              // counts for End::AfterCount
  std::uint32_t firstDayOfWeek = 0;     // 0 Sunday to 6
  std::vector<std::uint32_t> deleted;   // days that the rule gives and that are not, or are elsewhere
  std::vector<std::uint32_t> modified;  // days of the new starts of `exceptions`
  std::uint32_t startDate = 0;
  std::uint32_t endDate = 0;

  // Of appointments alone.
  std::uint32_t startOffset = 0;  // minutes from midnight to the start, below a day when read
  std::uint32_t endOffset = 0;
  std::vector<Exception> exceptions;
};

// Reads from the stream's position. What the system does not use (texts and reminders of exceptions, extended blocks) is
// read past; `endOffset` and `firstDayOfWeek` are given as they stand.
//
// Throws   E_FAIL for a series that makes its next item when one is done; E_INVALIDARG for an unknown frequency, type or
//          end; MAPI_E_CORRUPT_DATA for a start of a day or more; STG_E_READFAULT when it is cut off; the stream's code.
RecurrencePattern readRecurrencePattern(IStream* stream, ItemKind kind);
// At most 65535 exceptions can be written, more are E_INVALIDARG.
void writeRecurrencePattern(const RecurrencePattern& pattern, ItemKind kind, IStream* stream);

}  // namespace nalvo
