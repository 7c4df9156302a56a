// The texts that other readers of RTF expect of their samples, compared with ours modulo white space.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "platform/text/html/html_text.h"
#include "platform/text/rtf/rtf_reader.h"
#include "platform/text/text.h"
#include "platform/text/text_converter.h"
#include "platform/text/utf8.h"
#include "streams/transfer_codecs.h"
#include "tests/text/rtf_files.h"

namespace nalvo {
namespace {

using test::fileBytes;

std::string asUtf8(const std::string& bytes) {
  return isValidUtf8(bytes) ? bytes : wideToUtf8(decodeText(bytes, kAnsiCodePage));
}

std::string shownOf(std::string_view html) { return wideToUtf8(htmlToText(html, kUtf8)); }

// "... Str "caf\233" , Space ..."
std::string textOfWords(std::string_view native) {
  constexpr std::string_view kStart = "Str \"";
  std::string text;
  for (std::size_t at = native.find(kStart); at != native.npos; at = native.find(kStart, at)) {
    at += kStart.size();
    while (at < native.size() && native[at] != '"') {
      if (native[at] != '\\') {
        text.push_back(native[at++]);
        continue;
      }
      char32_t number = 0;
      for (++at; native[at] >= '0' && native[at] <= '9'; ++at) {
        number = number * 10 + static_cast<char32_t>(native[at] - '0');
      }
      if (number != 0) {
        appendUtf8(number, text);
      } else if (native[at] != '&') {
        text.push_back(native[at++]);
      } else {
        ++at;
      }
    }
  }
  return text;
}

// The tokens of a reader, "<group><command name="b"/><chars>x</chars></group>", as HTML text.
std::string textOfTokens(std::string_view xml) {
  static constexpr std::string_view kNoText[] = {"*",    "fonttbl",   "colortbl", "stylesheet",
                                                 "info", "generator", "fldinst",  "pict"};
  static constexpr std::pair<std::string_view, std::string_view> kCharacters[] = {
      {"emdash", "&#x2014;"}, {"endash", "&#x2013;"},    {"bullet", "&#x2022;"},   {"lquote", "&#x2018;"},
      {"rquote", "&#x2019;"}, {"ldblquote", "&#x201C;"}, {"rdblquote", "&#x201D;"}};
  std::string html = "<pre>";
  std::vector<bool> shows{true};
  for (std::size_t at = xml.find('<'); at != xml.npos; at = xml.find('<', at)) {
    const std::size_t end = std::min(xml.find('>', at), xml.size());
    const std::string_view tag = xml.substr(at, end - at);
    at = end;
    if (tag == "<group") {
      shows.push_back(shows.back());
    } else if (tag == "</group") {
      shows.pop_back();
    } else if (tag == "<chars" && shows.back()) {
      html += xml.substr(end + 1, xml.find("</chars>", end) - end - 1);
    } else if (tag.starts_with("<command name=\"")) {
      const std::string_view name = tag.substr(15, tag.find('"', 15) - 15);
      if (tag.find("optional=\"true\"") != tag.npos ||
          std::find(std::begin(kNoText), std::end(kNoText), name) != std::end(kNoText)) {
        shows.back() = false;
      }
      for (const auto& [word, character] : kCharacters) {
        html += shows.back() && name == word ? character : "";
      }
    }
  }
  return shownOf(html);
}

// Without the numbers and bullets of lists, which HTML does not show as text.
std::string withoutListMarks(std::string rtf) {
  for (const std::string_view mark : {"{\\listtext", "{\\pntext"}) {
    for (std::size_t at = rtf.find(mark); at != rtf.npos; at = rtf.find(mark, at)) {
      int depth = 1;
      std::size_t end = at + 1;
      for (; end < rtf.size() && depth != 0; ++end) {
        depth += rtf[end] == '{' ? 1 : rtf[end] == '}' ? -1 : 0;
      }
      rtf.erase(at, end - at);
    }
  }
  return rtf;
}

std::string withoutWhiteSpace(std::string_view utf8, bool bars) {
  std::string result;
  for (const char16_t unit : utf8ToWide(utf8)) {
    if (unit > u' ' && unit != 0xA0 && unit != 0xFEFF && (bars || unit != u'|')) {
      result += wideToUtf8(std::u16string_view(&unit, 1));
    }
  }
  return result;
}

struct Row {
  std::string_view part;  // of the name
  std::string_view why;
};
// Not looked at.
constexpr Row kExcluded[] = {
    {".classic.html", "another program's rendering of the RTF, not the HTML in it"},
    {".swing.html", "the same"},
    {".expect.eml", "a whole mail; its text stands beside it"},
    {".lzfu.expect.rtf", "an expectation of the compressed form"},
    {".json", "of the head"},
    {"phprtflite_image", "the expectation is that of another sample, with nested tables"},
};
// Expectations that hold something beside the text of the body. Counted apart.
constexpr Row kNotTheText[] = {
    {"multiple-encodings.rtf.expect.txt", "the sample is damaged: two bytes of quoted-printable stand in its text"},
    {"pandoc__rtf_image", "the name of a picture"},
    {"phprtflite_paragraphs_fonts", "the date of that day"},
    {"rtf2xml_headers_footers", "heads and feet of pages"},
    {"rtf2xml_japanese", "single bytes of characters of two bytes, as letters"},
    {"mac_textedit_hyperlink", "targets of links"},
};
// Where we differ: letters that are shown as capitals stay as they were typed, and a field of one symbol gives nothing.
constexpr Row kMisses[] = {{"rtf2xml_caps_mixed", "capitals"}, {"Issue46", "a symbol"}};

bool isOneOf(const std::string& name, const Row* rows, std::size_t count) {
  return std::any_of(rows, rows + count, [&](const Row& row) { return name.find(row.part) != name.npos; });
}

std::string textOf(const std::string& rtf) {
  const RtfNativeBody kind = rtfNativeBody(rtf);
  RtfReader reader(kind == RtfNativeBody::Html        ? RtfReader::Rendering::EncapsulatedHtml
                   : kind == RtfNativeBody::PlainText ? RtfReader::Rendering::EncapsulatedText
                                                      : RtfReader::Rendering::Text);
  std::u16string text;
  reader.update(rtf, text);
  reader.finish(text);
  return wideToUtf8(text);
}

bool isAsExpected(const std::string& name, const std::string& rtf, const std::string& expected) {
  const auto same = [](std::string_view a, std::string_view b, bool bars = true) {
    return withoutWhiteSpace(a, bars) == withoutWhiteSpace(b, bars);
  };
  if (name.ends_with(".html") && rtfNativeBody(rtf) != RtfNativeBody::Html) {
    return same(textOf(withoutListMarks(rtf)), shownOf(expected));
  }
  if (name.ends_with(".native")) {
    return same(textOf(withoutListMarks(rtf)), textOfWords(expected));
  }
  if (name.ends_with(".xml")) {
    return same(textOf(rtf), textOfTokens(expected));
  }
  if (name.find("quoted_printable") != name.npos) {
    QpDecoder decoder;
    std::string bytes;
    decoder.update(expected, bytes);
    decoder.finish(bytes);
    return same(textOf(rtf), wideToUtf8(decodeText(bytes, 1251)));
  }
  // One of them parts cells by bars.
  return same(textOf(rtf), expected, !name.starts_with("striprtf"));
}

TEST(RtfCorpus, TextsAreWhatOthersExpect) {
  std::size_t compared = 0;
  std::size_t equal = 0;
  std::size_t notTheText = 0;
  for (const auto& path : test::corpusFiles("rtf", "")) {
    const std::string name = path.filename().string();
    const std::size_t mark = name.find(".expect");
    if (mark == name.npos || isOneOf(name, kExcluded, std::size(kExcluded))) {
      continue;
    }
    ++compared;
    if (isAsExpected(name, fileBytes(path.parent_path() / name.substr(0, mark)), asUtf8(fileBytes(path)))) {
      ++equal;
    } else if (isOneOf(name, kNotTheText, std::size(kNotTheText))) {
      ++notTheText;
    } else {
      EXPECT_TRUE(isOneOf(name, kMisses, std::size(kMisses))) << name;
    }
  }
  if (test::haveCorpus()) {
    std::printf("%zu of %zu texts are equal; %zu expectations hold more than the text\n", equal, compared, notTheText);
    EXPECT_GE(compared, 80U);
    EXPECT_GE(equal * 100, (compared - notTheText) * 95);
  }
}

}  // namespace
}  // namespace nalvo
