#include "convert/groupware/non_sendable.h"

#include <algorithm>
#include <optional>

#include "convert/groupware/attendee_values.h"
#include "convert/groupware/object_attendees.h"
#include "platform/text/text.h"
#include "properties/mapi_prop_utils.h"
#include "properties/named_properties.h"

namespace nalvo::ObjectAttendees {
namespace {

using namespace detail;
using mail::Attendee;
using Role = Attendee::Role;

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

}  // namespace

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
      Attendee attendee = attendeeOf(*person);
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

}  // namespace nalvo::ObjectAttendees
