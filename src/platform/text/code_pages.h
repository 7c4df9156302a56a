// Code pages and the charset names that mail gives them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace nalvo {

using CodePage = std::uint32_t;

inline constexpr CodePage kAnsiCodePage = 1252;
inline constexpr CodePage kUtf16 = 1200;  // little endian, no mark
inline constexpr CodePage kUtf16Be = 1201;
inline constexpr CodePage kUtf32 = 12000;  // little endian, no mark
inline constexpr CodePage kUtf32Be = 12001;
inline constexpr CodePage kUsAscii = 20127;
inline constexpr CodePage kLatin1 = 28591;
inline constexpr CodePage kUtf7 = 65000;
inline constexpr CodePage kUtf8 = 65001;

// One code page. Rows live as long as the program.
struct Charset {
  // Who converts: a loop of our own, iconv, or ICU.
  enum class Engine : std::uint8_t { Own, Iconv, Icu };
  enum class Shape : std::uint8_t {
    AsciiSuperset,  // bytes below 0x80 are ASCII wherever they begin a character
    Stateful,       // ASCII at the start; escapes or shifts switch to other sets (ISO-2022, HZ, UTF-7)
    Wide,           // UTF-16, UTF-32
    Ebcdic,
  };

  CodePage codePage;
  std::string_view name;       // preferred name in headers
  std::string_view converter;  // name for the engine
  CodePage windowsCodePage;    // of the family: 28591 -> 1252
  CodePage internetCodePage;   // how mail in that family goes out: 932 -> 50220
  Engine engine;
  Shape shape;

  bool asciiSuperset() const { return shape == Shape::AsciiSuperset; }
  bool isUnicode() const { return shape == Shape::Wide || codePage == kUtf8 || codePage == kUtf7 || codePage == 54936; }
};

// The row of a name or alias, compared without case; quotes and blanks around it don't count. Null for a name nobody knows.
const Charset* findCharset(std::string_view nameOrAlias);

// Null for a page that the table lacks.
const Charset* findCodePage(CodePage codePage);

// What a byte order mark at the start of `text` says; no page (0) and no bytes without one.
struct ByteOrderMark {
  CodePage codePage;
  std::size_t bytes;
};
ByteOrderMark byteOrderMarkOf(std::string_view text);

}  // namespace nalvo
