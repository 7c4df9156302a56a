// Any annotation stream is read without a failure, and what it set comes back the same through both forms of storage.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "host/caller_objects.h"
#include "host/host_allocator.h"
#include "host/memory_objects.h"
#include "platform/mapi/property_types.h"
#include "properties/annotation_reader.h"
#include "properties/annotation_saver.h"
#include "properties/map_name.h"
#include "properties/no_convert.h"
#include "streams/stream_utils.h"

using namespace nalvo;

namespace {

void expect(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void read(IStream* stream, host::MemoryMessage* message) {
  streamUtils::rewind(stream);
  AnnotationReader::read(stream, message, IConvertMessage::kIid);
}

std::vector<ULONG> tagsOf(host::MemoryMessage* message) {
  return NoConvert::getConvertableProps(message, IConvertMessage::kIid);
}

// The set that the properties of `message` make, in the order of the tags of `first`.
host::MemoryAnnotations::Entries entriesOf(host::MemoryMessage* message, host::MemoryMessage* first) {
  const auto set = makeCom<host::MemoryAnnotations>(message->context());
  AnnotationSaver saver(message, set.get());
  expect(tagsOf(message).size() == tagsOf(first).size());
  for (const ULONG tag : tagsOf(first)) {
    const bool named = propId(tag) >= kFirstNamedId;
    saver.addProperty(named ? MapiName::fromPropertyTag(tag, first, nullptr).getPropertyTag(message) : tag);
  }
  return set->entries();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto context = std::make_shared<host::HostContext>();
  {
    const host::ScopedContext allocations(context.get());
    const ComPtr<host::MemoryMessage> first = host::makeMessage(context);
    ComPtr<IStream> stream = streamUtils::createStream();
    streamUtils::detail::writeStr(stream.get(), data, static_cast<std::uint32_t>(size));
    read(stream.get(), first.get());

    // Through a stream and through a set.
    stream = streamUtils::createStream();
    const auto annotations = makeCom<host::MemoryAnnotations>(context);
    AnnotationSaver toStream(first.get(), stream.get());
    AnnotationSaver toSet(first.get(), annotations.get());
    for (const ULONG tag : tagsOf(first.get())) {
      toStream.addProperty(tag);
      toSet.addProperty(tag);
    }
    const ComPtr<host::MemoryMessage> second = host::makeMessage(context);
    read(stream.get(), second.get());
    const ComPtr<host::MemoryMessage> third = host::makeMessage(context);
    AnnotationReader::read(annotations.get(), third.get(), IConvertMessage::kIid);
    expect(entriesOf(second.get(), first.get()) == annotations->entries());
    expect(entriesOf(third.get(), first.get()) == annotations->entries());
  }
  expect(context->openBuffers == 0 && context->liveObjects == 0);
  return 0;
}
