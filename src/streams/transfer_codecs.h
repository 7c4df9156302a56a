// Quoted-printable and Base64 as push codecs: bytes go in by pieces of any size, what they give is appended to a string.
//
// The coders of streams and the MIME layer share them, so that a body reads the same whatever its size and whoever decodes
// it. How the input is cut into pieces never changes the result. No decoder fails: there is no invalid input.
// `finish` ends the data; the object may then be used for the next.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace nalvo {

// Each line end (CR LF, LF CR, CR, LF) becomes one CR LF. "=" before a line end is a soft break and gives nothing; before
// anything that is neither a line end nor two hexadecimal digits it stands for itself. Two oddities are kept on purpose:
// an escape between the halves of a line end doesn't part them, and a NUL behind a literal "=" is dropped.
class QpDecoder {
 public:
  void update(std::string_view in, std::string& out);
  void finish(std::string& out);

 private:
  void plain(char c, std::string& out);
  void escape(char first, char second, std::string& out);

  enum class State { Plain, AfterEquals, AfterFirst };

  State state_ = State::Plain;
  char first_ = 0;    // what followed "="
  char partner_ = 0;  // the character that would complete a line end; 0 if none
};

// Bytes outside the alphabet are skipped, padding too, which has no meaning. A single last character is lost.
class Base64Decoder {
 public:
  void update(std::string_view in, std::string& out);
  void finish(std::string& out);

 private:
  std::uint32_t bits_ = 0;  // 6 for each collected character
  unsigned collected_ = 0;  // 0 to 3
};

enum class Base64Lines {
  None,
  // CR LF behind each 76 characters that are not the padded end, and CR LF in front when there are less than 3 bytes (also
  // when there is none). 57 bytes end with a line end, 56 and 58 do not.
  Of76,
};

class Base64Encoder {
 public:
  explicit Base64Encoder(Base64Lines lines) : lines_(lines) {}

  void update(std::string_view in, std::string& out);
  void finish(std::string& out);

  // The length of the whole text for `bytes` bytes.
  static std::uint64_t encodedSize(std::uint64_t bytes, Base64Lines lines);

 private:
  // The whole groups of `in`, whose size is a multiple of 3.
  void groups(std::string_view in, std::string& out);

  Base64Lines lines_;
  std::array<char, 3> rest_{};
  std::size_t restSize_ = 0;
  unsigned groupsInLine_ = 0;
  bool anyGroup_ = false;
};

}  // namespace nalvo
