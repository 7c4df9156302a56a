// Which rule tells a difference. What none tells is a loss.
#include <algorithm>

#include "host/rule_rows.h"

namespace nalvo::host {
namespace {

unsigned kindOf(const Difference& difference) {
  return static_cast<unsigned>(difference.before.empty()  ? Kind::Added
                               : difference.after.empty() ? Kind::Lost
                                                          : Kind::Changed);
}

}  // namespace

// The first row that fits answers.
std::string ruleOf(Place place, const Difference& difference, const Facts& before, const Facts& after) {
  const unsigned kind = kindOf(difference);
  const Case c{difference, before, after};
  const auto fits = [&](const RuleRow& row) {
    return row.place == place && (static_cast<unsigned>(row.kind) & kind) != 0 &&
           (row.what == "*" || equalsIgnoreCase(row.what, difference.what)) &&
           (row.condition == nullptr || row.condition(c));
  };
  for (const auto& table :
       {headerRules(), messageRules(), calendarRules(), taskRules(), contactRules(), mailRules(), itemRules()}) {
    const auto row = std::find_if(table.begin(), table.end(), fits);
    if (row != table.end()) {
      return std::string(row->rule);
    }
  }
  return {};
}

}  // namespace nalvo::host
