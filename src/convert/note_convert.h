// Notes: the mail of people.
#pragma once

#include "convert/message_convert.h"

namespace nalvo {

namespace toMime {

class NoteConvert : public MessageConvert {
 public:
  explicit NoteConvert(ConvertorDataMessage* data) : MessageConvert(data) {}

  PartTags getPartTags(IConvertMessage* message) const override;

  void mapiToMimeStart();
  void onProp(ULONG tag);
  void mapiToMimeEnd();

 protected:
  void setXMailer();

  // Makes the text bodies that the editor format calls for.
  void setBodies();
  void setBodiesNormal(bool plainWanted, bool htmlWanted);
  // By what the compressed RTF was made from.
  void setBodiesFromRtf();
  // A stream of UTF-16.
  void setPlainTextBody(IStream* stream);
  // The bytes as they go out.
  void setHtmlBody(IStream* stream);
  // HTML in UTF-16 or UTF-32 comes as UTF-8, in which it goes out.
  ComPtr<IStream> openHtml(ULONG tag) const;
  // The charset of all text of the message. Throws E_FAIL for a code page that nobody knows.
  void setCharsetByCpId(std::uint32_t codePage);
};

}  // namespace toMime

namespace toMapi {

class NoteConvert : public MessageConvert {
 public:
  // A note can be converted from annotations and flags alone.
  static constexpr bool kSupportsNoBody = true;

  explicit NoteConvert(ConvertorDataMessage* data) : MessageConvert(data) {}

  void convertMimeToMapi();

 protected:
  void setFlags();
  void setDispositionNotification();
  void setReportTag();
};

}  // namespace toMapi

namespace detail {

// The bytes behind "<!~!" in a message id that carries a report tag, up to its last "@", decoded from Base64. False for any
// other id. Throws E_INVALIDARG for null.
bool extractReportTag(const char* messageId, std::string* out);
// "ProductName (ProductVersion)".
const std::u16string& getXMailerHeader();

}  // namespace detail
}  // namespace nalvo
