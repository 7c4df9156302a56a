// Unstructured text in headers: encoded words, raw 8-bit bytes, folding.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/text/code_pages.h"

namespace nalvo::mime {

// Longest line that mail allows, line end not counted.
inline constexpr std::size_t kLineLimit = 998;

// How a value is broken into lines.
struct HeaderFold {
  std::size_t startColumn = 0;  // where the value begins on its first line: 9 behind "Subject: "
  std::size_t limit = 76;       // longest line, line end not counted
  std::string_view lineEnd = "\r\n";
};

// The value without its line ends and without blanks around it; the blanks of folds stay.
std::string unfold(std::string_view raw);

// Decodes encoded words and raw 8-bit bytes of an unfolded value. Blanks between two encoded words are dropped. Adjacent
// words of one charset are decoded as one text, so a character may be cut across them. Raw bytes are UTF-8 if they all are
// valid, else in `messageCharset` (may be null) if that can read them, else Windows-1252; so is a word of an unknown
// charset.
std::u16string decodeHeaderText(std::string_view unfoldedRaw, const Charset* messageCharset);

// Raw 8-bit bytes by the rule above, encoded words not looked at.
std::u16string decodeRawText(std::string_view bytes, const Charset* messageCharset);

// Bytes that came with a label: in `label`, Latin-1 being Windows-1252, whose quotes and dashes are its C1 controls. By the
// rule for raw bytes if the label is null or says us-ascii of what is none.
std::u16string decodeLabelledText(std::string_view bytes, const Charset* label, const Charset* messageCharset);

// A longer word is always encoded, since no line could hold it whole with its quotes and escapes.
inline constexpr std::size_t kLongestBareWord = 400;

// What may stand bare beside encoded words: any printable ASCII, or atoms only (names in front of addresses).
enum class HeaderContext { Text, Phrase };

// Folded pure ASCII that decodeHeaderText reads back as `text` exactly (lone surrogates become U+FFFD). Words of printable
// ASCII stay bare unless they could be taken for an encoded word; blanks that a reader might drop, CR, LF, NUL and tabs go
// inside encoded words. Encoded words have at most 75 characters and hold whole characters, in `charset` (null: UTF-8), or
// UTF-8 when that can't hold the text.
std::string encodeHeaderText(std::u16string_view text, const Charset* charset, const HeaderFold& fold,
                             HeaderContext context = HeaderContext::Text);

// Folds narrow text at its blanks. A word longer than a line stays whole up to 998 bytes and is cut beyond. CR, LF and NUL
// become blanks; blanks around the text go.
std::string foldHeader(std::string_view text, const HeaderFold& fold);

// The charset in which `text` goes into a header: `wanted`, or UTF-8 when that is null, can't hold it or doesn't begin as
// ASCII.
const Charset& headerCharsetFor(std::u16string_view text, const Charset* wanted);

}  // namespace nalvo::mime
