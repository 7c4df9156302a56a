// Delivery reports: a message arrived, or did not.
#pragma once

#include "convert/dsn_fields.h"
#include "convert/report_convert.h"

namespace nalvo {

namespace toMime {

class DsnReportConvert : public ReportConvert {
 public:
  explicit DsnReportConvert(ConvertorDataMessage* data) : ReportConvert(data) {}

  // Any change means all parts.
  PartTags getPartTags(IConvertMessage* message) const override;

  void onProp(ULONG tag);
  void mapiToMimeEnd();

 private:
  // What an attachment tells of the message that came back.
  enum class Returned { Nothing, Headers, Message };
  // The three parts stand for what the attachments held.
  Returned deleteAllAttachments();
  void buildReport(IStream* text, IStream* status, IStream* headers, bool returnsMessage);
  mime::HBODY insertBody(mime::BodyLocation location, mime::HBODY pivot) const;

  void makePlainTextBody(IStream* stream) const;
  void makePlainTextRecipientPart(IConvertRecipient* recipient, IStream* stream, bool delivered) const;
  // The status as it came, or one built from properties.
  void makeFormatedTextBody(IStream* stream) const;
  void makeFormatedTextBodyPerMessage(IStream* stream) const;
  void makeFormatedTextBodyPerRecipient(IStream* stream, IConvertRecipient* recipient) const;
  // Nothing for an empty value.
  void makeFormatedTextBodyWriteProp(IStream* stream, std::string_view name, IConvertObject* object,
                                     const NamedProperty& property) const;
  // What is known of the message that the report is about, if anything.
  void makeOriginalHeadersBody(IStream* stream) const;
  template <typename Visit>
  void forEachRecipient(Visit visit) const;
};

}  // namespace toMime

namespace toMapi {

class DsnReportConvert : public ReportConvert {
 public:
  static constexpr bool kSupportsNoBody = false;

  explicit DsnReportConvert(ConvertorDataMessage* data) : ReportConvert(data) {}

  void convertMimeToMapi();

 private:
  struct Parts {
    mime::HBODY text = nullptr;
    mime::HBODY status = nullptr;
    mime::HBODY headers = nullptr;  // null: of a type that nobody reads
  };

  // False for a mail that is no report of the usual three parts.
  bool isValidReportMessage(Parts& parts) const;
  nalvo::detail::Verdict parseStatus(const Parts& parts);
  void parsePerMessagePart(IStream* paragraph) const;
  void loadPlainTextBody(mime::HBODY text) const;
  void loadOriginalMessageHeaders(mime::HBODY headers) const;
};

}  // namespace toMapi
}  // namespace nalvo
