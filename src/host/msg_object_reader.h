// Reads the properties of one object of a .msg file.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/compound_file.h"
#include "host/msg_layout.h"
#include "host/property_bag.h"

namespace nalvo::host::msg {

// What the storage of an object holds, found once by name. Numbers are entries of the compound file.
struct ObjectStreams {
  ObjectStreams(const CompoundFile& file, const CompoundFile::Entry& storage);

  std::optional<std::uint32_t> properties;
  std::unordered_map<ULONG, std::uint32_t> values;                    // by tag
  std::map<std::pair<ULONG, std::uint32_t>, std::uint32_t> elements;  // by tag and index
  std::map<std::uint32_t, std::uint32_t> recipients;                  // by number
  std::map<std::uint32_t, std::uint32_t> attachments;
};

class ObjectReader {
 public:
  // All are borrowed.
  ObjectReader(CompoundFile& file, const std::map<std::uint16_t, PropertyName>& names, std::vector<std::string>& warnings)
      : file_(file), names_(names), warnings_(warnings) {}

  // Reads an object's properties into `bag`. `where` names it in warnings. The code page is that of its narrow texts; the
  // one of a message goes before it. Returns the code page that was used.
  CodePage read(const ObjectStreams& streams, ObjectKind kind, const std::string& where, CodePage codePage,
                PropertyBag& bag);

  // Tells of one thing, unless a hundred are told already.
  void warn(const std::string& where, const std::string& what);
  CompoundFile& file() { return file_; }

 private:
  struct Entry {
    ULONG tag;  // with the file's identifier
    std::uint64_t value;
  };
  struct Object;

  std::vector<Entry> entriesOf(const ObjectStreams& streams, ObjectKind kind, const std::string& where);
  std::optional<ULONG> renumbered(ULONG fileTag, const std::string& where, PropertyBag& bag);
  PropertyContent longValue(const Object& object, const Entry& entry);
  PropertyContent bytesOrStream(const Object& object, const Entry& entry, std::uint32_t stream);
  template <typename T>
  PropertyContent values(const Object& object, const Entry& entry, std::uint32_t stream);
  std::vector<std::string> elements(const Object& object, const Entry& entry, std::uint32_t stream);

  CompoundFile& file_;
  const std::map<std::uint16_t, PropertyName>& names_;
  std::vector<std::string>& warnings_;
};

}  // namespace nalvo::host::msg
