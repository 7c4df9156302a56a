#include "host/property_value.h"

#include <cstring>

#include "diagnostics/boundary.h"
#include "platform/mapi/property_types.h"
#include "platform/text/text.h"
#include "platform/text/text_converter.h"
#include "platform/time/file_time.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\PropertyValue"};

// A value counts its bytes in 32 bits.
constexpr std::uint64_t kLargestValue = 0xFFFFFFFF;

std::string contentOf(IStream* stream) {
  ComPtr<IStream> reader;
  checkHResult(stream->Clone(reader.put()), kSource.at("host::contentOf"));
  std::uint64_t size = 0;
  checkHResult(reader->Seek(0, STREAM_SEEK_END, &size), kSource.at("host::contentOf"));
  if (size > kLargestValue) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("host::contentOf"));
  }
  checkHResult(reader->Seek(0, STREAM_SEEK_SET, nullptr), kSource.at("host::contentOf"));
  std::string bytes(size, '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    ULONG read = 0;
    checkHResult(reader->Read(bytes.data() + done, static_cast<ULONG>(bytes.size() - done), &read),
                 kSource.at("host::contentOf"));
    if (read == 0) {
      break;
    }
    done += read;
  }
  bytes.resize(done);
  return bytes;
}

constexpr ULONG other(ULONG type) {
  switch (type) {
    case PT_STRING8:
      return PT_UNICODE;
    case PT_UNICODE:
      return PT_STRING8;
    case PT_MV_STRING8:
      return PT_MV_UNICODE;
    case PT_MV_UNICODE:
      return PT_MV_STRING8;
    default:
      return PT_UNSPECIFIED;
  }
}

std::u16string wideOf(std::string_view bytes) {
  std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
  return text;
}

std::string bytesOfWide(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

std::u16string decode(std::string_view bytes, CodePage codePage) {
  return codePage == 0 || codePage == kAnsiCodePage ? ansiToWide(bytes) : decodeText(bytes, codePage);
}

}  // namespace

bool hasTextForm(ULONG type) {
  switch (type & ~MV_FLAG) {
    case PT_SHORT:
    case PT_LONG:
    case PT_FLOAT:
    case PT_DOUBLE:
    case PT_I8:
    case PT_STRING8:
    case PT_UNICODE:
    case PT_SYSTIME:
    case PT_CLSID:
    case PT_BINARY:
      return true;
    case PT_BOOLEAN:
      return type == PT_BOOLEAN;
    default:
      return false;
  }
}

bool hasOddTime(const PropertyRecord& record) {
  const auto* time = std::get_if<FILETIME>(&record.content);
  return time != nullptr && !fileTimeToSystemTime(*time);
}

bool answersFor(ULONG stored, ULONG wanted) {
  return wanted == PT_UNSPECIFIED || stored == wanted || (other(stored) != PT_UNSPECIFIED && other(stored) == wanted);
}

HRESULT openRecord(const PropertyRecord& record, ULONG type, IStream** out) {
  return atBoundary([&] {
    const ULONG wanted = type == PT_UNSPECIFIED ? record.type : type;
    const bool isText = wanted == PT_UNICODE || wanted == PT_STRING8;
    if (!answersFor(record.type, wanted) || (!isText && wanted != PT_BINARY)) {
      throwHResult(MAPI_E_NOT_FOUND, kSource.at("host::openRecord"));
    }
    ComPtr<IStream> stream;
    const auto* stored = std::get_if<ComPtr<IStream>>(&record.content);
    if (stored != nullptr && record.type == wanted) {
      checkHResult((*stored)->Clone(stream.put()), kSource.at("host::openRecord"));
    } else {
      streamUtils::createStream(stream.put());
      const std::string bytes = wanted == PT_UNICODE        ? bytesOfWide(textOf(record))
                                : record.type == PT_UNICODE ? wideToAnsi(textOf(record))
                                                            : bytesOf(record);
      checkHResult(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr), kSource.at("host::openRecord"));
    }
    streamUtils::rewind(stream.get());
    *out = stream.detach();
  });
}

std::u16string textOf(const PropertyRecord& record) {
  if (const auto* wide = std::get_if<std::u16string>(&record.content)) {
    return *wide;
  }
  if (const auto* stream = std::get_if<ComPtr<IStream>>(&record.content); stream != nullptr && record.type == PT_UNICODE) {
    return wideOf(contentOf(stream->get()));
  }
  return decode(bytesOf(record), record.codePage);
}

std::string bytesOf(const PropertyRecord& record) {
  if (const auto* stream = std::get_if<ComPtr<IStream>>(&record.content)) {
    return contentOf(stream->get());
  }
  const auto* bytes = std::get_if<std::string>(&record.content);
  return bytes == nullptr ? std::string() : *bytes;
}

std::vector<std::u16string> textsOf(const PropertyRecord& record) {
  if (const auto* wide = std::get_if<std::vector<std::u16string>>(&record.content)) {
    return *wide;
  }
  std::vector<std::u16string> result;
  for (const std::string& text : std::get<std::vector<std::string>>(record.content)) {
    result.push_back(decode(text, record.codePage));
  }
  return result;
}

}  // namespace nalvo::host
