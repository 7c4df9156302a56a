// The names of the named properties of a .msg file.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/compound_file.h"
#include "host/compound_writer.h"
#include "host/property_bag.h"

namespace nalvo::host::msg {

// The names by the identifiers that the file gives them, each 0x8000 or above. What can't be read is left out and told.
std::map<std::uint16_t, PropertyName> readNames(CompoundFile& file, std::vector<std::string>& warnings);

// Numbers the names of a new file in the order in which they are asked for.
class NameNumbers {
 public:
  // MAPI_E_TOO_BIG when all identifiers are given away.
  std::uint16_t idOf(const PropertyName& name);
  // Writes the storage of names.
  void write(CompoundWriter& writer) const;

 private:
  NameMap numbers_;
};

}  // namespace nalvo::host::msg
