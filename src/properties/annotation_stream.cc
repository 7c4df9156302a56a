#include "properties/annotation_stream.h"

namespace nalvo::annotation_stream {

void appendSanitised(std::string_view text, std::string& out) {
  for (const char c : text) {
    if (c == '$' || c == '~') {
      out += '$';
    }
    out += c == '"' ? '~' : c;
  }
}

std::string desanitise(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '$') {
      out += text[i] == '~' ? '"' : text[i];
    } else if (++i < text.size()) {
      out += text[i];
    }
  }
  return out;
}

}  // namespace nalvo::annotation_stream
