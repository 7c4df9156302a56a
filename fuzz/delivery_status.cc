// A delivery report with any status: a clean one gives back the status byte for byte.
#include "fuzz/converter.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"

using namespace nalvo;
using namespace nalvo::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string status(reinterpret_cast<const char*>(data), size);
  const std::string mail =
      "Content-Type: multipart/report; report-type=delivery-status; boundary=0123456789\r\n\r\n--0123456789\r\n\r\ntext\r\n"
      "--0123456789\r\nContent-Type: message/delivery-status\r\n\r\n" +
      status + "\r\n--0123456789\r\nContent-Type: text/rfc822-headers\r\n\r\nSubject: x\r\n\r\n--0123456789--\r\n";
  Converter converter;
  expect(succeeded(converter.read(mail, 0)));
  std::string text;
  expect(succeeded(converter.write(0, text)));
  const std::u16string messageClass = host::textOf(*converter.message->bag().find(PR_MESSAGE_CLASS));
  if (startsWithIgnoreCase(wideToUtf8(messageClass), "Report.")) {
    expect(partOf(text, "message", "delivery-status") == partOf(mail, "message", "delivery-status"));
  }
  return 0;
}
