#include "text/charset_ascii_fold.h"

#include <unordered_map>

#include "platform/text/text.h"
#include "text/charset_stream.h"

namespace nalvo::utils {
namespace {

struct Fold {
  std::string_view ascii;
  std::u16string_view letters;
};
constexpr Fold kFolds[] = {
    {"A", u"ÀÁÂÃÄÅĄĀĂ"}, {"AE", u"Æ"},         {"B", u"Ḃ"},          {"C", u"ÇĆČĊĈ"}, {"D", u"ÐĎḊĐ"},
    {"E", u"ÈÉÊËĘĒĖĚĔ"}, {"F", u"Ḟ"},          {"G", u"ĢǴĞĠ"},       {"H", u"ĤĦ"},    {"I", u"ÌÍÎÏĮĪİĨ"},
    {"J", u"Ĵ"},         {"K", u"Ķ"},          {"L", u"ĻŁĹĽĿ"},      {"M", u"Ṁ"},     {"N", u"ÑŃŅŇŊ"},
    {"O", u"ÒÓÔÕÖØŌŐŎ"}, {"OE", u"Œ"},         {"P", u"Ṗ"},          {"R", u"ŘŔŖ"},   {"S", u"ŠŚŞŜȘ"},
    {"T", u"ŢṪŤŦȚ"},     {"U", u"ÙÚÛÜŲŪŰŮŬŨ"}, {"W", u"ẀẂŴẄ"},       {"Y", u"ỲÝŸŶ"},  {"Z", u"ŽŹŻ"},
    {"a", u"àáâãäåąāă"}, {"ae", u"æ"},         {"b", u"ḃ"},          {"c", u"çćčċĉ"}, {"d", u"ðďḋđ"},
    {"e", u"èéêëęēėěĕ"}, {"f", u"ḟƒ"},         {"g", u"ģğǵġĝ"},      {"h", u"ĥħ"},    {"i", u"ìíîïīįĩĭ"},
    {"j", u"ĵ"},         {"k", u"ķ"},          {"l", u"łĺľļŀ"},      {"m", u"ṁ"},     {"n", u"ñńňņŋŉ"},
    {"o", u"ōòóôõöøőŏ"}, {"oe", u"œ"},         {"p", u"ṗ"},          {"r", u"řŕŗ"},   {"s", u"šśşŝș"},
    {"ss", u"ß"},        {"t", u"ţťṫŧț"},      {"u", u"ùúûüųūűůŭũ"}, {"w", u"ẁẃẅŵ"},  {"y", u"ýÿỳŷ"},
    {"z", u"žźż"},
};

// No letter stands above U+FFFF.
const std::unordered_map<char16_t, std::string_view>& foldTable() {
  static const auto table = [] {
    std::unordered_map<char16_t, std::string_view> map;
    for (const Fold& fold : kFolds) {
      for (const char16_t letter : fold.letters) {
        map.emplace(letter, fold.ascii);
      }
    }
    return map;
  }();
  return table;
}

}  // namespace

bool foldToAscii(std::string_view charset, std::string_view in, std::string& out) {
  out.clear();
  if (in.empty()) {
    return true;
  }
  std::u16string text;
  try {
    StreamConverter converter(charset);
    converter << in;
    text = utf8ToWide(converter.takeOutput());
  } catch (const Exception&) {
    return false;
  }
  bool whole = true;
  for (const char16_t unit : text) {
    if (unit < 0x80) {
      out.push_back(static_cast<char>(unit));
      continue;
    }
    if (isLowSurrogate(unit)) {
      continue;  // its pair has given its "?"
    }
    const auto found = foldTable().find(unit);
    whole = whole && found != foldTable().end();
    out.append(found != foldTable().end() ? found->second : "?");
  }
  return whole;
}

}  // namespace nalvo::utils
