#include "mail/recurrence_date.h"

#include <algorithm>

#include "mail/calendar.h"
#include "mail/n_time_zone.h"
#include "mail/v_text.h"
#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

std::int64_t dayOf(const DateTime& date) {
  const calendar::Fields wall = date.wallClock();
  return calendar::timegm({wall.year, wall.month, wall.day, 0, 0, 0, 0, 0});
}

bool isDuration(std::string_view text) {
  if (text.starts_with('+') || text.starts_with('-')) {
    text.remove_prefix(1);
  }
  return text.starts_with('P') || text.starts_with('p');
}

// The same instant by the clock of `model`, whose zone is the only one that a value tells.
DateTime byClockOf(const DateTime& model, const DateTime& date) {
  if (date.isDateOnly() || model.isDateOnly()) {
    return date;
  }
  DateTime moved = model;
  moved += date - model;
  return moved;
}

}  // namespace

ExcludedDates::ExcludedDates(const std::vector<DateTime>& dates) {
  for (std::size_t i = 0; i < dates.size(); ++i) {
    if (dates[i].isNull()) {
      continue;
    }
    const int position = static_cast<int>(i);
    const std::int64_t day = dayOf(dates[i]);
    days_.try_emplace(day, position);
    if (dates[i].isDateOnly()) {
      wholeDays_.try_emplace(day, position);
    } else {
      instants_.try_emplace(dates[i].seconds(), position);
    }
  }
}

int ExcludedDates::find(const DateTime& date) const {
  if (date.isNull()) {
    return -1;
  }
  const auto in = [](const Positions& positions, std::int64_t key) {
    const auto found = positions.find(key);
    return found == positions.end() ? -1 : found->second;
  };
  if (date.isDateOnly()) {
    return in(days_, dayOf(date));
  }
  const int instant = in(instants_, date.seconds());
  const int day = in(wholeDays_, dayOf(date));
  return instant < 0 || day < 0 ? std::max(instant, day) : std::min(instant, day);
}

void readRecurrenceDates(const PropertyValue& value, const Zones& zones, const ExcludedDates& excluded,
                         std::vector<RecurrenceDate>& dates) {
  const auto zone = value.resolveZone(zones);
  const std::vector<std::string_view> items = split(value.text, ",");
  std::vector<std::string_view> moved = split(value.firstParamValue("X-MOVED"), "/");
  moved.resize(std::max(moved.size(), items.size()));
  for (std::size_t i = 0; i < items.size(); ++i) {
    const std::string_view item = trim(items[i]);
    const std::size_t slash = item.find('/');
    RecurrenceDate date;
    date.start = value.readDate(item.substr(0, slash), zone);
    if (slash != std::string_view::npos) {
      const std::string_view end = trim(item.substr(slash + 1));
      date.end = isDuration(end) ? date.start + Duration::parse(end) : value.readDate(end, zone);
    }
    date.movedFrom = excluded.find(value.readDate(moved[i], zone));
    if (date.movedFrom < 0) {
      // Others write it by its own clock.
      date.movedFrom = excluded.find(value.readDate(moved[i], nullptr));
    }
    if (!date.start.isNull()) {
      dates.push_back(std::move(date));
    }
  }
}

void writeRecurrenceDate(const RecurrenceDate& date, const DateTime& moved, PropertyValue& value) {
  value.setDateTime(date.start);
  if (!date.end.isNull()) {
    PropertyValue end;
    end.setDateTime(byClockOf(date.start, date.end));
    value.text.append("/").append(end.text);
    value.removeParam("VALUE");
    value.setParam("VALUE", "PERIOD");
  }
  if (!moved.isNull()) {
    value.setParam("X-MOVED", byClockOf(date.start, moved).toString());
  }
}

}  // namespace nalvo::mail
