// A sticky note as a mail.
#include "fuzz/item_mail.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  nalvo::fuzz::carryItem("x-stickynote", {reinterpret_cast<const char*>(data), size}, nalvo::PR_BODY);
  return 0;
}
