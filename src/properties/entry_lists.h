// Packed entry ids of people: the flat list of a reply-to property, and the one-off entry id read back.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace nalvo {

// The entries of a flat list: a 32-bit count, the 32-bit size of the rest, and for each entry its 32-bit size, its bytes and
// zero bytes up to a multiple of four. A record that is no such list gives nothing; an entry that would go beyond it ends
// it.
std::vector<std::string> parseFlatEntryList(std::string_view bytes);
// Throws MAPI_E_TOO_BIG beyond 32 bits.
std::string buildFlatEntryList(std::span<const std::string> entries);

struct OneOffEntry {
  std::u16string name;
  std::u16string type;  // "SMTP"
  std::u16string address;
};

// No value for what is no one-off entry id. Narrow texts are widened with the ANSI code page; a text without its terminator
// ends with the bytes.
std::optional<OneOffEntry> parseOneOffEntry(std::string_view bytes);

}  // namespace nalvo
