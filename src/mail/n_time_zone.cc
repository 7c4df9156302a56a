#include "mail/n_time_zone.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <unordered_map>
#include <utility>

#include "mail/calendar.h"
#include "mail/zone_ids.h"
#include "mail/zone_tables.h"
#include "platform/text/text.h"
#include "platform/time/zone_names.h"

namespace nalvo::mail {
namespace {

using Md5 = std::array<unsigned char, 16>;

Md5 md5Of(const std::string& text) {
  Md5 digest{};
  EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_md5(), nullptr);
  return digest;
}

std::string hexadecimalOf(const Md5& digest) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : digest) {
    text.push_back(kDigits[byte >> 4]);
    text.push_back(kDigits[byte & 15]);
  }
  return text;
}

std::string joinSorted(std::vector<std::string> lines) {
  std::sort(lines.begin(), lines.end());
  std::string text;
  for (const std::string& line : lines) {
    text.append(line).push_back('\n');
  }
  return text;
}

// What the offsets of a zone depend on.
ZoneOffsetCache::ZoneKey keyOf(std::span<const Observance> observances) {
  std::vector<std::string> lines;
  for (const Observance& observance : observances) {
    std::string line = observance.kind == Observance::Kind::Standard ? "STD" : "DST";
    for (const std::string& part : {observance.dtstart.toString(DateTime::kLocal | DateTime::kWithTime),
                                    std::to_string(observance.offsetFrom.seconds()),
                                    std::to_string(observance.offsetTo.seconds()), observance.rrule.toString()}) {
      line.append(";").append(part);
    }
    for (const DateTime& rdate : observance.rdates) {
      line.append(";").append(std::to_string(rdate.seconds()));
    }
    lines.push_back(std::move(line));
  }
  const Md5 digest = md5Of(joinSorted(std::move(lines)));
  ZoneOffsetCache::ZoneKey key;
  std::memcpy(&key.high, digest.data(), sizeof(key.high));
  std::memcpy(&key.low, digest.data() + sizeof(key.high), sizeof(key.low));
  return key;
}

std::string checksumOf(std::span<const Observance> observances) {
  std::vector<std::string> lines;
  for (const Observance& observance : observances) {
    const char* kind = observance.kind == Observance::Kind::Standard ? "STD:" : "DST:";
    for (const std::string& part :
         {observance.dtstart.toString(DateTime::kLocal), offsetText(observance.offsetTo), observance.rrule.toString()}) {
      lines.push_back(kind + part);
    }
  }
  return hexadecimalOf(md5Of(joinSorted(std::move(lines))));
}

Observance tableObservance(Observance::Kind kind, std::string_view start, Duration from, Duration to,
                           std::string_view rule) {
  Observance observance;
  observance.kind = kind;
  observance.dtstart = DateTime::parseAsUtc(start);
  observance.offsetFrom = from;
  observance.offsetTo = to;
  observance.rrule = RRule(rule);
  return observance;
}

std::vector<Observance> observancesOf(const ZoneRecord& record) {
  using enum Observance::Kind;
  const Duration standard = parseOffsetText(record.standardOffset);
  if (record.daylightOffset.empty()) {
    Observance always;
    always.dtstart = DateTime(1);
    always.offsetFrom = standard;
    always.offsetTo = standard;
    return {always};
  }
  const Duration daylight = parseOffsetText(record.daylightOffset);
  return {tableObservance(Standard, record.standardStart, daylight, standard, record.standardRule),
          tableObservance(Daylight, record.daylightStart, standard, daylight, record.daylightRule)};
}

constexpr std::string_view kUtcName = "(UTC) Universal Coordinated Time";

// Names that have come up since the tables were made, and those that they took the place of.
struct Renamed {
  std::string_view name, former;
};
constexpr Renamed kRenamed[] = {
    {"America/Nuuk", "America/Godthab"}, {"Asia/Ho_Chi_Minh", "Asia/Saigon"},     {"Asia/Kathmandu", "Asia/Katmandu"},
    {"Asia/Kolkata", "Asia/Calcutta"},   {"Asia/Yangon", "Asia/Rangoon"},         {"Europe/Kyiv", "Europe/Kiev"},
    {"Pacific/Chuuk", "Pacific/Truk"},   {"Pacific/Kanton", "Pacific/Enderbury"}, {"Pacific/Pohnpei", "Pacific/Ponape"},
};

}  // namespace

NTimeZone::NTimeZone(std::string id, std::vector<Observance> observances) : id_(std::move(id)) {
  setObservances(std::move(observances));
}

NTimeZone::NTimeZone(const ZoneRecord& record) : NTimeZone(std::string(record.name), observancesOf(record)) {
  for (const int id : record.ids) {
    if (id >= 0) {
      preferredIds_.push_back(id);
    }
  }
}

void NTimeZone::setObservances(std::vector<Observance> observances) {
  observances_ = std::move(observances);
  if (!observances_.empty()) {
    changes_ = ZoneChanges(observances_);
    checksum_ = checksumOf(observances_);
    cacheKey_ = keyOf(observances_);
  }
}

Duration NTimeZone::getOffsetAt(std::int64_t instant) const {
  if (observances_.empty()) {
    return {};
  }
  Duration offset = observances_.front().offsetTo;
  if (observances_.size() > 1) {
    ZoneOffsetCache& cache = ZoneOffsetCache::ofProcess();
    const std::int64_t year = calendar::gmtime(instant).year;
    if (const std::optional<Duration> known = cache.find(cacheKey_, year, instant)) {
      offset = *known;
    } else {
      YearOffsets offsets = changes_.ofYear(year);
      offset = offsets.at(instant);
      cache.store(cacheKey_, year, std::move(offsets));
    }
  }
  return offset.isNull() ? offset : Duration(offset.seconds() / 60 * 60);
}

NTimeZone::Table NTimeZone::makeTable(std::span<const ZoneRecord> records) {
  Table table;
  table.reserve(records.size());
  for (const ZoneRecord& record : records) {
    table.push_back(std::shared_ptr<const NTimeZone>(new NTimeZone(record)));
  }
  return table;
}

const NTimeZone::Table& NTimeZone::displayNameZones() {
  static const Table table = makeTable(zonesByDisplayName());
  return table;
}

const NTimeZone::Table& NTimeZone::tzNameZones() {
  static const Table table = makeTable(zonesByTzName());
  return table;
}

std::span<const std::shared_ptr<const NTimeZone>> NTimeZone::getSummaries() { return displayNameZones(); }

std::shared_ptr<const NTimeZone> NTimeZone::bestMatch(std::string_view lowerText, const Table& table) {
  std::shared_ptr<const NTimeZone> best;
  for (const std::shared_ptr<const NTimeZone>& zone : table) {
    const bool isLonger = !best || zone->id().size() > best->id().size();
    if (isLonger && lowerText.find(toLowerAscii(std::string_view(zone->id()))) != std::string_view::npos) {
      best = zone;
    }
  }
  return best;
}

std::shared_ptr<const NTimeZone> NTimeZone::byName(std::string_view text) {
  if (text.empty() || equalsIgnoreCase(text, "server")) {
    return server();
  }
  const std::string lowerText = toLowerAscii(text);
  std::shared_ptr<const NTimeZone> zone = bestMatch(lowerText, displayNameZones());
  if (!zone) {
    zone = bestMatch(lowerText, tzNameZones());
  }
  return zone ? zone : utc();
}

std::shared_ptr<const NTimeZone> NTimeZone::byId(std::string_view id) {
  static const auto zones = [] {
    std::unordered_map<std::string, std::shared_ptr<const NTimeZone>> byLowerName;
    for (const Renamed& row : kRenamed) {
      const Table& table = tzNameZones();
      const auto zone = std::find_if(table.begin(), table.end(), [&](const auto& each) { return each->id() == row.former; });
      byLowerName.emplace(toLowerAscii(row.name), *zone);
    }
    for (const Table* table : {&tzNameZones(), &displayNameZones()}) {
      for (const std::shared_ptr<const NTimeZone>& zone : *table) {
        byLowerName.try_emplace(toLowerAscii(std::string_view(zone->id())), zone);
      }
    }
    return byLowerName;
  }();
  const auto found = zones.find(toLowerAscii(id));
  return found == zones.end() ? nullptr : found->second;
}

std::shared_ptr<const NTimeZone> NTimeZone::byTzId(std::string_view id) {
  std::shared_ptr<const NTimeZone> zone = byId(id);
  constexpr int kMostParts = 3;  // "America/Argentina/Ushuaia"
  std::size_t slash = id.size();
  for (int parts = 0; !zone && id.starts_with('/') && slash != 0 && parts < kMostParts; ++parts) {
    slash = id.rfind('/', slash - 1);
    zone = byId(id.substr(slash + 1));
  }
  if (!zone) {
    zone = byId(tzNameOfWindowsZone(id));
  }
  return zone ? zone : byOffsetId(id);
}

// The zone of Windows at that offset that has one of the places; else the offset itself, all the year.
std::shared_ptr<const NTimeZone> NTimeZone::byOffsetId(std::string_view id) {
  const std::optional<OffsetId> told = readOffsetId(id);
  if (!told) {
    return nullptr;
  }
  for (const std::shared_ptr<const NTimeZone>& zone : getSummaries()) {
    if (zone->observances().front().offsetTo == told->offset && sharePlace(zone->id(), told->name)) {
      return zone;
    }
  }
  Observance always;
  always.kind = Observance::Kind::Standard;
  always.dtstart = DateTime(1);
  always.offsetFrom = told->offset;
  always.offsetTo = told->offset;
  return std::make_shared<const NTimeZone>(std::string(id), std::vector<Observance>{always});
}

std::shared_ptr<const NTimeZone> NTimeZone::utc() {
  static const std::shared_ptr<const NTimeZone> zone = byId(kUtcName);
  return zone;
}

std::shared_ptr<const NTimeZone> NTimeZone::server() {
  static const std::shared_ptr<const NTimeZone> zone = findServer();
  return zone;
}

std::shared_ptr<const NTimeZone> NTimeZone::findServer() {
  const DateTime now = DateTime::now();
  const int year = now.field(kYear);
  const DateTime winter(1, 2, year, 0, 0, 0);
  const DateTime summer(1, 7, year, 0, 0, 0);
  const Duration nowOffset = DateTime::localOffset(now, true);
  const Duration winterOffset = DateTime::localOffset(winter, true);
  const Duration summerOffset = DateTime::localOffset(summer, true);
  // Some systems count winter as the time that deviates, so the larger offset tells.
  const bool isDaylight = winterOffset != summerOffset && nowOffset == std::max(winterOffset, summerOffset);
  for (const std::shared_ptr<const NTimeZone>& zone : getSummaries()) {
    const Observance& present = zone->observances()[isDaylight && zone->observances().size() > 1 ? 1 : 0];
    const bool isOfKind = !isDaylight || present.kind == Observance::Kind::Daylight;
    if (isOfKind && present.offsetTo == nowOffset && zone->getOffsetAt(winter.seconds()) == winterOffset &&
        zone->getOffsetAt(summer.seconds()) == summerOffset) {
      return zone;
    }
  }
  return std::make_shared<const NTimeZone>();
}

Duration parseOffsetText(std::string_view text) {
  const bool isNegative = text.starts_with('-');
  const bool hasSign = isNegative || text.starts_with('+');
  text.remove_prefix(hasSign ? 1 : 0);
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  const auto isLetter = [](char c) { return toLowerAscii(c) >= 'a' && toLowerAscii(c) <= 'z'; };
  if (!text.empty() && isDigit(text[0])) {
    constexpr std::size_t kMostDigits = 7;
    std::int64_t number = 0;
    std::size_t digits = 0;
    for (const char c : text) {
      if (isDigit(c) && digits < kMostDigits) {
        number = number * 10 + (c - '0');
        ++digits;
      } else if (isDigit(c) || isLetter(c) || c <= ' ' || c > '~') {
        break;
      }
    }
    if (digits <= 2) {
      return Duration(0, number, 0, 0, isNegative);
    }
    return digits <= 4 ? Duration(0, number / 100, number % 100, 0, isNegative)
                       : Duration(0, number / 10000, number / 100 % 100, number % 100, isNegative);
  }
  if (hasSign) {
    return {};
  }
  const std::string_view name(text.begin(), std::find_if_not(text.begin(), text.end(), isLetter));
  for (const ZoneAbbreviation& row : zoneAbbreviations()) {
    if (equalsIgnoreCase(row.name, name)) {
      return Duration::parse(row.offset);
    }
  }
  return {};
}

}  // namespace nalvo::mail
