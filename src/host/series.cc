#include "host/series.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "host/carried_value.h"
#include "host/number_reader.h"
#include "platform/mapi/property_types.h"
#include "properties/property_sets.h"

namespace nalvo::host {
namespace {

constexpr std::uint32_t kDaily = 0x0A;
constexpr std::uint32_t kWeekly = 0x0B;
constexpr std::uint32_t kMonthly = 0x0C;
constexpr std::uint32_t kYearly = 0x0D;
constexpr std::uint32_t kEndsOnDate = 0x2021;
constexpr std::uint32_t kEndsByCount = 0x2022;
constexpr std::uint32_t kEndsNever = 0x2023;
constexpr std::uint32_t kEndsNeverToo = 0xFFFFFFFF;
constexpr std::uint32_t kMinutesOfDay = 1440;

// By pattern type: day, week, day of the month, weekday of the month.
constexpr std::size_t kDetails[] = {0, 4, 4, 8};

// What an exception says beside its times, by the bits of its flags; a text has its length
// and one more ahead, then the length again.
constexpr std::uint32_t kTexts = 0x0011;
constexpr std::uint32_t kNumbers = 0x01EE;
constexpr std::uint32_t kWholeDay = 0x0080;
constexpr std::uint32_t kAsTheItem = 2;  // neither a whole day nor a time

// Larger ones are no small matter.
constexpr std::uint64_t kLargestPattern = 1U << 20;

class Meaning {
 public:
  explicit Meaning(std::string_view bytes) : reader_(bytes) {}

  // Empty for a pattern that isn't told.
  std::vector<std::uint32_t> read(SeriesKind kind) {
    if (!readRule()) {
      return {};
    }
    const std::uint32_t deleted = readDates();
    const std::uint32_t modified = readDates();
    keep(4);
    keep(4, endsOnDate_);  // that of a counted one follows from the count
    const std::optional<std::uint32_t> exceptions = kind == SeriesKind::Task ? 0 : readExceptions();
    return reader_.isCut() || exceptions != modified || modified > deleted ? std::vector<std::uint32_t>()
                                                                           : std::move(numbers_);
  }

 private:
  std::uint32_t keep(std::size_t size, bool counts = true) {
    const std::uint32_t value = reader_.number(size);
    numbers_.push_back(counts ? value : 0);
    return value;
  }

  bool readRule() {
    reader_.skip(4);
    const std::uint32_t frequency = keep(2) & 0xFF;
    const std::uint32_t type = keep(2) & 0xFF;
    reader_.skip(2);
    keep(4, frequency == kYearly);  // the month; else it follows from the start
    const std::uint32_t period = keep(4);
    const bool isMadeAnew = reader_.number(4) == 1;
    const bool isOfMonths = frequency == kMonthly || frequency == kYearly;
    if (isMadeAnew || frequency < kDaily || frequency > kYearly || type >= std::size(kDetails) ||
        (type >= 2 && !isOfMonths)) {
      return false;
    }
    for (std::size_t read = 0; read < kDetails[type]; read += 4) {
      keep(4);
    }
    const std::uint32_t end = reader_.number(4);
    endsOnDate_ = end == kEndsOnDate;
    numbers_.push_back(end == kEndsNeverToo ? kEndsNever : end);
    keep(4, end == kEndsByCount);
    keep(4, frequency == kWeekly && period > 1);  // the first day of the week
    return (end >= kEndsOnDate && end <= kEndsNever) || end == kEndsNeverToo;
  }

  std::uint32_t readDates() {
    const std::uint32_t count = keep(4);
    for (std::uint32_t left = count; left > 0 && !reader_.isCut(); --left) {
      keep(4);
    }
    return count;
  }

  // How many; no value for a start behind its day.
  std::optional<std::uint32_t> readExceptions() {
    reader_.skip(8);
    const std::uint32_t start = keep(4);
    keep(4);
    const std::uint32_t count = keep(2);
    for (std::uint32_t left = count; left > 0 && !reader_.isCut(); --left) {
      readException();
    }
    return start < kMinutesOfDay ? std::optional(count) : std::nullopt;
  }

  void readException() {
    const std::size_t start = numbers_.size();
    for (int i = 0; i < 3; ++i) {
      keep(4);  // start, end, original start
    }
    const std::uint32_t flags = reader_.number(2);
    std::uint32_t wholeDay = kAsTheItem;
    for (std::uint32_t flag = 1; flag <= kNumbers; flag <<= 1) {
      if ((flags & flag & kTexts) != 0) {
        reader_.skip(std::uint64_t{reader_.number(2)} + 1);
      } else if ((flags & flag & kNumbers) != 0) {
        const std::uint32_t value = reader_.number(4);
        wholeDay = flag == kWholeDay ? std::min(value, 1U) : wholeDay;
      }
    }
    if (wholeDay == 1) {
      numbers_[start] -= numbers_[start] % kMinutesOfDay;
      numbers_[start + 1] -= numbers_[start + 1] % kMinutesOfDay;
    }
    numbers_.push_back(wholeDay);
  }

  NumberReader reader_;
  std::vector<std::uint32_t> numbers_;
  bool endsOnDate_ = false;
};

struct PatternRow {
  const GUID& set;
  std::int32_t pattern;
  std::int32_t recurs;
  SeriesKind kind;
};
constexpr PatternRow kPatterns[] = {
    {PSETID_Appointment, 0x8216, 0x8223, SeriesKind::Appointment},
    {PSETID_Task, 0x8116, 0x8126, SeriesKind::Task},
};

const PropertyRecord* findNamed(const PropertyBag& bag, const GUID& set, std::int32_t id, ULONG type, ULONG* tag) {
  const std::uint16_t found = bag.names().idOf({set, MNID_ID, id, {}}, false);
  *tag = found == 0 ? 0 : propTag(type, found);
  return found == 0 ? nullptr : bag.findListed(*tag);
}

// The tag of the pattern if it is there and isn't told, else 0.
ULONG untoldTag(const PropertyBag& bag, const PatternRow& row) {
  ULONG tag = 0;
  const PropertyRecord* record = findNamed(bag, row.set, row.pattern, PT_BINARY, &tag);
  return record != nullptr && !isToldSeries(bytesOf(*record), row.kind) ? tag : 0;
}

}  // namespace

std::vector<std::uint32_t> seriesMeaning(std::string_view bytes, SeriesKind kind) { return Meaning(bytes).read(kind); }

std::vector<ULONG> untoldSeriesOf(const PropertyBag& bag) {
  std::vector<ULONG> tags;
  for (const PatternRow& row : kPatterns) {
    if (const ULONG tag = untoldTag(bag, row); tag != 0) {
      tags.push_back(tag);
    }
  }
  return tags;
}

void planSeries(const PropertyBag& bag, CarriedLayer& layer) {
  for (const PatternRow& row : kPatterns) {
    ULONG tag = 0;
    const PropertyRecord* pattern = findNamed(bag, row.set, row.pattern, PT_BINARY, &tag);
    if (pattern == nullptr || contentSize(*pattern) > kLargestPattern) {
      continue;
    }
    const std::vector<std::uint32_t> meaning = seriesMeaning(bytesOf(*pattern), row.kind);
    const PropertyKey key = keyOf(bag, tag).value();
    if (!meaning.empty()) {
      layer.values.push_back({key, Guard::series(meaning, row.kind), CarriedValue::Action::Set, *pattern});
      continue;
    }
    layer.values.push_back({key, Guard{Guard::Kind::Absent, 0, {}}, CarriedValue::Action::Set, *pattern});
    if (const PropertyRecord* recurs = findNamed(bag, row.set, row.recurs, PT_BOOLEAN, &tag)) {
      layer.values.push_back(
          {keyOf(bag, tag).value(), Guard::value({PT_BOOLEAN, false}), CarriedValue::Action::Set, *recurs});
    }
  }
}

}  // namespace nalvo::host
