// The addresses of a message: one thing with the address rows of its root, seen another way.
#pragma once

#include <map>
#include <vector>

#include "mime/addresses.h"
#include "mime/body.h"

namespace nalvo::mime {

// Changes wait here until somebody wants the rows. Kinds are AddressKind bits; bits that are none are passed over.
class AddressBook {
 public:
  // Returns the number of addresses ahead of the new one.
  ULONG insert(const Body& root, DWORD kind, Address address);
  void deleteKinds(DWORD kinds);
  ULONG count(const Body& root, DWORD kinds) const;
  // As the table stands, rows and changes together.
  std::vector<Address> list(const Body& root, DWORD kind) const;

  bool isPending() const { return !pending_.empty(); }
  // Writes the changes into the rows: a kind whose rows say the same already keeps them byte for byte.
  void settle(Body& root);
  void forget() {
    pending_.clear();
    order_.clear();
  }

 private:
  std::vector<Address>& change(const Body& root, DWORD kind);

  std::map<DWORD, std::vector<Address>> pending_;
  std::vector<DWORD> order_;  // kinds as they were first touched
};

// The addresses that the rows of one kind say.
std::vector<Address> addressesInRows(const Body& body, DWORD kind);

// Copies for a caller, from taskAlloc; freeAddressList takes them back.
void fillAddressList(const std::vector<std::pair<DWORD, Address>>& addresses, AddressList* out);
void freeAddressList(AddressList* list) noexcept;

}  // namespace nalvo::mime
