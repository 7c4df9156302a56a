// The text of names, parameter values and values, as lines hold it.
#include "mail/content_lines.h"

namespace nalvo::mail {

void quoteToken(std::string_view text, std::string& out) {
  const bool quoted = text.find_first_of(":;, ") != std::string_view::npos;
  if (quoted) {
    out.push_back('"');
  }
  for (const char c : text) {
    switch (c) {
      case '\t':
        out.append("\\t");
        break;
      case '\n':
        out.append("\\n");
        break;
      case '\r':
        break;
      case '"':
        out.push_back('\'');
        break;
      case '\\':
        out.append("\\\\");
        break;
      default:
        out.push_back(c);
    }
  }
  if (quoted) {
    out.push_back('"');
  }
}

void foldValue(std::string_view text, std::string& out, bool structured) {
  constexpr int kFirstLine = 56;
  constexpr int kNextLines = 76;
  int budget = kFirstLine;
  std::size_t written = 0;  // what lies in front of it stands in `out`
  const auto writeUpTo = [&](std::size_t end) {
    out.append(text.substr(written, end - written));
    written = end;
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    // It leaves no trace, or the value would be folded otherwise once it has been read again.
    if (c == '\r') {
      writeUpTo(i);
      ++written;
      continue;
    }
    const bool startsCharacter = (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    if (budget < 1 && startsCharacter) {
      writeUpTo(i);
      out.append("\r\n ");
      budget = kNextLines;
    }
    --budget;
    if (c == '\t' || c == '\n' || (c == '\\' && !structured)) {
      writeUpTo(i);
      out.append(c == '\t' ? "\\t" : c == '\n' ? "\\n" : "\\\\");
      ++written;
    }
  }
  writeUpTo(text.size());
}

}  // namespace nalvo::mail
