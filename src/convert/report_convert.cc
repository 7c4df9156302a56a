#include "convert/report_convert.h"

#include <algorithm>

#include "diagnostics/hresult_exception.h"
#include "platform/text/code_pages.h"
#include "streams/stream_convertor.h"
#include "streams/stream_utils.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\ReportConvert"};

ComPtr<mime::IMimeBody> bodyOf(mime::IMimeMessage* message, mime::HBODY handle, const char* function) {
  ComPtr<mime::IMimeBody> body;
  checkHResult(message->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at(function));
  return body;
}

// What may stand in a field that other systems read.
std::string fieldText(std::u16string_view text) {
  std::string result;
  char16_t previous = 0;
  for (const char16_t c : text) {
    const bool isBlank = c == u'\r' || c == u'\n' || c == u'\t';
    if (!(c == u'\n' && previous == u'\r')) {
      result += isBlank ? ' ' : c >= 0x20 && c < 0x7F ? static_cast<char>(c) : '?';
    }
    previous = c;
  }
  return result;
}

}  // namespace

namespace toMime {

void ReportConvert::makeReportField(IStream* stream, std::string_view name, std::u16string_view value,
                                    std::u16string_view comment) {
  std::string line(name);
  line += ": ";
  line += fieldText(value);
  if (!comment.empty()) {
    line += "; " + fieldText(comment);
  }
  line += "\r\n";
  streamUtils::detail::writeStr(stream, line);
}

std::u16string ReportConvert::textOf(IConvertObject* object, ULONG tag) const {
  return MapiPropUtils::propertyExists(object, tag) ? MapiPropUtils::propUnicodeT(object, tag, data().getAllocator())
                                                    : std::u16string();
}

std::u16string ReportConvert::textOf(IConvertObject* object, const NamedProperty& property) const {
  return textOf(object, data().tagOf(property, object));
}

void ReportConvert::setData(mime::HBODY handle, mime::Encoding encoding, const char* type, const char* subtype,
                            IStream* stream) const {
  constexpr const char* kWhere = "toMime::ReportConvert::setData";
  checkHResult(bodyOf(data().getMimeMessage(), handle, kWhere)->SetData(encoding, type, subtype, IStream::kIid, stream),
               kSource.at(kWhere));
}

void ReportConvert::writeStoredPart(const NamedProperty& property, IStream* stream) const {
  StreamConvertor::instance()->streamToStream(kUtf16, kAnsiCodePage, openForReading(tagOf(property)).get(), stream);
}

void ReportConvert::setReportType(const char* reportType) const { setHeader("par:content-type:report-type", reportType); }

}  // namespace toMime

namespace toMapi {

ComPtr<IStream> ReportConvert::getDataFromMailPart(mime::HBODY part, mime::Encoding encoding) const {
  constexpr const char* kWhere = "toMapi::detail::getDataFromMailPart";
  ComPtr<IStream> bytes = streamUtils::createStream();
  checkHResult(bodyOf(data().getMimeMessage(), part, kWhere)->GetDataHere(encoding, bytes.get()), kSource.at(kWhere));
  streamUtils::rewind(bytes.get());
  return bytes;
}

void ReportConvert::setStoredPart(const NamedProperty& property, IStream* bytes) const {
  const ComPtr<IStream> target = openForWriting(tagOf(property));
  StreamConvertor::instance()->streamToStream(kAnsiCodePage, kUtf16, bytes, target.get());
  checkHResult(target->Commit(0), kSource.at("toMapi::ReportConvert::setStoredPart"));
  streamUtils::rewind(bytes);
}

}  // namespace toMapi
}  // namespace nalvo
