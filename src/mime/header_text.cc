#include "mime/header_text.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "platform/text/text.h"
#include "platform/text/text_converter.h"

namespace nalvo::mime {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;
constexpr std::size_t kLongestEncodedWord = 75;

// ---------------------------------------------------------------- reading

// Carries the bits between characters of Base64 text; anything outside the alphabet is passed over.
class Base64Bits {
 public:
  void feed(char c, std::string& out) {
    const int value = valueOf(c);
    if (value < 0) {
      if (c == '=') {
        drop();
      }
      return;
    }
    bits_ = ((bits_ << 6) | static_cast<unsigned>(value)) & 0xFFFF;
    count_ += 6;
    if (count_ >= 8) {
      count_ -= 8;
      out.push_back(static_cast<char>((bits_ >> count_) & 0xFF));
    }
  }
  // Only one character of a group of four came, which can't be the end of a text.
  bool isOddEnd() const { return count_ == 6; }
  void drop() { bits_ = count_ = 0; }

 private:
  static int valueOf(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    return c == '+' ? 62 : c == '/' ? 63 : -1;
  }

  unsigned bits_ = 0;
  unsigned count_ = 0;
};

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

bool isHexPairAt(std::string_view text, std::size_t at) {
  return at + 1 < text.size() && hexValue(text[at]) >= 0 && hexValue(text[at + 1]) >= 0;
}

void decodeQ(std::string_view text, std::string& out) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '=' && isHexPairAt(text, i + 1)) {
      out.push_back(static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2])));
      i += 2;
    } else {
      out.push_back(text[i] == '_' ? ' ' : text[i]);
    }
  }
}

struct EncodedWord {
  std::string_view charset;
  std::string_view text;
  bool base64;
  std::size_t end;  // behind the word
};

// Finds the encoded words of a value, in time linear in its length.
class WordFinder {
 public:
  explicit WordFinder(std::string_view value) : value_(value) {}

  // The word that begins at `at`, where "=?" stands.
  bool read(std::size_t at, EncodedWord& word) {
    constexpr std::size_t kLongestCharset = 80;
    const std::size_t name = at + 2;
    const std::string_view window = value_.substr(name, kLongestCharset);
    const std::size_t nameSize = window.find_first_of("?=\r\n");
    if (nameSize == kNowhere || window[nameSize] != '?') {
      return false;
    }
    const std::size_t letterAt = name + nameSize + 1;
    if (letterAt + 1 >= value_.size() || value_[letterAt + 1] != '?') {
      return false;
    }
    const char letter = toLowerAscii(value_[letterAt]);
    if (letter != 'b' && letter != 'q') {
      return false;
    }
    const std::size_t text = letterAt + 2;
    std::size_t close = findClose(text);
    if (close == kNowhere) {
      return false;
    }
    if (letter == 'q') {
      close = pastBareQuestionMarks(close);
    }
    const std::string_view charset = value_.substr(name, nameSize);
    word = {trim(charset.substr(0, charset.find('*'))), value_.substr(text, close - text), letter == 'b', close + 2};
    return true;
  }

 private:
  std::size_t findClose(std::size_t from) {
    if (from >= noneFrom_) {
      return kNowhere;
    }
    const std::size_t close = value_.find("?=", from);
    if (close == kNowhere) {
      noneFrom_ = from;
    }
    return close;
  }

  // A "?" that its sender did not encode makes a false end in front of a code such as "=20": the word ends at the next "?="
  // if no blank comes before that.
  std::size_t pastBareQuestionMarks(std::size_t close) {
    while (isHexPairAt(value_, close + 2)) {
      const std::size_t next = value_.find_first_of(" \t\r\n?", close + 2);
      if (next == kNowhere || value_[next] != '?' || next + 1 >= value_.size() || value_[next + 1] != '=') {
        break;
      }
      close = next;
    }
    return close;
  }

  std::string_view value_;
  std::size_t noneFrom_ = kNowhere;  // no "?=" from here on
};

// A stretch of a value: raw bytes, or the decoded bytes of adjacent words in one charset.
struct Stretch {
  bool encoded;
  const Charset* charset;  // of encoded bytes; null if nobody knows it
  std::string bytes;
};

bool isAllBlank(std::string_view text) { return text.find_first_not_of(kBlanks) == kNowhere; }

class Splitter {
 public:
  explicit Splitter(std::string_view value) : value_(value), finder_(value) {}

  std::vector<Stretch> split() {
    std::size_t rawFrom = 0;
    for (std::size_t at = value_.find("=?"); at != kNowhere;) {
      EncodedWord word;
      if (!finder_.read(at, word)) {
        at = value_.find("=?", at + 1);
        continue;
      }
      addRaw(value_.substr(rawFrom, at - rawFrom), true);
      addWord(word);
      rawFrom = word.end;
      at = value_.find("=?", rawFrom);
    }
    addRaw(value_.substr(rawFrom), false);
    return std::move(stretches_);
  }

 private:
  bool behindWord() const { return !stretches_.empty() && stretches_.back().encoded; }

  void addRaw(std::string_view raw, bool beforeWord) {
    if (raw.empty() || (beforeWord && behindWord() && isAllBlank(raw))) {
      return;
    }
    stretches_.push_back({false, nullptr, std::string(raw)});
  }

  void addWord(const EncodedWord& word) {
    const Charset* charset = findCharset(word.charset);
    const bool joins = behindWord() && stretches_.back().charset == charset;
    if (!joins) {
      stretches_.push_back({true, charset, {}});
    }
    std::string& bytes = stretches_.back().bytes;
    if (!word.base64) {
      decodeQ(word.text, bytes);
      bits_.drop();
      return;
    }
    // Some senders cut Base64 without regard to its groups: a lone character goes with the next word.
    if (!joins || !bits_.isOddEnd()) {
      bits_.drop();
    }
    for (const char c : word.text) {
      bits_.feed(c, bytes);
    }
  }

  std::string_view value_;
  WordFinder finder_;
  std::vector<Stretch> stretches_;
  Base64Bits bits_;
};

// Charsets that announce themselves by escape sequences and otherwise look like ASCII.
bool isEscapeCharset(const Charset& charset) { return charset.codePage >= 50220 && charset.codePage <= 50227; }

bool mayReadRaw(const Charset& charset, bool hasEscape) {
  return charset.codePage != kUtf8 && charset.codePage != kUsAscii &&
         (charset.asciiSuperset() || (hasEscape && isEscapeCharset(charset)));
}

// A page for raw bytes that stand in several stretches of one value.
class RawPage {
 public:
  explicit RawPage(const Charset* messageCharset) : message_(messageCharset) {}

  void look(std::string_view bytes) {
    hasEscape_ = hasEscape_ || bytes.find('\x1B') != kNowhere;
    if (utf8_ && !isValidUtf8(bytes)) {
      utf8_ = false;
    }
    if (message_ != nullptr && mayReadRaw(*message_, hasEscape_) && messageReads_) {
      std::size_t unreadable = 0;
      decodeText(bytes, message_->codePage, &unreadable);
      messageReads_ = unreadable == 0;
    }
  }

  CodePage page() const {
    const bool messageMay = message_ != nullptr && messageReads_ && mayReadRaw(*message_, hasEscape_);
    if (utf8_ && !(hasEscape_ && messageMay && isEscapeCharset(*message_))) {
      return kUtf8;
    }
    return messageMay ? pageOfLabel(*message_) : kAnsiCodePage;
  }

  // Latin-1 in headers is Windows text under the wrong label whenever it matters: its C1 controls are quotes and dashes.
  static CodePage pageOfLabel(const Charset& charset) {
    return charset.codePage == kLatin1 ? kAnsiCodePage : charset.codePage;
  }

 private:
  const Charset* message_;
  bool utf8_ = true;
  bool messageReads_ = true;
  bool hasEscape_ = false;
};

// ---------------------------------------------------------------- writing

constexpr std::string_view kAtomSpecials = "!#$%&'*+-/=?^_`{|}~";

bool isAlphaNumeric(char32_t c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

bool isAtomUnit(char16_t c) {
  return c < 0x80 && (isAlphaNumeric(c) || kAtomSpecials.find(static_cast<char>(c)) != kNowhere);
}

// What "Q" leaves as it is: safe in texts, comments and names alike.
bool isPlainInQ(char c) {
  return isAlphaNumeric(static_cast<unsigned char>(c)) || c == '!' || c == '*' || c == '+' || c == '-' || c == '/';
}

// Breaks what is written into lines.
class LineWriter {
 public:
  LineWriter(const HeaderFold& fold, std::string& out) : fold_(fold), out_(out), column_(fold.startColumn) {}

  // Writes blanks and a word; a new line begins ahead of the blanks where the word would pass the limit.
  void put(std::string_view blanks, std::string_view word) {
    const std::size_t size = blanks.size() + word.size();
    if (column_ + size > fold_.limit && mayBreak(size)) {
      breakLine();
      // The first word has no blank of its own to begin a line with.
      put(blanks.empty() ? " " : blanks, word);
      return;
    }
    out_.append(blanks).append(word);
    column_ += size;
    lineEmpty_ = false;
  }

  void breakLine() {
    out_.append(fold_.lineEnd);
    column_ = 0;
    lineEmpty_ = true;
    first_ = false;
  }

  std::size_t room() const { return fold_.limit > column_ ? fold_.limit - column_ : 0; }
  std::size_t column() const { return column_; }

 private:
  // A first word that is too long for any line gains nothing from a line of its own.
  bool mayBreak(std::size_t size) const {
    if (first_ && out_.empty()) {
      return column_ > 1 && size + 1 <= fold_.limit;
    }
    return !lineEmpty_;
  }

  const HeaderFold& fold_;
  std::string& out_;
  std::size_t column_;
  bool lineEmpty_ = false;
  bool first_ = true;
};

// A stretch of a text that is going out: one plain word, or words and blanks that go into encoded words.
struct Piece {
  std::size_t begin;
  std::size_t end;
  bool encoded;
};

bool needsEncoding(std::u16string_view word, HeaderContext context) {
  const auto isPlain = [context](char16_t c) {
    return context == HeaderContext::Phrase ? isAtomUnit(c) : c > 0x20 && c < 0x7F;
  };
  return word.size() > kLongestBareWord || !std::all_of(word.begin(), word.end(), isPlain) || word.find(u"=?") != kNowhere;
}

std::vector<Piece> splitText(std::u16string_view text, HeaderContext context) {
  // Readers of names take several blanks for one.
  const std::size_t mostBareBlanks = context == HeaderContext::Phrase ? 1 : 32;
  std::vector<Piece> pieces;
  const auto add = [&pieces](Piece piece) {
    if (piece.encoded && !pieces.empty() && pieces.back().encoded) {
      pieces.back().end = piece.end;
    } else {
      pieces.push_back(piece);
    }
  };
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t word = std::min(text.find_first_not_of(u' ', at), text.size());
    const std::size_t end = std::min(text.find(u' ', word), text.size());
    const bool first = at == 0;
    if (word == text.size()) {  // blanks at the end
      if (!pieces.empty() && !pieces.back().encoded) {
        const Piece last = pieces.back();
        pieces.pop_back();
        add({last.begin, text.size(), true});
      } else {
        add({at, text.size(), true});
      }
    } else if ((first && word > 0) || word - at > mostBareBlanks) {
      // One blank stays outside to part the words.
      add({first ? 0 : at + 1, end, true});
    } else {
      add({word, end, needsEncoding(text.substr(word, end - word), context)});
    }
    at = end;
  }
  return pieces;
}

// Writes texts as encoded words of one charset.
class WordEncoder {
 public:
  WordEncoder(const Charset& charset, LineWriter& lines)
      : charset_(charset), lines_(lines), overhead_(charset.name.size() + 7) {}

  void put(std::u16string_view blanks, std::u16string_view text) {
    base64_ = prefersBase64(text);
    std::string gap(blanks.begin(), blanks.end());
    while (!text.empty()) {
      const std::size_t smallest = overhead_ + kRoomOfOneCharacter;
      std::size_t room = lines_.room();
      room -= std::min(room, gap.size());
      if (room < smallest) {
        if (lines_.column() > gap.size()) {
          lines_.breakLine();
        }
        if (gap.empty()) {
          gap.push_back(' ');
        }
        room = lines_.room() - std::min(lines_.room(), gap.size());
      }
      const std::size_t wordSize = std::clamp(room, smallest, kLongestEncodedWord);
      std::string word;
      text.remove_prefix(take(text, wordSize - overhead_, word));
      lines_.put(gap, word);
      gap.assign(1, ' ');
    }
  }

 private:
  static constexpr std::size_t kRoomOfOneCharacter = 16;  // four bytes in Q, shifts around two bytes in Base64

  std::string convert(std::u16string_view text) const {
    return charset_.codePage == kUtf8 ? wideToUtf8(text) : encodeText(text, charset_.codePage);
  }

  static std::size_t qSize(std::string_view bytes) {
    std::size_t size = 0;
    for (const char c : bytes) {
      size += isPlainInQ(c) || c == ' ' ? 1U : 3U;
    }
    return size;
  }
  static std::size_t base64Size(std::string_view bytes) { return (bytes.size() + 2) / 3 * 4; }

  bool prefersBase64(std::u16string_view text) const {
    if (!charset_.asciiSuperset()) {
      return true;
    }
    const std::string bytes = convert(text);
    return base64Size(bytes) < qSize(bytes);
  }

  // Writes the longest beginning of `text` that fits `room` characters as one word; returns its length in units, not 0.
  std::size_t take(std::u16string_view text, std::size_t room, std::string& word) const {
    // No character is shorter than one in Q.
    std::size_t fits = wholeCharacters(text, 1);
    std::size_t tooLong = std::min(text.size(), room) + 1;
    std::string bytes = convert(text.substr(0, fits));
    // The first guess is the best possible, which is right for short texts.
    std::size_t guess = tooLong - 1;
    while (fits + 1 < tooLong) {
      const std::size_t units = wholeCharacters(text, guess);
      if (units <= fits) {
        break;
      }
      std::string converted = convert(text.substr(0, units));
      if ((base64_ ? base64Size(converted) : qSize(converted)) <= room) {
        fits = units;
        bytes = std::move(converted);
      } else {
        tooLong = units;
      }
      guess = fits + (tooLong - fits) / 2;
    }
    word.append("=?").append(charset_.name).append(base64_ ? "?B?" : "?Q?");
    base64_ ? appendBase64(bytes, word) : appendQ(bytes, word);
    word.append("?=");
    return fits;
  }

  // `units` or one more or less, so that no surrogate pair is cut; at least one character.
  static std::size_t wholeCharacters(std::u16string_view text, std::size_t units) {
    if (units < text.size() && isLowSurrogate(text[units]) && isHighSurrogate(text[units - 1])) {
      return units == 1 ? 2 : units - 1;
    }
    return units;
  }

  static void appendQ(std::string_view bytes, std::string& out) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    for (const char c : bytes) {
      if (isPlainInQ(c)) {
        out.push_back(c);
      } else if (c == ' ') {
        out.push_back('_');
      } else {
        const auto byte = static_cast<unsigned char>(c);
        out.append({'=', kDigits[byte >> 4], kDigits[byte & 15]});
      }
    }
  }

  static void appendBase64(std::string_view bytes, std::string& out) {
    constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto byteAt = [bytes](std::size_t i) -> unsigned {
      return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0;
    };
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
      const unsigned group = byteAt(i) << 16 | byteAt(i + 1) << 8 | byteAt(i + 2);
      out.push_back(kAlphabet[group >> 18]);
      out.push_back(kAlphabet[group >> 12 & 63]);
      out.push_back(i + 1 < bytes.size() ? kAlphabet[group >> 6 & 63] : '=');
      out.push_back(i + 2 < bytes.size() ? kAlphabet[group & 63] : '=');
    }
  }

  const Charset& charset_;
  LineWriter& lines_;
  std::size_t overhead_;  // "=?", name, "?Q?", "?="
  bool base64_ = false;
};

std::string encodeIn(const Charset& charset, std::u16string_view text, const std::vector<Piece>& pieces,
                     const HeaderFold& fold) {
  std::string out;
  LineWriter lines(fold, out);
  WordEncoder words(charset, lines);
  std::size_t written = 0;
  for (const Piece& piece : pieces) {
    const std::u16string_view blanks = text.substr(written, piece.begin - written);
    const std::u16string_view body = text.substr(piece.begin, piece.end - piece.begin);
    if (piece.encoded) {
      words.put(blanks, body);
    } else {
      lines.put(std::string(blanks.begin(), blanks.end()), std::string(body.begin(), body.end()));
    }
    written = piece.end;
  }
  return out;
}

const Charset& utf8Charset() {
  static const Charset& utf8 = *findCodePage(kUtf8);
  return utf8;
}

// Where to cut `text` so that at most `most` bytes come first and no UTF-8 character is cut.
std::size_t cutPlace(std::string_view text, std::size_t most) {
  std::size_t cut = std::min(most, text.size());
  for (int i = 0; i < 3 && cut > 1 && cut < text.size() && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80; ++i) {
    --cut;
  }
  return cut;
}

}  // namespace

std::string unfold(std::string_view raw) {
  std::string out;
  raw = trim(raw);
  out.reserve(raw.size());
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const bool lineEnd = raw[i] == '\n' || (raw[i] == '\r' && i + 1 < raw.size() && raw[i + 1] == '\n');
    if (!lineEnd) {
      out.push_back(raw[i]);
    }
  }
  return out;
}

std::u16string decodeRawText(std::string_view bytes, const Charset* messageCharset) {
  RawPage raw(messageCharset);
  raw.look(bytes);
  return decodeText(bytes, raw.page());
}

std::u16string decodeLabelledText(std::string_view bytes, const Charset* label, const Charset* messageCharset) {
  if (label == nullptr || (label->codePage == kUsAscii && !isAscii(bytes))) {
    return decodeRawText(bytes, messageCharset);
  }
  return decodeText(bytes, RawPage::pageOfLabel(*label));
}

std::u16string decodeHeaderText(std::string_view unfoldedRaw, const Charset* messageCharset) {
  if (unfoldedRaw.find("=?") == kNowhere) {
    return decodeRawText(unfoldedRaw, messageCharset);
  }
  const std::vector<Stretch> stretches = Splitter(unfoldedRaw).split();
  RawPage raw(messageCharset);
  for (const Stretch& stretch : stretches) {
    if (!stretch.encoded) {
      raw.look(stretch.bytes);
    }
  }
  std::u16string out;
  for (const Stretch& stretch : stretches) {
    out += stretch.encoded ? decodeLabelledText(stretch.bytes, stretch.charset, messageCharset)
                           : decodeText(stretch.bytes, raw.page());
  }
  return out;
}

const Charset& headerCharsetFor(std::u16string_view text, const Charset* wanted) {
  const bool usable = wanted != nullptr && wanted->codePage != kUtf8 && wanted->codePage != kUsAscii &&
                      (wanted->asciiSuperset() || isEscapeCharset(*wanted));
  if (!usable) {
    return utf8Charset();
  }
  std::size_t unmappable = 0;
  const std::string bytes = encodeText(text, wanted->codePage, &unmappable);
  return unmappable == 0 && decodeText(bytes, RawPage::pageOfLabel(*wanted)) == text ? *wanted : utf8Charset();
}

std::string encodeHeaderText(std::u16string_view text, const Charset* charset, const HeaderFold& fold,
                             HeaderContext context) {
  const std::vector<Piece> pieces = splitText(text, context);
  const bool anyEncoded = std::any_of(pieces.begin(), pieces.end(), [](const Piece& piece) { return piece.encoded; });
  const Charset& best = anyEncoded ? headerCharsetFor(text, charset) : utf8Charset();
  std::string out = encodeIn(best, text, pieces, fold);
  // Some charsets join characters across words; those texts go out in UTF-8.
  if (best.codePage != kUtf8 && decodeHeaderText(unfold(out), nullptr) != text) {
    out = encodeIn(utf8Charset(), text, pieces, fold);
  }
  return out;
}

std::string foldHeader(std::string_view text, const HeaderFold& fold) {
  constexpr std::size_t kMostBlanks = 900;  // more could not stand in one line
  std::string clean(text);
  std::replace_if(
      clean.begin(), clean.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; }, ' ');
  std::string_view left = trim(clean, " \t");
  std::string out;
  LineWriter lines(fold, out);
  while (!left.empty()) {
    const std::size_t wordAt = left.find_first_not_of(" \t");
    const std::string_view blanks = left.substr(0, wordAt <= kMostBlanks ? wordAt : 1);
    left.remove_prefix(wordAt);
    std::string_view word = left.substr(0, left.find_first_of(" \t"));
    left.remove_prefix(word.size());
    // Behind a blank or the name of the header there is less room.
    std::size_t most = kLineLimit - std::min<std::size_t>(std::max(fold.startColumn, blanks.size()), kLineLimit - 10);
    std::string_view gap = blanks;
    while (!word.empty()) {
      const std::size_t cut = cutPlace(word, most);
      lines.put(gap, word.substr(0, cut));
      word.remove_prefix(cut);
      if (!word.empty()) {
        lines.breakLine();
      }
      gap = " ";
      most = kLineLimit - 1;
    }
  }
  return out;
}

}  // namespace nalvo::mime
