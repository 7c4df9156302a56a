// Any text is a duration or none; one that was read reads as the same when it is written.
#include <cstdint>
#include <cstdlib>

#include "mail/duration.h"

using nalvo::mail::Duration;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Duration duration = Duration::parse({reinterpret_cast<const char*>(data), size});
  if (Duration::parse(duration.toString()) != duration || Duration(0) - duration > Duration::parse("P999999999999999W")) {
    std::abort();
  }
  return 0;
}
