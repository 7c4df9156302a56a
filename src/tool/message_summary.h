// What a person wants to know of a message first.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tool/value_words.h"

namespace nalvo::tool {

struct MessageSummary {
  std::string title;                                      // the subject
  std::vector<std::pair<std::string, std::string>> rows;  // "From" and who, and so on; none is empty
};

// Of a message of host::toJson.
MessageSummary summaryOf(const Json& message);
// "To: Ann Lee <ann@example.com>"
std::string recipientTitle(const Json& recipient);
// "report.pdf, 12.3 kB"
std::string attachmentTitle(const Json& attachment);

}  // namespace nalvo::tool
