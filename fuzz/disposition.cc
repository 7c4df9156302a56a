// A read report with any disposition: it gives back the part byte for byte, or is refused with a code.
#include "fuzz/converter.h"

using namespace nalvo;
using namespace nalvo::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string disposition(reinterpret_cast<const char*>(data), size);
  const std::string mail =
      "Content-Type: multipart/report; report-type=disposition-notification; boundary=0123456789\r\n\r\n--0123456789\r\n\r\n"
      "text\r\n--0123456789\r\nContent-Type: message/disposition-notification\r\n\r\n" +
      disposition + "\r\n--0123456789--\r\n";
  Converter converter;
  if (failed(converter.read(mail, 0))) {
    return 0;
  }
  std::string text;
  expect(succeeded(converter.write(0, text)));
  expect(partOf(text, "message", "disposition-notification") == partOf(mail, "message", "disposition-notification"));
  return 0;
}
