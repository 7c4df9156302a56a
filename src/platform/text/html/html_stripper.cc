#include "platform/text/html/html_stripper.h"

#include <algorithm>
#include <iterator>

#include "platform/text/html/html_scanner.h"
#include "platform/text/html/html_tags.h"
#include "platform/text/html/line_builder.h"
#include "platform/text/utf8.h"

namespace nalvo::html {
namespace {

struct Entity {
  std::string_view name;
  char32_t codePoint;
};
// Those that mail is full of.
constexpr Entity kEntities[] = {
    {"amp", '&'},      {"lt", '<'},       {"gt", '>'},       {"quot", '"'},      {"apos", '\''},    {"nbsp", 0xA0},
    {"copy", 0xA9},    {"reg", 0xAE},     {"ndash", 0x2013}, {"mdash", 0x2014},  {"lsquo", 0x2018}, {"rsquo", 0x2019},
    {"ldquo", 0x201C}, {"rdquo", 0x201D}, {"bull", 0x2022},  {"hellip", 0x2026}, {"euro", 0x20AC}};
constexpr std::size_t kLongestEntity = 10;

// 0 for a name that is not known and for a number that is no character.
char32_t codePointOf(std::string_view name) {
  if (name.starts_with('#')) {
    const bool hexadecimal = name.size() > 1 && (name[1] == 'x' || name[1] == 'X');
    char32_t value = 0;
    for (const char c : name.substr(hexadecimal ? 2 : 1)) {
      const int digit = c >= '0' && c <= '9'   ? c - '0'
                        : c >= 'a' && c <= 'f' ? c - 'a' + 10
                        : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                               : 99;
      if (digit >= (hexadecimal ? 16 : 10)) {
        return 0;
      }
      value = std::min<char32_t>(value * (hexadecimal ? 16 : 10) + static_cast<char32_t>(digit), 0x110000);
    }
    return value > 0x10FFFF || (value & 0xFFFFF800) == 0xD800 ? 0 : value;
  }
  const auto row =
      std::find_if(std::begin(kEntities), std::end(kEntities), [name](const Entity& entity) { return entity.name == name; });
  return row != std::end(kEntities) ? row->codePoint : 0;
}

std::string decodeEntities(std::string_view text) {
  std::string decoded;
  while (!text.empty()) {
    const std::size_t plain = std::min(text.find('&'), text.size());
    decoded.append(text.substr(0, plain));
    text.remove_prefix(plain);
    if (text.empty()) {
      break;
    }
    const std::size_t end = text.substr(0, kLongestEntity + 2).find(';');
    const char32_t codePoint = end == text.npos ? 0 : codePointOf(text.substr(1, end - 1));
    if (codePoint != 0) {
      appendUtf8(codePoint, decoded);
      text.remove_prefix(end + 1);
    } else {
      decoded.push_back('&');
      text.remove_prefix(1);
    }
  }
  return decoded;
}

bool isBlock(Display display) {
  return display == Display::Block || display == Display::Table || display == Display::TableRow ||
         display == Display::TableCaption;
}

}  // namespace

std::string stripTags(std::string_view utf8) {
  Scanner scanner(utf8);
  LineBuilder lines;
  // The element whose content does not show, until its end tag.
  std::string hidden;
  for (Scanner::Kind kind = scanner.next(); kind != Scanner::Kind::End; kind = scanner.next()) {
    if (kind == Scanner::Kind::Text) {
      if (hidden.empty()) {
        lines.addCollapsing(decodeEntities(scanner.text()), false);
      }
      continue;
    }
    if (!hidden.empty()) {
      hidden = kind == Scanner::Kind::EndTag && scanner.name() == hidden ? "" : hidden;
      continue;
    }
    const TagRow& tag = tagRow(scanner.name());
    if (tag.content == TagRow::Content::LineBreak) {
      lines.addMark('\n');
    } else if (tag.display == Display::TableCell && kind == Scanner::Kind::EndTag) {
      lines.addMark('\t');
    } else if (isBlock(tag.display)) {
      lines.requireBreaks(tag.content == TagRow::Content::Paragraph ? 2 : 1);
    } else if (kind == Scanner::Kind::StartTag && tag.hasEnd &&
               (scanner.name() == "script" || scanner.name() == "style" || scanner.name() == "title")) {
      hidden = scanner.name();
    }
  }
  return lines.take();
}

}  // namespace nalvo::html
