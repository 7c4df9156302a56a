// What both kinds of reports have in common.
#pragma once

#include "convert/note_convert.h"

namespace nalvo {

namespace toMime {

class ReportConvert : public NoteConvert {
 public:
  explicit ReportConvert(ConvertorDataMessage* data) : NoteConvert(data) {}

 protected:
  ~ReportConvert() = default;

  // "name: value; comment" and a line end, in ASCII: line ends inside become blanks, other characters "?".
  static void makeReportField(IStream* stream, std::string_view name, std::u16string_view value,
                              std::u16string_view comment = {});
  // A text of the object; empty if it is missing.
  std::u16string textOf(IConvertObject* object, ULONG tag) const;
  std::u16string textOf(IConvertObject* object, const NamedProperty& property) const;
  // Gives a body its data.
  void setData(mime::HBODY body, mime::Encoding encoding, const char* type, const char* subtype, IStream* stream) const;
  // Writes a wide text property, which holds bytes, as those bytes.
  void writeStoredPart(const NamedProperty& property, IStream* stream) const;
  void setReportType(const char* reportType) const;
};

}  // namespace toMime

namespace toMapi {

class ReportConvert : public NoteConvert {
 public:
  explicit ReportConvert(ConvertorDataMessage* data) : NoteConvert(data) {}

 protected:
  ~ReportConvert() = default;

  // A part as it came, at its start: its bytes, or its text as UTF-16.
  ComPtr<IStream> getDataFromMailPart(mime::HBODY part, mime::Encoding encoding) const;
  // Keeps the bytes of a part in a wide text property, where each byte is a character of the ANSI code page, and rewinds it.
  void setStoredPart(const NamedProperty& property, IStream* bytes) const;
};

}  // namespace toMapi
}  // namespace nalvo
