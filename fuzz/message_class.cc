// Any mail has a class, by either rule about its root, and any class a content class.
#include "frame/message_class_detector.h"
#include "fuzz/converter.h"
#include "platform/text/text.h"

using namespace nalvo;
using namespace nalvo::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view mail(reinterpret_cast<const char*>(data), size);
  for (const bool rootCounts : {false, true}) {
    expect(!MessageClassDetector::detect(streamOf(mail).get(), rootCounts).empty());
  }
  expect(!contentClassFromMessageClass(ansiToWide(mail.substr(0, 100))).empty());
  return 0;
}
