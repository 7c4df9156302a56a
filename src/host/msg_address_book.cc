#include "host/msg_address_book.h"

#include "host/caller_objects.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"

namespace nalvo::host::msg {
namespace {

struct PersonRow {
  ULONG entryId;
  ULONG name;
  ULONG type;
  ULONG address;
};
constexpr PersonRow kOriginators[] = {
    {PR_SENDER_ENTRYID, PR_SENDER_NAME, PR_SENDER_ADDRTYPE, PR_SENDER_EMAIL_ADDRESS},
    {PR_SENT_REPRESENTING_ENTRYID, PR_SENT_REPRESENTING_NAME, PR_SENT_REPRESENTING_ADDRTYPE,
     PR_SENT_REPRESENTING_EMAIL_ADDRESS},
};
constexpr PersonRow kRecipient = {PR_ENTRYID, PR_DISPLAY_NAME, PR_ADDRTYPE, PR_EMAIL_ADDRESS};

void add(MemoryAddressBook& book, const PropertyBag& bag, const PersonRow& row) {
  const PropertyRecord* entryId = bag.answer(row.entryId);
  if (entryId == nullptr) {
    return;
  }
  auto& person = book.entries[bytesOf(*entryId)];
  person.emplace(PR_DISPLAY_NAME, bag.text(row.name));
  const std::u16string type = bag.text(row.type);
  if (!equalsIgnoreCase(type, u"EX")) {
    person.emplace(PR_ADDRTYPE, type);
    person.emplace(PR_EMAIL_ADDRESS, bag.text(row.address));
  }
}

}  // namespace

ComPtr<IAddressBook> addressBookOf(const MemoryMessage& message) {
  const auto book = makeCom<MemoryAddressBook>(message.context());
  for (const PersonRow& row : kOriginators) {
    add(*book, message.bag(), row);
  }
  for (const ComPtr<MemoryRecipient>& recipient : message.parts().recipients) {
    add(*book, recipient->bag(), kRecipient);
  }
  return book.as<IAddressBook>();
}

}  // namespace nalvo::host::msg
