// Cuts RTF into its tokens, piece by piece.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace nalvo {

// What a text in RTF is made of, in its order.
class RtfEvents {
 public:
  static constexpr std::int32_t kNoNumber = INT32_MIN;

  virtual void onGroupStart() = 0;
  virtual void onGroupEnd() = 0;
  // A control word; `number` is kNoNumber without one. A number that 32 bits can't hold is the nearest that they can.
  virtual void onWord(std::string_view name, std::int32_t number) = 0;
  // A backslash and one character that is no letter.
  virtual void onSymbol(char symbol) = 0;
  // A byte of text written with two hexadecimal digits.
  virtual void onByte(char byte) = 0;
  // Bytes of text as they stand; never empty, without line ends and NUL, which mean nothing.
  virtual void onText(std::string_view bytes) = 0;

 protected:
  ~RtfEvents() = default;
};

// Keeps one unfinished token and nothing else, whatever comes. Data behind \bin is passed over.
class RtfLexer {
 public:
  explicit RtfLexer(RtfEvents& events) : events_(events) {}

  void update(std::string_view in);
  // Ends a word that the end of the text cuts.
  void finish();

 private:
  enum class State : std::uint8_t { Text, Backslash, Word, Minus, Number, HighDigit, LowDigit, Binary };

  bool takes(char c);
  void endWord(std::int32_t number);

  RtfEvents& events_;
  State state_ = State::Text;
  bool negative_ = false;
  int highDigit_ = 0;
  std::int64_t number_ = 0;
  std::uint64_t binaryLeft_ = 0;
  std::string word_;
};

}  // namespace nalvo
