// Mail files to messages in memory.
#include <algorithm>

#include "host/carried.h"
#include "host/carried_tasks.h"
#include "host/exact_mail.h"
#include "host/failure_listener.h"
#include "host/host_allocator.h"
#include "host/mail.h"
#include "host/mime_walk.h"
#include "mail/content_sources.h"
#include "mail/v_items.h"
#include "mime/mime.h"
#include "mime/mime_utils.h"
#include "nalvo/convert.h"
#include "platform/mapi/tags.h"
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

ComPtr<IStream> headerBlock(mime::IMimeMessage* mail) {
  constexpr const char* kWhere = "host::headerBlock";
  ComPtr<mime::IMimeHeaderTable> table;
  ComPtr<IStream> block = streamUtils::createStream();
  checkHResult(mail->BindToObject(mime::HBODY_ROOT, mime::IMimeHeaderTable::kIid, table.putVoid()), kSource.at(kWhere));
  checkHResult(table->Save(block.get(), 0), kSource.at(kWhere));
  streamUtils::rewind(block.get());
  return block;
}

ComPtr<IStream> textOf(mime::IMimeMessage* mail) {
  ComPtr<IStream> text = streamUtils::createStream();
  checkHResult(mail->Save(text.get(), 1), kSource.at("host::textOf"));
  streamUtils::rewind(text.get());
  return text;
}

// The same mail, which nobody takes for a report.
ComPtr<IStream> withoutReportType(mime::IMimeMessage* mail) {
  checkHResult(mail->DeleteProp("par:content-type:report-type"), kSource.at("host::withoutReportType"));
  return textOf(mail);
}

bool isItemBody(mime::IMimeMessage* mail, mime::HBODY body) {
  constexpr const char* kItemTypes[] = {"calendar", "vcard", "x-vcard", "x-vcard-dl", "x-stickynote"};
  return std::any_of(std::begin(kItemTypes), std::end(kItemTypes),
                     [&](const char* type) { return mail->IsContentType(body, "text", type) == S_OK; });
}

// Whether what makes the mail an item is more than one. A message has a place for one.
bool holdsSeveralItems(mime::IMimeMessage* mail) {
  for (const mime::HBODY handle : bodiesOf(mail)) {
    if (!isItemBody(mail, handle) || MimeUtils::isBodyAttachment(mail, handle)) {
      continue;
    }
    ComPtr<mime::IMimeBody> body;
    ComPtr<IStream> text;
    checkHResult(mail->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at("host::readMail"));
    checkHResult(body->GetData(mime::IET_BINARY, text.put()), kSource.at("host::readMail"));
    mail::vcWinIStreamLex lexer(text.get(), {});
    if (mail::holdsSeveralItems(lexer)) {
      return true;
    }
  }
  return false;
}

// The same mail with what would be read as an item, the text of a calendar, a card or a sticky note, as its attachment.
// Empty when it holds no such text.
ComPtr<IStream> withItemsAttached(mime::IMimeMessage* mail) {
  std::string attachment = "attachment";
  PROPVARIANT value{};
  value.vt = VT_LPSTR;
  value.pszVal = attachment.data();
  bool found = false;
  for (const mime::HBODY body : bodiesOf(mail)) {
    if (isItemBody(mail, body)) {
      checkHResult(mail->SetBodyProp(body, mime::HeaderId::ContentDisposition, 0, &value),
                   kSource.at("host::withItemsAttached"));
      found = true;
    }
  }
  return found ? textOf(mail) : nullptr;
}

void setStream(MemoryMessage& message, ULONG tag, IStream* source) {
  constexpr const char* kWhere = "host::setStream";
  ComPtr<IStream> target;
  checkHResult(message.openProp(tag, 1, IStream::kIid, target.putUnknown()), kSource.at(kWhere));
  checkHResult(target->SetSize(0), kSource.at(kWhere));
  streamUtils::copy(source, target.get(), false);
  checkHResult(target->Commit(0), kSource.at(kWhere));
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

// Messages inside others come first, since a guard may ask for what they are.
void putBackCarried(MemoryMessage& message, bool trustOuter, bool trustInner) {
  const std::vector<MemoryMessage*> messages = messagesOf(message);
  for (auto one = messages.rbegin(); one != messages.rend(); ++one) {
    const std::optional<Carried> own = takeCarried(**one);
    const std::optional<Carried> ofHolder = takeCarried(**one, CarriedFor::Holder);
    // What travels of a task is put on the request as well.
    const std::optional<Carried>& carried = taskWithin(**one) != nullptr ? ofHolder : own;
    if (carried && (*one == &message ? trustOuter : trustInner)) {
      apply(*carried, **one);
    }
  }
}

}  // namespace

ComPtr<MemoryMessage> readMail(const MailFile& file, const HostContextPtr& context, FILETIME fallback, bool trustXMapi,
                               ILog* log, std::vector<std::string>* warnings) {
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

  ComPtr<MemoryMessage> message;
  const auto allocator = makeCom<HostAllocator>(context);
  const auto annotations = makeCom<MemoryAnnotations>(context, file.annotations.value_or(MemoryAnnotations::Entries()));
  const ComPtr<MemoryFlags> flags = file.flags ? file.flags : flagsOf(mail.get(), context, size);
  if (file.mailboxFlags && !beside) {
    flags->flags = *file.mailboxFlags;
  }
  if (!flags->internalDate) {
    flags->internalDate = arrivalOf(mail.get(), fallback);
  }
  if (!flags->modificationDate) {
    flags->modificationDate = flags->internalDate;
  }
  const FailureListener listener(log, context);
  const auto convertFrom = [&](IStream* text) {
    message = makeMessage(context);
    return mimeToMapi(annotations.get(), text, flags.get(), message.get(), allocator.get(),
                      (useXMapi ? CONVERT_FROM_ATTACHMENT : CONVERT_NORMAL) | CONVERT_INSIDE_MAPI, listener.log());
  };
  const bool isCrowded = holdsSeveralItems(mail.get());
  HRESULT hr = isCrowded ? MAPI_E_CORRUPT_DATA : convertFrom(stream);
  const bool isDamaged = hr == MAPI_E_CORRUPT_DATA || hr == MIME_E_NOT_FOUND || hr == MIME_E_BAD_DATE;
  const bool isReport = mail->IsContentType(mime::HBODY_ROOT, "multipart", "report") == S_OK;
  const ComPtr<IStream> headers = isDamaged ? headerBlock(mail.get()) : nullptr;
  const ComPtr<IStream> plain = !isDamaged ? nullptr
                                : isReport ? withoutReportType(mail.get())
                                           : withItemsAttached(mail.get());
  if (plain) {
    if (warnings != nullptr) {
      warnings->emplace_back(isReport ? "message: the report is damaged and was read as a mail"
                             : isCrowded
                                 ? "message: it holds several items and was read as a mail; their text is an attachment"
                                 : "message: the item is damaged and was read as a mail; its text is an attachment");
    }
    hr = convertFrom(plain.get());
    setStream(*message, PR_TRANSPORT_MESSAGE_HEADERS_A, headers.get());
  }
  listener.check(hr, kSource.at(kWhere));
  checkHResult(message->saveChanges(), kSource.at(kWhere));
  putBackCarried(*message, file.annotations.has_value() || useXMapi, trustXMapi);
  return message;
}

ComPtr<MemoryMessage> readMail(IStream* mail, const HostContextPtr& context, FILETIME fallback, ILog* log,
                               std::vector<std::string>* warnings) {
  return readMail(MailFile{ComPtr<IStream>::retain(mail)}, context, fallback, true, log, warnings);
}

}  // namespace nalvo::host
