// Writes the text of HTML files: html_text CHARSET FILE OUTPUT, three arguments for each; "-" for a charset that nobody
// gave. UTF-8 with LF, to be compared with what a browser shows.
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "platform/text/html/html_text.h"
#include "platform/text/text.h"

int main(int argc, char** argv) {
  for (int i = 1; i + 2 < argc; i += 3) {
    std::ifstream file(argv[i + 1], std::ios::binary);
    if (!file) {
      std::cerr << argv[i + 1] << ": can't be read\n";
      return 1;
    }
    const std::string html{std::istreambuf_iterator<char>(file), {}};
    const nalvo::Charset* charset = nalvo::findCharset(argv[i]);
    const std::string text = nalvo::wideToUtf8(nalvo::htmlToText(html, charset != nullptr ? charset->codePage : 0));
    std::ofstream out(argv[i + 2], std::ios::binary);
    for (std::size_t at = 0; at < text.size(); ++at) {
      if (text[at] != '\r' || text.compare(at, 2, "\r\n") != 0) {
        out.put(text[at]);
      }
    }
  }
  return 0;
}
