#include "convert/dsn_report_convert.h"

#include <algorithm>
#include <iterator>

#include "diagnostics/hresult_exception.h"
#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"
#include "platform/com/interface_array.h"
#include "platform/process/computer_name.h"
#include "platform/text/localization.h"
#include "platform/text/text.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"
#include "streams/stream_utils.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\DsnReportConvert"};

constexpr std::u16string_view kDeliveredClass = u"Report.IPM.Note.DR";
constexpr std::u16string_view kFailedClass = u"Report.IPM.Note.NDR";

// Numbers of texts in the catalogue.
constexpr unsigned kTextMadeBy[] = {223, 2, 224};
constexpr unsigned kTextDelivered = 225;
constexpr unsigned kTextFailed = 226;

struct FieldRow {
  const char* name;
  const NamedProperty* property;
};

// Fields of the first paragraph, with a property of the message each.
constexpr FieldRow kMessageFields[] = {{"Reporting-MTA", &named::kReportingMta},
                                       {"Arrival-Date", &named::kArrivalDate},
                                       {"Original-Envelope-Id", &named::kOriginalEnvelopeId},
                                       {"DSN-Gateway", &named::kDsnGateway},
                                       {"Received-From-MTA", &named::kReceivedFromMta}};
// Those of them that are written only when the message has them.
constexpr std::size_t kFirstOptional = 2;

// Fields of a recipient behind its action.
constexpr FieldRow kRecipientFields[] = {{"Status", &named::kReportStatus},
                                         {"Remote-MTA", &named::kRemoteMta},
                                         {"Diagnostic-Code", &named::kDiagnosticCode},
                                         {"Last-Attempt-Date", &named::kLastAttemptDate},
                                         {"Final-Log-ID", &named::kFinalLogId},
                                         {"Will-Retry-Until", &named::kWillRetryUntil}};

// A clean report says all in its fields.
constexpr ULONG kBodies[] = {PR_BODY,
                             PR_BODY_HTML,
                             PR_HTML,
                             PR_RTF_COMPRESSED,
                             PR_RTF_IN_SYNC,
                             PR_RTF_SYNC_BODY_COUNT,
                             PR_RTF_SYNC_BODY_CRC,
                             PR_RTF_SYNC_BODY_TAG,
                             PR_RTF_SYNC_PREFIX_COUNT,
                             PR_RTF_SYNC_TRAILING_COUNT};

bool endsWithIgnoringCase(std::u16string_view text, std::u16string_view end) {
  return text.size() >= end.size() && equalsIgnoreCase(text.substr(text.size() - end.size()), end);
}

// Whether something stands behind the first empty line, so that the text is a message and not its headers alone.
bool holdsBody(IStream* stream) {
  nalvo::detail::ParagraphReader reader(stream);
  return reader.getParagraph() && reader.getParagraph();
}

[[maybe_unused]] const bool kRegistered = [] {
  for (const char16_t* pattern : {u"Report.*.DR", u"Report.*.NDR"}) {
    ConvertorList::instance().registerConvertor(&ConvertorImpl<toMime::DsnReportConvert, toMapi::DsnReportConvert>::create,
                                                pattern);
  }
  return true;
}();

}  // namespace

namespace toMime {

PartTags DsnReportConvert::getPartTags(IConvertMessage*) const { return {}; }

void DsnReportConvert::onProp(ULONG tag) {
  const bool isField = std::any_of(std::begin(kMessageFields), std::end(kMessageFields),
                                   [&](const FieldRow& row) { return tag == tagOf(*row.property); });
  if (!isField && tag != tagOf(named::kPlaintext)) {
    ReportConvert::onProp(tag);
  }
}

void DsnReportConvert::mapiToMimeEnd() {
  ReportConvert::mapiToMimeEnd();
  const Returned returned = deleteAllAttachments();
  const ComPtr<IStream> text = streamUtils::createStream();
  const ComPtr<IStream> status = streamUtils::createStream();
  const ComPtr<IStream> headers = streamUtils::createStream();
  if (const ULONG plaintext = tagOf(named::kPlaintext); exists(plaintext)) {
    streamUtils::copy(openForReading(plaintext).get(), text.get(), false);
  } else {
    makePlainTextBody(text.get());
  }
  makeFormatedTextBody(status.get());
  makeOriginalHeadersBody(headers.get());
  for (IStream* stream : {text.get(), status.get(), headers.get()}) {
    streamUtils::rewind(stream);
  }
  const bool isMessage = returned == Returned::Message || (returned == Returned::Nothing && holdsBody(headers.get()));
  streamUtils::rewind(headers.get());
  buildReport(text.get(), status.get(), headers.get(), isMessage);
}

DsnReportConvert::Returned DsnReportConvert::deleteAllAttachments() {
  constexpr const char* kWhere = "toMime::DsnReportConvert::deleteAllAttachments";
  mime::IMimeMessage* message = data().getMimeMessage();
  ComPtr<mime::IMimeAllocator> allocator;
  checkHResult(mime::createMimeAllocator(allocator.put()), kSource.at(kWhere));
  ULONG count = 0;
  mime::HBODY* bodies = nullptr;
  checkHResult(message->GetAttachments(&count, &bodies), kSource.at(kWhere));
  HRESULT hr = S_OK;
  Returned returned = Returned::Nothing;
  for (ULONG i = 0; i < count && succeeded(hr); ++i) {
    if (message->IsContentType(bodies[i], "message", "rfc822") == S_OK) {
      returned = Returned::Message;
    } else if (message->IsContentType(bodies[i], "text", "rfc822-headers") == S_OK && returned == Returned::Nothing) {
      returned = Returned::Headers;
    }
    hr = message->DeleteBody(bodies[i], 1);
  }
  allocator->Free(bodies);
  checkHResult(hr, kSource.at(kWhere));
  return returned;
}

mime::HBODY DsnReportConvert::insertBody(mime::BodyLocation location, mime::HBODY pivot) const {
  mime::HBODY part = nullptr;
  checkHResult(data().getMimeMessage()->InsertBody(location, pivot, &part),
               kSource.at("toMime::DsnReportConvert::mapiToMimeEnd"));
  return part;
}

void DsnReportConvert::buildReport(IStream* text, IStream* status, IStream* headers, bool returnsMessage) {
  constexpr const char* kWhere = "toMime::DsnReportConvert::mapiToMimeEnd";
  mime::IMimeMessage* message = data().getMimeMessage();
  ComPtr<mime::IMimeBody> root;
  mime::HBODY rootHandle = nullptr;
  checkHResult(message->BindToObject(mime::HBODY_ROOT, mime::IMimeBody::kIid, root.putVoid()), kSource.at(kWhere));
  checkHResult(root->GetHandle(&rootHandle), kSource.at(kWhere));
  const HRESULT isReport = root->IsContentType("multipart", "report");
  checkHResult(isReport, kSource.at(kWhere));
  if (isReport == S_OK) {
    setData(rootHandle, mime::IET_UNICODE, "text", "plain", text);
    mime::HBODY report = nullptr;
    checkHResult(message->ToMultipart(rootHandle, "report", &report), kSource.at(kWhere));
    setReportType("delivery-status");
    setData(insertBody(mime::IBL_LAST, report), mime::IET_BINARY, "message", "delivery-status", status);
    setData(insertBody(mime::IBL_LAST, report), mime::IET_BINARY, returnsMessage ? "message" : "text",
            returnsMessage ? "rfc822" : "rfc822-headers", headers);
    return;
  }
  // In front of what is there, the last part first.
  setData(insertBody(mime::IBL_FIRST, rootHandle), mime::IET_BINARY, "message", "rfc822", headers);
  setData(insertBody(mime::IBL_FIRST, rootHandle), mime::IET_BINARY, "message", "delivery-status", status);
  const mime::HBODY first = insertBody(mime::IBL_FIRST, rootHandle);
  streamUtils::rewind(text);
  setData(first, mime::IET_UNICODE, "text", "plain", text);
  setHeader(mime::HeaderId::ContentType, "multipart/report");
  setReportType("delivery-status");
}

template <typename Visit>
void DsnReportConvert::forEachRecipient(Visit visit) const {
  constexpr const char* kWhere = "toMime::DsnReportConvert::forEachRecipient";
  ScopedInterfaceArray recipients;
  checkHResult(data().getMapiMessage()->getRecipients(recipients.put()), kSource.at(kWhere));
  for (IUnknown* element : recipients) {
    ComPtr<IConvertRecipient> recipient;
    checkHResult(element == nullptr ? E_INVALIDARG : element->QueryInterface(IConvertRecipient::kIid, recipient.putVoid()),
                 kSource.at(kWhere));
    visit(recipient.get());
  }
}

void DsnReportConvert::makePlainTextBody(IStream* stream) const {
  const bool delivered = exists(PR_MESSAGE_CLASS) && equalsIgnoreCase(getUnicode(PR_MESSAGE_CLASS), kDeliveredClass);
  std::u16string text;
  for (const unsigned number : kTextMadeBy) {
    text += Localization::getString(number);
  }
  text += ansiToWide(computerName()) + u".\r\n";
  text += Localization::getString(delivered ? kTextDelivered : kTextFailed);
  text += u"\r\n";
  streamUtils::detail::writeStr(stream, text);
  forEachRecipient([&](IConvertRecipient* recipient) { makePlainTextRecipientPart(recipient, stream, delivered); });
}

void DsnReportConvert::makePlainTextRecipientPart(IConvertRecipient* recipient, IStream* stream, bool delivered) const {
  std::u16string address = textOf(recipient, PR_EMAIL_ADDRESS);
  if (address.empty()) {
    address = textOf(recipient, named::kFinalRecipient);
  }
  if (address.empty()) {
    address = u"unknown";
  }
  std::u16string reason;
  if (delivered) {
    reason = u"delivered";
  } else {
    std::u16string remote = textOf(recipient, named::kRemoteMta);
    for (const NamedProperty* property : {&named::kDiagnosticCode, &named::kReportAction}) {
      if (reason.empty()) {
        reason = textOf(recipient, *property);
      }
    }
    if (reason.empty()) {
      reason = u"failed";
    }
    reason = (remote.empty() ? std::u16string() : remote + u": ") + reason;
  }
  streamUtils::detail::writeStr(stream, u"<" + address + u"> (" + reason + u")\r\n\r\n");
}

void DsnReportConvert::makeFormatedTextBody(IStream* stream) const {
  if (exists(tagOf(named::kOriginalDeliveryStatus))) {
    writeStoredPart(named::kOriginalDeliveryStatus, stream);
    return;
  }
  makeFormatedTextBodyPerMessage(stream);
  bool isFirst = true;
  forEachRecipient([&](IConvertRecipient* recipient) {
    if (isFirst) {
      streamUtils::detail::writeStr(stream, "\r\n");
      isFirst = false;
    }
    makeFormatedTextBodyPerRecipient(stream, recipient);
  });
}

void DsnReportConvert::makeFormatedTextBodyPerMessage(IStream* stream) const {
  constexpr const char* kWhere = "toMime::DsnReportConvert::makeFormatedTextBodyPerMessage";
  FILETIME time = currentFileTime();
  for (const ULONG tag : {PR_CREATION_TIME, PR_CLIENT_SUBMIT_TIME}) {
    if (exists(tag)) {
      const std::optional<FILETIME> given = systemTimeToFileTime(getSysTime(tag));
      time = given.value_or(time);
      break;
    }
  }
  char date[255];
  checkHResult(mime::MimeOleFileTimeToInetDate(&time, date, sizeof date), kSource.at(kWhere));
  IConvertMessage* message = data().getMapiMessage();
  const auto write = [&](const FieldRow& row, const std::u16string& fallback) {
    const std::u16string value = textOf(message, *row.property);
    makeReportField(stream, row.name, value.empty() ? fallback : value);
  };
  write(kMessageFields[0], u"dns; " + ansiToWide(computerName()));
  write(kMessageFields[1], ansiToWide(date));
  for (const FieldRow* row = kMessageFields + kFirstOptional; row != std::end(kMessageFields); ++row) {
    makeFormatedTextBodyWriteProp(stream, row->name, message, *row->property);
  }
}

void DsnReportConvert::makeFormatedTextBodyPerRecipient(IStream* stream, IConvertRecipient* recipient) const {
  makeFormatedTextBodyWriteProp(stream, "Original-Recipient", recipient, named::kOriginalRecipient);
  const std::u16string address = textOf(recipient, PR_EMAIL_ADDRESS);
  if (!address.empty()) {
    std::u16string type = textOf(recipient, PR_ADDRTYPE);
    type = type.empty() ? u"unknown" : equalsIgnoreCase(type, u"rfc822") ? u"SMTP" : type;
    makeReportField(stream, "Final-Recipient", type, address);
  } else {
    makeFormatedTextBodyWriteProp(stream, "Final-Recipient", recipient, named::kFinalRecipient);
  }
  std::u16string action = textOf(recipient, named::kReportAction);
  if (action.empty()) {
    const bool delivered = exists(PR_MESSAGE_CLASS) && endsWithIgnoringCase(getUnicode(PR_MESSAGE_CLASS), u".DR");
    action = delivered ? u"delivered" : u"failed";
  }
  makeReportField(stream, "Action", action);
  for (const FieldRow& row : kRecipientFields) {
    makeFormatedTextBodyWriteProp(stream, row.name, recipient, *row.property);
  }
  streamUtils::detail::writeStr(stream, "\r\n");
}

void DsnReportConvert::makeFormatedTextBodyWriteProp(IStream* stream, std::string_view name, IConvertObject* object,
                                                     const NamedProperty& property) const {
  if (const std::u16string value = textOf(object, property); !value.empty()) {
    makeReportField(stream, name, value);
  }
}

void DsnReportConvert::makeOriginalHeadersBody(IStream* stream) const {
  if (exists(tagOf(named::kOriginalMessageHeaders))) {
    writeStoredPart(named::kOriginalMessageHeaders, stream);
  }
}

}  // namespace toMime

namespace toMapi {

void DsnReportConvert::convertMimeToMapi() {
  if (hasFlag(ToMapiFlags::JustFlags)) {
    ReportConvert::convertMimeToMapi();
    return;
  }
  using nalvo::detail::Verdict;
  Parts parts;
  const Verdict verdict = isValidReportMessage(parts) ? parseStatus(parts) : Verdict::Unclear;
  ReportConvert::convertMimeToMapi();
  if (verdict == Verdict::Unclear) {
    setUnicode(PR_MESSAGE_CLASS, u"IPM.Note");
    return;
  }
  setUnicode(PR_MESSAGE_CLASS, verdict == Verdict::Delivered ? kDeliveredClass : kFailedClass);
  for (const ULONG tag : kBodies) {
    MapiPropUtils::deletePropIfExist(data().getMapiMessage(), tag);
  }
  loadOriginalMessageHeaders(parts.headers);
}

bool DsnReportConvert::isValidReportMessage(Parts& parts) const {
  mime::IMimeMessage* message = data().getMimeMessage();
  const auto isType = [message](mime::HBODY body, const char* wanted) {
    ScopedPropVariant type(VT_LPSTR);
    return succeeded(message->GetBodyProp(body, mime::HeaderId::ContentType, 0, &type)) && type.pszVal != nullptr &&
           equalsIgnoreCase(type.pszVal, wanted);
  };
  mime::HBODY root = nullptr;
  if (failed(message->GetBody(mime::IBL_ROOT, nullptr, &root)) || !isType(root, "multipart/report") ||
      failed(message->GetBody(mime::IBL_FIRST, root, &parts.text)) || !isType(parts.text, "text/plain") ||
      failed(message->GetBody(mime::IBL_NEXT, parts.text, &parts.status)) ||
      !isType(parts.status, "message/delivery-status")) {
    return false;
  }
  mime::HBODY third = nullptr;
  if (failed(message->GetBody(mime::IBL_NEXT, parts.status, &third))) {
    return false;
  }
  if (isType(third, "message/rfc822") || isType(third, "text/rfc822-headers")) {
    parts.headers = third;
  }
  return true;
}

nalvo::detail::Verdict DsnReportConvert::parseStatus(const Parts& parts) {
  const ComPtr<IStream> status = getDataFromMailPart(parts.status, mime::IET_BINARY);
  setStoredPart(named::kOriginalDeliveryStatus, status.get());
  nalvo::detail::ParagraphReader reader(status.get());
  if (const ComPtr<IStream> paragraph = reader.getParagraph()) {
    parsePerMessagePart(paragraph.get());
  }
  nalvo::detail::VerdictMaker recipients;
  while (const ComPtr<IStream> paragraph = reader.getParagraph()) {
    recipients.add(nalvo::detail::HeadersLoader(paragraph.get()));
  }
  loadPlainTextBody(parts.text);
  return recipients.verdict();
}

void DsnReportConvert::parsePerMessagePart(IStream* paragraph) const {
  const nalvo::detail::HeadersLoader fields(paragraph);
  std::string value;
  for (const FieldRow& row : kMessageFields) {
    if (fields.read(row.name, value)) {
      setUnicode(tagOf(*row.property), ansiToWide(value));
    }
  }
}

void DsnReportConvert::loadPlainTextBody(mime::HBODY text) const {
  // As text, so that it goes out again as the same characters in whatever charset the report has then.
  const ComPtr<IStream> source = getDataFromMailPart(text, mime::IET_UNICODE);
  const ComPtr<IStream> target = openForWriting(tagOf(named::kPlaintext));
  streamUtils::copy(source.get(), target.get(), false);
  checkHResult(target->Commit(0), kSource.at("toMapi::DsnReportConvert::loadPlainTextBody"));
}

void DsnReportConvert::loadOriginalMessageHeaders(mime::HBODY headers) const {
  constexpr const char* kWhere = "toMapi::DsnReportConvert::loadOriginalMessageHeaders";
  if (headers == nullptr) {
    return;
  }
  const ComPtr<IStream> source = getDataFromMailPart(headers, mime::IET_BINARY);
  setStoredPart(named::kOriginalMessageHeaders, source.get());
  ComPtr<mime::IMimeMessage> original;
  checkHResult(mime::createMimeMessage(original.put()), kSource.at(kWhere));
  checkHResult(original->Load(source.get()), kSource.at(kWhere));
  const auto copyText = [&](const char* header, ULONG tag) {
    ScopedPropVariant value(VT_LPWSTR);
    const HRESULT hr = original->GetProp(header, 0, &value);
    if (hr != MIME_E_NOT_FOUND) {
      checkHResult(hr, kSource.at(kWhere));
      setUnicode(tag, value.pwszVal == nullptr ? std::u16string_view() : std::u16string_view(value.pwszVal));
    }
  };
  copyText("Subject", PR_ORIGINAL_SUBJECT);
  ScopedPropVariant date(VT_FILETIME);
  const HRESULT hr = original->GetProp(mime::HeaderId::Date, 0, &date);
  if (hr != MIME_E_NOT_FOUND) {
    checkHResult(hr, kSource.at(kWhere));
    const std::optional<SYSTEMTIME> time = fileTimeToSystemTime(date.filetime);
    if (!time) {
      throwHResult(E_INVALIDARG, kSource.at(kWhere));
    }
    setSysTime(PR_ORIGINAL_SUBMIT_TIME, *time);
  }
  copyText("To", PR_ORIGINAL_DISPLAY_TO);
}

}  // namespace toMapi
}  // namespace nalvo
