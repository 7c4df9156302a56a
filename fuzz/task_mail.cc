// A task, or a message about one, as a mail. The first byte says which of them.
#include <iterator>

#include "fuzz/item_mail.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr const char* kTypes[] = {
      "calendar; component=vtodo",
      "calendar; component=vtodo; method=request",
      "calendar; component=vtodo; method=reply",
      "calendar; component=vtodo; method=cancel",
  };
  if (size != 0) {
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    nalvo::fuzz::carryItem(kTypes[data[0] % std::size(kTypes)], text, nalvo::PR_SUBJECT,
                           "From: Ann <ann@example.com>\r\nTo: Bob <bob@example.com>\r\n");
  }
  return 0;
}
