// A card as a mail.
#include "fuzz/item_mail.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  nalvo::fuzz::carryItem("x-vcard", {reinterpret_cast<const char*>(data), size}, nalvo::PR_DISPLAY_NAME);
  return 0;
}
