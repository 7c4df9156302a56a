#include "text/encoded_words.h"

#include <algorithm>

#include "platform/text/text.h"
#include "text/charset_converter.h"
#include "text/encoded_strings.h"

namespace nalvo::utils {
namespace {

std::string decodeBytes(std::string_view text, char encoding) {
  std::string bytes(text);
  std::replace(bytes.begin(), bytes.end(), '_', ' ');
  switch (encoding) {
    case 'B':
    case 'b':
      decodeBase64(bytes, bytes);
      break;
    case 'Q':
    case 'q':
      decodeQuotedPrintable(bytes, bytes);
      break;
    default:
      break;
  }
  return bytes;
}

std::string charsetOf(std::string_view name) {
  std::string repaired;
  normalizeCharsetName(name.substr(0, name.find('*')), repaired);
  return repaired;
}

std::string toUtf8(std::string_view bytes, std::string_view charset) {
  std::string text;
  convertCharset(charset, bytes, kUtf8Charset, text, true);
  return text;
}

struct Word {
  std::string_view charset, text;
  char encoding;
  std::size_t end;  // behind its "?="
};

class Reader {
 public:
  Reader(std::string_view in, std::string_view charset) : in_(in), plainCharset_(charset) { out_.reserve(2 * in.size()); }

  std::string read() {
    std::size_t from = 0;  // what lies in front is written
    std::size_t at = 0;
    while (true) {
      const std::size_t start = in_.find("=?", at);
      if (start == std::string_view::npos) {
        break;
      }
      const std::size_t question = in_.find('?', start + 2);
      if (question == std::string_view::npos) {
        break;
      }
      if (const Word word = wordAt(start, question); word.end != 0) {
        between(in_.substr(from, start - from));
        add(word);
        at = from = word.end;
      } else {
        // The "?" may belong to the start of a word ("=?=?utf-8..."), so the byte before it is looked at again.
        at = question - 1;
      }
    }
    plain(in_.substr(from));
    flushWords();
    out_.erase(std::remove(out_.begin(), out_.end(), '\0'), out_.end());
    return std::move(out_);
  }

 private:
  // `end` is 0 when there is no word.
  Word wordAt(std::size_t start, std::size_t question) {
    constexpr Word kNone{{}, {}, 0, 0};
    if (in_.size() - question < 4 || in_[question + 2] != '?') {
      return kNone;
    }
    const std::size_t text = question + 3;
    if (text >= noEndFrom_) {
      return kNone;
    }
    const std::size_t end = in_.find("?=", text);
    if (end == std::string_view::npos) {
      noEndFrom_ = std::min(noEndFrom_, text);
      return kNone;
    }
    return {in_.substr(start + 2, question - start - 2), in_.substr(text, end - text), in_[question + 1], end + 2};
  }

  // White space alone between two words is no text, nor is it in front of the first.
  void between(std::string_view text) {
    if (text.find_first_not_of(kBlanks) != std::string_view::npos || !atWord_) {
      plain(text);
    }
  }

  void plain(std::string_view text) {
    if (!text.empty()) {
      flushWords();
      out_.append(toUtf8(text, plainCharset_));
      atWord_ = false;
    }
  }

  void add(const Word& word) {
    std::string charset = charsetOf(word.charset);
    if (!equalsIgnoreCase(charset, wordCharset_)) {
      flushWords();
      wordCharset_ = std::move(charset);
    }
    wordBytes_.append(decodeBytes(word.text, word.encoding));
    atWord_ = true;
  }

  void flushWords() {
    out_.append(toUtf8(wordBytes_, wordCharset_));
    wordBytes_.clear();
  }

  std::string_view in_;
  std::string_view plainCharset_;
  std::string out_;
  std::string wordCharset_;
  std::string wordBytes_;                           // of the words of one charset that follow each other
  std::size_t noEndFrom_ = std::string_view::npos;  // no "?=" from here on
  bool atWord_ = true;                              // a word, or nothing, stands in front
};

}  // namespace

std::string decodeMimeWords(std::string_view in, std::string_view charset) { return Reader(in, charset).read(); }

std::string decodeMimeWord(std::string_view text, std::string_view charset, char encoding) {
  return toUtf8(decodeBytes(text, encoding), charsetOf(charset));
}

}  // namespace nalvo::utils
