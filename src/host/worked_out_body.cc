#include "host/worked_out_body.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "diagnostics/hresult_exception.h"
#include "host/carried_value.h"
#include "platform/mapi/tags.h"
#include "platform/text/html/html_text.h"
#include "platform/text/rtf/compressed_rtf.h"
#include "platform/text/rtf/rtf_reader.h"
#include "platform/text/text.h"
#include "platform/text/text_converter.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\WorkedOutBody"};

// Classes whose mails are made from any text there is, with those below them.
constexpr std::u16string_view kMailClasses[] = {u"IPM.Note", u"IPM.Post", u"Report"};

bool isMail(const PropertyBag& bag) {
  const PropertyRecord* record = bag.find(PR_MESSAGE_CLASS);
  const std::u16string name = record == nullptr ? std::u16string() : textOf(*record);
  return name.empty() || equalsIgnoreCase(name, u"IPM") ||
         std::any_of(std::begin(kMailClasses), std::end(kMailClasses), [&name](std::u16string_view one) {
           const bool isBelow = name.size() > one.size() && name[one.size()] == u'.';
           return (name.size() == one.size() || isBelow) && equalsIgnoreCase(name.substr(0, one.size()), one);
         });
}

std::u16string textOfHtml(const PropertyBag& bag, const PropertyRecord& html) {
  if (html.type == PT_UNICODE || html.type == PT_STRING8) {
    return htmlToText("\xEF\xBB\xBF" + wideToUtf8(textOf(html)), kUtf8);
  }
  return htmlToText(bytesOf(html), static_cast<CodePage>(bag.number(PR_INTERNET_CPID).value_or(0)));
}

}  // namespace

std::optional<std::u16string> workedOutBody(const MemoryMessage& message) {
  const PropertyBag& bag = message.bag();
  if (bag.find(PR_BODY) != nullptr || isMail(bag)) {
    return std::nullopt;
  }
  std::u16string text;
  if (const PropertyRecord* rtf = bag.find(PR_RTF_COMPRESSED); rtf != nullptr && contentSize(*rtf) <= kLargestBody) {
    text = textOfRtf(*rtf);
  }
  for (const ULONG tag : {PR_HTML, PR_BODY_HTML}) {
    const PropertyRecord* html = text.empty() ? bag.find(tag) : nullptr;
    if (html != nullptr && contentSize(*html) <= kLargestBody) {
      text = textOfHtml(bag, *html);
    }
  }
  return text.empty() ? std::nullopt : std::optional(std::move(text));
}

std::u16string textOfRtf(const PropertyRecord& compressed) {
  constexpr const char* kWhere = "host::textOfRtf";
  ComPtr<IStream> stream;
  checkHResult(openRecord(compressed, PT_BINARY, stream.put()), kSource.at(kWhere));
  std::vector<char> buffer(64U << 10);
  std::u16string text;
  CompressedRtfDecoder decoder;
  RtfReader reader;
  std::string rtf;
  for (ULONG got = 1; got != 0 && !decoder.atEnd() && text.size() < kLargestBody;) {
    checkHResult(stream->Read(buffer.data(), static_cast<ULONG>(buffer.size()), &got), kSource.at(kWhere));
    decoder.update({buffer.data(), got}, rtf);
    reader.update(rtf, text);
    rtf.clear();
  }
  reader.finish(text);
  return text;
}

}  // namespace nalvo::host
