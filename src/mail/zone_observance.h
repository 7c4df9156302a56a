// A stretch of a zone's year, or of its history, with one offset: STANDARD or DAYLIGHT of a VTIMEZONE.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mail/date_time.h"
#include "mail/duration.h"
#include "mail/rrule.h"

namespace nalvo::mail {

class Component;

struct Observance {
  enum class Kind : std::uint8_t { Standard = 1, Daylight = 2 };

  Kind kind = Kind::Standard;
  DateTime dtstart;     // the wall clock ahead of the change, kept at offset zero
  Duration offsetFrom;  // holds ahead of the change; not null
  Duration offsetTo;    // holds behind it; not null
  std::string comment;
  std::vector<DateTime> rdates;  // as dtstart
  RRule rrule;                   // not valid: the changes are dtstart and rdates
  std::string tzname;
  std::shared_ptr<const Component> source;  // as it was read, with properties that are not known here; may be null
};

// What can't be read of a date counts as 1970, of an offset as zero.
Observance readObservance(Component component);
// Goes on from `source`, so that what is not known here stays.
Component toComponent(const Observance& observance);

// "-0430", or "+023000" when there are seconds.
std::string offsetText(Duration offset);
// An offset as VTIMEZONE has it: 4 or 5 characters are hours and minutes, 6 or 7 also seconds, others zero.
Duration readOffset(std::string_view text);

}  // namespace nalvo::mail
