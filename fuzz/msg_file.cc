// .msg files: what is read is shown, written and read again, and is then the same.
#include <cstdlib>

#include "diagnostics/hresult_exception.h"
#include "host/carried.h"
#include "host/json.h"
#include "host/msg_file.h"
#include "mime/read_only_stream.h"
#include "streams/stream_utils.h"

using namespace nalvo;

namespace {

// What a message holds, without the number in which the writer marks wide texts.
std::string shown(const host::MemoryMessage& message) {
  auto json = host::toJson(message, false);
  std::vector<nlohmann::ordered_json*> waiting{&json};
  while (!waiting.empty()) {
    nlohmann::ordered_json& one = *waiting.back();
    waiting.pop_back();
    auto& properties = one["properties"];
    for (auto property = properties.begin(); property != properties.end(); ++property) {
      if ((*property)["tag"] == "340d0003") {
        properties.erase(property);
        break;
      }
    }
    for (auto& attachment : one["attachments"]) {
      if (attachment.contains("message")) {
        waiting.push_back(&attachment["message"]);
      }
    }
  }
  return json.dump();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto context = std::make_shared<host::HostContext>();
  // What a mail carries is of the same kind: bytes of others that become properties.
  if (const auto carried = host::decodeCarried({reinterpret_cast<const char*>(data), size})) {
    const ComPtr<host::MemoryMessage> carrier = host::makeMessage(context);
    carrier->addRecipient();
    carrier->addAttachment();
    host::apply(*carried, *carrier);
    (void)shown(*carrier);
  }
  const ComPtr<IStream> file = streamUtils::createStream();
  mime::writeAll(file.get(), {reinterpret_cast<const char*>(data), size});
  ComPtr<host::MemoryMessage> message;
  try {
    message = host::readMsg(file.get(), context, nullptr);
  } catch (const HResultException&) {
    return 0;
  }

  const ComPtr<IStream> written = streamUtils::createStream();
  host::StreamSink sink(written.get());
  host::writeMsg(message.get(), sink);
  std::vector<std::string> warnings;
  const ComPtr<host::MemoryMessage> again = host::readMsg(written.get(), context, &warnings);
  if (shown(*again) != shown(*message)) {
    std::abort();
  }
  return 0;
}
