// What came back the same from a journey, and what did not.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/memory_objects.h"

namespace nalvo::host {

struct Difference {
  std::string where;   // "message", "attachment 0"
  std::string what;    // "header Subject", "plain text"
  std::string before;  // empty for what was added
  std::string after;   // empty for what was lost
  std::string rule;    // the name of the rule that tells the change; empty if none does
};

struct Comparison {
  std::size_t compared = 0;
  std::size_t same = 0;
  std::vector<Difference> explained;
  std::vector<Difference> lost;
  std::vector<Difference> changed;
  std::vector<Difference> added;

  bool whole() const { return lost.empty() && changed.empty() && added.empty(); }
  // Files a difference under what it is; one that a rule explains goes there.
  void note(Difference difference);
};

// Two mails: their headers as they read, texts and attachments. Attachments are matched by content, not by place.
// Throws the code of a stream.
Comparison compareMails(IStream* before, IStream* after);

// Two messages: properties by name and type, recipients in their order, attachments with the messages inside them.
Comparison compareMessages(const MemoryMessage& before, const MemoryMessage& after);

// {"compared", "same", "explained", "lost", "changed", "added"}
nlohmann::ordered_json toJson(const Comparison& comparison);

// The rule that explains a difference; empty if none does. All rules stand in one list.
std::string ruleOf(const Difference& difference);

}  // namespace nalvo::host
