// The changes of offset of a zone, year by year, and a memory of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "mail/zone_observance.h"

namespace nalvo::mail {

// The offsets of a zone at the instants of one year of UTC.
struct YearOffsets {
  struct Change {
    std::int64_t instant;  // seconds since 1970 UTC
    Duration offset;       // from then on
  };

  Duration at(std::int64_t instant) const;

  Duration before;              // ahead of all changes
  std::vector<Change> changes;  // ascending, not all of them in the year
};

// Works out the changes of a zone out of its observances.
class ZoneChanges {
 public:
  ZoneChanges() = default;
  explicit ZoneChanges(std::span<const Observance> observances);

  YearOffsets ofYear(std::int64_t year) const;

 private:
  struct Onset {
    std::int64_t instant;
    Duration from;
    Duration to;
  };
  // One observance.
  struct Series {
    explicit Series(const Observance& observance);

    // The first date of the rule in `year`; no value when there is none.
    std::optional<std::int64_t> ruleDateIn(std::int64_t year) const;
    void appendOnsets(std::int64_t year, std::vector<Onset>& out) const;

    DateTime start;  // at offsetFrom
    std::int64_t startYear;
    Observance::Kind kind;
    Duration from;
    Duration to;
    RRule rule;                       // yearly without gaps, or not valid
    std::vector<std::int64_t> dates;  // else all changes, ascending, never empty
    bool reachesBack = true;          // to years ahead of its start: the first of its kind does
  };

  std::vector<Series> series_;
};

// The offsets of years that were asked for, for all zones of the process. The oldest entry goes when it is full.
class ZoneOffsetCache {
 public:
  // Tells zones apart by what they say, so that equal zones share entries.
  struct ZoneKey {
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    friend bool operator==(const ZoneKey&, const ZoneKey&) = default;
  };
  static constexpr std::size_t kCapacity = 512;

  explicit ZoneOffsetCache(std::size_t capacity = kCapacity) : capacity_(capacity) {}
  static ZoneOffsetCache& ofProcess();

  // No value when the year isn't there.
  std::optional<Duration> find(const ZoneKey& zone, std::int64_t year, std::int64_t instant) const;
  void store(const ZoneKey& zone, std::int64_t year, YearOffsets offsets);

 private:
  struct Key {
    ZoneKey zone;
    std::int64_t year;
    friend bool operator==(const Key&, const Key&) = default;
  };
  struct Hash {
    // The zone's part is a digest and needs no more mixing.
    std::size_t operator()(const Key& key) const {
      return static_cast<std::size_t>(key.zone.low + static_cast<std::uint64_t>(key.year));
    }
  };

  std::size_t capacity_;
  mutable std::mutex mutex_;
  std::unordered_map<Key, YearOffsets, Hash> entries_;
  std::deque<Key> byAge_;
};

}  // namespace nalvo::mail
