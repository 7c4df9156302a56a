// Lists of addresses: From, To and their kin.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mime/header_text.h"

namespace nalvo::mime {

struct Address {
  std::string email;    // raw bytes; empty for a name alone
  std::u16string name;  // decoded
  bool hasName = false;

  friend bool operator==(const Address&, const Address&) = default;
};

// Reads an unfolded row. Groups give their members; a comment names an address without a name; a quoted text, an encoded
// word or several words without an address are a name alone, so is "Name <>"; one bare word is an address. Odd text never
// hides the addresses beside it. Time and memory grow with the length of the row alone.
std::vector<Address> parseAddressList(std::string_view unfoldedRaw, const Charset* messageCharset);

// The list as a row, folded between addresses; parseAddressList reads it back. A name that equals its address is left out, a
// name alone is quoted or encoded. An email that is no address by the rules stands between "<" and ">" as it is. Entries
// with neither email nor name are passed over.
std::string writeAddressList(std::span<const Address> addresses, const Charset* charset, const HeaderFold& fold);

}  // namespace nalvo::mime
