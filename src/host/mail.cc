#include "host/mail.h"

#include <algorithm>
#include <map>

#include "diagnostics/hresult_exception.h"
#include "host/carried_tasks.h"
#include "host/exact_mail.h"
#include "host/hidden_values.h"
#include "host/host_allocator.h"
#include "host/mime_walk.h"
#include "mime/mime.h"
#include "mime/mime_utils.h"
#include "nalvo/convert.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"
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

// The same mail with what would be read as an item, the text of a calendar, a card or a sticky note, as its attachment.
// Empty when it holds no such text.
ComPtr<IStream> withItemsAttached(mime::IMimeMessage* mail) {
  constexpr const char* kItemTypes[] = {"calendar", "vcard", "x-vcard", "x-vcard-dl", "x-stickynote"};
  std::string attachment = "attachment";
  PROPVARIANT value{};
  value.vt = VT_LPSTR;
  value.pszVal = attachment.data();
  bool found = false;
  for (const mime::HBODY body : bodiesOf(mail)) {
    const auto isItem = [&](const char* type) { return mail->IsContentType(body, "text", type) == S_OK; };
    if (std::any_of(std::begin(kItemTypes), std::end(kItemTypes), isItem)) {
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

// What the messages carry is theirs only while they are written.
class CarriedScope {
 public:
  explicit CarriedScope(MemoryMessage& message) : messages_(messagesOf(message)) {}
  ~CarriedScope() { drop(); }
  CarriedScope(const CarriedScope&) = delete;
  CarriedScope& operator=(const CarriedScope&) = delete;

  void give(const CarriedTree& tree) {
    for (MemoryMessage* message : messages_) {
      const auto carried = tree.find(message);
      if (carried == tree.end()) {
        continue;
      }
      // A request is no mail of its own.
      if (MemoryMessage* task = taskWithin(*message)) {
        giveCarried(*task, carried->second, CarriedFor::Holder);
      } else {
        giveCarried(*message, carried->second);
      }
    }
  }
  void drop() {
    for (MemoryMessage* message : messages_) {
      dropCarried(*message);
    }
  }
  CarriedTree plan() const {
    CarriedTree tree;
    std::map<const MemoryMessage*, const MemoryMessage*> holders;
    for (const MemoryMessage* message : messages_) {
      if (const MemoryMessage* task = taskWithin(*message)) {
        holders[task] = message;
      }
      if (CarriedLayer layer = planCarried(*message, holders[message]); !layer.empty()) {
        tree[message].push_back(std::move(layer));
      }
    }
    return tree;
  }

 private:
  std::vector<MemoryMessage*> messages_;
};

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

// Hears what the library says of a failure where the caller has no log, so that the exception can say it too.
class Listener {
 public:
  Listener(ILog* log, const HostContextPtr& context)
      : own_(makeCom<MemoryLog>(context)), log_(log == nullptr ? own_.get() : log) {}

  ILog* log() const { return log_; }
  void check(HRESULT hr, const SourceLocation& location) const {
    if (failed(hr)) {
      throwHResult(hr, location, lastWords(hr).c_str());
    }
  }

 private:
  // What stands behind the code of the failure.
  std::string lastWords(HRESULT hr) const {
    const std::string text = own_->entries().empty() ? std::string() : wideToUtf8(own_->entries().back().text);
    const std::string code = hresultText(hr) + ": ";
    const std::size_t at = text.rfind(code);
    return at == std::string::npos ? std::string() : text.substr(at + code.size());
  }

  ComPtr<MemoryLog> own_;
  ILog* log_;
};

// Converts into an empty `file`. What would fail the whole mail is told and passed over.
void convert(MemoryMessage* message, IAnnotations* annotations, DWORD word, ILog* log, MailFile& file) {
  const auto allocator = makeCom<HostAllocator>(message->context());
  const std::vector<MemoryMessage*> messages = messagesOf(*message);
  const Listener listener(log, message->context());
  HiddenValues hidden;
  file.warnings.clear();
  hidden.addWorkedOutBodies(messages);
  hidden.hideUnknownCodePages(messages, file.warnings);
  hidden.hideUntoldSeries(messages, file.warnings);
  hidden.replaceOddAttachments(messages, file.warnings);
  const auto run = [&] {
    file.mail = streamUtils::createStream();
    // A session of MAPI is what this caller stands for.
    return mapiToMime(message, annotations, file.mail.get(), file.flags.get(), allocator.get(), word | CONVERT_INSIDE_MAPI,
                      nullptr, listener.log());
  };
  HRESULT hr = run();
  if (hr == MAPI_E_CORRUPT_DATA && hidden.hideDamagedRtf(messages, file.warnings)) {
    hr = run();
  }
  listener.check(hr, kSource.at("host::writeMail"));
  tellNamelessOriginators(*message, file.warnings);
}

// Two moments at which a mail may be read; what it becomes must not depend on it.
constexpr FILETIME kOneMoment{0, 0x01D00000};
constexpr FILETIME kAnotherMoment{0, 0x01D80000};

void writeExact(MemoryMessage* message, ILog* log, MailFile& file) {
  CarriedScope scope(*message);
  CarriedTree tree = scope.plan();
  std::vector<std::string> lost;
  const auto goThereAndBack = [&](FILETIME moment, CarriedTree* differences) {
    scope.give(tree);
    convert(message, nullptr, CONVERT_TO_ATTACHMENT, log, file);
    scope.drop();
    const ComPtr<MemoryMessage> back = readMail(file.mail.get(), message->context(), moment, nullptr);
    lost = addDifferences(*message, *back, differences);
  };
  goThereAndBack(kOneMoment, &tree);
  if (lost.empty()) {
    goThereAndBack(kAnotherMoment, nullptr);
  }
  if (!lost.empty()) {
    const std::string told = "does not come back exactly: " + lost.front();
    throwHResult(MAPI_E_NO_SUPPORT, kSource.at("host::writeExact"), told.c_str());
  }
  streamUtils::rewind(file.mail.get());
}

// `more` is carried too.
MailFile write(MemoryMessage* message, MailForm form, const CarriedTree& more, ILog* log) {
  MailFile file;
  if (form == MailForm::Exact) {
    writeExact(message, log, file);
    return file;
  }
  if (form == MailForm::Wire) {
    convert(message, nullptr, CONVERT_FOR_SEND, log, file);
    return file;
  }
  CarriedScope scope(*message);
  CarriedTree tree = scope.plan();
  for (const auto& [one, layers] : more) {
    tree[one].insert(tree[one].end(), layers.begin(), layers.end());
  }
  scope.give(tree);
  if (form == MailForm::Lossless) {
    convert(message, nullptr, CONVERT_TO_ATTACHMENT, log, file);
    return file;
  }
  const auto annotations = makeCom<MemoryAnnotations>(message->context());
  file.flags = makeCom<MemoryFlags>(message->context());
  convert(message, annotations.get(), CONVERT_NORMAL, log, file);
  file.annotations = annotations->entries();
  return file;
}

// What brings the class of each item back that went out as a note.
CarriedTree classesOf(const std::vector<MemoryMessage*>& messages) {
  const PropertyRecord note{PT_UNICODE, std::u16string(kNoteClass)};
  CarriedTree tree;
  for (const MemoryMessage* message : messages) {
    if (isItem(*message)) {
      CarriedLayer layer;
      layer.values.push_back({{PR_MESSAGE_CLASS, std::nullopt},
                              Guard::value(note),
                              CarriedValue::Action::Set,
                              *message->bag().find(PR_MESSAGE_CLASS)});
      tree[message].push_back(std::move(layer));
    }
  }
  return tree;
}

// Not of a stream, of memory, or of a disk.
bool isOfTheContent(HRESULT hr) {
  constexpr HRESULT kCodes[] = {E_UNEXPECTED,           E_INVALIDARG,     MAPI_E_CORRUPT_DATA, MAPI_E_NOT_FOUND,
                                MAPI_E_UNEXPECTED_TYPE, MIME_E_NOT_FOUND, MIME_E_BAD_DATE};
  return std::find(std::begin(kCodes), std::end(kCodes), hr) != std::end(kCodes);
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
  const Listener listener(log, context);
  const auto convertFrom = [&](IStream* text) {
    message = makeMessage(context);
    return mimeToMapi(annotations.get(), text, flags.get(), message.get(), allocator.get(),
                      (useXMapi ? CONVERT_FROM_ATTACHMENT : CONVERT_NORMAL) | CONVERT_INSIDE_MAPI, listener.log());
  };
  HRESULT hr = convertFrom(stream);
  const bool isDamaged = hr == MAPI_E_CORRUPT_DATA || hr == MIME_E_NOT_FOUND || hr == MIME_E_BAD_DATE;
  const bool isReport = mail->IsContentType(mime::HBODY_ROOT, "multipart", "report") == S_OK;
  const ComPtr<IStream> headers = isDamaged ? headerBlock(mail.get()) : nullptr;
  const ComPtr<IStream> plain = !isDamaged ? nullptr
                                : isReport ? withoutReportType(mail.get())
                                           : withItemsAttached(mail.get());
  if (plain) {
    if (warnings != nullptr) {
      warnings->emplace_back(isReport ? "message: the report is damaged and was read as a mail"
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

MailFile writeMail(MemoryMessage* message, MailForm form, ILog* log) {
  const ScopedContext allocations(message->context().get());
  const std::vector<MemoryMessage*> messages = messagesOf(*message);
  const CarriedTree classes = classesOf(messages);
  try {
    return write(message, form, {}, log);
  } catch (const HResultException& failure) {
    // The proof of the form Exact is of a message as it is.
    if (classes.empty() || form == MailForm::Exact || !isOfTheContent(failure.getHResult())) {
      throw;
    }
  }
  HiddenValues hidden;
  hidden.makeNotes(messages);
  MailFile file = write(message, form, classes, log);
  file.warnings.emplace_back("message: an item in it lacks what its kind needs, so that items were written as mails");
  return file;
}

}  // namespace nalvo::host
