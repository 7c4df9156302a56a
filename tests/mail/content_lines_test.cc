// Tokens of calendar and card text over each of the three sources, and the text helpers of writing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "mail/content_sources.h"
#include "platform/text/text.h"
#include "streams/stream_utils.h"

namespace nalvo::mail {
namespace {

using namespace std::string_literals;

struct Line {
  std::string name, value;
  std::vector<std::pair<std::string, std::vector<std::string>>> params;

  friend bool operator==(const Line&, const Line&) = default;
};

std::ostream& operator<<(std::ostream& out, const Line& line) {
  out << line.name;
  for (const auto& [name, values] : line.params) {
    out << ';' << name << '=';
    for (const std::string& value : values) {
      out << '[' << value << ']';
    }
  }
  return out << ':' << line.value;
}

bool isStructured(std::string_view name) { return name == "ADR" || name == "N" || name == "ORG"; }

// Reads lines as whoever builds a tree of them does.
std::vector<Line> linesOf(HeaderLex& lexer) {
  std::vector<Line> lines;
  while (!lexer.atEnd()) {
    Line line;
    if (!lexer.readName(line.name)) {
      break;
    }
    bool quotedPrintable = false;
    std::string name;
    while (lexer.readParamName(name)) {
      std::vector<std::string> values;
      lexer.readParamValues(values);
      quotedPrintable =
          quotedPrintable || name == "QUOTED-PRINTABLE" || (!values.empty() && values[0] == "QUOTED-PRINTABLE");
      line.params.emplace_back(name, values);
    }
    if (!lexer.readValue(line.value, quotedPrintable, isStructured(line.name))) {
      line.value.clear();
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

std::vector<Line> linesOf(const std::string& text, std::string_view charset = "") {
  std::istringstream in(text);
  vcIStreamLex lexer(in, charset);
  return linesOf(lexer);
}

std::vector<Line> linesOverStream(const std::string& text) {
  const ComPtr<IStream> stream = streamUtils::createStream();
  streamUtils::detail::writeStr(stream.get(), std::string_view(text));
  streamUtils::rewind(stream.get());
  vcWinIStreamLex lexer(stream.get(), "");
  return linesOf(lexer);
}

std::vector<Line> linesOverNStream(const std::string& text, std::size_t piece) {
  std::size_t at = 0;
  NStream stream([&](char* buffer, std::size_t room) {
    const std::size_t count = text.copy(buffer, std::min(room, piece), std::min(at, text.size()));
    at += count;
    return count;
  });
  vcNStreamLex lexer(stream, "");
  return linesOf(lexer);
}

std::string valueOf(const std::string& text, std::string_view charset = "") {
  const std::vector<Line> lines = linesOf(text, charset);
  return lines.empty() ? "(none)" : lines[0].value;
}

TEST(ContentLines, ValuesAreUnfoldedAndDecoded) {
  struct Case {
    std::string_view why;
    std::string text, value;
  };
  const Case cases[] = {
      {"one blank of a fold goes", "SUMMARY:a\r\n b\r\n", "ab"},
      {"only one", "SUMMARY:a\r\n  b\r\n", "a b"},
      {"a tab folds", "SUMMARY:a\r\n\tb\r\n", "ab"},
      {"folds in the name and at the colon", "SUM\r\n MARY\r\n :\r\n a\r\n", "a"},
      {"bare LF", "SUMMARY:a\n b\nX:c\n", "ab"},
      {"bare CR", "SUMMARY:a\r b\rX:c\r", "ab"},
      {"doubled CR", "SUMMARY:a\r\r\nX:c\r\r\n", "a"},
      {"empty lines of both kinds inside a fold", "SUMMARY:a\r\n\r\n\n b\r\n", "ab"},
      {"byte order mark", "\xEF\xBB\xBFSUMMARY:a\r\n", "a"},
      {"no line end", "SUMMARY:a", "a"},
      {"escapes", "DESCRIPTION:a\\nb\\Nc\\td\\,\\;\\\\e\\", "a\nb\nc\td,;\\e\\"},
      {"an escape across a fold", "DESCRIPTION:a\\\r\n nb\r\n", "a\nb"},
      {"fields keep theirs", "ADR:a\\;b\\,c\\nd\\\\e\\x\\", "a\\;b\\,c\nd\\\\e\\x\\\\"},
      {"soft line breaks", "NOTE;ENCODING=QUOTED-PRINTABLE:a=\r\nb=C3=\r\n=A9\r\nX:c\r\n", "ab\u00E9"},
      {"a fold behind a soft break", "NOTE;QUOTED-PRINTABLE:a=\r\n  b=3D\r\n", "a b="},
      {"no soft breaks elsewhere", "NOTE:a=\r\nX:b\r\n", "a="},
      {"NUL at the end", "NOTE:a\0b\0\0\r\n"s, "a\0b"s},
      {"nothing but a NUL", "NOTE:\0\r\n"s, ""},
      {"encoded word", "SUMMARY:=?utf-8?Q?a?=\r\n", "a"},
      {"encoded words inside of encoded words", "SUMMARY:=?utf-8?B?PT91dGYtOD9RP2E/PQ==?=\r\n", "a"},
      {"encoded word inside of quoted-printable", "X;QUOTED-PRINTABLE:=3D?utf-8?Q?a?=3D\r\n", "a"},
      {"blanks in front go last", "X;QUOTED-PRINTABLE:=20=09a=20\r\n", "a "},
      {"escaped blank in front", "X:\\ a\r\n", "a"},
      {"a line feed in front stays", "X:\\n a\r\n", "\n a"},
      {"nothing but blanks", "X;QUOTED-PRINTABLE:=20=20\r\n", ""},
      {"Latin-1 in UTF-8", "X:caf\xE9 \xC5\x99\r\n", "caf\u00E9 \u0159"},
      {"a fold inside a character", "X:a\xC5\r\n \x99\r\n", "a\u0159"},
      {"fields that end in half an escape", "ADR:a\\\\\\\0\r\n"s, "a\\\\\\\\"},
      {"fields with an escaped tab", "ADR:a\\\tb\r\n", "a\tb"},
      {"fields decoded to escapes", "ADR;QUOTED-PRINTABLE:a=5Cnb=5C\r\n", "a\nb\\\\"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(valueOf(c.text), c.value);
  }
}

TEST(ContentLines, BrokenLinesCostNoOtherLine) {
  struct Case {
    std::string_view why;
    std::string text;
    std::vector<Line> lines;
  };
  const Case cases[] = {
      {"no colon, a word", "FOO a\r\nEND:A\r\n", {{"FOO", "", {{"a", {}}}}, {"END", "A", {}}}},
      {"no colon", "FOO\r\nEND:A\r\n", {{"FOO", "", {}}, {"END", "A", {}}}},
      {"cut in the parameters", "FOO;A=\r\nEND:A\r\n", {{"FOO", "", {{"A", {}}}}, {"END", "A", {}}}},
      {"cut in a quoted parameter", "FOO;A=\"x:y\r\nEND:A\r\n", {{"FOO", "", {{"A", {}}}}, {"END", "A", {}}}},
      {"empty value", "FOO:\r\nEND:A\r\n", {{"FOO", "", {}}, {"END", "A", {}}}},
      {"empty parameter value in a list", "X;A=1,,2:v\r\n", {{"X", "v", {{"A", {"1"}}}}}},
      {"empty parameter value", "X;A=;B=1:v\r\n", {{"X", "v", {{"A", {}}, {"B", {"1"}}}}}},
      {"quoted empty", "X;A=\"\",b;B=\":\":v\r\n", {{"X", "v", {{"A", {}}}}}},
      {"empty parameter", "X;;A=1:v\r\n", {{"X", "v", {{"A", {"1"}}}}}},
      {"junk in front of the colon", "X;A=1;!\"a:b\";c:v\r\n", {{"X", "v", {{"A", {"1"}}}}}},
      {"a group is no name", "item1.TEL:x\r\n", {{"item1", ".TEL:x", {}}}},
      {"a line that can't start a name ends all", "A:1\r\n=\r\nB:2\r\n", {{"A", "1", {}}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(linesOf(c.text), c.lines);
  }
}

TEST(ContentLines, ParametersAreListsOfTexts) {
  const std::string text =
      "X;HOME;A=1, 2 ,\"x;y\";B=\"a\\\\b\\nc\\td\\e\";C=caf\xE9; D = q r:v\r\n"
      "Y;A=mailto:v\r\n";
  const std::vector<Line> wanted = {
      {"X", "v", {{"HOME", {}}, {"A", {"1", "2 ", "x;y"}}, {"B", {"a\\b\nc\td\\e"}}, {"C", {"caf\u00E9"}}, {"D", {"q r"}}}},
      {"Y", "v", {{"A", {"mailto"}}}}};
  EXPECT_EQ(linesOf(text), wanted);
}

TEST(ContentLines, CharsetOfSourceAndOfValue) {
  EXPECT_EQ(valueOf("X:P\xF8\xED =?utf-8?Q?=C3=A9?= \xF8\r\n", "iso-8859-2"), "P\u0159\u00ED \u00E9 \u0159");
  EXPECT_EQ(valueOf("X:\x1B$BF|0Z\x1B(B\r\n", "iso-2022-jp"), "\u65E5\u754F");
  EXPECT_EQ(valueOf("X:caf\xC3\xA9\r\n", "windows-9999"), "caf\u00E9") << "an unknown charset is UTF-8";
  for (const char* line : {"X:\x95\\n\\n\x83\\\r\n", "X;QUOTED-PRINTABLE:=95\\n\\n=83=5C\r\n"}) {
    EXPECT_EQ(valueOf(line, "shift_jis"), "\u8868n\n\u30BD") << "a backslash that is half of a character";
  }
  EXPECT_EQ(valueOf("ADR:\x95\\;\\;\x83\\\r\n", "shift_jis"), "\u8868;\\;\u30BD");
  EXPECT_EQ(valueOf("X;QUOTED-PRINTABLE:C:=5Cnew\r\n", "shift_jis"), "C:\\new");

  std::istringstream in("A:\xF8\r\nB;QUOTED-PRINTABLE:=F8\r\n");
  vcIStreamLex lexer(in, "utf-8");
  std::string text;
  ASSERT_TRUE(lexer.readName(text) && lexer.readValue(text, false, false, "iso-8859-2"));
  EXPECT_EQ(text, "\u0159");
  ASSERT_TRUE(lexer.readName(text) && lexer.readParamName(text) && lexer.readValue(text, true, false, "iso-8859-2"));
  EXPECT_EQ(text, "\u0159");
}

TEST(ContentLines, LinesCanBePassedOver) {
  std::istringstream in("junk;a=\"x:y\" : value\r\n folded\r\nNEXT:  v  \r\nLAST:w\r\n");
  vcIStreamLex lexer(in, "");
  std::string text;
  ASSERT_TRUE(lexer.readName(text));
  EXPECT_TRUE(lexer.skipToValue());
  EXPECT_TRUE(lexer.skipValue());
  ASSERT_TRUE(lexer.readName(text));
  EXPECT_EQ(text, "NEXT");
  EXPECT_TRUE(lexer.readTrimmedValue(text, false, false));
  EXPECT_EQ(text, "v");
  ASSERT_TRUE(lexer.readName(text));
  EXPECT_FALSE(lexer.readName(text)) << "the rest of an unread line goes";
  EXPECT_TRUE(lexer.atEnd());
}

TEST(ContentSources, ReadTheSameWhateverThePieces) {
  std::string text = "BEGIN:A\r\n";
  for (int i = 0; i < 2000; ++i) {
    text += "X-" + std::to_string(i) + ";A=b:" + std::string(static_cast<std::size_t>(i % 300), 'v') + "\r\n  w\r\n";
  }
  text += "END:A\r\n";
  const std::vector<Line> wanted = linesOf(text);
  ASSERT_EQ(wanted.size(), 2002U);
  EXPECT_EQ(linesOverStream(text), wanted);
  for (const std::size_t piece : {1U, 16U, 4096U}) {
    EXPECT_EQ(linesOverNStream(text, piece), wanted) << piece;
  }
}

TEST(ContentSources, EndAsTheyDo) {
  const std::vector<Line> one = {{"A", "1", {}}};
  const std::vector<Line> two = {{"A", "1", {}}, {"B", "2", {}}};
  EXPECT_EQ(linesOverStream("A:1\r\nB:2"), one) << "what stands behind the last line end is lost";
  EXPECT_EQ(linesOverStream("A:1\rB:2\rC:3"), two);
  EXPECT_EQ(linesOverNStream("A:1\r\nB:2", 3), two);
  const std::string longest = "B:" + std::string(NStream::kMostLine - 4, 'x') + "\r\n";
  EXPECT_EQ(linesOverNStream("A:1\n" + longest, 4096).size(), 2U);
  EXPECT_EQ(linesOverNStream("A:1\n" + longest.substr(0, 2) + 'x' + longest.substr(2) + "C:1\n", 4096), one);

  vcWinIStreamLex nothing(nullptr, "");
  std::string name;
  EXPECT_FALSE(nothing.readName(name));
  EXPECT_TRUE(nothing.atEnd());
}

TEST(QuoteToken, WritesWhatReadsAgain) {
  struct Case {
    std::string_view text, written;
  };
  static constexpr Case kCases[] = {
      {"plain", "plain"},           {"A, B", "\"A, B\""}, {"a:b", "\"a:b\""}, {"a\tb\nc\r", "a\\tb\\nc"},
      {"say \"x\"", "\"say 'x'\""}, {"a\\b", "a\\\\b"},   {"", ""},           {"a\\n;", "\"a\\\\n;\""},
  };
  for (const Case& c : kCases) {
    std::string out;
    quoteToken(c.text, out);
    EXPECT_EQ(out, c.written);
    if (!out.empty() && c.text.find_first_of("\"\r") == std::string_view::npos) {
      EXPECT_EQ(linesOf("X;A=" + out + ":v")[0].params[0].second, std::vector<std::string>{std::string(c.text)});
    }
  }
}

TEST(FoldValue, CutsLinesAt56AndThen76Bytes) {
  const auto lengthsOf = [](std::string_view text) {
    std::string out;
    foldValue(text, out, false);
    std::vector<std::size_t> lengths;
    std::size_t at = 0;
    for (std::size_t end = 0; (end = out.find("\r\n", at)) != std::string::npos; at = end + 2) {
      lengths.push_back(end - at);
      EXPECT_TRUE(isValidUtf8(std::string_view(out).substr(at, end - at)));
    }
    lengths.push_back(out.size() - at);
    return lengths;
  };
  using Lengths = std::vector<std::size_t>;
  EXPECT_EQ(lengthsOf(std::string(56, 'a')), (Lengths{56}));
  EXPECT_EQ(lengthsOf(std::string(57, 'a')), (Lengths{56, 2}));
  EXPECT_EQ(lengthsOf(std::string(132, 'a')), (Lengths{56, 77}));
  EXPECT_EQ(lengthsOf(std::string(209, 'a')), (Lengths{56, 77, 77, 2}));
  EXPECT_EQ(lengthsOf(std::string(55, 'a') + "\u0159" + "b"), (Lengths{57, 2})) << "a character is never cut";
  EXPECT_EQ(lengthsOf(std::string(56, 'a') + "\r"), (Lengths{56})) << "a carriage return leaves no trace";
  EXPECT_EQ(lengthsOf(std::string(56, '\n') + "a"), (Lengths{112, 2})) << "an escape counts once";
}

TEST(FoldValue, EscapesWhatReadsAgain) {
  std::string plain, structured;
  foldValue("a\tb\nc\\d,e;f\r", plain, false);
  EXPECT_EQ(plain, "a\\tb\\nc\\\\d,e;f");
  foldValue("a\\;b\nc\\,d", structured, true);
  EXPECT_EQ(structured, "a\\;b\\nc\\,d");
  EXPECT_EQ(valueOf("X:" + plain), "a\tb\nc\\d,e;f");
  EXPECT_EQ(valueOf("ADR:" + structured), "a\\;b\nc\\,d");
}

std::string written(const std::vector<Line>& lines) {
  std::string out;
  for (const Line& line : lines) {
    quoteToken(line.name, out);
    for (const auto& [name, values] : line.params) {
      std::string list;
      for (const std::string& value : values) {
        list += list.empty() ? "" : ",";
        quoteToken(value, list);
      }
      if (name != "ENCODING" && name != "CHARSET" && !list.empty()) {
        out += ";" + name + "=" + list;
      }
    }
    out += ":";
    foldValue(line.value, out, isStructured(line.name));
    out += "\r\n";
  }
  return out;
}

// Every file of people reads, and what is written of it reads as the same and is written alike.
TEST(ContentLines, CorpusComesBackAsItWasWritten) {
  const char* corpus = std::getenv("NALVO_CORPUS");
  if (corpus == nullptr) {
    return;
  }
  int files = 0;
  std::size_t lines = 0;
  for (const char* folder : {"ics", "vcf"}) {
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(corpus) / folder)) {
      const std::string extension = entry.path().extension().string();
      if (extension != ".ics" && extension != ".vcs" && extension != ".vcf") {
        continue;
      }
      std::ifstream in(entry.path(), std::ios::binary);
      vcIStreamLex lexer(in, "");
      const std::vector<Line> read = linesOf(lexer);
      const std::string once = written(read);
      const std::vector<Line> again = linesOf(once);
      ASSERT_EQ(again.size(), read.size()) << entry.path();
      EXPECT_EQ(written(again), once) << entry.path();
      ++files;
      lines += read.size();
    }
  }
  EXPECT_GT(files, 900);
  EXPECT_GT(lines, 30000U);
}

}  // namespace
}  // namespace nalvo::mail
