#include "mime/scanner.h"

#include "tests/mime/mime_support.h"

namespace nalvo::mime::testing {
namespace {

// The bodies that are found, as contents: "parts(a|b)", "." for none.
std::string outline(std::string_view text, const ScanLimits& limits = {}) {
  const ComPtr<TestStream> stream = streamOf(text);
  const std::shared_ptr<Source> source = Source::whole(stream.get());
  const std::vector<ScannedBody> bodies = scanMessage(source, limits);
  std::string result;
  std::vector<std::int32_t> open;
  for (std::size_t i = 0; i < bodies.size(); ++i) {
    const ScannedBody& body = bodies[i];
    while (!open.empty() && open.back() != body.parent) {
      open.pop_back();
      result += ')';
    }
    if (!result.empty() && result.back() != '(') {
      result += '|';
    }
    if (body.hasParts) {
      result += "parts(";
      open.push_back(static_cast<std::int32_t>(i));
    } else {
      result += body.spans.content.empty() ? "." : source->text(body.spans.content);
    }
  }
  return result + std::string(open.size(), ')');
}

TEST(MimeScanner, OddTexts) {
  struct Case {
    const char* why;
    std::string text;
    std::string outline;
  };
  const std::string head = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
  const std::string inner = "Content-Type: multipart/mixed; boundary=c\r\n\r\n";
  const Case cases[] = {
      {"two parts, text ahead and behind", head + "pre\r\n--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--\r\npost",
       "parts(one|two)"},
      {"a line of blanks ahead of the rows", "   \t\r\n\r\n" + head + "--b\r\n\r\none\r\n--b--", "parts(one)"},
      {"bare LF", "Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n\n--b\n\ntwo\n--b--\n", "parts(one\n|two)"},
      {"blanks behind a delimiter", head + "--b \t\r\n\r\none\r\n--b-- \r\n", "parts(one)"},
      {"no last delimiter", head + "--b\r\n\r\none\r\n", "parts(one\r\n)"},
      {"no boundary parameter", "Content-Type: multipart/mixed\r\n\r\n--b\r\n\r\none", "--b\r\n\r\none"},
      {"a boundary that never occurs", head + "text --b\r\n-- b", "text --b\r\n-- b"},
      {"only a last delimiter", head + "x\r\n--b--\r\ny", "x\r\n--b--\r\ny"},
      {"the first of two types counts", head.substr(0, head.size() - 2) + "Content-Type: text/plain\r\n\r\n--b\r\n\r\n1",
       "parts(1)"},
      {"the outer delimiter ends the inner multipart", head + "--b\r\n" + inner + "--c\r\n\r\n1\r\n--b\r\n\r\n2",
       "parts(parts(1)|2)"},
      {"an inner multipart without parts is a leaf", head + "--b\r\n" + inner + "1\r\n--b\r\n\r\n2", "parts(1|2)"},
      {"a line ahead of the delimiter that begins with dashes", head + "--b\r\n\r\n1\r\n-- \r\n--b--", "parts(1\r\n-- )"},
      {"one boundary for two, the innermost wins",
       head + "--b\r\n" + head + "--b\r\n\r\n1\r\n--b--\r\n--b\r\n\r\n2\r\n--b--", "parts(parts(1)|2)"},
      {"a delimiter right behind the rows", head + "--b\r\nA: 1\r\n--b\r\n\r\n2", "parts(.|2)"},
      {"an empty part", head + "--b\r\n\r\n--b\r\n\r\n\r\n--b--", "parts(.|.)"},
      {"no empty line behind the rows", "A: 1\r\ntext of it\r\nB: 2\r\n\r\nmore", "text of it\r\nB: 2\r\n\r\nmore"},
      {"empty lines ahead of the rows", "\r\n\n\r\nA: 1\r\n\r\ntext", "text"},
      {"empty lines ahead of a text without rows", "\r\n\r\nno row", "\r\nno row"},
      {"nothing but an empty line", "\r\n", "."},
      {"a mailbox line", "From a@b Mon Jan  1\nA: 1\n\ntext", "text"},
      {"rows alone", "A: 1", "."},
      {"nothing", "", "."},
      {"a message within is a leaf", "Content-Type: message/rfc822\r\n\r\n" + head + "--b\r\n\r\n1", head + "--b\r\n\r\n1"},
      {"a quoted boundary with blanks", "Content-Type: multipart/x;\r\n\tboundary=\"a b\"\r\n\r\n--a b\r\n\r\n1\r\n--a b--",
       "parts(1)"},
      {"a boundary that ends in dashes", "Content-Type: multipart/x; boundary=\"b--\"\r\n\r\n--b--\r\n\r\n1\r\n--b----",
       "parts(1)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(c.outline, outline(c.text));
  }
}

// Cut anywhere, also inside of windows and line ends: the spans are the whole text in order.
TEST(MimeScanner, SpansCoverTheTextWhereverItEnds) {
  const std::string long_ = std::string(Source::kWindow - 60, 'x') + "\r\n--b\r\nA: 1\r\n\r\n" + std::string(70000, 'y');
  const std::string text = "\r\nContent-Type: multipart/mixed;\r\n boundary=b\r\n\r\n--b\r\n\r\n" + long_ + "\r\n--b--\r\n";
  const auto covers = [](std::string_view cut) {
    const ComPtr<TestStream> stream = streamOf(cut);
    const std::shared_ptr<Source> source = Source::whole(stream.get());
    const std::vector<ScannedBody> bodies = scanMessage(source);
    for (const ScannedBody& body : bodies) {
      const BodySpans& spans = body.spans;
      std::uint64_t at = body.parent < 0 ? 0 : spans.delimiter.offset;
      for (const Span& span : {spans.delimiter, spans.leading, spans.header, spans.separator, spans.content}) {
        if (span.length > 0 && span.offset != at) {
          return false;
        }
        at = span.length > 0 ? span.end() : at;
      }
      if (body.parent < 0 && at != cut.size()) {
        return false;
      }
    }
    return true;
  };
  for (std::size_t cut = 0; cut <= text.size(); cut += cut < 120 || (cut > 65400 && cut < 65600) ? 1 : 997) {
    ASSERT_TRUE(covers(std::string_view(text).substr(0, cut))) << cut;
  }
  ASSERT_EQ("parts(" + std::string(Source::kWindow - 60, 'x') + "|" + std::string(70000, 'y') + ")", outline(text));
}

TEST(MimeScanner, BeyondItsLimitsTextStaysContent) {
  ScanLimits limits;
  limits.bodies = 3;
  limits.depth = 1;
  limits.rows = 2;
  limits.rowBytes = 40;
  const std::string head = "Content-Type: multipart/x; boundary=b\r\n\r\n";
  EXPECT_EQ("parts(1|2)", outline(head + "--b\r\n\r\n1\r\n--b\r\n\r\n2\r\n--b\r\n\r\n3\r\n--b--", limits));
  EXPECT_EQ("parts(--c\r\n\r\n1)",
            outline(head + "--b\r\nContent-Type: multipart/y; boundary=c\r\n\r\n--c\r\n\r\n1", limits));
  EXPECT_EQ("C: 3\r\n\r\ntext", outline("A: 1\r\nB: 2\r\nC: 3\r\n\r\ntext", limits));
  const std::string longRow = "B: " + std::string(40, 'x') + "\r\n\r\ntext";
  EXPECT_EQ(longRow, outline("A: 1\r\n" + longRow, limits));
  EXPECT_EQ("text",
            outline("A: 1\r\nX-MAPI: " + std::string(40, 'x') + "\r\n " + std::string(40, 'x') + "\r\n\r\ntext", limits));
}

}  // namespace
}  // namespace nalvo::mime::testing
