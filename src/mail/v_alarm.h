// Alarms of events and tasks.
#pragma once

#include <cstdint>
#include <string>

#include "mail/date_time.h"
#include "mail/duration.h"
#include "mail/v_component.h"

namespace nalvo::mail {

struct VAlarm {
  enum class Action : std::uint8_t { Display, Email, Audio, Procedure };
  enum class TriggerKind : std::uint8_t { Start, End, Time };

  Action action = Action::Display;
  std::string description;
  TriggerKind triggerKind = TriggerKind::Start;
  Duration triggerOffset;  // from the start or the end; null when the text has none, and then counts as zero
  DateTime triggerTime;    // of the kind Time
};

VAlarm readAlarm(const Component& component, const Zones& zones);
void writeAlarm(const VAlarm& alarm, Component& component);

}  // namespace nalvo::mail
