// What people and programs want out of a mail: its texts, its pictures, and the item that it carries.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "host/memory_objects.h"
#include "mime/mime.h"

namespace nalvo::host {

// The first plain text or HTML of a mail as UTF-8; empty when it has none or it is above 16 MiB. Throws the stream's code.
std::string mailText(mime::IMimeMessage* mail, mime::TextType type);

// The pictures of a mail that have a content id. `mail` outlives it.
class Pictures {
 public:
  // One pass over the bodies. Throws the mail's code.
  explicit Pictures(mime::IMimeMessage* mail);
  // The picture with a content id (without angle brackets) as a "data:" URL. Empty for one that is not there or above
  // 16 MiB, and once all that was asked for is above 64 MiB: a text may name one picture as often as it likes. Throws the
  // stream's code.
  std::string url(std::string_view contentId);

 private:
  mime::IMimeMessage* mail_;
  std::map<std::string, mime::HBODY, std::less<>> bodies_;  // the first of several
  std::size_t left_ = 64U << 20;
};

// An item as other programs read it.
struct ItemText {
  const char* extension;  // ".ics", ".vcf", ".txt"
  std::string text;       // UTF-8
};
// Of a calendar item, a contact, a distribution list, a journal entry or a sticky note, as it would be sent; no value for
// other messages. Throws what writeMail throws.
std::optional<ItemText> itemTextOf(MemoryMessage* message);

}  // namespace nalvo::host
