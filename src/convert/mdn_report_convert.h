// Read reports: a message was read, or deleted unread.
#pragma once

#include "convert/report_convert.h"

namespace nalvo {

namespace toMime {

class MdnReportConvert : public ReportConvert {
 public:
  explicit MdnReportConvert(ConvertorDataMessage* data) : ReportConvert(data) {}

  PartTags getPartTags(IConvertMessage* message) const override;

  void onProp(ULONG tag);
  void mapiToMimeEnd();

 private:
  // Makes the text and the report around it.
  mime::HBODY addPlainTextBody();
  void addDispositionNotificationBody(mime::HBODY report);
  void makePlainTextBody(IStream* stream) const;
  void makeSimplePlainTextBody(IStream* stream) const;
  void makeComplexPlainTextBody(IStream* stream) const;
  // The part as it came, or one built from properties.
  void makeDispositionNotificationBody(IStream* stream) const;
};

}  // namespace toMime

namespace toMapi {

class MdnReportConvert : public ReportConvert {
 public:
  static constexpr bool kSupportsNoBody = true;

  explicit MdnReportConvert(ConvertorDataMessage* data) : ReportConvert(data) {}

  void convertMimeToMapi();

 private:
  // MIME_E_NOT_FOUND for a mail without such a part.
  void readDispositionNotificationMailPart();
  void parseDispNotifBody(IStream* stream);
};

}  // namespace toMapi
}  // namespace nalvo
