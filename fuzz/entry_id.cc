// Any bytes are an entry id or refused; the lists and one-off ids that are read can be written again.
#include <cstdint>
#include <cstdlib>

#include "diagnostics/hresult_exception.h"
#include "host/host_allocator.h"
#include "platform/text/text.h"
#include "properties/address_maker.h"
#include "properties/entry_id.h"
#include "properties/entry_lists.h"
#include "properties/guid.h"

using namespace nalvo;

namespace {

void expect(bool holds) {
  if (!holds) {
    std::abort();
  }
}

// Texts end at their first zero.
template <typename Text>
Text upToZero(const Text& text) {
  return text.substr(0, text.find(typename Text::value_type{0}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (size != 0 && EntryId::isValidEntryId(data, size)) {
    expect(EntryId::getType(data, size) == 0 || EntryId::getObjectGuid(data, size) == EntryId::getObjectGuid(data, size));
  }
  const std::vector<std::string> list = parseFlatEntryList(bytes);
  expect(list.empty() || parseFlatEntryList(buildFlatEntryList(list)) == list);
  (void)parseOneOffEntry(bytes);
  Guid guid;
  if (guid.fromString(bytes) == S_OK) {
    Guid again;
    expect(again.fromString(guid.toString()) == S_OK && again == guid);
  }

  const std::string address = upToZero(std::string(bytes.substr(0, size / 2)));
  const std::u16string name = upToZero(utf8ToWide(bytes.substr(size / 2)));
  if (address.empty() && name.empty()) {
    return 0;
  }
  const auto context = std::make_shared<host::HostContext>();
  const host::ScopedContext allocations(context.get());
  AddressMaker maker(makeCom<host::HostAllocator>(context).get(), address, name);
  const SBinary& id = maker.getEntryId();
  const std::optional<OneOffEntry> entry = parseOneOffEntry({reinterpret_cast<const char*>(id.lpb), id.cb});
  expect(entry.has_value() && entry->type == maker.getAddressType());
  expect(name.empty() ? entry->name == entry->address : entry->name == name);
  const SBinary& key = maker.getSearchKey();
  expect(key.cb > entry->type.size() + 2 && key.lpb[key.cb - 1] == 0);
  return 0;
}
