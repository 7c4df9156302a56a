// The tokens of which stored property values and names consist: parted by single blanks, each a number in hexadecimal, a
// GUID, a Base64 text in brackets or a quoted text.
#pragma once

#include <string>
#include <string_view>

#include "nalvo/mapi.h"
#include "properties/mapi_alloc.h"

namespace nalvo {

// Grows a line, token by token.
class LexicalSynthesizer {
 public:
  // The token as it is.
  void putRaw(std::string_view token);
  void putShort(std::uint16_t value);  // four digits
  void putLong(std::uint32_t value);   // eight digits
  void putBool(bool value);            // 0000 or 0001
  // Two tokens each, the low half first.
  void putInt64(std::uint64_t value);
  void putDouble(double value);  // its bits
  void putFileTime(const FILETIME& value);
  void putGuid(const GUID& value);
  // Bytes in the ANSI code page.
  void putString(std::string_view ansi);
  void putWideString(std::u16string_view text);
  // Throws E_FAIL for more bytes than Base64 can hold in memory.
  void putBinary(std::string_view bytes);

  const std::string& text() const { return text_; }
  std::string take() { return std::move(text_); }

 private:
  // What stands in front of a token.
  void separate();

  std::string text_;
};

// Reads a line, which has to outlive the parser. Everything throws MAPI_E_CORRUPT_DATA when there is no such token.
class LexicalParser {
 public:
  explicit LexicalParser(std::string_view text) : text_(text) {}

  // A quoted token keeps its quotes; a quote behind an odd number of backslashes doesn't end it.
  std::string_view nextToken();
  std::uint16_t getShort();
  std::uint32_t getLong();
  bool getBool();  // any number but 0
  std::uint64_t getInt64();
  double getDouble();
  FILETIME getFileTime();
  GUID getGuid();
  // Bytes in the ANSI code page.
  std::string getString();
  // A wide text as putWideString wrote it.
  std::u16string getStringOld();
  // A wide text in plain UTF-8, which another client wrote.
  std::u16string getWideString();
  // What stands between the brackets is decoded into a block that dies with `parent`; `cb` 0 and null when it is empty.
  // Throws the allocator's code as well.
  SBinary getBinary(const MapiAlloc& alloc, void* parent);

  bool atEnd() const { return position_ == text_.size(); }
  std::size_t left() const { return text_.size() - position_; }

 private:
  // The inside of a token with these ends.
  std::string_view between(char first, char last);
  std::uint32_t hex(std::size_t width);

  std::string_view text_;
  std::size_t position_ = 0;
};

}  // namespace nalvo
