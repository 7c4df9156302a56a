// Who sends an item, and whose mailbox it lies in.
#include "convert/groupware/attendee_values.h"
#include "convert/groupware/object_attendees.h"
#include "convert/message_convert.h"
#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"
#include "properties/address_maker.h"

namespace nalvo::ObjectAttendees {
namespace {

using namespace detail;
using mail::Attendee;

constexpr SourceFile kSource{".\\ObjectAttendees"};

constexpr ULONG PR_RECEIVED_BY_ENTRYID = propTag(PT_BINARY, 0x003F);
constexpr ULONG PR_RECEIVED_BY_NAME = propTag(PT_UNICODE, 0x0040);
constexpr ULONG PR_RECEIVED_BY_SEARCH_KEY = propTag(PT_BINARY, 0x0051);
constexpr ULONG PR_RECEIVED_BY_ADDRTYPE = propTag(PT_UNICODE, 0x0075);
constexpr ULONG PR_RECEIVED_BY_EMAIL_ADDRESS = propTag(PT_UNICODE, 0x0076);

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

// Whether the author of a mail is known for another one than `person`.
bool isOther(const mime::AddressProperties& author, const AddressMaker& person) {
  const std::string_view email = author.email == nullptr ? std::string_view() : author.email;
  return !email.empty() && !person.getAddress().empty() && !equalsIgnoreCase(email, person.getAddress());
}

}  // namespace

std::optional<Person> ownSender(IConvertMessage* message, IMapiAllocator* allocator) {
  if (!MapiPropUtils::propertyExists(message, PR_SENDER_NAME) ||
      !MapiPropUtils::propertyExists(message, PR_SENDER_EMAIL_ADDRESS)) {
    return std::nullopt;
  }
  return Person{textOf(message, PR_SENDER_NAME, allocator),
                smtpAddressOf(message, PR_SENDER_EMAIL_ADDRESS, PR_SENDER_ADDRTYPE, allocator)};
}

Person getSender(IConvertMessage* message, IMapiAllocator* allocator) {
  const std::optional<Person> own = ownSender(message, allocator);
  return own ? *own : getMailboxOwner(message, allocator);
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

void fillSenderProperties(ConvertorDataMessage& data, const Attendee& person) {
  if (person.name.empty() && person.address.empty()) {
    return;
  }
  AddressMaker organizer(data.getAllocator(), person.address, utf8ToWide(displayName(person)));
  IConvertMessage* message = data.getMapiMessage();
  ScopedAddressList authors;
  authors.load(data.getMimeMessage(), mime::IAT_FROM);
  if (!authors.empty() && isOther(*authors.begin(), organizer)) {
    const mime::AddressProperties& author = *authors.begin();
    AddressMaker sender(data.getAllocator(), author.email, author.name == nullptr ? u"" : author.name);
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
