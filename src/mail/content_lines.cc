#include "mail/content_lines.h"

#include <algorithm>
#include <cstring>

#include "platform/text/text.h"
#include "text/charset_converter.h"
#include "text/charset_names.h"
#include "text/encoded_strings.h"
#include "text/encoded_words.h"

namespace nalvo::mail {
namespace {

constexpr std::string_view kSpaceTab = " \t";

constexpr bool isNameChar(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
}

bool isAsciiSuperset(std::string_view charset) {
  const Charset* row = utils::charsetFor(charset);
  return row != nullptr && row->asciiSuperset() && !utils::isUtf7Imap(charset);
}

// What ends a parameter value that isn't quoted.
constexpr bool isDelimiter(char c) { return c == ':' || c == ';' || c == ','; }

// What an escape of a value stands for; 0 for one that isn't a control character. A control character that is escaped as it
// is stands for itself: what is written of it would be an escape behind a backslash.
char controlOf(char c) {
  switch (toLowerAscii(c)) {
    case 'n':
    case '\n':
      return '\n';
    case 'r':
    case '\r':
      return '\r';
    case 't':
    case '\t':
      return '\t';
    default:
      return '\0';
  }
}

// Converts `text` in place. False when it can't be.
bool toUtf8(std::string& text, std::string_view charset) {
  if (equalsIgnoreCase(charset, utils::kUtf8Charset) ? isValidUtf8(text) : isAscii(text) && isAsciiSuperset(charset)) {
    return true;
  }
  std::string converted;
  const bool whole = utils::convertToCharset(charset, utils::kUtf8Charset, text, converted, true);
  text = std::move(converted);
  return whole;
}

// Replaces the escapes of a whole value by what they stand for. With `keepBackslashes` those that stand for no control
// character stay, and half an escape at the end becomes a whole one.
void resolveEscapes(std::string& text, bool keepBackslashes) {
  std::size_t escape = text.find('\\');
  if (escape == std::string::npos) {
    return;
  }
  std::string out;
  out.reserve(text.size() + 1);
  std::size_t at = 0;
  for (; escape != std::string::npos; escape = text.find('\\', at)) {
    out.append(text, at, escape - at);
    at = std::min(escape + 2, text.size());
    const bool isHalf = at == escape + 1;
    const char control = isHalf ? '\0' : controlOf(text[escape + 1]);
    if (control != 0) {
      out.push_back(control);
      continue;
    }
    if (keepBackslashes) {
      out.push_back('\\');
    }
    out.push_back(isHalf ? '\\' : text[escape + 1]);
  }
  text = out.append(text, at);
}

// Undoes what quoteToken makes of a parameter value.
std::string unescapeToken(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string_view two = text.substr(i, 2);
    const char plain = two == "\\\\" ? '\\' : two == "\\n" ? '\n' : two == "\\t" ? '\t' : '\0';
    out.push_back(plain != 0 ? plain : text[i]);
    i += plain != 0 ? 1 : 0;
  }
  return out;
}

}  // namespace

HeaderLex::HeaderLex(std::string_view charset, bool backslashEscapes) : backslashEscapes_(backslashEscapes) {
  utils::normalizeCharsetName(charset, charset_);
  // A repaired name may still be nobody's ("windows-9999" is "cp9999").
  if (charset.empty() || !utils::isCharsetSupported(charset_)) {
    charset_ = utils::kUtf8Charset;
  }
}

void HeaderLex::beginLine(std::size_t begin) {
  position_ = begin;
  lineEnd_ = std::min(line_.find('\n', begin), line_.size());
  const void* cr = std::memchr(line_.data() + begin, '\r', lineEnd_ - begin);
  lineEnd_ = cr != nullptr ? static_cast<std::size_t>(static_cast<const char*>(cr) - line_.data()) : lineEnd_;
}

// "=" as the last character of a physical line.
bool HeaderLex::isSoftBreak() const {
  return line_[position_] == '=' && position_ + 1 == lineEnd_ && lineEnd_ < line_.size();
}

// The next character of the logical line, which stays; whoever takes it moves `position_` on. False at the end of the line.
bool HeaderLex::peekChar(char& out, bool quotedPrintable) {
  if (lineEnded_ || atEnd_) {
    return false;
  }
  while (true) {
    const bool soft = position_ < lineEnd_ && quotedPrintable && isSoftBreak();
    if (position_ < lineEnd_ && !soft) {
      out = line_[position_];
      return true;
    }
    if (!nextLine()) {
      atEnd_ = true;
      return false;
    }
    if (position_ < lineEnd_ && kSpaceTab.find(line_[position_]) != std::string_view::npos) {
      ++position_;
    } else if (!soft) {
      lineEnded_ = true;
      return false;
    }
  }
}

bool HeaderLex::skipBlanks() {
  char c = 0;
  while (peekChar(c)) {
    if (kSpaceTab.find(c) == std::string_view::npos) {
      return true;
    }
    ++position_;
  }
  return false;
}

bool HeaderLex::skipOver(char wanted) {
  char c = 0;
  if (!peekChar(c) || c != wanted) {
    return false;
  }
  ++position_;
  return true;
}

// To the end of the logical line; whether there was anything.
bool HeaderLex::skipRest() {
  char c = 0;
  bool any = false;
  while (peekChar(c)) {
    any = true;
    position_ = lineEnd_;
  }
  return any;
}

// Appends all up to a character that `stops`, or to the end of the logical line.
template <typename Stops>
void HeaderLex::take(std::string& out, bool quotedPrintable, Stops stops) {
  char c = 0;
  while (peekChar(c, quotedPrintable) && !stops(c)) {
    // A run of the physical line at once. A "=" at its end may join lines, so each is asked about.
    std::size_t end = position_ + 1;
    while (end < lineEnd_ && !stops(line_[end]) && !(quotedPrintable && line_[end] == '=')) {
      ++end;
    }
    out.append(line_, position_, end - position_);
    position_ = end;
  }
}

// Letters, digits and "-", which are the same in every charset of mail.
void HeaderLex::takeToken(std::string& out) {
  out.clear();
  take(out, false, [](char c) { return !isNameChar(c); });
}

bool HeaderLex::readName(std::string& out) {
  if (!started_) {
    started_ = true;
    atEnd_ = !nextLine();
  } else {
    skipRest();
  }
  lineEnded_ = false;
  hadParams_ = false;
  skipBlanks();
  takeToken(out);
  return !out.empty();
}

bool HeaderLex::readParamName(std::string& out) {
  skipBlanks();
  while (skipOver(';')) {  // some write two
    skipBlanks();
  }
  takeToken(out);
  hadParams_ = hadParams_ || !out.empty();
  return !out.empty();
}

// Up to the closing quote. False when it is missing.
bool HeaderLex::readQuoted(std::string& out) {
  take(out, false, [](char c) { return c == '"'; });
  return skipOver('"');
}

bool HeaderLex::readParamValues(std::vector<std::string>& values) {
  values.clear();
  if (!skipBlanks()) {
    return false;
  }
  if (skipOver('=') || skipOver(',')) {
    if (!skipBlanks()) {
      return false;
    }
  }
  char c = 0;
  while (peekChar(c) && c != ':' && c != ';') {
    skipBlanks();
    if (skipOver(',')) {
      skipBlanks();
    }
    std::string value;
    if (skipOver('"')) {
      if (!readQuoted(value)) {
        break;
      }
    } else {
      take(value, false, isDelimiter);
    }
    if (value.empty()) {
      break;
    }
    toUtf8(value, charset_);
    values.push_back(unescapeToken(value));
  }
  return true;
}

bool HeaderLex::decode(std::string& text, bool quotedPrintable, bool keepBackslashes, std::string_view charset) const {
  const bool hasEscapes = backslashEscapes_ && text.find('\\') != std::string::npos;
  // The backslash may be half of a character, so it is looked for behind the conversion.
  const bool isConvertedFirst = hasEscapes && utils::mayHideBackslash(charset);
  if (hasEscapes && !isConvertedFirst) {
    resolveEscapes(text, keepBackslashes);
  }
  if (quotedPrintable) {
    utils::decodeQuotedPrintable(text, text);
  }
  if (isConvertedFirst) {
    if (!toUtf8(text, charset)) {
      return false;
    }
    charset = utils::kUtf8Charset;
    resolveEscapes(text, keepBackslashes);
  }
  constexpr std::string_view kWordStart = "=?";
  if (text.find(kWordStart) != std::string::npos) {
    text = utils::decodeMimeWords(text, charset);
    // What comes out may be a word again, and would change whenever it is read.
    constexpr int kMostRounds = 4;
    for (int round = 1; round < kMostRounds && text.find(kWordStart) != std::string::npos; ++round) {
      std::string again = utils::decodeMimeWords(text);
      if (again == text) {
        break;
      }
      text = std::move(again);
    }
  } else if (!toUtf8(text, charset)) {
    return false;
  }
  text.erase(text.find_last_not_of('\0') + 1);
  if (keepBackslashes) {
    // What was decoded holds escapes of its own, or ends in half of one now.
    resolveEscapes(text, true);
  }
  // Carriage returns aren't written, so a blank behind them would be the first character of the written value.
  const std::size_t start = text.find_first_not_of(" \t\r");
  if (start == std::string::npos) {
    return false;
  }
  if (std::string_view(text).substr(0, start).find_first_of(kSpaceTab) != std::string_view::npos) {
    text.erase(0, start);
  }
  return true;
}

bool HeaderLex::readValue(std::string& out, bool quotedPrintable, bool keepBackslashes, std::string_view charset) {
  out.clear();
  if (hadParams_ && !skipToValue()) {
    return false;
  }
  if (!skipBlanks()) {
    return false;
  }
  skipOver(':');
  if (!skipBlanks()) {
    return false;
  }
  take(out, quotedPrintable, [](char) { return false; });
  return decode(out, quotedPrintable, keepBackslashes, charset.empty() ? std::string_view(charset_) : charset);
}

bool HeaderLex::readTrimmedValue(std::string& out, bool quotedPrintable, bool keepBackslashes) {
  if (!readValue(out, quotedPrintable, keepBackslashes)) {
    return false;
  }
  out = trim(std::string_view(out), kSpaceTab);
  return true;
}

bool HeaderLex::skipToValue() {
  bool quoted = false;
  char c = 0;
  while (peekChar(c)) {
    if (c == ':' && !quoted) {
      return true;
    }
    quoted = quoted != (c == '"');
    ++position_;
  }
  return false;
}

bool HeaderLex::skipValue() {
  if (!skipBlanks()) {
    return false;
  }
  skipOver(':');
  return skipRest();
}

}  // namespace nalvo::mail
