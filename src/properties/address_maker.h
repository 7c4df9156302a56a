// The MAPI identity of a person who is in no address book.
#pragma once

#include <string>
#include <string_view>

#include "nalvo/interfaces.h"
#include "platform/com/com_ptr.h"
#include "properties/mapi_alloc.h"

namespace nalvo {

// An address in narrow form is ASCII, or UTF-8 if it is internationalised and valid, else in the ANSI code page.
std::u16string widenAddress(std::string_view address);
// In the ANSI code page if that can hold it, else UTF-8.
std::string narrowAddress(std::u16string_view address);

// Makes the one-off entry id and the search key of a name and an SMTP address, one of which may be empty. The type is
// "SMTP" with an address and "SYSTEM" without one.
class AddressMaker {
 public:
  // When the two binaries are made.
  enum class Make { AtOnce, OnRequest };

  // `address` is UTF-8 if it is valid as such, else in the ANSI code page. Throws E_INVALIDARG for a null allocator or when
  // both texts are empty.
  AddressMaker(IMapiAllocator* allocator, std::string_view address, std::u16string_view name, Make make = Make::AtOnce);

  // Both stay owned by this object.
  const SBinary& getEntryId();
  const SBinary& getSearchKey();
  std::u16string_view getAddressType() const;
  // Empty if there is none.
  const std::string& getAddress() const { return address_; }
  const std::u16string& getName() const { return name_; }

  // The one-off entry id as MAPI lays it out, 24 + 2 * (lengths of the three texts in UTF-16 units + 3) bytes. A missing
  // name is the address, a missing address the name. Throws E_INVALIDARG when both or `type` are empty, and the
  // allocator's code.
  static MapiBuffer<SBinary> createOneOffAddress(std::string_view address, std::u16string_view name,
                                                 std::u16string_view type, IMapiAllocator* allocator);
  // Type, ":" and address in upper case with a terminator, in the encoding of the address. Throws E_INVALIDARG for an empty
  // text.
  static MapiBuffer<SBinary> createOneOffSearchKey(std::string_view address, std::u16string_view type,
                                                   IMapiAllocator* allocator);

 private:
  ComPtr<IMapiAllocator> allocator_;
  MapiBuffer<SBinary> entryId_;
  MapiBuffer<SBinary> searchKey_;
  std::string address_;
  std::u16string name_;
};

}  // namespace nalvo
