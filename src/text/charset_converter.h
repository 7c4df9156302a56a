// Conversion of strings between charsets, for the calendar and card library, whose text inside is UTF-8.
//
// Bytes that can't be read and characters that the target lacks are stepped over without being counted: one bad byte never
// costs a value. Bytes of a UTF-8 text that aren't UTF-8 are read as Windows-1252, which is what they nearly always are.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/text/code_pages.h"
#include "text/charset_error.h"
#include "text/charset_utf7_imap.h"

namespace nalvo {
class TextConverter;
}

namespace nalvo::utils {

// One direction, for any number of texts. Belongs to one thread at a time.
class CharsetConverter {
 public:
  // from, to            names as they are (not repaired), with UTF-7-IMAP beside the charsets of the platform.
  // throwOnOpenFailure  std::runtime_error for a charset that isn't supported; without it every `convert` gives false.
  //                     Malformed UTF-7-IMAP throws Exception too, unless partial text is accepted.
  // acceptPartial       a text that ends inside a character gives true, without that character; malformed UTF-7-IMAP gives
  //                     "&".
  CharsetConverter(std::string_view from, std::string_view to, bool throwOnOpenFailure, bool acceptPartial);
  ~CharsetConverter();
  CharsetConverter(const CharsetConverter&) = delete;
  CharsetConverter& operator=(const CharsetConverter&) = delete;

  bool isOpen() const { return open_; }

  // Replaces `out` by the whole of `in`, converted.
  bool convert(std::string_view in, std::string& out);
  // How many sequences of UTF-7-IMAP the last `convert` could not take.
  std::size_t irreversible() const { return irreversible_; }

 private:
  bool convertPage(std::string_view in, CodePage page, std::string& out);
  bool endsInsideCharacter(std::string_view in, CodePage page) const;

  CodePage from_ = 0;
  CodePage to_ = 0;
  bool decodeImap_ = false;
  bool encodeImap_ = false;
  bool acceptPartial_;
  bool open_ = false;
  Utf7ImapOptions imapOptions_;
  std::size_t irreversible_ = 0;
  std::unique_ptr<TextConverter> converter_;
};

// The text as valid UTF-8: what is valid stays, each other byte is read as Windows-1252.
std::string repairUtf8(std::string_view text);

// With the names as they are. False when one isn't supported.
bool convertCharset(std::string_view from, std::string_view in, std::string_view to, std::string& out, bool acceptPartial);

// With `from` repaired first; false as well when UTF-7-IMAP lost something. What was converted stands in `out`.
bool convertToCharset(std::string_view from, std::string_view to, std::string_view in, std::string& out, bool acceptPartial);

}  // namespace nalvo::utils
