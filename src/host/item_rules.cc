// Rules about what calendars and cards in mails say.
#include <algorithm>

#include "host/rule_rows.h"
#include "mail/v_base.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

constexpr std::size_t kMostEmails = 3;

bool isMidnightOfDay(const Case& c) { return c.difference.after == c.difference.before + "T00:00:00Z"; }
bool isFreeSeries(const Case& c) { return !c.was(kFreeSeriesFact).empty(); }
bool isDegree(const Case& c) { return c.difference.after == "1" || c.difference.after == "5" || c.difference.after == "9"; }
bool isConfidential(const Case& c) {
  return c.difference.before == std::to_string(static_cast<int>(mail::Privacy::Confidential)) &&
         c.difference.after == std::to_string(static_cast<int>(mail::Privacy::Private));
}
bool isNoEvent(const Case& c) { return c.was(kCalendarTypeFact) != "VEVENT"; }
bool isJournal(const Case& c) { return c.was(kCalendarTypeFact) == "VJOURNAL"; }

// What is left of the list "a; b" is in its order, and what went is behind the third or no address.
bool keepsThreeAddresses(const Case& c) {
  std::string_view after = c.difference.after;
  std::size_t kept = 0;
  for (std::string_view rest = c.difference.before; !rest.empty();) {
    const std::size_t end = std::min(rest.find(';'), rest.size());
    const std::string_view address = trim(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    const std::size_t next = std::min(after.find(';'), after.size());
    if (trim(after.substr(0, next)) == address) {
      after.remove_prefix(std::min(next + 1, after.size()));
      ++kept;
    } else if (kept < kMostEmails && isAscii(address) && address.find('@', 1) != std::string_view::npos) {
      return false;
    }
  }
  return after.empty() && kept <= kMostEmails;
}

constexpr std::string_view kNoWholeDay = "a day of an item that is no whole one is its midnight";
constexpr std::string_view kJournalTime = "a journal entry has a time";

constexpr RuleRow kRules[] = {
    {Place::Mail, Kind::Any, "calendar dates", isFreeSeries, "a recurrence pattern can't hold every series"},
    {Place::Mail, Kind::Changed, "calendar dates", isJournal, kJournalTime},
    {Place::Mail, Kind::Changed, "calendar start", isJournal, kJournalTime},
    {Place::Mail, Kind::Changed, "calendar start", isMidnightOfDay, kNoWholeDay},
    {Place::Mail, Kind::Changed, "calendar end", isMidnightOfDay, kNoWholeDay},
    {Place::Mail, Kind::Changed, "calendar dates", isMidnightOfDay, kNoWholeDay},
    {Place::Mail, Kind::Added, "calendar summary", nullptr, "an item without a summary takes the subject"},
    {Place::Mail, Kind::Added, "calendar end", nullptr, "an event without an end gets one"},
    {Place::Mail, Kind::Changed, "calendar priority", isDegree, "priority has three degrees"},
    {Place::Mail, Kind::Changed, "calendar class", isConfidential, "an item is private or not"},
    {Place::Mail, Kind::Added, "calendar completed", nullptr, "a task that is done has a day on which it was"},
    {Place::Mail, Kind::Lost, "item lines", nullptr, "an item keeps what its properties have a place for"},
    {Place::Mail, Kind::Lost, "calendar place", isNoEvent, "only an appointment has a place"},
    {Place::Mail, Kind::Any, "card e-mail", keepsThreeAddresses, "a contact has three addresses of mail"},
};

}  // namespace

std::span<const RuleRow> itemRules() { return kRules; }

}  // namespace nalvo::host
