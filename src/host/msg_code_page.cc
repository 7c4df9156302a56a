#include "host/msg_code_page.h"

#include <algorithm>
#include <iterator>

#include "host/msg_layout.h"

namespace nalvo::host::msg {
namespace {

struct LanguageRow {
  std::uint32_t language;  // the whole language id, or its primary part where that is below 0x400
  CodePage codePage;
};
// Whole ids stand before the primary ones. Languages that are not here are written in 1252, or have no ANSI page.
constexpr LanguageRow kLanguages[] = {
    {0x0404, 950},  {0x0C04, 950},  {0x1404, 950},  // Chinese: Taiwan, Hong Kong, Macao
    {0x0C1A, 1251}, {0x1C1A, 1251},                 // Serbian in Cyrillic
    {0x0843, 1251}, {0x082C, 1251},                 // Uzbek and Azeri in Cyrillic
    {0x01, 1256},                                   // Arabic
    {0x02, 1251},                                   // Bulgarian
    {0x04, 936},                                    // Chinese
    {0x05, 1250},                                   // Czech
    {0x08, 1253},                                   // Greek
    {0x0D, 1255},                                   // Hebrew
    {0x0E, 1250},                                   // Hungarian
    {0x11, 932},                                    // Japanese
    {0x12, 949},                                    // Korean
    {0x15, 1250},                                   // Polish
    {0x18, 1250},                                   // Romanian
    {0x19, 1251},                                   // Russian
    {0x1A, 1250},                                   // Croatian, Serbian
    {0x1B, 1250},                                   // Slovak
    {0x1C, 1250},                                   // Albanian
    {0x1E, 874},                                    // Thai
    {0x1F, 1254},                                   // Turkish
    {0x20, 1256},                                   // Urdu
    {0x22, 1251},                                   // Ukrainian
    {0x23, 1251},                                   // Belarusian
    {0x24, 1250},                                   // Slovenian
    {0x25, 1257},                                   // Estonian
    {0x26, 1257},                                   // Latvian
    {0x27, 1257},                                   // Lithuanian
    {0x29, 1256},                                   // Farsi
    {0x2A, 1258},                                   // Vietnamese
    {0x2C, 1254},                                   // Azeri
    {0x2F, 1251},                                   // Macedonian
    {0x3F, 1251},                                   // Kazakh
    {0x40, 1251},                                   // Kyrgyz
    {0x43, 1254},                                   // Uzbek
    {0x44, 1251},                                   // Tatar
    {0x50, 1251},                                   // Mongolian
};

CodePage codePageOfLanguage(std::uint32_t locale) {
  const std::uint32_t language = locale & 0xFFFF;
  const auto row = std::find_if(std::begin(kLanguages), std::end(kLanguages), [language](const LanguageRow& one) {
    return one.language == language || one.language == (language & 0x3FF);
  });
  // 0x400 and below name no language but "the default of the machine".
  return language <= 0x400 ? 0 : row == std::end(kLanguages) ? kAnsiCodePage : row->codePage;
}

// 0 for a property that is not there or a page that narrow texts can't be in.
CodePage narrowPage(CodePage codePage) {
  const Charset* charset = findCodePage(codePage);
  return charset == nullptr || charset->shape == Charset::Shape::Wide ? 0 : codePage;
}

}  // namespace

CodePage codePageOf(const PropertyBag& message, CodePage fallback) {
  const auto numberOf = [&message](ULONG tag) { return static_cast<std::uint32_t>(message.number(tag).value_or(0)); };
  for (const CodePage codePage :
       {numberOf(PR_MESSAGE_CODEPAGE), codePageOfLanguage(numberOf(PR_MESSAGE_LOCALE_ID)), numberOf(PR_INTERNET_CPID)}) {
    if (narrowPage(codePage) != 0) {
      return codePage;
    }
  }
  return fallback;
}

}  // namespace nalvo::host::msg
