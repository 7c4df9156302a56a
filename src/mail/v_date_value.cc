// Dates in the values of properties.
#include "mail/n_time_zone.h"
#include "mail/v_component.h"
#include "mail/v_text.h"
#include "platform/text/text.h"

namespace nalvo::mail {

void PropertyValue::setDateTime(const DateTime& date, unsigned flags) {
  clearParams();
  if (date.isDateOnly()) {
    setParam("VALUE", "DATE");
  }
  if (date.zone() && date.zone()->isValid()) {
    setParam("TZID", date.zone()->id());
    flags = DateTime::kLocal;
  }
  text = date.toString(flags);
}

std::shared_ptr<const NTimeZone> PropertyValue::resolveZone(const Zones& zones) const {
  const std::string_view id = firstParamValue("TZID");
  if (id.empty()) {
    return nullptr;
  }
  if (const auto found = zones.find(id); found != zones.end() && found->second->isValid()) {
    return found->second;
  }
  const auto known = NTimeZone::byTzId(id);
  return known ? known : NTimeZone::utc();
}

DateTime PropertyValue::readDate(std::string_view item, const std::shared_ptr<const NTimeZone>& zone) const {
  DateTime date = DateTime::parse(trim(item), zone);
  if (date.isNull() || !(date.isDateOnly() || equalsIgnoreCase(firstParamValue("VALUE"), "DATE"))) {
    return date;
  }
  date.setFixedOffset(Duration(0));
  return date.makeDateOnly();
}

DateTime PropertyValue::getDateTime(const Zones& zones) const { return readDate(text, resolveZone(zones)); }

std::vector<DateTime> PropertyValue::getDateTimes(const Zones& zones) const {
  const auto zone = resolveZone(zones);
  std::vector<DateTime> dates;
  for (const std::string_view item : split(text, ",")) {
    dates.push_back(readDate(item, zone));
  }
  return dates;
}

}  // namespace nalvo::mail
