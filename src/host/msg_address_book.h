// What a .msg file knows of the people in it, as an address book.
#pragma once

#include "host/memory_objects.h"

namespace nalvo::host::msg {

// Name, type and address of originators and recipients by their entry ids. A person known by a directory path alone has no
// address and no type, so that nobody takes the path for one.
ComPtr<IAddressBook> addressBookOf(const MemoryMessage& message);

}  // namespace nalvo::host::msg
