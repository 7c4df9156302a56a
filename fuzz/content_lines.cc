// Any bytes read as lines or stop; what is written of them reads as the same and is written alike.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "mail/content_sources.h"
#include "platform/text/text.h"

namespace {

using namespace nalvo;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// The lines of a text, written again as whoever keeps them does.
std::string rewritten(const std::string& text, bool& stable) {
  std::istringstream in(text);
  mail::vcIStreamLex lexer(in, "");
  std::string out, name, value;
  while (!lexer.atEnd() && lexer.readName(name)) {
    const bool structured = name == "N";
    std::string line, param;
    std::vector<std::string> values;
    bool quotedPrintable = false;
    mail::quoteToken(name, line);
    while (lexer.readParamName(param)) {
      lexer.readParamValues(values);
      quotedPrintable = quotedPrintable || param == "Q";
      char separator = '=';
      for (const std::string& item : values) {
        require(isValidUtf8(item));
        std::string quoted;
        mail::quoteToken(item, quoted);
        if (param != "Q" && !quoted.empty()) {
          line.append(separator == '=' ? ";" + param : "").append(1, separator).append(quoted);
          separator = ',';
        }
      }
    }
    if (!lexer.readValue(value, quotedPrintable, structured)) {
      continue;
    }
    require(isValidUtf8(value));
    // Words inside words are decoded a few times, and a carriage return that goes may join a new one.
    stable = stable && value.find("=?") == std::string::npos && value.find('\r') == std::string::npos;
    line.push_back(':');
    mail::foldValue(value, line, structured);
    out.append(line).append("\r\n");
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  bool stable = true;
  const std::string once = rewritten({reinterpret_cast<const char*>(data), size}, stable);
  const std::string twice = rewritten(once, stable);
  require(!stable || twice == once);
  return 0;
}
