// Mailbox names: any bytes decode, and every text comes back as it was encoded.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/text/text.h"
#include "text/charset_converter.h"
#include "text/charset_stream.h"

using namespace nalvo;
using namespace nalvo::utils;

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view in(reinterpret_cast<const char*>(data), size);
  std::string text, name, again;
  require(convertCharset("utf-7-imap", in, "utf-8", text, true) && isValidUtf8(text));

  StreamConverter stream("utf-7-imap");
  try {
    for (const char c : in) {
      stream << c << std::flush;
    }
    require(stream.takeOutput() == text);  // what is well formed decodes alike in pieces
  } catch (const Exception&) {
  }

  const std::string utf8 = repairUtf8(in);
  require(convertCharset("utf-8", utf8, "utf-7-imap", name, true) && isAscii(name));
  require(convertToCharset("utf-7-imap", "utf-8", name, again, false) && again == utf8);
  return 0;
}
