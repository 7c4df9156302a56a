#include "mime/parameters.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/text/text.h"

using namespace nalvo;
using namespace nalvo::mime;

namespace {

// "word|name=value|name=value"
std::string shown(const ParameterList& list) {
  std::string out(list.word());
  for (const Parameter& parameter : list.all()) {
    out += '|' + parameter.name + '=' + wideToUtf8(parameter.wide);
  }
  return out;
}

TEST(ParameterList, ReadsWhatSendersWrite) {
  struct Case {
    std::string_view why, raw, read;
    std::string_view charset = {};
  };
  static constexpr Case kCases[] = {
      {"by the book", "Text/Plain; charset=utf-8; name=\"a b.txt\"", "Text/Plain|charset=utf-8|name=a b.txt"},
      {"no value", "attachment", "attachment"},
      {"empty", "", ""},
      {"an empty value", "a/b; name=\"\"; x=", "a/b|name=|x="},
      {"blanks everywhere", " text / plain ; charset = \"utf-8\" ", "text/plain|charset=utf-8"},
      {"comments", "text/plain (note); (a (b)) charset=us-ascii (plain)", "text/plain|charset=us-ascii"},
      {"an open comment", "text/plain (note; charset=x", "text/plain|charset=x"},
      {"escapes", "a/b; name=\"a\\\"b\\\\c\"", "a/b|name=a\"b\\c"},
      {"a path", "a/b; name=\"C:\\temp\\a.txt\"", "a/b|name=C:\\temp\\a.txt"},
      {"a path of a share", "a/b; name=\"\\\\server\\new\"", "a/b|name=\\\\server\\new"},
      {"a path that ends in a backslash", "a/b; name=\"C:\\dir\\\"", "a/b|name=C:\\dir\\"},
      {"a bare path", "a/b; name=C:\\temp\\a.txt", "a/b|name=C:\\temp\\a.txt"},
      {"blanks without quotes", "a/b; filename=my file (1).pdf; size=3", "a/b|filename=my file (1).pdf|size=3"},
      {"no semicolons", "text/plain charset=utf-8 name=\"x\" format=flowed",
       "text/plain|charset=utf-8|name=x|format=flowed"},
      {"an open quote", "a/b; name=\"x y", "a/b|name=x y"},
      {"quotes inside", "a/b; name=\"say \"hello\" now.txt\"; size=1", "a/b|name=say \"hello\" now.txt|size=1"},
      {"a semicolon in quotes", "a/b; name=\"a;b\"", "a/b|name=a;b"},
      {"the first counts", "a/b; name=x; NAME=y", "a/b|name=x"},
      {"stray words and semicolons", "a/b;; foo; \"bar\"; name=x;", "a/b|name=x"},
      {"extended", "a/b; filename*=utf-8'de'%C3%A4%20b", "a/b|filename=\xC3\xA4 b"},
      {"extended in another charset", "a/b; filename*=koi8-r''%F0%D2", "a/b|filename=\xD0\x9F\xD1\x80"},
      {"extended without a charset", "a/b; filename*=''%E4", "a/b|filename=\xC3\xA4"},
      {"extended without marks", "a/b; filename*=a%20b", "a/b|filename=a b"},
      {"unknown charset", "a/b; filename*=x-none''%C3%A4", "a/b|filename=\xC3\xA4"},
      {"broken codes", "a/b; filename*=utf-8''a%2%zz%", "a/b|filename=a%2%zz%"},
      {"parts", "a/b; name*0=abc; name*1=\"def\"", "a/b|name=abcdef"},
      {"parts in any order, with gaps", "a/b; name*12=e; name*2=c; name*0=a; name*2=x", "a/b|name=ace"},
      {"a mix of parts", "a/b; name*0*=utf-8''%C3; name*1*=%A4; name*2=\"%41\"", "a/b|name=\xC3\xA4%41"},
      {"plain and extended", "a/b; filename=\"plain\"; filename*=utf-8''%C3%A4", "a/b|filename=\xC3\xA4"},
      {"an encoded word", "a/b; name=\"=?utf-8?Q?=C3=A4_b?=\"", "a/b|name=\xC3\xA4 b"},
      {"without quotes, with a semicolon", "a/b; name==?utf-8?Q?=C3=A4;b?=; x=y", "a/b|name=\xC3\xA4;b|x=y"},
      {"over parts", "a/b; name*0=\"=?utf-8?Q?=C3=\"; name*1=\"A4?=\"", "a/b|name=\xC3\xA4"},
      {"several words", "a/b; name=\"=?utf-8?B?w6Q=?= =?utf-8?B?w7Y=?=\"", "a/b|name=\xC3\xA4\xC3\xB6"},
      {"raw bytes", "a/b; name=\"\xE4\"", "a/b|name=\xD0\xB4", "windows-1251"},
      {"no number", "a/b; name*x=1", "a/b|namex=1"},
      {"a number too big", "a/b; name*99999999999=1", "a/b|name99999999999=1"},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(shown(ParameterList::parse(c.raw, findCharset(c.charset))), c.read) << c.why;
  }
}

TEST(ParameterList, KeepsTheBytesBesideTheText) {
  const ParameterList list = ParameterList::parse("a/b; name*=koi8-r''%F0; other=\"\xE4\"", nullptr);
  EXPECT_EQ(list.find("NAME")->value, "\xF0");
  EXPECT_EQ(list.find("other")->value, "\xE4");
  EXPECT_EQ(list.find("none"), nullptr);
}

TEST(ParameterList, WritesByTheBook) {
  struct Case {
    std::string_view why;
    std::u16string_view value;
    std::string_view charset, written;
  };
  static constexpr Case kCases[] = {
      {"a token", u"a.txt", "utf-8", "attachment; filename=a.txt"},
      {"quoted", u"a \"b\" C:\\x", "utf-8", "attachment; filename=\"a \\\"b\\\" C:\\\\x\""},
      {"empty", u"", "utf-8", "attachment; filename=\"\""},
      {"extended", u"\u00E4 b", "iso-8859-1", "attachment; filename*=iso-8859-1''%E4%20b"},
      {"UTF-8 for what the charset lacks", u"\u20AC", "iso-8859-1", "attachment; filename*=utf-8''%E2%82%AC"},
      {"UTF-8 for charsets with shifts", u"\u65E5", "iso-2022-jp", "attachment; filename*=utf-8''%E6%97%A5"},
      {"a line break", u"a\r\nX: b", "utf-8", "attachment; filename*=utf-8''a%0D%0AX%3A%20b"},
      {"looks encoded", u"=?a?Q?b?=", "utf-8", "attachment; filename*=utf-8''%3D%3Fa%3FQ%3Fb%3F%3D"},
  };
  for (const Case& c : kCases) {
    ParameterList list;
    list.setWord("attachment");
    list.set("filename", c.value);
    EXPECT_EQ(list.write(findCharset(c.charset), {21}), c.written) << c.why;
    EXPECT_EQ(ParameterList::parse(c.written, nullptr).find("filename")->wide, c.value) << c.why;
  }
}

TEST(ParameterList, LongValuesAreSplitWithinTheLimit) {
  ParameterList list;
  list.setWord("attachment");
  std::u16string value;
  for (int i = 0; i < 100; ++i) {
    value += u"\u00E4b";
  }
  list.set("filename", value);
  list.set("name", std::u16string(100, u'x'));
  list.set("size", u"3");
  const std::string written = list.write(nullptr, {21});
  std::size_t at = 0;
  for (std::size_t column = 21; at < written.size(); column = 0) {
    const std::size_t end = std::min(written.find("\r\n", at), written.size());
    EXPECT_LE(column + end - at, 76U);
    at = end + 2;
  }
  const ParameterList back = ParameterList::parse(unfold(written), nullptr);
  EXPECT_EQ(back.all().size(), 3U);
  EXPECT_EQ(back.find("filename")->wide, value);
  EXPECT_EQ(back.find("name")->wide, std::u16string(100, u'x'));
}

TEST(ParameterList, PartsEndBetweenCharacters) {
  for (const char* charset : {"utf-8", "iso-8859-1", "shift_jis", "gb18030"}) {
    ParameterList list;
    list.setWord("attachment");
    list.set("filename", std::u16string(60, u'\u65E5') + u"\U0001F600");
    const std::string written = list.write(findCharset(charset), {21});
    std::size_t parts = 0;
    for (std::size_t at = written.find("*="); at != std::string::npos; at = written.find("*=", at + 2), ++parts) {
      const std::size_t start = written.find("%", at);
      const std::size_t end = written.find_first_of(";\r", start);
      EXPECT_EQ((std::min(end, written.size()) - start) % 3, 0U);
      std::string bytes;
      for (std::size_t code = start; code < std::min(end, written.size()); code += 3) {
        bytes += static_cast<char>(std::stoi(written.substr(code + 1, 2), nullptr, 16));
      }
      EXPECT_TRUE(isValidUtf8(bytes)) << charset << " part " << parts;
    }
    EXPECT_GT(parts, 3U);
  }
}

TEST(ParameterList, ChangesInPlace) {
  ParameterList list = ParameterList::parse("text/plain; charset=x; name=y", nullptr);
  list.set("CHARSET", u"utf-8");
  list.set("format", u"flowed");
  EXPECT_TRUE(list.erase("Name"));
  EXPECT_FALSE(list.erase("name"));
  list.setWord("text/html\r\nX:");
  EXPECT_EQ(shown(list), "text/htmlX|CHARSET=utf-8|format=flowed");
}

}  // namespace
