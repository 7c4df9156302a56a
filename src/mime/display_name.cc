#include "mime/display_name.h"

#include <cstdio>  // snprintf

#include "mime/body_context.h"
#include "mime/body_data.h"
#include "mime/header_names.h"
#include "mime/read_only_stream.h"
#include "mime/tree.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

struct EndingRow {
  std::string_view type;
  std::string_view subtype;  // empty: any
  std::u16string_view ending;
};
// The first row that fits.
constexpr EndingRow kEndings[] = {
    {"text", "plain", u".txt"},
    {"text", "html", u".htm"},
    {"text", "calendar", u".ics"},
    {"text", "vcard", u".vcf"},
    {"text", "x-vcard", u".vcf"},
    {"text", "xml", u".xml"},
    {"text", "csv", u".csv"},
    {"text", "rfc822-headers", u".txt"},
    {"text", "", u".txt"},
    {"image", "jpeg", u".jpg"},
    {"image", "png", u".png"},
    {"image", "gif", u".gif"},
    {"image", "bmp", u".bmp"},
    {"image", "tiff", u".tif"},
    {"image", "svg+xml", u".svg"},
    {"audio", "mpeg", u".mp3"},
    {"audio", "wav", u".wav"},
    {"audio", "x-wav", u".wav"},
    {"video", "mp4", u".mp4"},
    {"video", "mpeg", u".mpg"},
    {"message", "rfc822", u".eml"},
    {"message", "", u".txt"},
    {"application", "pdf", u".pdf"},
    {"application", "zip", u".zip"},
    {"application", "rtf", u".rtf"},
    {"application", "json", u".json"},
    {"application", "xml", u".xml"},
    {"application", "msword", u".doc"},
    {"application", "pgp-signature", u".asc"},
    {"application", "pkcs7-signature", u".p7s"},
    {"application", "x-pkcs7-signature", u".p7s"},
    {"application", "pkcs7-mime", u".p7m"},
    {"application", "x-pkcs7-mime", u".p7m"},
    {"", "", u".dat"},
};

std::u16string_view endingOf(const MediaType& type) {
  for (const EndingRow& row : kEndings) {
    if ((row.type.empty() || row.type == type.type) && (row.subtype.empty() || row.subtype == type.subtype)) {
      return row.ending;
    }
  }
  return {};
}

std::u16string parameterText(const Body& body, std::string_view row, std::string_view parameter) {
  const std::size_t place = body.rows.find(row);
  if (place == HeaderRows::kNone || body.rows[place].isPlaceholder()) {
    return {};
  }
  const ParameterList list = body.rows.parameters(body.rows[place], readingCharset(body, body.rows[place]));
  const Parameter* found = list.find(parameter);
  return found != nullptr ? found->wide : std::u16string();
}

std::u16string rowText(const Body& body, std::string_view name) {
  const std::size_t place = body.rows.find(name);
  return place == HeaderRows::kNone ? std::u16string()
                                    : body.rows.wideValue(body.rows[place], readingCharset(body, body.rows[place]));
}

// The name that the body itself gives; empty if it gives none.
std::u16string ownName(const Body& body) {
  std::u16string name = parameterText(body, kContentDisposition, "filename");
  if (name.empty()) {
    name = parameterText(body, kContentType, "name");
  }
  return name.empty() ? rowText(body, "Content-Description") : name;
}

std::u16string subjectWithin(Body& body) {
  if (body.embedded() != nullptr) {
    return rowText(embeddedRoot(body), "Subject");
  }
  const ComPtr<IStream> scratch = makeScratchStream();
  copyData(body, IET_BINARY, scratch.get());
  Tree tree(nullptr);
  tree.load(Source::whole(scratch.get()));
  return rowText(tree.root(), "Subject");
}

}  // namespace

std::u16string displayNameOf(Body& body) {
  std::u16string name = ownName(body);
  const MediaType type = mediaTypeOf(body);
  if (name.empty() && type.is("message", "rfc822")) {
    name = subjectWithin(body);
    if (!name.empty()) {
      return name;
    }
  }
  if (name.empty() && type.isMultipart("signed")) {
    name = u"smime.p7m";
  }
  if (name.empty()) {
    (void)isRescued(body);  // Brings the number of the leaf up to date.
    char number[16];
    std::snprintf(number, sizeof number, "ATT%05u", body.role.leafNumber);
    name = ansiToWide(number);
    name += endingOf(type);
  }
  const std::uint64_t kilobytes = (estimatedSize(body, IET_BINARY) + 1023) / 1024;
  return name + u" (" + ansiToWide(std::to_string(kilobytes)) + u" KB)";
}

}  // namespace nalvo::mime
