// The changes that the system makes on purpose, each with the name of its rule.
#include <algorithm>
#include <iterator>

#include "host/comparison.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

enum class Kind { Any, Added, Changed };

struct RuleRow {
  std::string_view what;  // of the difference, without case
  Kind kind;
  std::string_view after;  // what it became; empty: anything
  std::string_view rule;
};

constexpr RuleRow kRules[] = {
    {"header X-MAPI", Kind::Any, "", "what MIME can't hold travels in X-MAPI"},
    {"header MIME-Version", Kind::Added, "1.0", "a built message says its MIME version"},
    {"header Content-Transfer-Encoding", Kind::Any, "", "the transfer encoding is chosen anew"},
    {"header Importance", Kind::Added, "Normal", "importance is normal unless a mail says otherwise"},
    {"header Importance", Kind::Added, "High", "importance follows priority"},
    {"header Importance", Kind::Added, "Low", "importance follows priority"},
    {"header X-Priority", Kind::Added, "3", "priority is normal unless a mail says otherwise"},
    {"header X-Priority", Kind::Any, "", "priority has three degrees"},
    {"header X-MSMail-Priority", Kind::Any, "", "priority has three degrees"},
    {"header Disposition-Notification-To", Kind::Changed, "", "receipts go to the sender"},
    {"header Return-Receipt-To", Kind::Changed, "", "receipts go to the sender"},
};

Kind kindOf(const Difference& difference) {
  if (difference.before.empty()) {
    return Kind::Added;
  }
  return difference.after.empty() ? Kind::Any : Kind::Changed;
}

}  // namespace

std::string ruleOf(const Difference& difference) {
  const Kind kind = kindOf(difference);
  const auto* row = std::find_if(std::begin(kRules), std::end(kRules), [&](const RuleRow& r) {
    return equalsIgnoreCase(r.what, difference.what) && (r.kind == Kind::Any || r.kind == kind) &&
           (r.after.empty() || equalsIgnoreCase(r.after, difference.after));
  });
  return row == std::end(kRules) ? std::string() : std::string(row->rule);
}

}  // namespace nalvo::host
