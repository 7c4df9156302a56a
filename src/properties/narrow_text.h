// The steps that a text goes through inside a stored line. Each works on bytes; what is plain passes unchanged.
//
// Stored texts are UTF-8. A text enters as bytes of the ANSI code page and is recoded, whatever those bytes mean: a wide
// text enters as its UTF-8 bytes and so is coded twice.
#pragma once

#include <string>
#include <string_view>

namespace nalvo {

// Appends the text of the ANSI code page as UTF-8. All 256 bytes come back by the second function, which gives "?" for a
// character outside the page.
void appendAnsiAsUtf8(std::string_view ansi, std::string& out);
std::string utf8ToAnsi(std::string_view text);

// Lone surrogates become three bytes each, so that any text comes back. Bytes that are no character give U+FFFD.
std::string wideToWtf8(std::u16string_view text);
std::u16string wtf8ToWide(std::string_view text);

// TAB, LF, CR, quote and backslash by a letter or themselves behind a backslash; other bytes below 0x20 as "\0xhh".
void appendEscaped(std::string_view text, std::string& out);
// The way back. Four characters behind an unknown escape are tried as a hexadecimal number, of which the narrow form keeps
// the low byte; where that fails the backslash is dropped.
std::string unescape(std::string_view text);
std::u16string unescape(std::u16string_view text);

// A text of the ANSI code page as it is stored, escaped and recoded, and the way back.
void appendStored(std::string_view ansi, std::string& out);
std::string fromStored(std::string_view text);

}  // namespace nalvo
