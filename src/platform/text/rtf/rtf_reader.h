// The text of RTF.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/text/code_pages.h"
#include "platform/text/rtf/rtf_lexer.h"
#include "platform/text/text_converter.h"

namespace nalvo {

struct RtfWordRow;

// What RTF was made from, as its head says: the numbers that the store uses.
enum class RtfNativeBody : std::uint32_t { Rtf = 1, Html = 2, PlainText = 4 };

// How much of a text rtfNativeBody wants to see: the mark is one of the first ten tokens.
inline constexpr std::size_t kRtfHead = 4096;
RtfNativeBody rtfNativeBody(std::string_view head);

// Reads RTF piece by piece and appends UTF-16 text with CR LF. Broken and cut input gives the text so far; what stands
// behind the last brace is no part of it. Memory does not grow with the text, but for fonts and for groups, which are
// limited.
class RtfReader final : private RtfEvents {
 public:
  enum class Rendering : std::uint8_t {
    Text,              // what a reader of the RTF sees; the last \par ends the paragraph and gives no line end
    EncapsulatedText,  // the same without what stands there for RTF alone, for a head with \fromtext
    EncapsulatedHtml,  // the HTML that the RTF was made from, for a head with \fromhtml
  };

  explicit RtfReader(Rendering rendering = Rendering::Text);

  void update(std::string_view rtf, std::u16string& out);
  // Nothing may follow.
  void finish(std::u16string& out);

 private:
  enum class Destination : std::uint8_t { Body, HtmlTag, FontTable, Upr, Skipped };

  // What a group hands to the groups in it and gets back when they end.
  struct Group {
    Destination destination = Destination::Body;
    Destination outside = Destination::Body;  // of \upr, for its second half
    bool hidden = false;
    bool rtfOnly = false;  // between \htmlrtf and \htmlrtf0
    std::int32_t font = kDefaultFont;
    std::int32_t fallback = 1;  // characters behind \u that stand for it
  };
  static constexpr std::int32_t kDefaultFont = -1;

  void onGroupStart() override;
  void onGroupEnd() override;
  void onWord(std::string_view name, std::int32_t number) override;
  void onSymbol(char symbol) override;
  void onByte(char byte) override;
  void onText(std::string_view bytes) override;

  void obey(const RtfWordRow& row, std::int32_t number);
  void onUnicode(std::int32_t number);
  void onBreak(std::u16string_view inText, std::u16string_view inHtml);
  void onParagraphEnd();
  void onCellEnd();
  void onRowEnd();
  void setFont(std::int32_t font);
  void setFontPage(CodePage page);

  bool shows() const;
  bool isHtml() const { return rendering_ == Rendering::EncapsulatedHtml; }
  CodePage page() const;
  void addBytes(std::string_view bytes);
  void flushBytes();
  void convertBytes(bool complete);
  void addText(std::u16string_view text);
  void flushBreaks();

  const Rendering rendering_;
  RtfLexer lexer_;
  std::u16string* out_ = nullptr;
  bool isRtf_ = false;  // a text without the word has no last brace
  bool ended_ = false;
  std::vector<Group> outer_;
  std::size_t tooDeep_ = 0;  // open groups beyond the limit, which share the innermost group
  Group group_;
  bool starred_ = false;  // a word that nobody knows makes its group one without text
  std::int32_t toSkip_ = 0;

  CodePage defaultPage_ = kAnsiCodePage;
  std::int32_t defaultFont_ = 0;
  std::unordered_map<std::int32_t, CodePage> fontPages_;

  // Bytes that wait for the rest of their character, and their code page.
  std::string bytes_;
  CodePage bytesPage_ = kAnsiCodePage;
  bool inConverter_ = false;  // the converter holds a part of a character
  std::unordered_map<CodePage, std::unique_ptr<TextConverter>> converters_;

  bool paragraphEnded_ = false;
  bool cellEnded_ = false;
};

}  // namespace nalvo
