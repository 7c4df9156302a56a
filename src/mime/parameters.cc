#include "mime/parameters.h"

#include <algorithm>
#include <charconv>  // from_chars
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "platform/text/text.h"
#include "platform/text/text_converter.h"

namespace nalvo::mime {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;
constexpr std::string_view kSpecials = "()<>@,;:\\\"/[]?=";
// Specials beside which a charset, a language or a "%" could be mistaken in the extended form.
constexpr std::string_view kExtendedSpecials = "*'%";
constexpr std::string_view kHexDigits = "0123456789ABCDEF";

// Parameters that mail knows. They tell a missing semicolon from a value with blanks.
constexpr std::string_view kKnownNames[] = {
    "access-type", "boundary", "charset",           "creation-date", "delsp",    "filename",      "format",
    "method",      "micalg",   "modification-date", "name",          "protocol", "read-date",     "reply-type",
    "report-type", "size",     "smime-type",        "start",         "type",     "x-mac-creator", "x-mac-type",
    "x-unix-mode",
};

bool isTokenChar(char c) { return c > 0x20 && c < 0x7F && kSpecials.find(c) == kNowhere; }

// What is longer is no name of a parameter, and would grow with each part of a value that is written split.
constexpr std::size_t kLongestName = 128;

// The characters of `text` that may stand in a token, and those of `others`.
std::string tokenOf(std::string_view text, std::string_view others) {
  std::string out;
  std::copy_if(text.begin(), text.end(), std::back_inserter(out),
               [others](char c) { return isTokenChar(c) || others.find(c) != kNowhere; });
  return out;
}

// A name as it may be written: no mark of a part or an extended value in it.
std::string cleanName(std::string_view name) {
  std::string clean = tokenOf(name, {});
  std::erase_if(clean, [](char c) { return kExtendedSpecials.find(c) != kNowhere; });
  return clean;
}

// Name, part number and "extended" mark of "filename*1*".
struct PartName {
  std::string_view name;
  std::optional<unsigned> number;
  bool extended = false;
};

PartName splitName(std::string_view written) {
  PartName part{written, std::nullopt, false};
  if (part.name.ends_with('*')) {
    part.name.remove_suffix(1);
    part.extended = true;
  }
  const std::size_t star = part.name.rfind('*');
  if (star != kNowhere) {
    const std::string_view digits = part.name.substr(star + 1);
    unsigned number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error == std::errc{} && end == digits.data() + digits.size()) {
      part.number = number;
      part.name = part.name.substr(0, star);
    }
  }
  return part;
}

bool isKnownName(std::string_view written) {
  const std::string name = toLowerAscii(splitName(written).name);
  return std::binary_search(std::begin(kKnownNames), std::end(kKnownNames), std::string_view(name));
}

bool namesFile(std::string_view name) { return equalsIgnoreCase(name, "name") || equalsIgnoreCase(name, "filename"); }

// Walks over a raw value. Every step goes forward; a look ahead is bounded, or its failure is remembered.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text), lastQuote_(text.rfind('"')) {}

  bool atEnd() const { return at_ >= text_.size(); }
  char peek() const { return text_[at_]; }
  void skip() { ++at_; }

  void skipBlanksAndComments() {
    while (!atEnd()) {
      if (peekIsBlank()) {
        skip();
      } else if (peek() != '(' || !skipComment()) {
        break;
      }
    }
  }

  void skipPast(char c) {
    at_ = text_.find(c, at_);
    at_ = at_ == kNowhere ? text_.size() : at_ + 1;
  }

  // "text/plain": all up to a semicolon, a comment or a blank that begins something else.
  std::string word() {
    std::string out;
    skipBlanksAndComments();
    bool slash = false;
    while (!atEnd() && peek() != ';' && peek() != '(') {
      if (peekIsBlank()) {
        skipBlanksAndComments();
        // Blanks around the slash are an old form.
        if (atEnd() || (peek() != '/' && !slash)) {
          break;
        }
        continue;
      }
      slash = peek() == '/';
      if (peek() != '"') {
        out.push_back(peek());
      }
      skip();
    }
    return out;
  }

  std::string_view name() {
    const std::size_t begin = at_;
    while (!atEnd() && !peekIsBlank() && peek() != '=' && peek() != ';' && peek() != '"') {
      skip();
    }
    return text_.substr(begin, at_ - begin);
  }

  std::string value(std::string_view name) {
    if (!atEnd() && peek() == '"') {
      return quoted();
    }
    return bare(namesFile(name));
  }

 private:
  bool peekIsBlank() const { return !atEnd() && kBlanks.find(peek()) != kNowhere; }

  // Whether a whole comment stood here; an open one is no comment.
  bool skipComment() {
    if (at_ >= openCommentFrom_) {
      return false;
    }
    std::size_t depth = 0;
    for (std::size_t i = at_; i < text_.size(); ++i) {
      if (text_[i] == '\\') {
        ++i;
      } else if (text_[i] == '(') {
        ++depth;
      } else if (text_[i] == ')' && --depth == 0) {
        at_ = i + 1;
        return true;
      }
    }
    openCommentFrom_ = at_;
    return false;
  }

  // Whether "name=" stands at `at`.
  bool parameterAt(std::size_t at) const {
    constexpr std::size_t kLongestKnown = 64;
    const std::size_t begin = at;
    while (at < text_.size() && at - begin < kLongestKnown && isTokenChar(text_[at])) {
      ++at;
    }
    return at > begin && at < text_.size() && text_[at] == '=' && isKnownName(text_.substr(begin, at - begin));
  }

  // Whether the quote at `at` ends its text. A quote in the middle of a file name that nobody escaped does not.
  bool closesAt(std::size_t at) const {
    const std::size_t next = text_.find_first_not_of(kBlanks, at + 1);
    return at == lastQuote_ || next == kNowhere || text_[next] == ';' || text_[next] == '(' || parameterAt(next);
  }

  std::string quoted() {
    const std::size_t begin = ++at_;
    // Where a backslash stands ahead of anything but a quote or a backslash, its sender wrote a path and escaped nothing.
    bool literal = false;
    for (; !atEnd(); skip()) {
      if (peek() == '\\' && at_ + 1 < text_.size()) {
        const char next = text_[at_ + 1];
        if (next == '"' && at_ + 1 == lastQuote_) {
          literal = true;
          continue;
        }
        literal = literal || (next != '"' && next != '\\');
        at_ += next == '"' || next == '\\' ? 1 : 0;
      } else if (peek() == '"' && closesAt(at_)) {
        break;
      }
    }
    const std::string_view inner = text_.substr(begin, at_ - begin);
    if (!atEnd()) {
      skip();
    }
    return literal ? unescape(inner, "\"") : unescape(inner, "\"\\");
  }

  static std::string unescape(std::string_view text, std::string_view escapable) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '\\' && i + 1 < text.size() && escapable.find(text[i + 1]) != kNowhere) {
        ++i;
      }
      out.push_back(text[i]);
    }
    return out;
  }

  // Up to a semicolon or the next parameter; semicolons and quotes inside encoded words don't count.
  std::string bare(bool isFileName) {
    const std::size_t begin = at_;
    std::size_t comment = kNowhere;
    while (!atEnd() && peek() != ';') {
      if (peek() == '=' && text_.substr(at_).starts_with("=?") && skipEncodedWord()) {
        continue;
      }
      const bool blank = peekIsBlank();
      skip();
      if (blank && !atEnd()) {
        if (peek() == '(' && comment == kNowhere) {
          comment = at_;
        }
        if (parameterAt(at_)) {
          break;
        }
      }
    }
    // File names hold parentheses of their own: "report (1).pdf".
    const std::size_t end = isFileName ? at_ : std::min(at_, comment);
    return std::string(trim(text_.substr(begin, end - begin)));
  }

  bool skipEncodedWord() {
    constexpr std::size_t kLongest = 512;
    const std::string_view word = text_.substr(at_, kLongest);
    const std::size_t charsetEnd = word.find('?', 2);
    const std::size_t letterEnd = charsetEnd == kNowhere ? kNowhere : word.find('?', charsetEnd + 1);
    const std::size_t end = letterEnd == kNowhere ? kNowhere : word.find("?=", letterEnd + 1);
    if (end == kNowhere || letterEnd != charsetEnd + 2) {
      return false;
    }
    at_ += end + 2;
    return true;
  }

  std::string_view text_;
  std::size_t lastQuote_;
  std::size_t openCommentFrom_ = kNowhere;
  std::size_t at_ = 0;
};

int hexValue(char c) {
  const std::size_t digit = kHexDigits.find(c >= 'a' && c <= 'f' ? static_cast<char>(c - 0x20) : c);
  return digit == kNowhere ? -1 : static_cast<int>(digit);
}

std::string decodePercent(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 && hexValue(text[i + 2]) >= 0) {
      out.push_back(static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2])));
      i += 2;
    } else {
      out.push_back(text[i]);
    }
  }
  return out;
}

// One "name=value" as it was written.
struct WrittenValue {
  unsigned number;
  bool extended;
  std::string text;
};

// All that was written for one name.
struct WrittenParameter {
  std::string name;
  std::optional<std::string> plain;
  std::vector<WrittenValue> parts;  // numbered or extended

  void add(const PartName& part, std::string text) {
    if (!part.number && !part.extended) {
      plain = plain ? std::move(plain) : std::optional<std::string>(std::move(text));
    } else {
      parts.push_back({part.number.value_or(0), part.extended, std::move(text)});
    }
  }
};

// Puts the parts of a value together, in the order of their numbers, the first of each number.
Parameter join(WrittenParameter written, const Charset* messageCharset) {
  std::vector<WrittenValue>& parts = written.parts;
  std::stable_sort(parts.begin(), parts.end(),
                   [](const WrittenValue& a, const WrittenValue& b) { return a.number < b.number; });
  parts.erase(std::unique(parts.begin(), parts.end(),
                          [](const WrittenValue& a, const WrittenValue& b) { return a.number == b.number; }),
              parts.end());

  Parameter parameter{std::move(written.name), {}, {}};
  const bool anyExtended = std::any_of(parts.begin(), parts.end(), [](const WrittenValue& part) { return part.extended; });
  const Charset* declared = nullptr;
  bool atHead = true;
  for (const WrittenValue& part : parts) {
    std::string_view text = part.text;
    if (part.extended && std::exchange(atHead, false)) {
      const std::size_t charsetEnd = text.find('\'');
      const std::size_t languageEnd = charsetEnd == kNowhere ? kNowhere : text.find('\'', charsetEnd + 1);
      if (languageEnd != kNowhere) {
        declared = findCharset(text.substr(0, charsetEnd));
        text.remove_prefix(languageEnd + 1);
      }
    }
    parameter.value += part.extended ? decodePercent(text) : std::string(text);
  }
  if (written.plain && parameter.value.empty()) {
    parameter.value = *std::move(written.plain);
    parameter.wide = decodeHeaderText(parameter.value, messageCharset);
  } else if (!anyExtended) {
    parameter.wide = decodeHeaderText(parameter.value, messageCharset);
  } else {
    parameter.wide = decodeLabelledText(parameter.value, declared, messageCharset);
  }
  return parameter;
}

bool isPrintable(std::u16string_view text) {
  return std::all_of(text.begin(), text.end(), [](char16_t c) { return c >= 0x20 && c < 0x7F; });
}

std::string quote(std::string_view text) {
  if (!text.empty() && std::all_of(text.begin(), text.end(), isTokenChar)) {
    return std::string(text);
  }
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out.push_back('\\');
    }
    out.push_back(c);
  }
  return out + '"';
}

// Writes "; name=value" texts and begins a new line where one would pass the limit.
class ParameterWriter {
 public:
  ParameterWriter(const HeaderFold& fold, std::string_view word)
      : fold_(fold), out_(word), column_(fold.startColumn + word.size()) {}

  void put(std::string_view text) {
    out_ += ';';
    if (column_ + 2 + text.size() >= fold_.limit) {
      out_.append(fold_.lineEnd);
      column_ = 0;
    } else {
      ++column_;
    }
    out_.append(" ").append(text);
    column_ += 1 + text.size();
  }

  // What a line holds beside its blank and the semicolon behind it.
  std::size_t room() const { return std::max<std::size_t>(fold_.limit, 40) - 2; }

  std::string take() { return std::move(out_); }

 private:
  const HeaderFold& fold_;
  std::string out_;
  std::size_t column_;
};

// The codes of each character. `bytes` has one byte for each or is UTF-8.
std::vector<std::string> codesOf(std::string_view bytes, bool isUtf8) {
  std::vector<std::string> codes;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (codes.empty() || !isUtf8 || (byte & 0xC0) != 0x80) {
      codes.emplace_back();
    }
    if (isTokenChar(c) && kExtendedSpecials.find(c) == kNowhere) {
      codes.back() += c;
    } else {
      codes.back().append({'%', kHexDigits[byte >> 4], kHexDigits[byte & 15]});
    }
  }
  return codes;
}

// Parts end between characters, since some readers decode each part alone.
void writeExtended(const Parameter& parameter, const Charset& given, ParameterWriter& writer) {
  std::string bytes = encodeText(parameter.wide, given.codePage);
  const bool isUtf8 = given.codePage == kUtf8 || bytes.size() != parameter.wide.size();
  const Charset& charset = isUtf8 ? *findCodePage(kUtf8) : given;
  if (isUtf8 && given.codePage != kUtf8) {
    bytes = encodeText(parameter.wide, kUtf8);
  }
  const std::string head = std::string(charset.name) + "''";
  const std::vector<std::string> codes = codesOf(bytes, isUtf8);
  std::string whole = head;
  for (const std::string& code : codes) {
    whole += code;
  }
  if (parameter.name.size() + 2 + whole.size() <= writer.room()) {
    writer.put(parameter.name + "*=" + whole);
    return;
  }
  constexpr std::size_t kSmallestPart = 12;
  std::string part = head;
  unsigned number = 0;
  const auto label = [&] { return parameter.name + '*' + std::to_string(number) + "*="; };
  for (const std::string& code : codes) {
    const std::size_t size = label().size() + part.size() + code.size();
    if (size > writer.room() && part.size() >= kSmallestPart) {
      writer.put(label() + part);
      part.clear();
      ++number;
    }
    part += code;
  }
  writer.put(label() + part);
}

}  // namespace

ParameterList ParameterList::parse(std::string_view unfoldedRaw, const Charset* messageCharset) {
  Scanner scanner(unfoldedRaw);
  ParameterList list;
  list.word_ = scanner.word();

  std::vector<WrittenParameter> written;
  std::map<std::string, std::size_t> places;
  while (true) {
    scanner.skipBlanksAndComments();
    if (scanner.atEnd()) {
      break;
    }
    if (scanner.peek() == ';') {
      scanner.skip();
      continue;
    }
    const std::string_view name = scanner.name();
    scanner.skipBlanksAndComments();
    if (scanner.atEnd() || scanner.peek() != '=') {
      // No parameter: a lone word, or a quoted text from nowhere.
      if (name.empty()) {
        scanner.skipPast(scanner.atEnd() ? ';' : scanner.peek());
      }
      continue;
    }
    scanner.skip();
    scanner.skipBlanksAndComments();
    const PartName part = splitName(name);
    std::string value = scanner.value(part.name);
    std::string clean = cleanName(part.name);
    if (clean.empty() || clean.size() > kLongestName) {
      continue;
    }
    const auto [place, isNew] = places.emplace(toLowerAscii(clean), written.size());
    if (isNew) {
      written.push_back({std::move(clean), std::nullopt, {}});
    }
    written[place->second].add(part, std::move(value));
  }
  list.parameters_.reserve(written.size());
  for (WrittenParameter& parameter : written) {
    list.parameters_.push_back(join(std::move(parameter), messageCharset));
  }
  return list;
}

void ParameterList::setWord(std::string_view word) { word_ = tokenOf(word, "/"); }

const Parameter* ParameterList::find(std::string_view name) const {
  const auto found = std::find_if(parameters_.begin(), parameters_.end(),
                                  [name](const Parameter& parameter) { return equalsIgnoreCase(parameter.name, name); });
  return found == parameters_.end() ? nullptr : &*found;
}

void ParameterList::set(std::string_view name, std::u16string_view value) {
  Parameter parameter{cleanName(name), wideToUtf8(value), std::u16string(value)};
  if (const Parameter* old = find(name)) {
    parameters_[static_cast<std::size_t>(old - parameters_.data())] = std::move(parameter);
  } else {
    parameters_.push_back(std::move(parameter));
  }
}

bool ParameterList::erase(std::string_view name) {
  const Parameter* old = find(name);
  if (old == nullptr) {
    return false;
  }
  parameters_.erase(parameters_.begin() + (old - parameters_.data()));
  return true;
}

std::string ParameterList::write(const Charset* charset, const HeaderFold& fold) const {
  ParameterWriter writer(fold, tokenOf(word_, "/"));
  for (const Parameter& parameter : parameters_) {
    if (isPrintable(parameter.wide) && parameter.wide.find(u"=?") == std::u16string::npos) {
      const std::string value = quote(std::string(parameter.wide.begin(), parameter.wide.end()));
      if (parameter.name.size() + 1 + value.size() <= writer.room()) {
        writer.put(parameter.name + '=' + value);
        continue;
      }
    }
    const Charset& best = headerCharsetFor(parameter.wide, charset);
    writeExtended(parameter, best.asciiSuperset() ? best : headerCharsetFor(parameter.wide, nullptr), writer);
  }
  return writer.take();
}

}  // namespace nalvo::mime
