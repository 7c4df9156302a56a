#include "convert/groupware/object_attendees.h"

#include <algorithm>
#include <iterator>

#include "convert/groupware/attendee_values.h"
#include "convert/groupware/non_sendable.h"
#include "convert/message_convert.h"
#include "diagnostics/hresult_exception.h"
#include "platform/com/interface_array.h"
#include "platform/text/text.h"

namespace nalvo::ObjectAttendees {
namespace {

using namespace detail;
using mail::Attendee;
using Role = Attendee::Role;
using PartStat = Attendee::PartStat;

constexpr SourceFile kSource{".\\ObjectAttendees"};

constexpr ULONG PR_RESPONSIBILITY = propTag(PT_BOOLEAN, 0x0E0F);
constexpr ULONG PR_RECIPIENT_FLAGS = propTag(PT_LONG, 0x5FFD);
constexpr ULONG PR_RECIPIENT_TRACKSTATUS = propTag(PT_LONG, 0x5FFF);

constexpr std::uint32_t kTypeTo = 1;
constexpr std::uint32_t kTypeCc = 2;
constexpr std::uint32_t kTypeBcc = 3;
// Marks of a transport beside the type.
constexpr std::uint32_t kTypeMarks = 0x80000000 | 0x10000000;

constexpr std::uint32_t kFlagsOrganizer = 3;
constexpr std::uint32_t kFlagsAttendee = 1;

struct RoleRow {
  std::uint32_t type;  // PR_RECIPIENT_TYPE
  Role role;
};
// The first row of a role or a type counts; what has none is optional.
constexpr RoleRow kRoles[] = {
    {kTypeTo, Role::Required}, {kTypeTo, Role::Chair}, {kTypeCc, Role::Optional}, {kTypeBcc, Role::NonParticipant}};

Role roleOfType(std::uint32_t type) {
  const auto* row = std::find_if(std::begin(kRoles), std::end(kRoles), [&](const RoleRow& r) { return r.type == type; });
  return row == std::end(kRoles) ? Role::Optional : row->role;
}

std::uint32_t typeOfRole(Role role) {
  const auto* row = std::find_if(std::begin(kRoles), std::end(kRoles), [&](const RoleRow& r) { return r.role == role; });
  return row == std::end(kRoles) ? kTypeCc : row->type;
}

std::uint32_t recipientType(IConvertRecipient* recipient, IMapiAllocator* allocator) {
  return numberOf(recipient, PR_RECIPIENT_TYPE, allocator, kTypeTo) & ~kTypeMarks;
}

// Name, address and mark of one who is asked by mail.
Attendee personOf(IConvertRecipient* recipient, IMapiAllocator* allocator) {
  if (recipient == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("ObjectAttendees::createAttendeeFromRecipient"));
  }
  Attendee attendee = attendeeOf(
      {textOf(recipient, PR_DISPLAY_NAME, allocator), smtpAddressOf(recipient, PR_EMAIL_ADDRESS, PR_ADDRTYPE, allocator)});
  attendee.sent = MapiPropUtils::propertyExists(recipient, PR_RESPONSIBILITY) &&
                  MapiPropUtils::propBool(recipient, PR_RESPONSIBILITY, allocator);
  return attendee;
}

// The organizer among the recipients comes ahead of the sender; the last of several counts. One who is there twice also
// takes part.
template <typename SetOrganizer>
void addRecipients(ConvertorDataMessage& data, mail::VCalendar& object, const SetOrganizer& setOrganizer) {
  IConvertMessage* message = data.getMapiMessage();
  const PartStat ownAnswer =
      partStatOf(numberOf(message, data.tagOf(named::kResponseStatus, message), data.getAllocator(), 0));
  std::string organizer;
  for (const ComPtr<IConvertRecipient>& recipient : recipientsOf(message, "ObjectAttendees::createAttendees")) {
    Attendee attendee = createAttendeeFromRecipient(recipient.get(), data.getAllocator());
    // Calendar text has no organizer without an address.
    if (attendee.role == Role::Chair && !attendee.address.empty() && !equalsIgnoreCase(attendee.address, organizer)) {
      organizer = attendee.address;
      setOrganizer(attendee);
      continue;
    }
    if (attendee.role != Role::Chair && attendee.partStat == PartStat::NeedsAction && ownAnswer != PartStat::NeedsAction) {
      attendee.partStat = ownAnswer;
      attendee.rsvp = false;
    }
    object.addAttendee(attendee);
  }
}

// Recipients are made as those of any mail.
class RecipientMaker final : public toMapi::MessageConvert {
 public:
  using MessageConvert::MessageConvert;

  ComPtr<IConvertRecipient> make(const Attendee& attendee) {
    ComPtr<IConvertRecipient> recipient;
    std::u16string name = utf8ToWide(displayName(attendee));
    if (attendee.address.empty() && name.find(u'@') == std::u16string::npos) {
      // A header would take one word for an address.
      mime::AddressProperties person{};
      person.name = name.data();
      createRecipient(person, typeOfRole(attendee.role), recipient.put());
    } else {
      createRecipient(name, attendee.address, typeOfRole(attendee.role), recipient.put());
    }
    return recipient;
  }
};

void addRsvpAttendees(ConvertorDataMessage& data, const std::vector<Attendee>& attendees) {
  for (const Attendee& attendee : attendees) {
    if (attendee.rsvp) {
      addRsvpAttendee(data, attendee);
    }
  }
}

// A meeting has one organizer: who else has its chair is one of those who have to come. The chair of one without organizer
// becomes that if an answer is asked for.
std::vector<Attendee> attendeesBeside(const Attendee& organizer, const mail::VEvent& object) {
  std::vector<Attendee> attendees = object.getAttendees();
  for (Attendee& attendee : attendees) {
    const bool isOrganizer =
        organizer.address.empty() ? attendee.rsvp : equalsIgnoreCase(attendee.address, organizer.address);
    if (attendee.role == Role::Chair && !isOrganizer) {
      attendee.role = Role::Required;
    }
  }
  return attendees;
}

}  // namespace

const std::string& displayName(const Attendee& person) { return person.name.empty() ? person.address : person.name; }

Attendee attendeeOf(const Person& person) {
  Attendee attendee;
  attendee.name = wideToUtf8(person.name);
  attendee.address = wideToUtf8(person.address);
  attendee.addressKind = Attendee::AddressKind::Mail;
  return attendee;
}

std::vector<ComPtr<IConvertRecipient>> recipientsOf(IConvertMessage* message, const char* where) {
  ScopedInterfaceArray array;
  checkHResult(message->getRecipients(array.put()), kSource.at(where));
  std::vector<ComPtr<IConvertRecipient>> recipients;
  for (IUnknown* element : array) {
    ComPtr<IConvertRecipient>& recipient = recipients.emplace_back();
    if (element == nullptr || failed(element->QueryInterface(IConvertRecipient::kIid, recipient.putVoid()))) {
      throwHResult(E_INVALIDARG, kSource.at(where));
    }
  }
  return recipients;
}

Attendee createAttendeeFromRecipient(IConvertRecipient* recipient, IMapiAllocator* allocator) {
  Attendee attendee = personOf(recipient, allocator);
  attendee.role = numberOf(recipient, PR_RECIPIENT_FLAGS, allocator, kFlagsAttendee) == kFlagsOrganizer
                      ? Role::Chair
                      : roleOfType(recipientType(recipient, allocator));
  attendee.partStat = partStatOf(numberOf(recipient, PR_RECIPIENT_TRACKSTATUS, allocator, 0));
  attendee.rsvp = true;
  return attendee;
}

Attendee createOrganizerFromRecipient(IConvertRecipient* recipient, IMapiAllocator* allocator) {
  Attendee organizer = personOf(recipient, allocator);
  if (recipientType(recipient, allocator) != kTypeTo) {
    throwHResult(E_UNEXPECTED, kSource.at("ObjectAttendees::createOrganizerFromRecipient"));
  }
  return organizer;
}

void createAttendees(ConvertorDataMessage& data, mail::VEvent& object) {
  object.removeAttendees();
  if (const std::optional<Person> sender = ownSender(data.getMapiMessage(), data.getAllocator())) {
    object.setOrganizer(attendeeOf(*sender));
  }
  addRecipients(data, object, [&object](const Attendee& organizer) { object.setOrganizer(organizer); });
  addNonSendable(data, object);
}

void createAttendees(ConvertorDataMessage& data, mail::VTodo& object) {
  object.removeAttendees();
  addRecipients(data, object, [&object](const Attendee& organizer) { object.setOrganizer(organizer); });
}

void parseAttendees(ConvertorDataMessage& data, const mail::VEvent& object) {
  Attendee organizer = object.getOrganizer();
  if (!organizer.address.empty()) {
    fillSenderProperties(data, organizer);
    organizer.role = Role::Chair;
    organizer.sent = true;
    addRsvpAttendee(data, organizer);
  }
  const std::vector<Attendee> attendees = attendeesBeside(organizer, object);
  addRsvpAttendees(data, attendees);
  parseNonSendable(data, attendees);
}

void parseAttendees(ConvertorDataMessage& data, const mail::VTodo& object) { addRsvpAttendees(data, object.getAttendees()); }

void addRsvpAttendee(ConvertorDataMessage& data, const Attendee& attendee) {
  if (attendee.name.empty() && attendee.address.empty()) {
    return;
  }
  const ComPtr<IConvertRecipient> recipient = RecipientMaker(&data).make(attendee);
  MapiPropUtils::setULong(recipient.get(), PR_RECIPIENT_TRACKSTATUS, trackStatusOf(attendee.partStat));
  MapiPropUtils::setULong(recipient.get(), PR_RECIPIENT_FLAGS,
                          attendee.role == Role::Chair ? kFlagsOrganizer : kFlagsAttendee);
  MapiPropUtils::setBool(recipient.get(), PR_RESPONSIBILITY, attendee.sent);
  checkHResult(recipient->saveChanges(), kSource.at("ObjectAttendees::addRsvpAttendee"));
}

}  // namespace nalvo::ObjectAttendees
