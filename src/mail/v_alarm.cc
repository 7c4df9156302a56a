#include "mail/v_alarm.h"

#include <algorithm>
#include <array>

#include "mail/v_text.h"
#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

// By the numbers of Action.
constexpr std::array<std::string_view, 4> kActions = {"DISPLAY", "EMAIL", "AUDIO", "PROCEDURE"};

}  // namespace

VAlarm readAlarm(const Component& component, const Zones& zones) {
  VAlarm alarm;
  alarm.action = static_cast<VAlarm::Action>(std::max(indexOf(kActions, component.getPropertyText("ACTION")), 0));
  alarm.description = component.getPropertyText("DESCRIPTION");
  const PropertyValue& trigger = component.findProperty("TRIGGER").firstValue();
  alarm.triggerOffset = Duration::parse(trigger.text);
  // Some leave out that it is an instant.
  if (equalsIgnoreCase(trigger.firstParamValue("VALUE"), "DATE-TIME") ||
      (alarm.triggerOffset.isNull() && !trigger.getDateTime(zones).isNull())) {
    alarm.triggerKind = VAlarm::TriggerKind::Time;
    alarm.triggerTime = trigger.getDateTime(zones);
  } else if (equalsIgnoreCase(trigger.firstParamValue("RELATED"), "END")) {
    alarm.triggerKind = VAlarm::TriggerKind::End;
  }
  return alarm;
}

void writeAlarm(const VAlarm& alarm, Component& component) {
  component.setPropertyText("ACTION", kActions[static_cast<std::size_t>(alarm.action)]);
  component.setPropertyText("DESCRIPTION", alarm.description);
  PropertyValue& trigger = component.addProperty("TRIGGER").firstValueForWrite();
  if (alarm.triggerKind == VAlarm::TriggerKind::Time) {
    trigger.setDateTime(alarm.triggerTime);
    trigger.setParam("VALUE", "DATE-TIME");
  } else {
    trigger.setParam("RELATED", alarm.triggerKind == VAlarm::TriggerKind::End ? "END" : "START");
    trigger.text = alarm.triggerOffset.toString();
  }
}

}  // namespace nalvo::mail
