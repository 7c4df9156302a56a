// RTF made of plain text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nalvo {

// Writes UTF-16 text that comes in pieces as RTF: one font, Arial, not bold; ASCII bytes only. CR, LF and CR LF each end a
// paragraph; every other unit comes back from RtfReader as it was.
class RtfWriter {
 public:
  // `blanks`: places in the text, counted in characters of UTF-16 with a line end as one, in rising order. In front of each
  // goes a blank that the text does not have; what lies behind the end goes to the end.
  explicit RtfWriter(std::vector<std::uint32_t> blanks = {});

  // The beginning; to be written first, and in one block.
  std::string head() const;
  void update(std::u16string_view text, std::string& out);
  // Ends the last paragraph and the text.
  void finish(std::string& out);

 private:
  void put(char16_t unit, std::string& out);
  void endParagraph(std::string& out);
  void putBlanks(std::string& out);

  std::vector<std::uint32_t> blanks_;
  std::size_t nextBlank_ = 0;
  std::uint64_t place_ = 0;
  bool afterCarriageReturn_ = false;
};

}  // namespace nalvo
