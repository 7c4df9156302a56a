// Any bytes parse or not; a date that was read is written in a form that reads as the same second.
#include <cstdint>
#include <cstdlib>

#include "mime/dates.h"

using namespace nalvo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto time = mime::parseInetDate({reinterpret_cast<const char*>(data), size});
  if (time && mime::parseInetDate(mime::formatInetDate(*time)) != time) {
    std::abort();
  }
  return 0;
}
