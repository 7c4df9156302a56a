// The two entry ids of a member of a distribution list: a byte with the length of the first one, both in a row. Whatever
// they hold, the list goes out and comes back; an entry id that isn't understood comes back byte for byte.
#include <vector>

#include "fuzz/converter.h"
#include "platform/mapi/tags.h"
#include "properties/address_maker.h"
#include "properties/entry_lists.h"
#include "properties/named_properties.h"

using namespace nalvo;
using namespace nalvo::fuzz;

namespace {

using Members = std::vector<std::string>;

constexpr std::size_t kWrappedSize = 21;

ULONG tagOf(const Converter& converter, const NamedProperty& property) {
  return MapiName(property).getPropertyTag(converter.message.get());
}

std::string plainOneOff(const Converter& converter) {
  const MapiBuffer<SBinary> made = AddressMaker::createOneOffAddress("jo@x.org", u"Jo", u"SMTP", converter.allocator.get());
  return {reinterpret_cast<const char*>(made->lpb), made->cb};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::size_t length = std::min<std::size_t>(*data, bytes.size());
  Converter first;
  // A length of zero stands for a plain address.
  const std::string oneOff = length == 0 ? plainOneOff(first) : bytes.substr(0, length);
  const std::string member = bytes.substr(length);
  const auto book = makeCom<host::MemoryAddressBook>(first.context);
  if (member.size() > kWrappedSize && (member.back() & 1) == 0) {
    book->folderGuids[member.substr(kWrappedSize)] = {};
    book->entries[member.substr(kWrappedSize)][0xAF000102] = member;
  }
  first.message->setAddressBook(book.as<IAddressBook>());
  first.message->bag().set(PR_MESSAGE_CLASS, {PT_UNICODE, std::u16string(u"IPM.DistList")});
  first.message->bag().set(tagOf(first, named::kDistributionListOneOffMembers), {PT_MV_BINARY, Members{oneOff}});
  first.message->bag().set(tagOf(first, named::kDistributionListMembers), {PT_MV_BINARY, Members{member}});
  std::string mail;
  expect(first.write(CONVERT_FOR_SEND, mail) == S_OK);
  Converter second;
  expect(second.read(mail, 0) == S_OK);
  const host::PropertyRecord* back = second.message->bag().find(tagOf(second, named::kDistributionListMembers));
  const bool isOpaque = mail.find("TYPE:OPAQUE") != std::string::npos;
  if (isOpaque && length == 0) {
    expect(back != nullptr && std::get<Members>(back->content) == Members{member});
  }
  return 0;
}
