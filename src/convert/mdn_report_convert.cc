#include "convert/mdn_report_convert.h"

#include <algorithm>
#include <iterator>

#include "diagnostics/hresult_exception.h"
#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"
#include "platform/text/localization.h"
#include "platform/text/text.h"
#include "platform/time/date_text.h"
#include "streams/stream_utils.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\MdnReportConvert"};

constexpr std::u16string_view kReadClass = u"Report.IPM.Note.IPNRN";
constexpr std::u16string_view kNotReadClass = u"Report.IPM.Note.IPNNRN";

// Numbers of texts in the catalogue.
constexpr unsigned kTextSubject = 202;
constexpr unsigned kTextTo = 203;
constexpr unsigned kTextSent = 204;

// What the text part says beside PR_BODY.
constexpr ULONG kTextTags[] = {PR_REPORT_TEXT, PR_REPORT_TIME, PR_ORIGINAL_SUBJECT, PR_ORIGINAL_DISPLAY_TO,
                               PR_ORIGINAL_SUBMIT_TIME};

// Said by the two parts.
constexpr ULONG kDropped[] = {PR_REPORT_DISPOSITION_A,
                              PR_REPORT_DISPOSITION_MODE_A,
                              changePropType(PR_REPORT_DISPOSITION_A, PT_UNICODE),
                              changePropType(PR_REPORT_DISPOSITION_MODE_A, PT_UNICODE),
                              PR_REPORT_TAG,
                              PR_REPORT_TIME,
                              PR_REPORT_TEXT,
                              PR_IN_REPLY_TO_ID_A,
                              changePropType(PR_IN_REPLY_TO_ID_A, PT_UNICODE)};

std::u16string dateText(const SYSTEMTIME& utc) { return localDateText(utc).value_or(u"Invalid DateTime"); }

[[maybe_unused]] const bool kRegistered = [] {
  for (const char16_t* pattern : {u"Report.*.IPNRN", u"Report.*.IPNNRN"}) {
    ConvertorList::instance().registerConvertor(&ConvertorImpl<toMime::MdnReportConvert, toMapi::MdnReportConvert>::create,
                                                pattern);
  }
  return true;
}();

}  // namespace

namespace toMime {

PartTags MdnReportConvert::getPartTags(IConvertMessage* message) const {
  const ULONG stored = MapiName(named::kOriginalDispositionNotification).getPropertyTag(message);
  return PartTags::extend(
      NoteConvert::getPartTags(message), {}, {PR_ORIGINAL_SUBJECT, PR_ORIGINAL_DISPLAY_TO, PR_ORIGINAL_SUBMIT_TIME},
      {PR_REPORT_TEXT, PR_REPORT_TIME, PR_ORIGINAL_SUBJECT, PR_ORIGINAL_DISPLAY_TO, PR_ORIGINAL_SUBMIT_TIME, stored,
       PR_REPORT_DISPOSITION_MODE_A, PR_REPORT_DISPOSITION_A, PR_IN_REPLY_TO_ID_A},
      {PR_REPORT_TAG});
}

void MdnReportConvert::onProp(ULONG tag) {
  if (tag != tagOf(named::kOriginalDispositionNotification) &&
      std::find(std::begin(kDropped), std::end(kDropped), tag) == std::end(kDropped)) {
    ReportConvert::onProp(tag);
  }
}

void MdnReportConvert::mapiToMimeEnd() {
  if (converts(Converted::Body)) {
    addDispositionNotificationBody(addPlainTextBody());
  }
  ReportConvert::mapiToMimeEnd();
}

mime::HBODY MdnReportConvert::addPlainTextBody() {
  constexpr const char* kWhere = "toMime::MdnReportConvert::addPlainTextBody";
  const ComPtr<IStream> text = streamUtils::createStream();
  makePlainTextBody(text.get());
  streamUtils::rewind(text.get());
  mime::IMimeMessage* message = data().getMimeMessage();
  mime::HBODY body = nullptr;
  mime::HBODY report = nullptr;
  // In place of a text that the note has made already, and of an alternative around it.
  checkHResult(message->SetTextBody(mime::TXT_PLAIN, mime::IET_UNICODE, nullptr, text.get(), &body), kSource.at(kWhere));
  checkHResult(message->ToMultipart(body, "report", &report), kSource.at(kWhere));
  streamUtils::rewind(text.get());
  setData(body, mime::IET_UNICODE, "text", "plain", text.get());
  setReportType("disposition-notification");
  return report;
}

void MdnReportConvert::addDispositionNotificationBody(mime::HBODY report) {
  constexpr const char* kWhere = "toMime::MdnReportConvert::addDispositionNotificationBody";
  const ComPtr<IStream> fields = streamUtils::createStream();
  makeDispositionNotificationBody(fields.get());
  streamUtils::rewind(fields.get());
  mime::HBODY part = nullptr;
  checkHResult(data().getMimeMessage()->InsertBody(mime::IBL_LAST, report, &part), kSource.at(kWhere));
  setData(part, mime::IET_7BIT, "message", "disposition-notification", fields.get());
}

void MdnReportConvert::makePlainTextBody(IStream* stream) const {
  const bool saysMore = std::any_of(std::begin(kTextTags), std::end(kTextTags), [this](ULONG tag) { return exists(tag); });
  if (!saysMore && exists(PR_BODY)) {
    makeSimplePlainTextBody(stream);
  } else {
    makeComplexPlainTextBody(stream);
  }
}

void MdnReportConvert::makeSimplePlainTextBody(IStream* stream) const {
  streamUtils::copy(openForReading(PR_BODY).get(), stream, false);
}

void MdnReportConvert::makeComplexPlainTextBody(IStream* stream) const {
  std::u16string text;
  if (exists(PR_REPORT_TEXT)) {
    text += getUnicode(PR_REPORT_TEXT);
  }
  if (exists(PR_REPORT_TIME)) {
    text += u' ' + dateText(getSysTime(PR_REPORT_TIME));
  }
  text += u"\r\n\r\n";
  const auto addLine = [&text](unsigned label, std::u16string_view value) {
    text.append(Localization::getString(label)).append(u": ").append(value).append(u"\r\n");
  };
  if (exists(PR_ORIGINAL_SUBJECT)) {
    addLine(kTextSubject, getUnicode(PR_ORIGINAL_SUBJECT));
  }
  if (exists(PR_ORIGINAL_DISPLAY_TO)) {
    addLine(kTextTo, getUnicode(PR_ORIGINAL_DISPLAY_TO));
  }
  if (exists(PR_ORIGINAL_SUBMIT_TIME)) {
    addLine(kTextSent, dateText(getSysTime(PR_ORIGINAL_SUBMIT_TIME)));
  }
  streamUtils::detail::writeStr(stream, text);
}

void MdnReportConvert::makeDispositionNotificationBody(IStream* stream) const {
  if (exists(tagOf(named::kOriginalDispositionNotification))) {
    writeStoredPart(named::kOriginalDispositionNotification, stream);
    return;
  }
  if (exists(PR_REPORT_DISPOSITION_MODE_A) && exists(PR_REPORT_DISPOSITION_A)) {
    makeReportField(stream, "Disposition", getUnicode(PR_REPORT_DISPOSITION_MODE_A), getUnicode(PR_REPORT_DISPOSITION_A));
  }
  if (exists(PR_IN_REPLY_TO_ID_A)) {
    makeReportField(stream, "Original-Message-ID", getUnicode(PR_IN_REPLY_TO_ID_A));
  }
  if (exists(PR_SENDER_EMAIL_ADDRESS)) {
    makeReportField(stream, "Final-Recipient", getUnicode(PR_SENDER_EMAIL_ADDRESS));
  }
}

}  // namespace toMime

namespace toMapi {

void MdnReportConvert::convertMimeToMapi() {
  ReportConvert::convertMimeToMapi();
  if (hasFlag(ToMapiFlags::JustFlags | ToMapiFlags::WithoutBody)) {
    return;
  }
  createRtfBodyFromPlainText({});
  for (const ULONG tag : {PR_BODY_HTML, PR_HTML}) {
    MapiPropUtils::deletePropIfExist(data().getMapiMessage(), tag);
  }
  readDispositionNotificationMailPart();
}

void MdnReportConvert::readDispositionNotificationMailPart() {
  constexpr const char* kWhere = "toMapi::MdnReportConvert::readDispositionNotificationMailPart";
  mime::FINDBODY find{};
  find.type = "message";
  find.subtype = "disposition-notification";
  mime::HBODY part = nullptr;
  checkHResult(data().getMimeMessage()->FindFirst(&find, &part), kSource.at(kWhere));
  parseDispNotifBody(getDataFromMailPart(part, mime::IET_7BIT).get());
}

void MdnReportConvert::parseDispNotifBody(IStream* stream) {
  constexpr const char* kWhere = "toMapi::MdnReportConvert::parseDispNotifBody";
  setStoredPart(named::kOriginalDispositionNotification, stream);
  ComPtr<mime::IMimeMessage> fields;
  checkHResult(mime::createMimeMessage(fields.put()), kSource.at(kWhere));
  checkHResult(fields->Load(stream), kSource.at(kWhere));
  ScopedPropVariant value(VT_LPSTR);
  checkHResult(fields->GetProp("Disposition", 0, &value), kSource.at(kWhere));
  const std::string_view text = value.pszVal == nullptr ? std::string_view() : std::string_view(value.pszVal);
  const std::size_t semicolon = std::min(text.find(';'), text.size());
  const std::string_view disposition = semicolon == text.size() ? std::string_view() : trim(text.substr(semicolon + 1));
  IConvertMessage* message = data().getMapiMessage();
  MapiPropUtils::setAnsiString(message, PR_REPORT_DISPOSITION_MODE_A, trim(text.substr(0, semicolon)));
  MapiPropUtils::setAnsiString(message, PR_REPORT_DISPOSITION_A, disposition);
  setUnicode(PR_MESSAGE_CLASS, disposition == "displayed" ? kReadClass : kNotReadClass);
  ScopedPropVariant messageId(VT_LPSTR);
  std::string tag;
  if (succeeded(fields->GetProp("Original-Message-ID", 0, &messageId)) && messageId.pszVal != nullptr &&
      nalvo::detail::extractReportTag(messageId.pszVal, &tag) && !tag.empty()) {
    MapiPropUtils::setBinary(message, PR_REPORT_TAG, tag);
  }
}

}  // namespace toMapi
}  // namespace nalvo
