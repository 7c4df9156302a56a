#include "host/mail.h"

#include <algorithm>

#include "diagnostics/hresult_exception.h"
#include "host/host_allocator.h"
#include "mime/mime.h"
#include "mime/mime_utils.h"
#include "nalvo/convert.h"
#include "platform/time/file_time.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\Mail"};

std::optional<FILETIME> receivedDate(mime::IMimeMessage* mail) {
  ScopedPropVariant received(VT_LPSTR);
  if (failed(mail->GetProp("Received", 0, &received)) || received.pszVal == nullptr) {
    return std::nullopt;
  }
  const std::string_view text = received.pszVal;
  const std::size_t date = text.rfind(';');
  FILETIME time{};
  if (date == std::string_view::npos || failed(mime::MimeOleInetDateToFileTime(received.pszVal + date + 1, &time))) {
    return std::nullopt;
  }
  return time;
}

std::optional<FILETIME> sentDate(mime::IMimeMessage* mail) {
  ScopedPropVariant date(VT_FILETIME);
  return failed(mail->GetProp(mime::HeaderId::Date, 0, &date)) ? std::nullopt : std::optional(date.filetime);
}

// What a server would tell of a mail that lies there read.
ComPtr<MemoryFlags> flagsOf(mime::IMimeMessage* mail, const HostContextPtr& context, FILETIME fallback, std::uint64_t size) {
  auto flags = makeCom<MemoryFlags>(context);
  std::optional<FILETIME> arrived = receivedDate(mail);
  if (!arrived) {
    arrived = sentDate(mail);
  }
  std::optional<SYSTEMTIME> date = fileTimeToSystemTime(arrived.value_or(fallback));
  if (!date) {
    date = fileTimeToSystemTime(fallback);
  }
  flags->flags.insert(static_cast<ULONG>(MimeFlag::Read));
  flags->internalDate = date;
  flags->modificationDate = date;
  flags->messageSize = static_cast<ULONG>(std::min<std::uint64_t>(size, INT32_MAX));
  bool attachments = false;
  MimeUtils::enumAttachments(mail, [&attachments](mime::HBODY) { attachments = true; });
  flags->attachments = attachments;
  return flags;
}

}  // namespace

ComPtr<MemoryMessage> readMail(IStream* stream, const HostContextPtr& context, FILETIME fallback, ILog* log) {
  constexpr const char* kWhere = "host::readMail";
  const ScopedContext allocations(context.get());
  ComPtr<mime::IMimeMessage> mail;
  std::uint64_t size = 0;
  checkHResult(stream->Seek(0, STREAM_SEEK_END, &size), kSource.at(kWhere));
  streamUtils::rewind(stream);
  checkHResult(mime::createMimeMessage(mail.put()), kSource.at(kWhere));
  checkHResult(mail->Load(stream), kSource.at(kWhere));
  ScopedPropVariant stored(VT_LPSTR);
  const bool hasXMapi = succeeded(mail->GetProp("X-MAPI", 0, &stored));

  ComPtr<MemoryMessage> message = makeMessage(context);
  const auto allocator = makeCom<HostAllocator>(context);
  const auto annotations = makeCom<MemoryAnnotations>(context);
  const ComPtr<MemoryFlags> flags = flagsOf(mail.get(), context, fallback, size);
  mail.reset();
  checkHResult(mimeToMapi(annotations.get(), stream, flags.get(), message.get(), allocator.get(),
                          hasXMapi ? CONVERT_FROM_ATTACHMENT : CONVERT_NORMAL, log),
               kSource.at(kWhere));
  return message;
}

ComPtr<IStream> writeMail(MemoryMessage* message, ILog* log) {
  constexpr const char* kWhere = "host::writeMail";
  const ScopedContext allocations(message->context().get());
  const auto allocator = makeCom<HostAllocator>(message->context());
  ComPtr<IStream> stream = streamUtils::createStream();
  checkHResult(mapiToMime(message, nullptr, stream.get(), nullptr, allocator.get(), CONVERT_TO_ATTACHMENT, nullptr, log),
               kSource.at(kWhere));
  return stream;
}

}  // namespace nalvo::host
