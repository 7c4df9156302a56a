#include "platform/text/html/html_charset.h"

#include <algorithm>

#include "platform/text/text.h"
#include "platform/text/text_converter.h"

namespace nalvo::html {
namespace {

// How far a meta element is looked for.
constexpr std::size_t kHead = 4096;

// Labels that in practice name a superset.
struct Superset {
  CodePage label;
  CodePage meant;
};
constexpr Superset kSupersets[] = {
    {kLatin1, kAnsiCodePage}, {kUsAscii, kAnsiCodePage}, {28599, 1254}, {28601, 874}, {51949, 949}, {20936, 936}};

CodePage meant(CodePage label) {
  for (const Superset& row : kSupersets) {
    if (row.label == label) {
      return row.meant;
    }
  }
  return label;
}

bool isDelimiter(char c) {
  return c == '"' || c == '\'' || c == ';' || c == '>' || c == '/' || kBlanks.find(c) != kBlanks.npos;
}

// The label behind "charset=" in `tag`; empty without one.
std::string_view labelIn(std::string_view tag, std::string_view lowered) {
  constexpr std::string_view kName = "charset";
  for (std::size_t at = lowered.find(kName); at != lowered.npos; at = lowered.find(kName, at + 1)) {
    std::string_view rest = trimLeft(tag.substr(at + kName.size()));
    if (!rest.starts_with('=')) {
      continue;
    }
    rest = trimLeft(rest.substr(1));
    if (!rest.empty() && (rest.front() == '"' || rest.front() == '\'')) {
      rest = trimLeft(rest.substr(1));
    }
    const auto end = std::find_if(rest.begin(), rest.end(), isDelimiter);
    return rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
  }
  return {};
}

CodePage metaPage(std::string_view bytes) {
  const std::string_view head = bytes.substr(0, kHead);
  const std::string lowered = toLowerAscii(head);
  for (std::size_t at = 0; (at = lowered.find('<', at)) != lowered.npos; ++at) {
    const std::string_view rest = std::string_view(lowered).substr(at);
    if (rest.starts_with("<!--")) {
      const std::size_t end = lowered.find("-->", at);
      if (end == lowered.npos) {
        break;
      }
      at = end;
    } else if (rest.starts_with("<meta")) {
      const std::size_t length = std::min(rest.find('>'), rest.size());
      const Charset* charset = findCharset(labelIn(head.substr(at, length), rest.substr(0, length)));
      if (charset != nullptr) {
        // Bytes that could be read so far are not in a wide page.
        return charset->shape == Charset::Shape::Wide ? kUtf8 : meant(charset->codePage);
      }
    }
  }
  return 0;
}

}  // namespace

CodePage codePageOf(std::string_view bytes, CodePage given) {
  if (const ByteOrderMark mark = byteOrderMarkOf(bytes); mark.codePage != 0) {
    return mark.codePage;
  }
  if (const CodePage page = metaPage(bytes); page != 0) {
    return page;
  }
  if (given != 0 && findCodePage(given) != nullptr) {
    return meant(given);
  }
  return isValidUtf8(bytes) ? kUtf8 : kAnsiCodePage;
}

std::string toUtf8(std::string_view bytes, CodePage given) {
  const CodePage page = codePageOf(bytes, given);
  bytes.remove_prefix(byteOrderMarkOf(bytes).bytes);
  return page == kUtf8 && isValidUtf8(bytes) ? std::string(bytes) : wideToUtf8(decodeText(bytes, page));
}

}  // namespace nalvo::html
