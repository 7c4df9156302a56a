#include "mail/v_event.h"

#include "mail/v_text.h"
#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

constexpr std::string_view kAllDay = "X-MICROSOFT-CDO-ALLDAYEVENT";
constexpr std::string_view kBusy = "X-MICROSOFT-CDO-BUSYSTATUS";
constexpr std::string_view kTransparency = "TRANSP";

struct BusyRow {
  BusyStatus status;
  std::string_view transparency;
  std::string_view busy;
};

constexpr BusyRow kBusyRows[] = {
    {BusyStatus::Busy, "OPAQUE", "BUSY"},
    {BusyStatus::OutOfOffice, "OPAQUE", "OOF"},
    {BusyStatus::Tentative, "OPAQUE", "TENTATIVE"},
    {BusyStatus::Free, "TRANSPARENT", "FREE"},
};

}  // namespace

DateTime VEvent::getEffectiveEnd() const {
  const DateTime end = getEnd();
  return end.isNull() && isAllDay() ? getStart() + Duration(calendar::kDay) : end;
}

Duration VEvent::getDuration() const {
  const DateTime end = getEffectiveEnd();
  if (end.isNull()) {
    return getDurationProperty();
  }
  const DateTime start = getStart();
  return start.isNull() ? Duration(0) : end - start;
}

DateTime VEvent::getAlarmEnd() const {
  const DateTime end = getEffectiveEnd();
  const Duration duration = getDurationProperty();
  return end.isNull() && !duration.isNull() ? getStart() + duration : end;
}

bool VEvent::occursIn(const DateTime& from, const DateTime& to) const {
  const DateTime start = getStart();
  const DateTime end = getEffectiveEnd();
  if (to <= start) {
    return false;
  }
  if (!end.isNull()) {
    return from < end;
  }
  const Duration duration = getDurationProperty();
  if (duration.isNull()) {
    return from <= (start.isDateOnly() ? start : start + Duration(calendar::kDay));
  }
  return duration > Duration(0) ? from < start + duration : from <= start;
}

bool VEvent::isAllDayProperty() const { return equalsIgnoreCase(getProperty(kAllDay), "TRUE"); }

bool VEvent::isAllDay() const {
  if (!getProperty(kAllDay).empty()) {
    return isAllDayProperty();
  }
  return getDate("DTSTART").isDateOnly() && getDate("DTEND").isDateOnly();
}

void VEvent::setAllDay(bool allDay) {
  for (const char* name : {"DTSTART", "DTEND"}) {
    DateTime date = getDate(name);
    if (date.isNull() || date.isDateOnly() == allDay) {
      continue;
    }
    if (allDay) {
      date.freezeOffset();
      setDate(name, date.makeDateOnly());
    } else if (!zones().empty()) {
      date.setZone(zones().begin()->second);
      setDate(name, date);
    }
  }
  if (allDay) {
    setProperty(kAllDay, "TRUE");
  } else {
    currentForWrite().removeProperty(kAllDay);
  }
}

BusyStatus VEvent::getBusyStatus() const {
  const std::string& text = getProperty(current().hasProperty(kBusy) ? kBusy : kTransparency);
  for (const BusyRow& row : kBusyRows) {
    if (equalsIgnoreCase(text, row.busy)) {
      return row.status;
    }
  }
  return equalsIgnoreCase(text, "TRANSPARENT")   ? BusyStatus::Free
         : equalsIgnoreCase(text, "UNAVAILABLE") ? BusyStatus::OutOfOffice
                                                 : BusyStatus::Busy;
}

void VEvent::setBusyStatus(BusyStatus status) {
  for (const BusyRow& row : kBusyRows) {
    if (row.status == status) {
      setProperty(kTransparency, row.transparency);
      setProperty(kBusy, row.busy);
    }
  }
}

int VEvent::getLabel() const { return leadingInt(getProperty("X-LABEL")); }

}  // namespace nalvo::mail
