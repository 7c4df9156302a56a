#include "platform/text/rtf/rtf_lexer.h"

#include <algorithm>
#include <array>

namespace nalvo {
namespace {

// No control word is longer; what is longer is passed over, as a word that nobody knows.
constexpr std::size_t kLongestWord = 32;

constexpr bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

// -1 for a character that is no hexadecimal digit.
constexpr int digitValue(char c) {
  return isDigit(c) ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

constexpr std::string_view kEndsText("\\{}\r\n\0", 6);

constexpr std::array<bool, 256> makeEndsText() {
  std::array<bool, 256> table{};
  for (const char c : kEndsText) {
    table[static_cast<unsigned char>(c)] = true;
  }
  return table;
}
constexpr std::array<bool, 256> kEndsTextTable = makeEndsText();

}  // namespace

void RtfLexer::update(std::string_view in) {
  std::size_t i = 0;
  while (i < in.size()) {
    if (state_ == State::Binary) {
      const auto skipped = static_cast<std::size_t>(std::min<std::uint64_t>(binaryLeft_, in.size() - i));
      i += skipped;
      binaryLeft_ -= skipped;
      if (binaryLeft_ == 0) {
        state_ = State::Text;
      }
    } else if (state_ == State::Text) {
      const std::size_t start = i;
      while (i < in.size() && !kEndsTextTable[static_cast<unsigned char>(in[i])]) {
        ++i;
      }
      if (i != start) {
        events_.onText(in.substr(start, i - start));
      }
      if (i < in.size()) {
        switch (in[i]) {
          case '\\':
            state_ = State::Backslash;
            break;
          case '{':
            events_.onGroupStart();
            break;
          case '}':
            events_.onGroupEnd();
            break;
          default:
            break;
        }
        ++i;
      }
    } else if (takes(in[i])) {
      ++i;
    }
  }
}

void RtfLexer::finish() {
  if (state_ == State::Word || state_ == State::Minus) {
    endWord(RtfEvents::kNoNumber);
  } else if (state_ == State::Number) {
    takes(' ');
  }
  state_ = State::Text;
}

// One character of a token that begins with a backslash. False for one that belongs to what follows.
bool RtfLexer::takes(char c) {
  switch (state_) {
    case State::Backslash:
      if (isLetter(c)) {
        state_ = State::Word;
        word_.assign(1, c);
      } else if (c == '\'') {
        state_ = State::HighDigit;
      } else {
        state_ = State::Text;
        events_.onSymbol(c);
      }
      return true;
    case State::Word:
      if (isLetter(c)) {
        if (word_.size() <= kLongestWord) {
          word_.push_back(c);
        }
        return true;
      }
      number_ = 0;
      negative_ = c == '-';
      if (c == '-' || isDigit(c)) {
        state_ = c == '-' ? State::Minus : State::Number;
        return c == '-';
      }
      endWord(RtfEvents::kNoNumber);
      return c == ' ';
    case State::Minus:
      if (isDigit(c)) {
        state_ = State::Number;
        return false;
      }
      // A hyphen of the text behind the word.
      endWord(RtfEvents::kNoNumber);
      events_.onText("-");
      return false;
    case State::Number:
      if (isDigit(c)) {
        number_ = std::min<std::int64_t>(number_ * 10 + (c - '0'), INT32_MAX);
        return true;
      }
      endWord(static_cast<std::int32_t>(negative_ ? -number_ : number_));
      return c == ' ';
    case State::HighDigit:
      highDigit_ = digitValue(c);
      state_ = highDigit_ >= 0 ? State::LowDigit : State::Text;
      return highDigit_ >= 0;
    case State::LowDigit: {
      const int low = digitValue(c);
      state_ = State::Text;
      if (low >= 0) {
        events_.onByte(static_cast<char>(highDigit_ * 16 + low));
      }
      return low >= 0;
    }
    default:
      return true;
  }
}

void RtfLexer::endWord(std::int32_t number) {
  state_ = State::Text;
  if (word_ == "bin") {
    if (number > 0) {
      state_ = State::Binary;
      binaryLeft_ = static_cast<std::uint64_t>(number);
    }
    return;
  }
  events_.onWord(word_, number);
}

}  // namespace nalvo
