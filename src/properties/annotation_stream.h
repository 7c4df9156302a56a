// What the writer and the reader of annotation streams share.
//
// A stream is a marker and entries, each a quoted name and a quoted value parted by a blank. No quote stands inside.
#pragma once

#include <string>
#include <string_view>

namespace nalvo::annotation_stream {

// The marker says nothing about the entries; they are no Base64.
inline constexpr std::string_view kMarker = "BASE64:";
// Another client's form, which is only read: lines of names and values in turn.
inline constexpr std::string_view kLinesMarker = "ZIRBDATA:";

// A quote becomes "~", a dollar or tilde itself behind a dollar. Bytes of the ANSI code page.
void appendSanitised(std::string_view text, std::string& out);
// The way back; a dollar at the end is dropped.
std::string desanitise(std::string_view text);

}  // namespace nalvo::annotation_stream
