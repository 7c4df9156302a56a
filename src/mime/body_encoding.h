// Which transfer encoding a body goes out in, and quoted-printable for output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "mime/mime.h"
#include "platform/text/code_pages.h"

namespace nalvo::mime {

// Writes text as quoted-printable in lines of at most 76, line ends CR LF. A CR LF of the text is a line end; a CR or LF
// alone is data, "=0D" or "=0A" and a soft break. Blanks at the end of a line, "From " at its start and a lone "." are
// protected. Decoding gives the same bytes.
class QpEncoder {
 public:
  // Appends to `out`; pieces of any size.
  void update(std::string_view piece, std::string& out);
  // Ends the text. The encoder then stands at the start of a new one.
  void finish(std::string& out);

 private:
  void put(unsigned char byte, std::string& out);
  void putEncoded(unsigned char byte, std::string& out);
  void softBreak(std::string& out);
  void flushLine(bool lineEnd, std::string& out);

  std::string line_;  // the encoded line so far, not written yet
  bool cr_ = false;   // a CR came, its partner not yet
};

// What a text is made of, counted piece by piece in constant memory.
class TextStatistics {
 public:
  void update(std::string_view piece);

  // All of these may be asked at any time and speak of what came so far; a CR at the very end counts as bare.
  bool isAscii() const { return nonAscii_ == 0; }
  bool hasNul() const { return nul_; }
  bool hasBareLineEnd() const { return bare_ || lastCr_; }
  bool hasFromLine() const { return fromLine_; }
  std::uint64_t bytes() const { return bytes_; }
  std::uint64_t longestLine() const { return longest_ > lineLength_ ? longest_ : lineLength_; }  // line end not counted
  std::uint64_t qpSize() const;      // about, soft breaks included
  std::uint64_t base64Size() const;  // line ends included

 private:
  std::uint64_t bytes_ = 0;
  std::uint64_t nonAscii_ = 0;
  std::uint64_t encoded_ = 0;  // bytes that quoted-printable writes as three characters
  std::uint64_t longest_ = 0;
  std::uint64_t lineLength_ = 0;
  std::size_t fromMatched_ = 0;  // how much of "From " the line has matched
  bool nul_ = false;
  bool bare_ = false;
  bool lastCr_ = false;
  bool fromLine_ = false;
};

// Text of our own making: 7bit when it is ASCII with CR LF line ends, no NUL, no line above 998 bytes and no "From " at the
// start of one; else quoted-printable, or Base64 where that is shorter. `charset` (may be null): UTF-16 and UTF-32 are
// Base64.
Encoding chooseTextEncoding(const TextStatistics& statistics, const Charset* charset = nullptr);

// Messages and header blocks, which go out as they are: 7bit, else 8bit; Base64 for NUL or a line above 998 bytes.
Encoding chooseRawEncoding(const TextStatistics& statistics);

}  // namespace nalvo::mime
