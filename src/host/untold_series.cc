#include "host/untold_series.h"

#include <algorithm>
#include <iterator>

#include "platform/mapi/property_types.h"
#include "properties/property_sets.h"

namespace nalvo::host {
namespace {

constexpr std::uint32_t kDaily = 0x0A;
constexpr std::uint32_t kMonthly = 0x0C;
constexpr std::uint32_t kYearly = 0x0D;
constexpr std::uint32_t kEndsOnDate = 0x2021;
constexpr std::uint32_t kEndsNever = 0x2023;
constexpr std::uint32_t kEndsNeverToo = 0xFFFFFFFF;
constexpr std::uint32_t kMinutesOfDay = 1440;

// By pattern type: day, week, day of the month, weekday of the month.
constexpr std::size_t kDetails[] = {0, 4, 4, 8};

// What an exception says beside its times, by the bits of its flags; a text has its length
// and one more ahead, then the length again.
constexpr std::uint32_t kTexts = 0x0011;
constexpr std::uint32_t kNumbers = 0x01EE;

// Little-endian numbers; zero behind the end.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  std::uint32_t number(std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = std::min(size, rest_.size()); i > 0; --i) {
      value = value << 8 | static_cast<unsigned char>(rest_[i - 1]);
    }
    skip(size);
    return value;
  }
  void skip(std::uint64_t size) {
    isCut_ = isCut_ || size > rest_.size();
    rest_.remove_prefix(static_cast<std::size_t>(std::min<std::uint64_t>(size, rest_.size())));
  }
  bool isCut() const { return isCut_; }

 private:
  std::string_view rest_;
  bool isCut_ = false;
};

void skipException(Reader& reader) {
  reader.skip(12);
  const std::uint32_t flags = reader.number(2);
  for (std::uint32_t flag = 1; flag <= kNumbers; flag <<= 1) {
    if ((flags & flag & kTexts) != 0) {
      reader.skip(std::uint64_t{reader.number(2)} + 1);
    } else if ((flags & flag & kNumbers) != 0) {
      reader.skip(4);
    }
  }
}

bool isToldRule(Reader& reader) {
  reader.skip(4);
  const std::uint32_t frequency = reader.number(2) & 0xFF;
  const std::uint32_t type = reader.number(2) & 0xFF;
  reader.skip(2 + 4 + 4);
  const bool isMadeAnew = reader.number(4) == 1;
  const bool isOfMonths = frequency == kMonthly || frequency == kYearly;
  if (isMadeAnew || frequency < kDaily || frequency > kYearly || type >= std::size(kDetails) || (type >= 2 && !isOfMonths)) {
    return false;
  }
  reader.skip(kDetails[type]);
  const std::uint32_t end = reader.number(4);
  reader.skip(4 + 4);
  return (end >= kEndsOnDate && end <= kEndsNever) || end == kEndsNeverToo;
}

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

bool isToldSeries(std::string_view bytes, SeriesKind kind) {
  Reader reader(bytes);
  if (!isToldRule(reader)) {
    return false;
  }
  const std::uint32_t deleted = reader.number(4);
  reader.skip(std::uint64_t{deleted} * 4);
  const std::uint32_t modified = reader.number(4);
  reader.skip(std::uint64_t{modified} * 4 + 8);
  std::uint32_t exceptions = 0;
  if (kind == SeriesKind::Appointment) {
    reader.skip(8);
    if (reader.number(4) >= kMinutesOfDay) {
      return false;
    }
    reader.skip(4);
    exceptions = reader.number(2);
    for (std::uint32_t left = exceptions; left > 0 && !reader.isCut(); --left) {
      skipException(reader);
    }
  }
  return !reader.isCut() && modified == exceptions && modified <= deleted;
}

std::vector<ULONG> untoldSeriesOf(const PropertyBag& bag) {
  std::vector<ULONG> tags;
  for (const PatternRow& row : kPatterns) {
    if (const ULONG tag = untoldTag(bag, row); tag != 0) {
      tags.push_back(tag);
    }
  }
  return tags;
}

void planUntoldSeries(const PropertyBag& bag, CarriedLayer& layer) {
  for (const PatternRow& row : kPatterns) {
    const ULONG pattern = untoldTag(bag, row);
    if (pattern == 0) {
      continue;
    }
    layer.values.push_back({keyOf(bag, pattern).value(), Guard{Guard::Kind::Absent, 0, {}}, CarriedValue::Action::Set,
                            *bag.findListed(pattern)});
    ULONG recurs = 0;
    if (const PropertyRecord* record = findNamed(bag, row.set, row.recurs, PT_BOOLEAN, &recurs)) {
      layer.values.push_back(
          {keyOf(bag, recurs).value(), Guard::value({PT_BOOLEAN, false}), CarriedValue::Action::Set, *record});
    }
  }
}

}  // namespace nalvo::host
