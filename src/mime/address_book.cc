#include "mime/address_book.h"

#include <algorithm>

#include "diagnostics/hresult_exception.h"
#include "mime/body_context.h"
#include "mime/header_names.h"
#include "mime/properties.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

// A name that says no more than the address counts as none.
std::u16string_view nameOf(const Address& address) {
  const std::u16string_view name = address.hasName ? trim(std::u16string_view(address.name)) : std::u16string_view();
  return name != ansiToWide(address.email) ? name : std::u16string_view();
}

bool sameAddresses(const std::vector<Address>& a, const std::vector<Address>& b, bool withNames) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](const Address& x, const Address& y) {
    return x.email == y.email && (!withNames || nameOf(x) == nameOf(y));
  });
}

// Whether a reader fills in the sender from the one From anyway, so that a stored block without it can stay as it was.
bool isSenderImplied(const Body& root, const std::vector<Address>& sender, const std::vector<Address>& from) {
  return root.stored != nullptr && !root.stored->hasSender && sender.size() == 1 && sameAddresses(sender, from, true);
}

// Of several authors a message keeps the last, and the stored block stays as it was as long as that is still the one.
bool isLastOfStored(const Body& root, DWORD kind, const std::vector<Address>& stored, const std::vector<Address>& wanted) {
  return root.stored != nullptr && (kind == IAT_FROM || kind == IAT_SENDER) && wanted.size() == 1 && stored.size() > 1 &&
         sameAddresses({stored.back()}, wanted, true);
}

}  // namespace

std::vector<Address> addressesInRows(const Body& body, DWORD kind) {
  const std::string_view name = addressRowName(kind);
  std::vector<Address> result;
  for (std::size_t at = body.rows.find(name); at != HeaderRows::kNone; at = body.rows.find(name, at + 1)) {
    if (body.rows[at].isPlaceholder()) {
      continue;
    }
    std::vector<Address> some = body.rows.addresses(body.rows[at], readingCharset(body, body.rows[at]));
    std::move(some.begin(), some.end(), std::back_inserter(result));
  }
  return result;
}

std::vector<Address>& AddressBook::change(const Body& root, DWORD kind) {
  const auto found = pending_.find(kind);
  if (found != pending_.end()) {
    return found->second;
  }
  order_.push_back(kind);
  return pending_[kind] = addressesInRows(root, kind);
}

ULONG AddressBook::insert(const Body& root, DWORD kind, Address address) {
  std::vector<Address>& list = change(root, kind);
  if (list.empty()) {
    // Rows that are missing are added in the order in which their kinds get something.
    std::erase(order_, kind);
    order_.push_back(kind);
  }
  const ULONG ahead = static_cast<ULONG>(list.size());
  list.push_back(std::move(address));
  return ahead;
}

void AddressBook::deleteKinds(DWORD kinds) {
  for (const DWORD kind : kAddressKinds) {
    if ((kinds & kind) == 0) {
      continue;
    }
    if (pending_.insert_or_assign(kind, std::vector<Address>()).second) {
      order_.push_back(kind);
    }
  }
}

ULONG AddressBook::count(const Body& root, DWORD kinds) const {
  std::size_t result = 0;
  for (const DWORD kind : kAddressKinds) {
    if ((kinds & kind) != 0) {
      const auto found = pending_.find(kind);
      result += found != pending_.end() ? found->second.size() : addressesInRows(root, kind).size();
    }
  }
  return static_cast<ULONG>(result);
}

std::vector<Address> AddressBook::list(const Body& root, DWORD kind) const {
  const auto found = pending_.find(kind);
  return found != pending_.end() ? found->second : addressesInRows(root, kind);
}

void AddressBook::settle(Body& root) {
  const std::vector<Address> from = list(root, IAT_FROM);
  for (const DWORD kind : order_) {
    std::vector<Address>& wanted = pending_[kind];
    const std::string_view name = addressRowName(kind);
    const std::size_t place = root.rows.find(name);
    const bool withNames = kind != IAT_RETURNRECEIPT && kind != IAT_DISPOSITION_NOTIFICATION;
    const std::vector<Address> inRows = addressesInRows(root, kind);
    if (place == HeaderRows::kNone
            ? wanted.empty()
            : sameAddresses(inRows, wanted, withNames) || isLastOfStored(root, kind, inRows, wanted)) {
      continue;
    }
    if (wanted.empty()) {
      root.rows.removeAll(name);
    } else if (place != HeaderRows::kNone) {
      root.rows.set(place, std::move(wanted));
      root.rows.removeAll(name, place + 1);
    } else if (kind != IAT_SENDER || !isSenderImplied(root, wanted, from)) {
      root.rows.append(name, std::move(wanted));
    }
  }
  forget();
}

void fillAddressList(const std::vector<std::pair<DWORD, Address>>& addresses, AddressList* out) {
  *out = {};
  if (addresses.empty()) {
    return;
  }
  auto* entries = static_cast<AddressProperties*>(taskAlloc(addresses.size() * sizeof(AddressProperties)));
  if (entries == nullptr) {
    throw std::bad_alloc();
  }
  std::fill_n(entries, addresses.size(), AddressProperties{});
  *out = {static_cast<ULONG>(addresses.size()), entries};
  try {
    for (const auto& [kind, address] : addresses) {
      AddressProperties& entry = *entries++;
      entry.kind = kind;
      entry.properties = IAP_ADRTYPE;
      if (!address.email.empty()) {
        entry.email = taskCopy(address.email);
        entry.properties |= IAP_EMAIL;
      }
      if (address.hasName) {
        entry.name = taskCopy(address.name);
        entry.nameEncoding = IET_UNICODE;
        entry.properties |= IAP_FRIENDLYW | IAP_ENCODING;
      }
    }
  } catch (const std::bad_alloc&) {
    freeAddressList(out);
    throw;
  }
}

void freeAddressList(AddressList* list) noexcept {
  if (list == nullptr) {
    return;
  }
  for (ULONG i = 0; i < list->count; ++i) {
    taskFree(list->addresses[i].email);
    taskFree(list->addresses[i].name);
  }
  taskFree(list->addresses);
  *list = {};
}

}  // namespace nalvo::mime
