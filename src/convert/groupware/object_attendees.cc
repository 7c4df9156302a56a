#include "convert/groupware/object_attendees.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <vector>

#include "convert/message_convert.h"
#include "diagnostics/hresult_exception.h"
#include "platform/com/interface_array.h"
#include "platform/text/text.h"
#include "properties/address_maker.h"

namespace nalvo::ObjectAttendees {
namespace {

using mail::Attendee;
using Role = Attendee::Role;
using PartStat = Attendee::PartStat;

constexpr SourceFile kSource{".\\ObjectAttendees"};

constexpr ULONG PR_RECEIVED_BY_ENTRYID = propTag(PT_BINARY, 0x003F);
constexpr ULONG PR_RECEIVED_BY_NAME = propTag(PT_UNICODE, 0x0040);
constexpr ULONG PR_RECEIVED_BY_SEARCH_KEY = propTag(PT_BINARY, 0x0051);
constexpr ULONG PR_RECEIVED_BY_ADDRTYPE = propTag(PT_UNICODE, 0x0075);
constexpr ULONG PR_RECEIVED_BY_EMAIL_ADDRESS = propTag(PT_UNICODE, 0x0076);
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

struct StatusRow {
  std::uint32_t trackStatus;
  PartStat partStat;
};
// What has no row has not been answered.
constexpr StatusRow kStatuses[] = {{2, PartStat::Tentative}, {3, PartStat::Accepted}, {4, PartStat::Declined}};

PartStat partStatOf(std::uint32_t trackStatus) {
  for (const StatusRow& row : kStatuses) {
    if (row.trackStatus == trackStatus) {
      return row.partStat;
    }
  }
  return PartStat::NeedsAction;
}

std::uint32_t trackStatusOf(PartStat partStat) {
  for (const StatusRow& row : kStatuses) {
    if (row.partStat == partStat) {
      return row.trackStatus;
    }
  }
  return 0;
}

// Those without an entry of the recipient table.
struct NonSendableRow {
  const NamedProperty* names;
  const NamedProperty* statuses;
  Role role;
};
constexpr NonSendableRow kNonSendable[] = {
    {&named::kNonSendableTo, &named::kNonSendToTrackStatus, Role::Required},
    {&named::kNonSendableCc, &named::kNonSendCcTrackStatus, Role::Optional},
    {&named::kNonSendableBcc, &named::kNonSendBccTrackStatus, Role::NonParticipant},
};
constexpr std::u16string_view kSeparator = u"; ";

std::vector<std::u16string_view> splitEntries(std::u16string_view joined) {
  std::vector<std::u16string_view> entries;
  for (std::size_t end = joined.find(kSeparator); end != std::u16string_view::npos; end = joined.find(kSeparator)) {
    entries.push_back(joined.substr(0, end));
    joined.remove_prefix(end + kSeparator.size());
  }
  entries.push_back(joined);
  return entries;
}

// "address", "name<address>" or "name[address]"; no value for what is none of these.
std::optional<Person> parseEntry(std::u16string_view entry) {
  const std::size_t open = entry.find_first_of(u"<>[]");
  if (open == std::u16string_view::npos) {
    return Person{{}, std::u16string(entry)};
  }
  const char16_t close = entry[open] == u'<' ? u'>' : entry[open] == u'[' ? u']' : u'\0';
  if (entry.find_first_of(u"<>[]", open + 1) != entry.size() - 1 || entry.back() != close) {
    return std::nullopt;
  }
  return Person{std::u16string(trim(entry.substr(0, open))),
                std::u16string(entry.substr(open + 1, entry.size() - open - 2))};
}

std::u16string entryText(const Attendee& attendee) {
  // Calendar text names a person without a name by the address.
  std::u16string text = attendee.name == attendee.address ? std::u16string() : utf8ToWide(attendee.name);
  if (!attendee.address.empty()) {
    text.append(text.empty() ? u"<" : u" <").append(utf8ToWide(attendee.address)).append(u">");
  }
  return text;
}

const std::string& displayName(const Attendee& person) { return person.name.empty() ? person.address : person.name; }

struct PersonTags {
  ULONG type;
  ULONG address;
  ULONG entryId;
  ULONG name;
  ULONG searchKey;
};
constexpr PersonTags kSender = {PR_SENDER_ADDRTYPE, PR_SENDER_EMAIL_ADDRESS, PR_SENDER_ENTRYID, PR_SENDER_NAME,
                                PR_SENDER_SEARCH_KEY};
constexpr PersonTags kRepresented = {PR_SENT_REPRESENTING_ADDRTYPE, PR_SENT_REPRESENTING_EMAIL_ADDRESS,
                                     PR_SENT_REPRESENTING_ENTRYID, PR_SENT_REPRESENTING_NAME,
                                     PR_SENT_REPRESENTING_SEARCH_KEY};
constexpr PersonTags kReceivedBy = {PR_RECEIVED_BY_ADDRTYPE, PR_RECEIVED_BY_EMAIL_ADDRESS, PR_RECEIVED_BY_ENTRYID,
                                    PR_RECEIVED_BY_NAME, PR_RECEIVED_BY_SEARCH_KEY};

void fillPerson(IConvertMessage* message, const PersonTags& tags, AddressMaker& address) {
  const auto setBinary = [message](ULONG tag, const SBinary& bytes) {
    MapiPropUtils::setBinary(message, tag, bytes.lpb, bytes.cb);
  };
  MapiPropUtils::setUnicode(message, tags.type, address.getAddressType());
  if (!address.getAddress().empty()) {
    MapiPropUtils::setAnsiString(message, tags.address, address.getAddress());
  }
  setBinary(tags.entryId, address.getEntryId());
  MapiPropUtils::setUnicodeIfNotEmpty(message, tags.name, address.getName());
  setBinary(tags.searchKey, address.getSearchKey());
}

// A text that is missing is empty.
std::u16string textOf(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  return MapiPropUtils::propertyExists(object, tag) ? MapiPropUtils::propUnicodeT(object, tag, allocator) : std::u16string();
}

std::uint32_t numberOf(IConvertObject* object, ULONG tag, IMapiAllocator* allocator, std::uint32_t missing) {
  return MapiPropUtils::propertyExists(object, tag) ? MapiPropUtils::propULong(object, tag, allocator) : missing;
}

// The address of a person if it is one of SMTP.
std::u16string smtpAddressOf(IConvertObject* object, ULONG addressTag, ULONG typeTag, IMapiAllocator* allocator) {
  const ULONG narrow = changePropType(addressTag, PT_STRING8);
  if (!MapiPropUtils::propertyExists(object, narrow)) {
    return {};
  }
  const std::u16string type = textOf(object, typeTag, allocator);
  std::u16string address = widenAddress(MapiPropUtils::propAnsi(object, narrow, allocator));
  // Without a type, a path of another system is known by how it begins.
  const bool isOther = type.empty() ? address.starts_with(u'/') && address.find(u'@') == std::u16string::npos
                                    : !equalsIgnoreCase(type, u"SMTP");
  return isOther ? std::u16string() : address;
}

bool hasSender(IConvertMessage* message) {
  return MapiPropUtils::propertyExists(message, PR_SENDER_NAME) &&
         MapiPropUtils::propertyExists(message, PR_SENDER_EMAIL_ADDRESS);
}

Person senderOf(IConvertMessage* message, IMapiAllocator* allocator) {
  return {textOf(message, PR_SENDER_NAME, allocator),
          smtpAddressOf(message, PR_SENDER_EMAIL_ADDRESS, PR_SENDER_ADDRTYPE, allocator)};
}

std::uint32_t recipientType(IConvertRecipient* recipient, IMapiAllocator* allocator) {
  return numberOf(recipient, PR_RECIPIENT_TYPE, allocator, kTypeTo) & ~kTypeMarks;
}

// Name, address and mark of one who is asked by mail.
Attendee personOf(IConvertRecipient* recipient, IMapiAllocator* allocator) {
  if (recipient == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("ObjectAttendees::createAttendeeFromRecipient"));
  }
  Attendee attendee;
  attendee.name = wideToUtf8(textOf(recipient, PR_DISPLAY_NAME, allocator));
  attendee.address = wideToUtf8(smtpAddressOf(recipient, PR_EMAIL_ADDRESS, PR_ADDRTYPE, allocator));
  attendee.addressKind = Attendee::AddressKind::Mail;
  attendee.sent = MapiPropUtils::propertyExists(recipient, PR_RESPONSIBILITY) &&
                  MapiPropUtils::propBool(recipient, PR_RESPONSIBILITY, allocator);
  return attendee;
}

// The organizer among the recipients comes ahead of the sender; the last of several counts.
template <typename SetOrganizer>
void addRecipients(ConvertorDataMessage& data, mail::VCalendar& object, const SetOrganizer& setOrganizer) {
  constexpr const char* kWhere = "ObjectAttendees::createAttendees";
  IConvertMessage* message = data.getMapiMessage();
  const PartStat ownAnswer =
      partStatOf(numberOf(message, data.tagOf(named::kResponseStatus, message), data.getAllocator(), 0));
  ScopedInterfaceArray recipients;
  checkHResult(message->getRecipients(recipients.put()), kSource.at(kWhere));
  for (IUnknown* element : recipients) {
    ComPtr<IConvertRecipient> recipient;
    if (element == nullptr || failed(element->QueryInterface(IConvertRecipient::kIid, recipient.putVoid()))) {
      throwHResult(E_INVALIDARG, kSource.at(kWhere));
    }
    Attendee attendee = createAttendeeFromRecipient(recipient.get(), data.getAllocator());
    // Calendar text has no organizer without an address.
    if (attendee.role == Role::Chair && !attendee.address.empty()) {
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

void addNonSendable(ConvertorDataMessage& data, mail::VEvent& object) {
  IConvertMessage* message = data.getMapiMessage();
  for (const NonSendableRow& row : kNonSendable) {
    const ULONG namesTag = data.tagOf(*row.names, message);
    const ULONG statusesTag = data.tagOf(*row.statuses, message);
    if (!MapiPropUtils::propertyExists(message, namesTag) || !MapiPropUtils::propertyExists(message, statusesTag)) {
      continue;
    }
    const std::u16string joined = MapiPropUtils::propUnicodeT(message, namesTag, data.getAllocator());
    const std::vector<std::uint32_t> statuses = MapiPropUtils::propMultiULong(message, statusesTag, data.getAllocator());
    const std::vector<std::u16string_view> entries = splitEntries(joined);
    for (std::size_t i = 0; i < std::min(entries.size(), statuses.size()); ++i) {
      const std::optional<Person> person = parseEntry(entries[i]);
      if (!person) {
        continue;
      }
      Attendee attendee;
      attendee.name = wideToUtf8(person->name);
      attendee.address = wideToUtf8(person->address);
      attendee.addressKind = Attendee::AddressKind::Mail;
      attendee.role = row.role;
      attendee.partStat = partStatOf(statuses[i]);
      object.addAttendee(attendee);
    }
  }
}

void parseNonSendable(ConvertorDataMessage& data, const std::vector<Attendee>& attendees) {
  IConvertMessage* message = data.getMapiMessage();
  for (const NonSendableRow& row : kNonSendable) {
    std::u16string joined;
    std::vector<std::uint32_t> statuses;
    for (const Attendee& attendee : attendees) {
      if (attendee.rsvp || attendee.role != row.role || (attendee.name.empty() && attendee.address.empty())) {
        continue;
      }
      joined.append(statuses.empty() ? std::u16string_view() : kSeparator).append(entryText(attendee));
      statuses.push_back(trackStatusOf(attendee.partStat));
    }
    if (!statuses.empty()) {
      MapiPropUtils::setUnicode(message, data.tagOf(*row.names, message), joined);
      MapiPropUtils::setMultiLong(message, data.tagOf(*row.statuses, message), statuses);
    }
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
  IConvertMessage* message = data.getMapiMessage();
  if (hasSender(message)) {
    const Person sender = senderOf(message, data.getAllocator());
    Attendee organizer;
    organizer.name = wideToUtf8(sender.name);
    organizer.address = wideToUtf8(sender.address);
    organizer.addressKind = Attendee::AddressKind::Mail;
    object.setOrganizer(organizer);
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

Person getSender(IConvertMessage* message, IMapiAllocator* allocator) {
  return hasSender(message) ? senderOf(message, allocator) : getMailboxOwner(message, allocator);
}

Person getMailboxOwner(IConvertMessage* message, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "ObjectAttendees::getMailboxOwner";
  ComPtr<IAddressBook> book;
  checkHResult(message->getAddressBook(book.put()), kSource.at(kWhere));
  if (!book) {
    return {};
  }
  const FreeBuffer freeBuffer = MapiAlloc::getAlloc(allocator).freeBuffer;
  MapiBuffer<char16_t> name(freeBuffer);
  MapiBuffer<char16_t> address(freeBuffer);
  checkHResult(book->getOwner(name.put(), 0, address.put()), kSource.at(kWhere));
  return {name ? name.get() : u"", address ? address.get() : u""};
}

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

void fillSenderProperties(ConvertorDataMessage& data, const Attendee& person) {
  if (person.name.empty() && person.address.empty()) {
    return;
  }
  AddressMaker organizer(data.getAllocator(), person.address, utf8ToWide(displayName(person)));
  IConvertMessage* message = data.getMapiMessage();
  ScopedAddressList authors;
  authors.load(data.getMimeMessage(), mime::IAT_FROM);
  const mime::AddressProperties* author = authors.empty() ? nullptr : authors.begin();
  const std::string_view email = author == nullptr || author->email == nullptr ? std::string_view() : author->email;
  if (!email.empty() && !organizer.getAddress().empty() && !equalsIgnoreCase(email, organizer.getAddress())) {
    AddressMaker sender(data.getAllocator(), email, author->name == nullptr ? u"" : author->name);
    fillPerson(message, kSender, sender);
  } else {
    fillPerson(message, kSender, organizer);
  }
  fillPerson(message, kRepresented, organizer);
}

void fillReceivedByProperties(ConvertorDataMessage& data) {
  if (MapiPropUtils::propertyExists(data.getMapiMessage(), PR_RECEIVED_BY_ADDRTYPE)) {
    return;
  }
  const Person owner = getMailboxOwner(data.getMapiMessage(), data.getAllocator());
  if (!owner.name.empty() || !owner.address.empty()) {
    AddressMaker address(data.getAllocator(), narrowAddress(owner.address), owner.name);
    fillPerson(data.getMapiMessage(), kReceivedBy, address);
  }
}

}  // namespace nalvo::ObjectAttendees
