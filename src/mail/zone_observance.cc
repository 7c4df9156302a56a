#include "mail/zone_observance.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "mail/v_component.h"
#include "mail/v_text.h"
#include "platform/text/text.h"

namespace nalvo::mail {

namespace {

// Some write the years 1 or 1600 for "always"; dates of the library begin with 1601.
DateTime readWallClock(std::string_view text) {
  constexpr std::string_view kFirstYear = "1601";
  std::string later(text);
  if (later.size() > kFirstYear.size() && later.compare(0, kFirstYear.size(), kFirstYear) < 0) {
    later.replace(0, kFirstYear.size(), kFirstYear);
  }
  return DateTime::parseAsUtc(later);
}

}  // namespace

Duration readOffset(std::string_view text) {
  text = trim(text);
  const std::size_t length = text.size();
  if (length < 4 || length > 7) {
    return Duration(0);
  }
  const std::int64_t number = std::atoi(std::string(text).c_str());
  const std::int64_t size = std::abs(number);
  return length <= 5 ? Duration(0, size / 100, size % 100, 0, number < 0)
                     : Duration(0, size / 10000, size / 100 % 100, size % 100, number < 0);
}

std::string offsetText(Duration offset) {
  std::string text = offset.isNegative() ? "-" : "+";
  const auto append = [&](std::int64_t number) {
    text.push_back(static_cast<char>('0' + number / 10 % 10));
    text.push_back(static_cast<char>('0' + number % 10));
  };
  append(offset.days() * 24 + offset.hours());
  append(offset.minutes());
  if (offset.secondsPart() != 0) {
    append(offset.secondsPart());
  }
  return text;
}

Observance readObservance(Component component) {
  component.dropEmptyValues();
  Observance observance;
  observance.kind = equalsIgnoreCase(component.name, "STANDARD") ? Observance::Kind::Standard : Observance::Kind::Daylight;
  observance.dtstart = readWallClock(component.getPropertyText("DTSTART"));
  if (observance.dtstart.isNull()) {
    observance.dtstart = DateTime(0);
  }
  observance.offsetTo = readOffset(component.getPropertyText("TZOFFSETTO"));
  observance.offsetFrom = readOffset(component.getPropertyText("TZOFFSETFROM"));
  observance.comment = component.getPropertyText("COMMENT");
  for (const PropertyValue& value : component.findProperty("RDATE").values) {
    for (const std::string_view item : split(value.text, ",")) {
      if (const DateTime date = DateTime::parseAsUtc(item); !date.isNull()) {
        observance.rdates.push_back(date);
      }
    }
  }
  observance.rrule = RRule(component.getPropertyText("RRULE"));
  observance.tzname = component.getPropertyText("TZNAME");
  observance.source = std::make_shared<const Component>(std::move(component));
  return observance;
}

Component toComponent(const Observance& observance) {
  Component component = observance.source ? *observance.source : Component();
  component.name = observance.kind == Observance::Kind::Standard ? "STANDARD" : "DAYLIGHT";
  const auto setDate = [&](const char* name, const DateTime& date) {
    component.addProperty(name).firstValueForWrite().setDateTime(date, DateTime::kLocal);
  };
  const auto setText = [&](const char* name, const std::string& text) {
    if (!text.empty()) {
      component.setPropertyText(name, text);
    }
  };
  setDate("DTSTART", observance.dtstart);
  setText("TZOFFSETTO", offsetText(observance.offsetTo));
  setText("TZOFFSETFROM", offsetText(observance.offsetFrom));
  setText("COMMENT", observance.comment);
  if (observance.rdates.size() == 1) {
    setDate("RDATE", observance.rdates.front());
  } else if (!component.hasProperty("RDATE")) {
    // Several that were read stand in the source already.
    std::string dates;
    for (const DateTime& date : observance.rdates) {
      dates.append(dates.empty() ? "" : ",").append(date.toString(DateTime::kLocal));
    }
    setText("RDATE", dates);
  }
  setText("RRULE", observance.rrule.toString());
  setText("TZNAME", observance.tzname);
  return component;
}

}  // namespace nalvo::mail
