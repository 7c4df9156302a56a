// Any bytes give valid UTF-8 without NUL, no longer than charsets can make them.
#include <cstdint>
#include <cstdlib>

#include "platform/text/text.h"
#include "text/encoded_words.h"

using namespace nalvo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view in(reinterpret_cast<const char*>(data), size);
  for (const std::string_view charset : {"utf-8", "iso-8859-2", "shift_jis"}) {
    const std::string out = utils::decodeMimeWords(in, charset);
    if (!isValidUtf8(out) || out.find('\0') != std::string::npos || out.size() > 6 * size) {
      std::abort();
    }
  }
  return 0;
}
