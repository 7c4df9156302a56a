// What people and programs want out of a mail: its texts, its pictures, and the item that it carries.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/memory_objects.h"
#include "mime/mime.h"

namespace nalvo::host {

// The first plain text or HTML of a mail as UTF-8; empty when it has none or it is above 16 MiB. Throws the stream's code.
std::string mailText(mime::IMimeMessage* mail, mime::TextType type);

// The picture with a content id (without angle brackets) as a "data:" URL; empty likewise.
std::string pictureUrl(mime::IMimeMessage* mail, std::string_view contentId);

// An item as other programs read it.
struct ItemText {
  const char* extension;  // ".ics", ".vcf", ".txt"
  std::string text;       // UTF-8
};
// Of a calendar item, a contact, a distribution list, a journal entry or a sticky note, as it would be sent; no value for
// other messages. Throws what writeMail throws.
std::optional<ItemText> itemTextOf(MemoryMessage* message);

}  // namespace nalvo::host
