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

bool hasHeader(mime::IMimeMessage* mail, const char* name) {
  ComPtr<mime::IMimeHeaderTable> table;
  mime::HHEADERROW row = nullptr;
  return succeeded(mail->BindToObject(mime::HBODY_ROOT, mime::IMimeHeaderTable::kIid, table.putVoid())) &&
         succeeded(table->FindFirst(name, &row));
}

// When a mail arrived: as its first Received row says, else its Date, else at `fallback`.
SYSTEMTIME arrivalOf(mime::IMimeMessage* mail, FILETIME fallback) {
  for (const std::optional<FILETIME>& candidate : {receivedDate(mail), sentDate(mail)}) {
    if (const std::optional<SYSTEMTIME> time = candidate ? fileTimeToSystemTime(*candidate) : std::nullopt) {
      return *time;
    }
  }
  return fileTimeToSystemTime(fallback).value_or(SYSTEMTIME{1601, 1, 1, 1, 0, 0, 0, 0});
}

// What a server would tell of a mail that lies there read.
ComPtr<MemoryFlags> flagsOf(mime::IMimeMessage* mail, const HostContextPtr& context, std::uint64_t size) {
  auto flags = makeCom<MemoryFlags>(context);
  flags->flags.insert(static_cast<ULONG>(MimeFlag::Read));
  flags->messageSize = static_cast<ULONG>(std::min<std::uint64_t>(size, INT32_MAX));
  bool attachments = false;
  MimeUtils::enumAttachments(mail, [&attachments](mime::HBODY) { attachments = true; });
  flags->attachments = attachments;
  return flags;
}

}  // namespace

ComPtr<MemoryMessage> readMail(const MailFile& file, const HostContextPtr& context, FILETIME fallback, bool trustXMapi,
                               ILog* log) {
  constexpr const char* kWhere = "host::readMail";
  const ScopedContext allocations(context.get());
  IStream* stream = file.mail.get();
  ComPtr<mime::IMimeMessage> mail;
  std::uint64_t size = 0;
  checkHResult(stream->Seek(0, STREAM_SEEK_END, &size), kSource.at(kWhere));
  streamUtils::rewind(stream);
  checkHResult(mime::createMimeMessage(mail.put()), kSource.at(kWhere));
  checkHResult(mail->Load(stream), kSource.at(kWhere));
  const bool beside = file.annotations || file.flags;
  const bool useXMapi = !beside && trustXMapi && hasHeader(mail.get(), "X-MAPI");

  ComPtr<MemoryMessage> message = makeMessage(context);
  const auto allocator = makeCom<HostAllocator>(context);
  const auto annotations = makeCom<MemoryAnnotations>(context, file.annotations.value_or(MemoryAnnotations::Entries()));
  const ComPtr<MemoryFlags> flags = file.flags ? file.flags : flagsOf(mail.get(), context, size);
  if (!flags->internalDate) {
    flags->internalDate = arrivalOf(mail.get(), fallback);
  }
  if (!flags->modificationDate) {
    flags->modificationDate = flags->internalDate;
  }
  mail.reset();
  checkHResult(mimeToMapi(annotations.get(), stream, flags.get(), message.get(), allocator.get(),
                          useXMapi ? CONVERT_FROM_ATTACHMENT : CONVERT_NORMAL, log),
               kSource.at(kWhere));
  return message;
}

ComPtr<MemoryMessage> readMail(IStream* mail, const HostContextPtr& context, FILETIME fallback, ILog* log) {
  return readMail(MailFile{ComPtr<IStream>::retain(mail), {}, {}}, context, fallback, true, log);
}

MailFile writeMail(MemoryMessage* message, MailForm form, ILog* log) {
  constexpr const char* kWhere = "host::writeMail";
  const HostContextPtr& context = message->context();
  const ScopedContext allocations(context.get());
  const auto allocator = makeCom<HostAllocator>(context);
  MailFile file;
  file.mail = streamUtils::createStream();
  if (form != MailForm::Store) {
    checkHResult(mapiToMime(message, nullptr, file.mail.get(), nullptr, allocator.get(),
                            form == MailForm::Wire ? CONVERT_FOR_SEND : CONVERT_TO_ATTACHMENT, nullptr, log),
                 kSource.at(kWhere));
    return file;
  }
  const auto annotations = makeCom<MemoryAnnotations>(context);
  file.flags = makeCom<MemoryFlags>(context);
  checkHResult(mapiToMime(message, annotations.get(), file.mail.get(), file.flags.get(), allocator.get(), CONVERT_NORMAL,
                          nullptr, log),
               kSource.at(kWhere));
  file.annotations = annotations->entries();
  return file;
}

}  // namespace nalvo::host
