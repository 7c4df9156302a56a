// What came back the same from a journey, and what did not.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/memory_objects.h"

namespace nalvo::host {

struct Difference {
  std::string where;   // "message", "attachment 0/message/recipient 2"
  std::string what;    // "PR_SUBJECT", "header Subject", "plain text"
  std::string before;  // empty for what was added; a property's value as JSON
  std::string after;   // empty for what was lost
  std::string rule;    // the name of the rule that tells the change; empty if none does
};

// The kind of thing that a difference is in; each has rules of its own.
enum class Place { Message, Recipient, Attachment, Mail };

// All values of one thing by what they are called, which a rule may look at beside the difference: properties as in
// Difference, headers as "header subject", in lower case.
using Facts = std::map<std::string, std::string, std::less<>>;
// Of an attachment that is a signed text: what stands behind the header block.
inline constexpr std::string_view kSignedTextFact = "signed text";
// Of a mail: how many parts its root has. Of a body: whether it is one form of a text, and whether it is blank.
inline constexpr std::string_view kPartsFact = "parts";
inline constexpr std::string_view kAlternativeFact = "alternative";
inline constexpr std::string_view kBlankFact = "blank";
// Of a mail: whether it is a calendar item, a card or a note.
inline constexpr std::string_view kItemFact = "item";
// Of a calendar: "VEVENT", and whether its series is none that a recurrence pattern holds.
inline constexpr std::string_view kCalendarTypeFact = "calendar type";
inline constexpr std::string_view kFreeSeriesFact = "free series";

struct Comparison {
  std::size_t compared = 0;
  std::size_t same = 0;
  std::vector<Difference> explained;
  std::vector<Difference> lost;
  std::vector<Difference> changed;
  std::vector<Difference> added;

  bool whole() const { return lost.empty() && changed.empty() && added.empty(); }
  // Counts something that was compared and is the same.
  void noteSame();
  // Counts a difference and files it under what it is; one that a rule explains goes there.
  void note(Place place, Difference difference, const Facts& before, const Facts& after);
};

// Two mails: their headers as they read, texts and attachments, and the mails that are attached likewise, up to a depth of
// kMaxMailDepth. Attachments are matched by content, then by what else tells them, never by place alone.
// Throws the code of a stream.
inline constexpr std::size_t kMaxMailDepth = 100;
Comparison compareMails(IStream* before, IStream* after);

// A header as it is compared: trimmed, with one space for each run of blanks.
std::string collapseBlanks(std::string_view text);

// Two messages: properties by name and type, recipients in the order To, Cc, Bcc, attachments with the messages inside them.
Comparison compareMessages(const MemoryMessage& before, const MemoryMessage& after);

// {"compared", "same", "explained", "lost", "changed", "added"}; long values are told by their beginning.
nlohmann::ordered_json toJson(const Comparison& comparison);
// A value of a Difference as people read it.
std::string shownValue(const std::string& value);

// The name of the rule that tells the system to make this difference; empty if none does. rule_rows.h has the rules.
std::string ruleOf(Place place, const Difference& difference, const Facts& before, const Facts& after);

}  // namespace nalvo::host
