#include "mail/v_journal.h"

#include <algorithm>
#include <array>

#include "mail/v_text.h"

namespace nalvo::mail {

bool VJournal::occursIn(const DateTime& from, const DateTime& to) const {
  const DateTime start = getStart();
  if (start.isNull() || to <= start) {
    return false;
  }
  return start.isDateOnly() ? from <= start : from < start + Duration(calendar::kDay);
}

VJournal::Status VJournal::getStatus() const {
  constexpr std::array<std::string_view, 3> kStatuses = {"", "FINAL", "CANCELLED"};
  return static_cast<Status>(std::max(indexOf(kStatuses, getProperty("STATUS")), 0));
}

}  // namespace nalvo::mail
