// The rules about changes that the system makes on purpose, a table a topic.
#pragma once

#include <span>
#include <string_view>

#include "host/rule_case.h"

namespace nalvo::host {

// Which changes a rule tells.
enum class Kind : unsigned { Lost = 1, Changed = 2, Added = 4, Made = 6, Any = 7 };

struct RuleRow {
  Place place;
  Kind kind;
  std::string_view what;           // as in Difference, without case; "*" is anything
  bool (*condition)(const Case&);  // null: always
  std::string_view rule;
};

std::span<const RuleRow> headerRules();
std::span<const RuleRow> messageRules();
std::span<const RuleRow> calendarRules();
std::span<const RuleRow> taskRules();
std::span<const RuleRow> contactRules();
std::span<const RuleRow> mailRules();
std::span<const RuleRow> itemRules();

// The names of rules of several tables.
inline constexpr std::string_view kUtf8 = "a text that its charset lacks goes out as UTF-8";
inline constexpr std::string_view kNearPage = "ISO-8859-15 goes out as ISO-8859-1, ISO-8859-13 as ISO-8859-4";
inline constexpr std::string_view kEmptyText = "a mail that is one attachment gets an empty text";
inline constexpr std::string_view kMimeTag = "an attachment from a mail says its type";
inline constexpr std::string_view kEventDay = "a whole day begins at midnight where the machine is";
inline constexpr std::string_view kEventTimes = "the dates of an item follow from its start and end";
inline constexpr std::string_view kSameSeries =
    "a series is written anew, without what its exceptions say beside their times";
inline constexpr std::string_view kReminder = "a reminder is told by its distance and when it is next";

}  // namespace nalvo::host
