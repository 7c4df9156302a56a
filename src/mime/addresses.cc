#include "mime/addresses.h"

#include <algorithm>
#include <utility>

#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

bool isBlank(char c) { return kBlanks.find(c) != kNowhere; }

bool isAtom(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x80 || (byte > 0x20 && byte < 0x7F && std::string_view("()<>[]:;@\\,.\"").find(c) == kNowhere);
}

bool isDotAtom(std::string_view text) {
  return !text.empty() && text.front() != '.' && text.back() != '.' && text.find("..") == kNowhere &&
         std::all_of(text.begin(), text.end(), [](char c) { return c == '.' || isAtom(c); });
}

// Whether an address by the rules can stand without brackets.
bool isAddrSpec(std::string_view email) {
  const std::size_t at = email.rfind('@');
  return at != kNowhere && isDotAtom(email.substr(0, at)) && isDotAtom(email.substr(at + 1)) && email.find("=?") == kNowhere;
}

// ---------------------------------------------------------------- reading

// One word of an entry: atoms and quoted texts with no blank between them.
struct Word {
  std::string raw;      // as it was written
  std::string text;     // out of quotes
  bool quoted = false;  // begins with a quoted text
  bool hasAt = false;   // an "@" outside of quotes
};

// What stands between two commas, taken apart.
struct Entry {
  std::vector<Word> words;
  std::string comment;
  std::string angle;  // between "<" and ">"
  bool hasAngle = false;
  bool hasAt = false;  // in one of its words
};

bool isEncodedWord(std::string_view text) { return text.starts_with("=?") && text.ends_with("?=") && text.size() > 6; }

// Paths of a directory, which hold blanks but no "@".
bool isDirectoryPath(std::string_view text) {
  return startsWithIgnoreCase(text, "/o=") || startsWithIgnoreCase(text, "/c=") || startsWithIgnoreCase(text, "/dc=");
}

// An address without its comments and the blanks around "@" and ".", if that makes it one by the rules.
std::string withoutComments(std::string_view email) {
  std::string bare;
  std::size_t depth = 0;
  for (std::size_t i = 0; i < email.size(); ++i) {
    const char c = email[i];
    if (c == '(') {
      ++depth;
    } else if (c == ')' && depth > 0) {
      --depth;
    } else if (depth == 0 && isBlank(c)) {
      const std::size_t next = std::min(email.find_first_not_of(kBlanks, i), email.size());
      const bool parts = bare.empty() || next == email.size() || email[next] == '(' ||
                         std::string_view("@.").find(bare.back()) != kNowhere || email[next] == '@' || email[next] == '.';
      if (!parts) {
        bare.push_back(' ');
      }
      i = next - 1;
    } else if (depth == 0) {
      bare.push_back(c);
    }
  }
  return isAddrSpec(bare) ? bare : std::string(email);
}

class ListReader {
 public:
  ListReader(std::string_view text, const Charset* messageCharset) : text_(text), messageCharset_(messageCharset) {}

  std::vector<Address> read() {
    while (at_ < text_.size()) {
      step();
    }
    endEntry();
    return std::move(addresses_);
  }

 private:
  void step() {
    const char c = text_[at_];
    if (isBlank(c) || c == '>') {  // a ">" out of place says nothing
      endWord();
      ++at_;
    } else if (c == ',' || c == ';') {
      endEntry();
      ++at_;
    } else if (c == ':' && !word_.hasAt && !entry_.hasAt && !entry_.hasAngle && !isDirectoryPath(word_.raw)) {
      // The name of a group. Its end is a ";", which parts addresses anyway, so groups need no memory and may nest.
      entry_ = {};
      word_ = {};
      ++at_;
    } else if (c == '(' && skipComment()) {
      endWord();
    } else if (c == '"' && takeQuoted()) {
    } else if (c == '<') {
      endWord();
      takeAngle();
    } else if ((c == '[' && takeDomainLiteral()) || (c == '=' && takeEncodedWord())) {
    } else {
      word_.hasAt = word_.hasAt || c == '@';
      put(text_.substr(at_, 1), text_.substr(at_, 1));
      ++at_;
    }
  }

  void put(std::string_view raw, std::string_view text) {
    word_.raw.append(raw);
    word_.text.append(text);
  }

  // Takes a quoted text into the word; false if it has no end, and the quote is a character like others.
  bool takeQuoted() {
    if (at_ >= openQuoteFrom_) {
      return false;
    }
    std::string inner;
    for (std::size_t i = at_ + 1; i < text_.size(); ++i) {
      if (text_[i] == '\\' && i + 1 < text_.size()) {
        inner.push_back(text_[++i]);
      } else if (text_[i] == '"') {
        word_.quoted = word_.quoted || word_.raw.empty();
        put(text_.substr(at_, i + 1 - at_), inner);
        at_ = i + 1;
        return true;
      } else {
        inner.push_back(text_[i]);
      }
    }
    openQuoteFrom_ = at_;
    return false;
  }

  // "[IPv6:2001:db8::1]" behind an "@".
  bool takeDomainLiteral() {
    constexpr std::size_t kLongest = 256;
    if (!word_.raw.ends_with('@')) {
      return false;
    }
    const std::size_t end = text_.substr(at_, kLongest).find(']');
    if (end == kNowhere) {
      return false;
    }
    put(text_.substr(at_, end + 1), text_.substr(at_, end + 1));
    at_ += end + 1;
    return true;
  }

  // An encoded word whole, since some senders leave commas and brackets in it bare.
  bool takeEncodedWord() {
    constexpr std::size_t kLongest = 256;
    const std::string_view window = text_.substr(at_, kLongest);
    const std::size_t charsetEnd = window.starts_with("=?") ? window.find('?', 2) : kNowhere;
    if (charsetEnd == kNowhere || charsetEnd + 2 >= window.size() || window[charsetEnd + 2] != '?') {
      return false;
    }
    const std::size_t end = window.find("?=", charsetEnd + 3);
    const std::string_view word = window.substr(0, end == kNowhere ? 0 : end + 2);
    if (word.empty() || word.find_first_of(kBlanks) != kNowhere) {
      return false;
    }
    put(word, word);
    at_ += word.size();
    return true;
  }

  // Takes a comment; false if it has no end, and the parenthesis is a character like others. Comments nest, so an open one
  // says nothing of the next: after a few of them no parenthesis is looked at any more.
  bool skipComment() {
    constexpr int kMostOpen = 8;
    if (openComments_ == kMostOpen) {
      return false;
    }
    std::string inner;
    std::size_t depth = 0;
    for (std::size_t i = at_; i < text_.size(); ++i) {
      const char c = text_[i];
      if (c == '\\' && i + 1 < text_.size()) {
        inner.push_back(text_[++i]);
        continue;
      }
      depth += c == '(' ? 1U : 0U;
      depth -= c == ')' ? 1U : 0U;
      if (depth == 0) {
        at_ = i + 1;
        const std::string said(trim(std::string_view(inner).substr(1)));
        entry_.comment += entry_.comment.empty() ? said : ' ' + said;
        return true;
      }
      inner.push_back(c);
    }
    ++openComments_;
    return false;
  }

  // The next "<" or ">" at or behind `from`.
  std::size_t nextBracket(std::size_t from) {
    if (bracket_ != kNowhere && bracket_ < from) {
      bracket_ = text_.find_first_of("<>", from);
    }
    return bracket_;
  }

  void takeAngle() {
    if (entry_.hasAngle) {
      // A comma is missing. The words behind the first address are the name of this one.
      std::vector<Word> behind(std::make_move_iterator(entry_.words.begin() + static_cast<std::ptrdiff_t>(wordsAhead_)),
                               std::make_move_iterator(entry_.words.end()));
      entry_.words.resize(wordsAhead_);
      endEntry();
      entry_.words = std::move(behind);
    }
    wordsAhead_ = entry_.words.size();
    at_ = std::min(text_.find_first_not_of(kBlanks, at_ + 1), text_.size());
    const std::size_t begin = at_;
    const bool route = at_ < text_.size() && text_[at_] == '@';
    bool sawAt = false;
    entry_.hasAngle = true;
    for (; at_ < text_.size() && text_[at_] != '>' && text_[at_] != '<'; ++at_) {
      const char c = text_[at_];
      sawAt = sawAt || c == '@';
      if (c == '"') {
        skipQuotedInAngle();
      } else if (c == ',' || c == ';') {
        const std::size_t bracket = nextBracket(at_);
        const bool closes = bracket != kNowhere && text_[bracket] == '>';
        // The ">" was forgotten, or several addresses stand in one pair of brackets. A route has commas of its own.
        if (!closes || (sawAt && !route)) {
          break;
        }
      }
    }
    entry_.angle = std::string(trim(text_.substr(begin, at_ - begin)));
    if (at_ < text_.size() && text_[at_] == '>') {
      ++at_;
    }
  }

  // Stops at the last quote; an open quote is a character like others.
  void skipQuotedInAngle() {
    constexpr std::size_t kLongest = 1024;
    const std::string_view window = text_.substr(at_, kLongest);
    for (std::size_t i = 1; i < window.size() && window[i] != '\n'; ++i) {
      if (window[i] == '\\') {
        ++i;
      } else if (window[i] == '"') {
        at_ += i;
        return;
      }
    }
  }

  void endWord() {
    if (word_.raw.empty()) {
      return;
    }
    // "user @ host": blanks around the "@" are an old form.
    if (!entry_.words.empty() && !entry_.hasAngle &&
        (entry_.words.back().raw.ends_with('@') || word_.raw.starts_with('@'))) {
      Word& last = entry_.words.back();
      last.raw += word_.raw;
      last.text += word_.text;
      last.hasAt = true;
      entry_.hasAt = true;
      word_ = {};
      return;
    }
    entry_.hasAt = entry_.hasAt || word_.hasAt;
    entry_.words.push_back(std::exchange(word_, {}));
  }

  void endEntry() {
    endWord();
    const Entry entry = std::exchange(entry_, {});
    if (entry.hasAngle) {
      endAngleEntry(entry);
    } else {
      endBareEntry(entry);
    }
  }

  void endAngleEntry(const Entry& entry) {
    std::string_view email = entry.angle;
    if (email.starts_with('@')) {  // a route ahead of the address
      const std::size_t colon = email.find(':');
      email = colon != kNowhere && email.find('@', colon) != kNowhere ? trim(email.substr(colon + 1)) : email;
    }
    if (email.ends_with(":;")) {  // an empty group in the wrong place
      email = {};
    }
    const std::string phrase = phraseOf(entry.words, 0, entry.words.size());
    const bool plain = email.find_first_of("( \t") == kNowhere;
    add(plain ? std::string(email) : withoutComments(email), phrase.empty() ? entry.comment : phrase);
  }

  void endBareEntry(const Entry& entry) {
    const std::vector<Word>& words = entry.words;
    if (words.empty()) {
      return;  // a comment says something of an address, or nothing
    }
    const bool anyEncoded =
        std::any_of(words.begin(), words.end(), [](const Word& word) { return isEncodedWord(word.raw); });
    if (isDirectoryPath(words.front().raw) && !anyEncoded) {
      std::string path;
      for (const Word& word : words) {
        path += path.empty() ? word.raw : ' ' + word.raw;
      }
      add(path, entry.comment);
      return;
    }
    if (words.size() == 1 && !words[0].hasAt) {
      const bool isName = words[0].quoted || isEncodedWord(words[0].raw);
      if (!isName) {
        add(words[0].raw, entry.comment);
      } else {
        add({}, words[0].text);
      }
      return;
    }
    // Each word with an "@" is an address, the words ahead of it are its name; so none is lost for a missing comma.
    std::size_t nameFrom = 0;
    std::size_t found = 0;
    for (std::size_t i = 0; i < words.size(); ++i) {
      if (words[i].hasAt) {
        const bool last = i + 1 == words.size();
        const std::string name = phraseOf(words, nameFrom, i);
        add(words[i].raw, name.empty() && last && found == 0 ? entry.comment : name);
        nameFrom = i + 1;
        ++found;
      }
    }
    if (nameFrom < words.size()) {
      std::string rest = phraseOf(words, nameFrom, words.size());
      if (found == 0) {
        add({}, rest);
      } else if (!addresses_.back().hasName) {
        setName(addresses_.back(), rest);
      }
    }
  }

  static std::string phraseOf(const std::vector<Word>& words, std::size_t from, std::size_t to) {
    std::string phrase;
    for (std::size_t i = from; i < to; ++i) {
      phrase += i == from ? words[i].text : ' ' + words[i].text;
    }
    return phrase;
  }

  void setName(Address& address, std::string_view raw) const {
    address.name = decodeHeaderText(raw, messageCharset_);
    address.hasName = !address.name.empty();
  }

  void add(std::string_view email, std::string_view rawName) {
    Address address;
    address.email = std::string(email);
    setName(address, rawName);
    if (!address.email.empty() || address.hasName) {
      addresses_.push_back(std::move(address));
    }
  }

  std::string_view text_;
  const Charset* messageCharset_;
  std::size_t at_ = 0;
  Entry entry_;
  Word word_;
  std::size_t wordsAhead_ = 0;  // words of the entry ahead of its "<"
  std::size_t openQuoteFrom_ = kNowhere;
  int openComments_ = 0;
  std::size_t bracket_ = 0;
  std::vector<Address> addresses_;
};

// ---------------------------------------------------------------- writing

bool isPrintable(std::u16string_view text) {
  return std::all_of(text.begin(), text.end(), [](char16_t c) { return c >= 0x20 && c < 0x7F; });
}

// Atoms with single blanks between them, which need no quotes.
bool isBarePhrase(std::u16string_view name) {
  return name.front() != u' ' && name.back() != u' ' && name.find(u"  ") == std::u16string_view::npos &&
         std::all_of(name.begin(), name.end(),
                     [](char16_t c) { return c == u' ' || (c < 0x7F && isAtom(static_cast<char>(c))); });
}

std::size_t longestWord(std::u16string_view text) {
  std::size_t longest = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(u' ', at), text.size());
    longest = std::max(longest, end - at);
    at = end + 1;
  }
  return longest;
}

// A name in front of an address or alone, folded from `fold.startColumn` on.
std::string writeName(const Address& address, const Charset* charset, const HeaderFold& fold) {
  static constexpr std::u16string_view kManyBlanks = u"                                ";
  const std::u16string_view name = address.name;
  if (!isPrintable(name) || name.find(u"=?") != kNowhere || name.find(kManyBlanks) != kNowhere ||
      longestWord(name) > kLongestBareWord) {
    return encodeHeaderText(name, charset, fold, HeaderContext::Phrase);
  }
  std::string text;
  if (isBarePhrase(name) && !address.email.empty()) {
    text.assign(name.begin(), name.end());
    return foldHeader(text, fold);
  }
  text = '"';
  for (const char16_t c : name) {
    if (c == u'"' || c == u'\\') {
      text += '\\';
    }
    text += static_cast<char>(c);
  }
  return foldHeader(text + '"', fold);
}

std::string writeEmail(const Address& address) {
  std::string email = address.email;
  std::replace_if(
      email.begin(), email.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
  return address.hasName || !isAddrSpec(email) ? '<' + email + '>' : email;
}

// The address without a name that says nothing.
Address withoutEchoedName(const Address& address) {
  Address plain = address;
  if (address.name.empty() || (!address.email.empty() && wideToUtf8(address.name) == address.email)) {
    plain.name.clear();
    plain.hasName = false;
  } else {
    plain.hasName = true;
  }
  return plain;
}

std::size_t columnBehind(std::string_view text, std::size_t startColumn, std::string_view lineEnd) {
  const std::size_t line = text.rfind(lineEnd);
  return line == kNowhere ? startColumn + text.size() : text.size() - line - lineEnd.size();
}

}  // namespace

std::vector<Address> parseAddressList(std::string_view unfoldedRaw, const Charset* messageCharset) {
  return ListReader(unfoldedRaw, messageCharset).read();
}

std::string writeAddressList(std::span<const Address> addresses, const Charset* charset, const HeaderFold& fold) {
  std::string out;
  std::size_t column = fold.startColumn;
  const auto breakLine = [&] {
    out.append(fold.lineEnd).append(" ");
    column = 1;
  };
  const auto append = [&](std::string_view text) {
    column = columnBehind(text, column, fold.lineEnd);
    out.append(text);
  };
  for (const Address& given : addresses) {
    const Address address = withoutEchoedName(given);
    if (address.email.empty() && !address.hasName) {
      continue;
    }
    const std::string email = address.email.empty() ? std::string() : writeEmail(address);
    const bool first = out.empty();
    if (!first) {
      append(",");
    }
    // An address begins a new line where it would not fit behind the last one as a whole.
    std::string name = address.hasName ? writeName(address, charset, {column + 1, fold.limit, fold.lineEnd}) : std::string();
    const std::size_t size = name.size() + (name.empty() || email.empty() ? 0 : 1) + email.size() + 1;
    if (!first && column + 1 + size > fold.limit) {
      breakLine();
    } else if (!first) {
      append(" ");
    }
    if (address.hasName) {
      append(writeName(address, charset, {column, fold.limit, fold.lineEnd}));
      if (!email.empty()) {
        if (column + 1 + email.size() + 1 > fold.limit) {
          breakLine();
        } else {
          append(" ");
        }
      }
    }
    append(email);
  }
  return out;
}

}  // namespace nalvo::mime
