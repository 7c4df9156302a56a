// A mail from outside with any X-MAPI still reads, and what came of it goes out or is refused with a code.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/caller_objects.h"
#include "host/host_allocator.h"
#include "host/memory_objects.h"
#include "nalvo/convert.h"
#include "streams/coder.h"
#include "streams/stream_utils.h"

using namespace nalvo;

namespace {

void expect(bool holds) {
  if (!holds) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto context = std::make_shared<host::HostContext>();
  {
    const host::ScopedContext allocations(context.get());
    const auto allocator = makeCom<host::HostAllocator>(context);
    const auto annotations = makeCom<host::MemoryAnnotations>(context);
    const auto flags = makeCom<host::MemoryFlags>(context);
    std::string coded;
    expect(Coder::encodeBase64(data, size, coded) == S_OK);
    const std::string mail = "X-MAPI: " + coded + "\r\nFrom: a@example.org\r\nSubject: x\r\n\r\ntext\r\n";
    ComPtr<IStream> stream = streamUtils::createStream();
    streamUtils::detail::writeStr(stream.get(), mail);
    streamUtils::rewind(stream.get());
    const ComPtr<host::MemoryMessage> message = host::makeMessage(context);
    expect(mimeToMapi(annotations.get(), stream.get(), flags.get(), message.get(), allocator.get(), CONVERT_FROM_ATTACHMENT,
                      nullptr) == S_OK);
    stream = streamUtils::createStream();
    (void)mapiToMime(message.get(), nullptr, stream.get(), nullptr, allocator.get(), CONVERT_TO_ATTACHMENT, nullptr,
                     nullptr);
  }
  expect(context->openBuffers == 0 && context->liveObjects == 0);
  return 0;
}
