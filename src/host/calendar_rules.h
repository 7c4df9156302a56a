// Conditions of the rules about appointments and meetings.
#pragma once

#include "host/rule_case.h"
#include "host/series.h"

namespace nalvo::host::calendar {

// The message that has the difference is an appointment or a meeting message.
bool isEvent(const Case& c);
// A time that is now that of the start or the end of the item, or that moved with a whole day.
bool isTimeOfEvent(const Case& c);
// A whole day begins with the day of the machine.
bool isSameDayElsewhere(const Case& c);
// A value of a series of which there is none.
bool isOfNoSeries(const Case& c);
// Two recurrence patterns, as JSON, that mean the same dates.
bool meansTheSame(std::string_view before, std::string_view after, SeriesKind kind);
// Both patterns mean the same instances.
bool isSameSeries(const Case& c);
// Both zones have the same clock, or the item needs none: it has one time, or is of whole days.
bool isSameClock(const Case& c);
// The reminder is off, or the message did not say when it rings.
bool isUntoldReminder(const Case& c);
// The value stands for nothing: false, 0.
bool saysNothing(const Case& c);
// What every meeting message of its kind says.
bool isOfMeeting(const Case& c);

// The mail is an item before and after.
bool isItem(const Case& c);
// A body of a type that can make its mail an item, and one that does so.
bool isItemBody(const Case& c);
bool isBodyOfItem(const Case& c);
// A calendar or a card that was attached is now an item.
bool becomesItem(const Case& c);

}  // namespace nalvo::host::calendar
