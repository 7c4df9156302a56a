#include "text/charset_names.h"

#include <algorithm>
#include <iterator>

#include "platform/text/text.h"

namespace nalvo::utils {
namespace {

struct Repair {
  std::string_view name, charset;
};
constexpr Repair kRepairs[] = {
    {"ks_c_5601-1987", "cp949"}, {"iso-8859-1", "cp1252"},       {"ksc5601", "cp949"},  {"us-ascii", "cp1252"},
    {"none", "cp1252"},          {"iso-8859-8-i", "iso-8859-8"}, {"gb2312", "gb18030"},
};

}  // namespace

bool isUtf7Imap(std::string_view name) {
  return equalsIgnoreCase(name, kUtf7ImapCharset) || equalsIgnoreCase(name, "utf-7m");
}

const Charset* charsetFor(std::string_view name) {
  if (isUtf7Imap(name)) {
    return findCodePage(kUtf16);
  }
  return equalsIgnoreCase(name, "ucs-4le") ? findCodePage(kUtf32) : findCharset(name);
}

bool isCharsetSupported(std::string_view name) { return charsetFor(name) != nullptr; }

bool mayHideBackslash(std::string_view name) {
  const Charset* row = charsetFor(name);
  // The families of East Asia.
  constexpr CodePage kFamilies[] = {932, 936, 949, 950};
  return row != nullptr && (!row->asciiSuperset() || std::find(std::begin(kFamilies), std::end(kFamilies),
                                                               row->windowsCodePage) != std::end(kFamilies));
}

bool normalizeCharsetName(std::string_view name, std::string& out) {
  for (const Repair& repair : kRepairs) {
    if (equalsIgnoreCase(name, repair.name)) {
      out = repair.charset;
      return true;
    }
  }
  if (isCharsetSupported(name)) {
    out = name;
    return false;
  }
  constexpr std::string_view kWindows = "windows-";
  const std::string repaired = startsWithIgnoreCase(name, kWindows) ? "cp" + std::string(name.substr(kWindows.size()))
                                                                    : std::string(kFallbackCharset);
  const bool changed = repaired != name;
  out = repaired;
  return changed;
}

}  // namespace nalvo::utils
