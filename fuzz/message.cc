// A message as it comes: load, walk, read everything, save; then change it and load what was saved.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "mime/mime.h"
#include "mime/read_only_stream.h"

using namespace nalvo;
using namespace nalvo::mime;

namespace {

// A false claim ends the run, so that the fuzzer keeps the input.
void require(bool claim) {
  if (!claim) {
    std::abort();
  }
}

ComPtr<IStream> streamOf(std::string_view text) {
  ComPtr<IStream> stream = makeScratchStream();
  writeAll(stream.get(), text);
  stream->Seek(0, STREAM_SEEK_SET, nullptr);
  return stream;
}

std::string contentOf(IStream* stream) {
  std::string result;
  stream->Seek(0, STREAM_SEEK_SET, nullptr);
  char buffer[4096];
  for (ULONG got = 0; stream->Read(buffer, sizeof buffer, &got) == S_OK && got > 0;) {
    result.append(buffer, got);
  }
  return result;
}

std::string saved(IMimeMessage* message) {
  const ComPtr<IStream> out = makeScratchStream();
  require(message->Save(out.get(), 1) == S_OK);
  return contentOf(out.get());
}

void readBody(IMimeMessage* message, HBODY handle) {
  constexpr HeaderId kIds[] = {HeaderId::Subject,   HeaderId::Date,     HeaderId::ContentType, HeaderId::ContentDisposition,
                               HeaderId::ContentId, HeaderId::FileName, HeaderId::Name,        HeaderId::XPriority};
  for (const HeaderId id : kIds) {
    for (const VarType type : {VT_LPSTR, VT_LPWSTR, VT_UI4, VT_FILETIME}) {
      ScopedPropVariant value(type);
      const HRESULT hr = message->GetBodyProp(handle, id, 0, &value);
      require(hr == S_OK || hr == MIME_E_NOT_FOUND || hr == MIME_E_BAD_DATE);
    }
  }
  ComPtr<IMimeBody> body;
  require(message->BindToObject(handle, IMimeBody::kIid, body.putVoid()) == S_OK);
  Encoding current = IET_BINARY;
  require(body->GetCurrentEncoding(&current) == S_OK);
  for (const Encoding encoding : {current, IET_BINARY, IET_UNICODE}) {
    ComPtr<IStream> data;
    require(body->GetData(encoding, data.put()) == S_OK);
    contentOf(data.get());
  }
  char* name = nullptr;
  require(body->GetDisplayName(&name) == S_OK);
  taskFree(name);
  message->IsBodyType(handle, IBT_ATTACHMENT);
}

std::vector<HBODY> walk(IMimeMessage* message) {
  std::vector<HBODY> bodies;
  FINDBODY find{nullptr, nullptr, 0};
  HBODY body = nullptr;
  for (HRESULT hr = message->FindFirst(&find, &body); hr == S_OK; hr = message->FindNext(&find, &body)) {
    bodies.push_back(body);
  }
  return bodies;
}

// What to do, by a byte of the input.
void change(IMimeMessage* message, std::uint8_t choice) {
  const std::vector<HBODY> bodies = walk(message);
  const HBODY body = bodies.empty() ? HBODY_ROOT : bodies[choice / 16U % bodies.size()];
  std::u16string text = u"changed \u00E4";
  PROPVARIANT value{VT_LPWSTR, {0}};
  value.pwszVal = text.data();
  switch (choice % 10) {
    case 0:
      message->SetBodyProp(body, HeaderId::Subject, 0, &value);
      break;
    case 1:
      message->DeleteBody(body, 1);
      break;
    case 2:
      message->AttachObject(IStream::kIid, streamOf("data").get(), nullptr);
      break;
    case 3:
      message->AttachURL(nullptr, nullptr, URL_ATTACH_GENERATE_CID, streamOf("data").get(), nullptr, nullptr);
      break;
    case 4:
      message->SetTextBody(TXT_HTML, IET_ENCODED, nullptr, streamOf("<p>").get(), nullptr);
      break;
    case 5:
      message->SetTextBody(TXT_PLAIN, IET_ENCODED, body, streamOf("text").get(), nullptr);
      break;
    case 6:
      message->ToMultipart(body, "related", nullptr);
      break;
    case 7:
      message->InsertBody(IBL_FIRST, body, nullptr);
      break;
    case 8:
      message->SetBodyProp(body, "att:filename", 0, &value);
      break;
    case 9:
      message->DeleteProp(HeaderId::ContentType);
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ComPtr<IMimeMessage> message;
  require(createMimeMessage(message.put()) == S_OK);
  const ComPtr<IStream> source = streamOf(text);
  require(message->Load(source.get()) == S_OK);
  for (const HBODY body : walk(message.get())) {
    readBody(message.get(), body);
  }
  AddressList list{};
  require(message->GetAddressTypes(IAT_ALL, IAP_NAME_AND_EMAIL, &list) == S_OK);
  ComPtr<IMimeAllocator> allocator;
  require(createMimeAllocator(allocator.put()) == S_OK);
  allocator->FreeAddressList(&list);
  require(saved(message.get()) == text);

  for (std::size_t i = 0; i < 4 && i < size; ++i) {
    change(message.get(), data[size - 1 - i]);
  }
  const std::string after = saved(message.get());
  require(saved(message.get()) == after);
  ComPtr<IMimeMessage> again;
  require(createMimeMessage(again.put()) == S_OK);
  require(again->Load(streamOf(after).get()) == S_OK);
  for (const HBODY body : walk(again.get())) {
    readBody(again.get(), body);
  }
  return 0;
}
