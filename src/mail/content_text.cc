// The text of names, parameter values and values, as lines hold it.
#include "mail/content_lines.h"

#include <algorithm>
#include <array>

namespace nalvo::mail {
namespace {

constexpr bool isQuotedFor(char c) { return c == ':' || c == ';' || c == ',' || c == ' '; }

// It is written as something else. A table, as each character of a text is asked about.
bool isEscaped(char c) {
  static constexpr auto kEscaped = [] {
    std::array<bool, 256> escaped{};
    escaped['\t'] = escaped['\n'] = escaped['\r'] = escaped['\\'] = true;
    return escaped;
  }();
  return kEscaped[static_cast<unsigned char>(c)];
}

constexpr bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// Carriage returns leave no trace, or a value would be folded otherwise once it has been read again.
void appendEscaped(char c, std::string& out) {
  if (c != '\r') {
    out.append(c == '\t' ? "\\t" : c == '\n' ? "\\n" : "\\\\");
  }
}

}  // namespace

void quoteToken(std::string_view text, std::string& out) {
  const bool quoted = std::any_of(text.begin(), text.end(), isQuotedFor);
  if (quoted) {
    out.push_back('"');
  }
  while (!text.empty()) {
    const auto end = std::find_if(text.begin(), text.end(), [](char c) { return isEscaped(c) || c == '"'; });
    const auto plain = static_cast<std::size_t>(end - text.begin());
    out.append(text.substr(0, plain));
    if (end != text.end()) {
      *end == '"' ? out.push_back('\'') : appendEscaped(*end, out);
    }
    text.remove_prefix(std::min(plain + 1, text.size()));
  }
  if (quoted) {
    out.push_back('"');
  }
}

void foldValue(std::string_view text, std::string& out, bool structured) {
  constexpr std::size_t kFirstLine = 56;
  constexpr std::size_t kNextLines = 76;
  std::size_t room = kFirstLine;
  for (std::size_t at = 0; at < text.size();) {
    const char first = text[at];
    if (room == 0 && first != '\r' && !continuesCharacter(first)) {
      out.append("\r\n ");
      room = kNextLines;
    }
    std::size_t end = at + 1;
    if (isEscaped(first) && !(structured && first == '\\')) {
      appendEscaped(first, out);
    } else {
      const std::size_t most = std::min(text.size(), at + std::max<std::size_t>(room, 1));
      while (end < most && !isEscaped(text[end])) {
        ++end;
      }
      while (end < text.size() && continuesCharacter(text[end])) {
        ++end;
      }
      out.append(text.substr(at, end - at));
    }
    room -= first == '\r' ? 0 : std::min(room, end - at);
    at = end;
  }
}

}  // namespace nalvo::mail
