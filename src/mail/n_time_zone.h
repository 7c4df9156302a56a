// A time zone: the text of a VTIMEZONE, the offset that holds at an instant, and the zones that go by a name.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mail/time_zone.h"
#include "mail/zone_changes.h"
#include "mail/zone_observance.h"

namespace nalvo::mail {

struct ZoneRecord;

// Never changed once it is made, so it is shared between objects and threads.
class NTimeZone final : public TimeZone {
 public:
  // Empty and not valid.
  NTimeZone() = default;
  // Empty too when `component` is no VTIMEZONE. What can't be read of a date or an offset counts as 1970 and as zero.
  explicit NTimeZone(const Component& component);
  NTimeZone(std::string id, std::vector<Observance> observances);

  const std::string& id() const override { return id_; }
  bool isValid() const override { return !observances_.empty(); }
  // Whole minutes. Ahead of all changes the offset that the first one ends.
  Duration getOffsetAt(std::int64_t instant) const override;

  const std::string& url() const { return url_; }
  const DateTime& lastModified() const { return lastModified_; }
  std::span<const Observance> observances() const { return observances_; }
  // Places in preferredZoneNames(), for zones of the tables.
  const std::vector<int>& preferredIds() const { return preferredIds_; }
  // MD5, hexadecimal, of the starts, new offsets and rules of the observances in any order.
  const std::string& checksum() const { return checksum_; }

  // The VTIMEZONE. Properties that came with it and aren't known here are in it again.
  Component toComponent() const;

  // The zones below are made once, live as long as the process and are never null.

  // The longest name of the tables that occurs in `text` without regard to case, first among the names in the manner of
  // Windows. The machine's zone for "" and "server", utc() when no name occurs.
  static std::shared_ptr<const NTimeZone> byName(std::string_view text);
  // The zone of exactly that name without regard to case, first among the names of the tz database, renamed ones included.
  // Null when there is none.
  static std::shared_ptr<const NTimeZone> byId(std::string_view id);
  // The same for a TZID. One that begins with "/" may have the registry of its name in front ("/a.org/1/Europe/Prague"); it
  // may be a name of Windows ("W. Europe Standard Time"), or tell its offset and places ("(UTC+10:00) Canberra, Sydney"). A
  // zone of that offset alone is made when no place is known.
  static std::shared_ptr<const NTimeZone> byTzId(std::string_view id);
  static std::shared_ptr<const NTimeZone> utc();
  // The first zone of getSummaries() that has the machine's offset now, on 1 February and on 1 July of this year. Not valid
  // when there is none. The first call decides.
  static std::shared_ptr<const NTimeZone> server();
  // What server() would be if it were called for the first time.
  static std::shared_ptr<const NTimeZone> findServer();
  // All zones by names in the manner of Windows, in the order of the table. Each has a STANDARD observance and, where it has
  // daylight saving, a DAYLIGHT one behind it.
  static std::span<const std::shared_ptr<const NTimeZone>> getSummaries();

 private:
  explicit NTimeZone(const ZoneRecord& record);
  static std::shared_ptr<const NTimeZone> byOffsetId(std::string_view id);

  using Table = std::vector<std::shared_ptr<const NTimeZone>>;
  static Table makeTable(std::span<const ZoneRecord> records);
  static const Table& displayNameZones();
  static const Table& tzNameZones();
  static std::shared_ptr<const NTimeZone> bestMatch(std::string_view lowerText, const Table& table);

  void setObservances(std::vector<Observance> observances);

  std::string id_;
  std::string url_;
  DateTime lastModified_;
  std::vector<Observance> observances_;
  std::vector<int> preferredIds_;
  std::string checksum_;
  ZoneChanges changes_;
  ZoneOffsetCache::ZoneKey cacheKey_;
  std::shared_ptr<const Component> source_;  // without its children; may be null
};

// The offset columns of the zone tables: "+0530", "+05:30", "-030704", or the abbreviation of a zone. Null when it is
// neither.
Duration parseOffsetText(std::string_view text);

}  // namespace nalvo::mail
