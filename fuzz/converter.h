// The exports over objects of the reference caller, for targets that convert.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/caller_objects.h"
#include "host/host_allocator.h"
#include "host/memory_objects.h"
#include "mime/mime.h"
#include "nalvo/convert.h"
#include "streams/stream_utils.h"

namespace nalvo::fuzz {

inline void expect(bool holds) {
  if (!holds) {
    std::abort();
  }
}

inline ComPtr<IStream> streamOf(std::string_view bytes) {
  ComPtr<IStream> stream = streamUtils::createStream();
  streamUtils::detail::writeStr(stream.get(), bytes);
  streamUtils::rewind(stream.get());
  return stream;
}

inline std::string contentOf(IStream* stream) {
  std::string bytes;
  char buffer[4096];
  streamUtils::rewind(stream);
  for (ULONG read = 1; read != 0;) {
    expect(stream->Read(buffer, sizeof buffer, &read) == S_OK);
    bytes.append(buffer, read);
  }
  return bytes;
}

// One caller. Aborts at its end if anything that it lent out is still held.
class Converter {
 public:
  Converter() : allocations_(context.get()) {
    constexpr SYSTEMTIME kArrived{2020, 3, 1, 2, 9, 30, 0, 0};
    flags->internalDate = kArrived;
    flags->modificationDate = kArrived;
  }
  ~Converter() {
    message = nullptr;
    annotations = nullptr;
    flags = nullptr;
    allocator = nullptr;
    expect(context->openBuffers == 0 && context->liveObjects == 0);
  }

  HRESULT read(std::string_view mail, DWORD word) {
    return mimeToMapi(annotations.get(), streamOf(mail).get(), flags.get(), message.get(), allocator.get(), word, nullptr);
  }
  HRESULT write(DWORD word, std::string& mail) {
    const ComPtr<IStream> out = streamUtils::createStream();
    const HRESULT hr =
        mapiToMime(message.get(), annotations.get(), out.get(), flags.get(), allocator.get(), word, nullptr, nullptr);
    mail = contentOf(out.get());
    return hr;
  }

  host::HostContextPtr context = std::make_shared<host::HostContext>();
  ComPtr<host::MemoryMessage> message = host::makeMessage(context);
  ComPtr<host::MemoryAnnotations> annotations = makeCom<host::MemoryAnnotations>(context);
  ComPtr<host::MemoryFlags> flags = makeCom<host::MemoryFlags>(context);
  ComPtr<host::HostAllocator> allocator = makeCom<host::HostAllocator>(context);

 private:
  host::ScopedContext allocations_;
};

// The bytes of the first part of a type; empty without one.
inline std::string partOf(std::string_view mail, const char* type, const char* subtype) {
  ComPtr<mime::IMimeMessage> message;
  expect(mime::createMimeMessage(message.put()) == S_OK && message->Load(streamOf(mail).get()) == S_OK);
  mime::FINDBODY find{type, subtype, 0};
  mime::HBODY part = nullptr;
  ComPtr<mime::IMimeBody> body;
  const ComPtr<IStream> data = streamUtils::createStream();
  if (message->FindFirst(&find, &part) == S_OK &&
      message->BindToObject(part, mime::IMimeBody::kIid, body.putVoid()) == S_OK) {
    expect(body->GetDataHere(mime::IET_BINARY, data.get()) == S_OK);
  }
  return contentOf(data.get());
}

}  // namespace nalvo::fuzz
