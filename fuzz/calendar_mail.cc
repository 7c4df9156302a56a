// An appointment or a meeting message as a mail. The first byte says which of them.
#include <iterator>

#include "fuzz/item_mail.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace nalvo;
  constexpr const char* kTypes[] = {
      "calendar; component=vevent",
      "calendar; component=vevent; method=request",
      "calendar; component=vevent; method=cancel",
      "calendar; component=vevent; method=reply",
  };
  if (size == 0) {
    return 0;
  }
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const char* type = kTypes[data[0] % std::size(kTypes)];
  if (type != std::end(kTypes)[-1]) {
    fuzz::carryItem(type, text, PR_SUBJECT);
    return 0;
  }
  // A reply goes to one organizer, or not at all.
  fuzz::Converter reply;
  std::string out;
  if (succeeded(reply.read(std::string("Content-Type: text/") + type + "\r\n\r\n" + std::string(text), 0))) {
    const bool hasOrganizer = reply.message->parts().recipients.size() == 1;
    fuzz::expect(reply.write(CONVERT_FOR_SEND, out) == (hasOrganizer ? S_OK : E_UNEXPECTED));
  }
  return 0;
}
