// What travels beside a mail: bytes of others that become properties.
#include <cstdlib>

#include "host/carried.h"
#include "host/json.h"
#include "platform/mapi/tags.h"

using namespace nalvo;
using namespace nalvo::host;

namespace {

// A small message, as it would be back from a mail, with parts that marks may name.
ComPtr<MemoryMessage> given(const HostContextPtr& context) {
  ComPtr<MemoryMessage> message = makeMessage(context);
  message->bag().load(PR_SUBJECT, {PT_UNICODE, std::u16string(u"Lunch")});
  message->bag().load(PR_BODY, {PT_UNICODE, std::u16string(u"Shall we meet?\r\n")});
  for (const char16_t* name : {u"Ann", u"Bob"}) {
    message->addRecipient().bag().load(PR_DISPLAY_NAME, {PT_UNICODE, std::u16string(name)});
  }
  message->addAttachment().bag().load(PR_ATTACH_DATA_BIN, {PT_BINARY, std::string("content")});
  MemoryAttachment& inner = message->addAttachment();
  inner.bag().load(PR_ATTACH_DATA_OBJ, {PT_OBJECT, std::monostate()});
  inner.setEmbedded(makeMessage(context));
  return message;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::optional<Carried> carried = decodeCarried({reinterpret_cast<const char*>(data), size});
  if (!carried) {
    return 0;
  }
  const std::string bytes = encode(*carried);
  const std::optional<Carried> again = decodeCarried(bytes);
  if (!again || encode(*again) != bytes) {
    std::abort();  // what was read is not what is written
  }
  const auto context = std::make_shared<HostContext>();
  {
    const ComPtr<MemoryMessage> message = given(context);
    apply(*carried, *message);
    for (const ULONG tag : message->bag().tags()) {
      if (propId(tag) >= 0xAF00) {
        std::abort();  // identifiers of the store are out of reach
      }
    }
    (void)toJson(*message, true);
    // What a message carries for the messages around it is never seen as its own property.
    giveCarried(*message, *carried);
    const std::optional<Carried> taken = takeCarried(*message);
    if (!taken || encode(*taken) != bytes) {
      std::abort();
    }
  }
  if (context->liveObjects != 0) {
    std::abort();
  }
  return 0;
}
