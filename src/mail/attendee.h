// Those who take part in an event or a task, and who organizes it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "mail/v_component.h"

namespace nalvo::mail {

struct Attendee {
  enum class Role : std::uint8_t { Chair, Required, Optional, NonParticipant };
  enum class PartStat : std::uint8_t { NeedsAction, Accepted, Declined, Tentative, Delegated, Completed, InProcess };
  enum class AddressKind : std::uint8_t { Other, Mail };

  std::string name;
  std::string address;                           // without "mailto:"
  AddressKind addressKind = AddressKind::Other;  // Mail: it travels with "mailto:"
  Role role = Role::Required;
  PartStat partStat = PartStat::NeedsAction;
  bool rsvp = false;
  bool sent = false;
};

// "mailto:" is looked for anywhere in the text and goes; what isn't known of a role or an answer is the usual one.
Attendee readAttendee(const PropertyValue& value);
// Replaces text and parameters. Without a name the address stands for it.
void writeAttendee(const Attendee& attendee, PropertyValue& value);
// Gives a value without a CN the address as its name.
void addMissingName(PropertyValue& value);

// Of an organizer: name, address and whether it was sent to count alone. Other parameters stay.
Attendee readOrganizer(const PropertyValue& value);
void writeOrganizer(const Attendee& organizer, PropertyValue& value);

}  // namespace nalvo::mail
