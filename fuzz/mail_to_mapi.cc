// Any mail becomes a message, or is refused with a code; what became a message goes out and comes back under the same
// subject.
#include "fuzz/converter.h"
#include "platform/mapi/tags.h"

using namespace nalvo;
using namespace nalvo::fuzz;

namespace {

std::u16string subjectOf(const Converter& converter) {
  const host::PropertyRecord* subject = converter.message->bag().find(PR_SUBJECT);
  return subject == nullptr ? std::u16string() : host::textOf(*subject);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view mail(reinterpret_cast<const char*>(data), size);
  Converter first;
  if (failed(first.read(mail, 0))) {
    return 0;
  }
  std::string text;
  if (failed(first.write(CONVERT_TO_ATTACHMENT, text))) {
    return 0;
  }
  Converter second;
  if (succeeded(second.read(text, CONVERT_FROM_ATTACHMENT))) {
    expect(subjectOf(second) == subjectOf(first));
  }
  (void)first.write(CONVERT_FOR_SEND, text);
  return 0;
}
