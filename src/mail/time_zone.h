// What a date needs of a time zone.
#pragma once

#include <cstdint>
#include <string>

#include "mail/duration.h"

namespace nalvo::mail {

// Shared between dates and threads, and never changed once it is.
class TimeZone {
 public:
  virtual ~TimeZone() = default;
  TimeZone& operator=(const TimeZone&) = delete;

  // The TZID.
  virtual const std::string& id() const = 0;
  // Whether it has observances. One without counts as no zone.
  virtual bool isValid() const = 0;
  // Local time less UTC at `instant`, seconds since 1970 UTC; null when not valid.
  virtual Duration getOffsetAt(std::int64_t instant) const = 0;

 protected:
  TimeZone() = default;
  TimeZone(const TimeZone&) = default;
};

}  // namespace nalvo::mail
