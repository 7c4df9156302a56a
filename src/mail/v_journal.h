// Journal entries.
#pragma once

#include "mail/v_calendar.h"

namespace nalvo::mail {

class VJournal : public VCalendar {
 public:
  enum class Status : std::uint8_t { None, Final, Cancelled };

  const char* getType() const override { return "VJOURNAL"; }
  bool occursIn(const DateTime& from, const DateTime& to) const override;

  Status getStatus() const;
};

}  // namespace nalvo::mail
