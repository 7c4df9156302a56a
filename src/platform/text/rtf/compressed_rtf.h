// Compressed RTF, the form in which a message keeps its rich text: a header of 16 bytes, then references into a ring of 4096
// bytes (LZFu) or the text as it is (MELA).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nalvo {

inline constexpr std::size_t kCompressedRtfHeader = 16;
inline constexpr std::size_t kCompressedRtfRing = 4096;

// Gives the text back, piece by piece. Memory does not depend on what the header says: it is believed about the end of
// the data alone, so a lie costs nothing. No piece gives more than 9 bytes for each of its own, and 17 over.
class CompressedRtfDecoder {
 public:
  CompressedRtfDecoder();

  // Appends what `in` gives. What lies behind the end is passed over.
  void update(std::string_view in, std::string& out);

  // True once nothing more can come out.
  bool atEnd() const { return state_ == State::Ended; }

  // To be asked when the input is at its end: false for a header that is none, and for a check sum that fits neither the
  // declared end, nor the end mark, nor the end of the input. All that was readable has come out by then.
  bool intact() const;

 private:
  enum class State : std::uint8_t { Header, Flags, Literal, ReferenceHigh, ReferenceLow, Plain, Ended };

  void readHeader(std::string_view in);
  void readContent(std::string_view in, std::string& out);
  std::size_t decode(std::string_view in, std::string& out);
  void addToSum(std::string_view content);
  void nextToken();
  void put(char byte, std::string& out);
  void copy(unsigned reference, std::string& out);

  State state_ = State::Header;
  bool valid_ = false;
  bool sumMatched_ = false;
  std::uint8_t flags_ = 0;
  std::uint8_t flagsLeft_ = 0;
  std::uint8_t referenceHigh_ = 0;
  std::size_t headerBytes_ = 0;
  std::array<char, kCompressedRtfHeader> header_{};
  std::uint32_t declaredSum_ = 0;
  std::uint32_t sum_ = 0;
  std::uint64_t contentLeft_ = 0;  // until the declared end
  std::uint64_t plainLeft_ = 0;    // of a text that is not compressed
  std::size_t at_;
  std::array<char, kCompressedRtfRing> ring_{};
};

// Makes LZFu, or MELA, of a text that comes in pieces. The header holds sizes and a check sum, so it is known last.
class CompressedRtfEncoder {
 public:
  enum class Form : std::uint8_t { Compressed, Plain };

  explicit CompressedRtfEncoder(Form form = Form::Compressed);

  // Appends what can be written by now; the header is no part of it.
  void update(std::string_view in, std::string& out);
  void finish(std::string& out);

  // Valid behind finish(), and only while fits().
  std::array<char, kCompressedRtfHeader> header() const;
  // The header counts with 32 bits.
  bool fits() const;

 private:
  // A place is the number of a byte since the ring began; `at` 0 is no place.
  struct Match {
    std::uint64_t at = 0;
    std::size_t length = 0;
  };

  void encode(std::size_t keep, std::string& out);
  Match longestMatch(std::uint64_t at) const;
  void rememberUpTo(std::uint64_t at);
  void forgetOld();
  void putToken(bool isReference, std::string_view token, std::string& out);
  void putReference(std::uint64_t place, std::size_t length, std::string& out);
  void flushGroup(std::string& out);

  std::string_view from(std::uint64_t place) const { return std::string_view(window_).substr(place - windowStart_); }
  std::uint64_t end() const { return windowStart_ + window_.size(); }

  Form form_;
  std::uint64_t rawSize_ = 0;
  std::uint64_t contentSize_ = 0;
  std::uint32_t sum_ = 0;
  // What a reference may reach, then what is not yet written.
  std::string window_;
  std::uint64_t windowStart_;
  std::uint64_t next_;        // the first byte that is not yet written
  std::uint64_t remembered_;  // the first byte that is not yet in the chains
  Match ahead_;               // the best match at next_, where the step before looked for it
  std::uint64_t aheadFor_ = 0;
  // The last place of each pair of bytes, and for each place (by its place in the ring) the one before it with the same
  // pair.
  std::vector<std::uint64_t> lastOfPair_;
  std::vector<std::uint64_t> before_;
  // A byte of flags goes ahead of eight tokens.
  std::string group_;
  std::uint8_t groupFlags_ = 0;
  std::uint8_t groupTokens_ = 0;
};

}  // namespace nalvo
