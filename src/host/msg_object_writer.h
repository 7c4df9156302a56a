// Writes the properties of one object of a .msg file.
#pragma once

#include <string>

#include "host/compound_writer.h"
#include "host/msg_layout.h"
#include "host/msg_names.h"
#include "host/property_bag.h"

namespace nalvo::host::msg {

// The values go out at once, the list of properties at `finish`.
class ObjectWriter {
 public:
  // All are borrowed.
  ObjectWriter(CompoundWriter& writer, NameNumbers& names, CompoundWriter::Storage storage)
      : writer_(writer), names_(names), storage_(storage) {}

  // `codePage` is that of the message's narrow texts. Objects (PT_OBJECT) and the data of an OLE attachment are left to the
  // owner, and an identifier of a named property that has no name is dropped, as it means nothing outside of its message.
  void write(const PropertyBag& bag, CodePage codePage);
  // Lists a property: its fixed value, or the size of one that is written elsewhere.
  void list(ULONG tag, std::uint64_t value);
  // Lists an object, or tells what a listed one is.
  void listObject(ULONG tag, std::uint32_t kind);
  // Notes that texts of this object are wide.
  bool hasWideTexts() const { return hasWideTexts_; }
  // Sets bits of a number that may be there already.
  void setBits(ULONG tag, std::uint32_t bits);
  // `header` stands ahead of the list.
  void finish(std::string_view header);

 private:
  void writeOne(const PropertyBag& bag, ULONG tag, const PropertyRecord& record, CodePage codePage);
  void writeText(ULONG tag, const PropertyRecord& record, bool narrow);
  void writeTexts(ULONG tag, const PropertyRecord& record, bool narrow);
  void writeBytes(ULONG tag, const PropertyRecord& record, std::uint32_t terminator);
  void writeStream(ULONG tag, std::string_view bytes);

  std::optional<std::size_t> placeOf(ULONG tag) const;

  CompoundWriter& writer_;
  NameNumbers& names_;
  CompoundWriter::Storage storage_;
  std::string entries_;
  bool hasWideTexts_ = false;
};

}  // namespace nalvo::host::msg
