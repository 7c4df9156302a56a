// The lines of calendar and card text as tokens: names, parameters, values.
//
// A physical line ends in CR LF, LF or a bare CR. One that begins with a space or a tab goes on with the line before, less
// that one character; empty lines don't count. What can't be read gives false and no message: whoever asks keeps what it
// has and goes on with the next line. All tokens come out in UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace nalvo::mail {

class HeaderLex {
 public:
  virtual ~HeaderLex() = default;
  HeaderLex(const HeaderLex&) = delete;
  HeaderLex& operator=(const HeaderLex&) = delete;

  // The source is used up. Never becomes false again.
  bool atEnd() const { return atEnd_; }

  // All operations begin by passing over spaces and tabs.

  // Goes to the start of the next line, unless the last one was read to its end already; letters, digits and "-" from
  // there. False when there is none: the text can't be read on.
  bool readName(std::string& out);
  // The next parameter's name, behind a ";" if one stands there. False at the end of the parameters.
  bool readParamName(std::string& out);
  // Replaces `values` by those of the parameter just named: none for a bare one (";HOME"). They may be quoted; backslashes
  // in them mean what quoteToken makes: "\\", "\n" and "\t". The first empty one ends them. False when the line ended.
  bool readParamValues(std::vector<std::string>& values);
  // The value, behind the ":". Behind parameters, whatever stands ahead of the ":" is passed over.
  //
  // quotedPrintable   the value is coded so, and an "=" at the end of a line joins it with the next.
  // keepBackslashes   the value's fields are parted later: an escape other than "\n", "\r", "\t" stays as it is.
  // charset           of this value, when it isn't that of the source.
  //
  // Encoded words are decoded until none is left, and blanks in front go last of all, so that a value that is written and
  // read again stays the same. False for a value that comes out empty or can't be converted.
  bool readValue(std::string& out, bool quotedPrintable, bool keepBackslashes, std::string_view charset = {});
  // As readValue, without blanks at both ends.
  bool readTrimmedValue(std::string& out, bool quotedPrintable, bool keepBackslashes);
  // Stands at the first ":" of the line afterwards, quoted ones not counting. False when the line has none.
  bool skipToValue();
  // Passes over the ":" and the value. False when there was nothing.
  bool skipValue();

 protected:
  // charset  of the source; an empty or unknown one stands for UTF-8.
  HeaderLex(std::string_view charset, bool backslashEscapes);

  // Puts the next physical line with something in it into `line_`; false at the end.
  virtual bool nextLine() = 0;
  // Makes the line that begins at `begin` in `line_` the present one.
  void beginLine(std::size_t begin);

  std::string line_;
  std::size_t lineEnd_ = 0;  // where the present physical line's end begins in `line_`

 private:
  bool peekChar(char& out, bool quotedPrintable = false);
  bool isSoftBreak() const;
  bool skipBlanks();
  bool skipRest();
  bool skipOver(char c);
  template <typename Stops>
  void take(std::string& out, bool quotedPrintable, Stops stops);
  void takeToken(std::string& out);
  bool readQuoted(std::string& out);
  bool decode(std::string& text, bool quotedPrintable, bool keepBackslashes, std::string_view charset) const;

  std::string charset_;
  bool backslashEscapes_;
  std::size_t position_ = 0;  // of the next character in `line_`
  bool started_ = false;
  bool atEnd_ = false;
  bool lineEnded_ = false;  // the logical line is read to its end, and `line_` holds the next one
  bool hadParams_ = false;
};

// Appends a name or a parameter value. In double quotes when it holds ":", ";", "," or a space; a double quote becomes an
// apostrophe, a tab "\t", a line feed "\n", a backslash two; carriage returns go.
void quoteToken(std::string_view text, std::string& out);

// Appends a value in lines of 56 and then 76 bytes of `text`, never cut inside a character. A tab becomes "\t", a line feed
// "\n", a backslash two, or stays one in a `structured` value, whose fields are escaped already. Carriage returns go
// without a trace. Commas and semicolons are the caller's.
void foldValue(std::string_view text, std::string& out, bool structured);

}  // namespace nalvo::mail
