// Any .msg file that opens becomes a mail in each form, or is refused with a code.
#include "diagnostics/hresult_exception.h"
#include "fuzz/converter.h"
#include "host/msg_file.h"

using namespace nalvo;
using namespace nalvo::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ComPtr<IStream> file = streamOf({reinterpret_cast<const char*>(data), size});
  Converter converter;
  try {
    converter.message = host::readMsg(file.get(), converter.context, nullptr);
  } catch (const HResultException&) {
    return 0;
  }
  std::string mail;
  (void)converter.write(CONVERT_FOR_SEND, mail);
  (void)converter.write(CONVERT_NORMAL, mail);
  if (succeeded(converter.write(CONVERT_TO_ATTACHMENT, mail))) {
    Converter back;
    (void)back.read(mail, CONVERT_FROM_ATTACHMENT);
  }
  return 0;
}
