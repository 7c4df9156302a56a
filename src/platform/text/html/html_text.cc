#include "platform/text/html/html_text.h"

#include "platform/text/html/html_charset.h"
#include "platform/text/html/html_limits.h"
#include "platform/text/html/html_renderer.h"
#include "platform/text/html/html_stripper.h"
#include "platform/text/text.h"

namespace nalvo {

std::u16string htmlToText(std::string_view html, CodePage given) {
  std::string utf8 = html::toUtf8(html, given);
  const std::string text =
      html::isWithinLimits(utf8) ? html::renderText(html::Tree(std::move(utf8))) : html::stripTags(utf8);
  std::u16string wide;
  for (const char16_t unit : utf8ToWide(text)) {
    if (unit == u'\n') {
      wide.push_back(u'\r');
    }
    wide.push_back(unit);
  }
  return wide;
}

}  // namespace nalvo
