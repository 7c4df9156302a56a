#include "platform/text/rtf/rtf_reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/text/rtf/rtf_words.h"
#include "platform/text/text.h"
#include "platform/text/utf8.h"

namespace nalvo {
namespace {

using Action = RtfWordRow::Action;

// Open groups that keep a state of their own, and fonts that are known. Real texts need some dozens of each; a text made of
// braces must not fill the memory.
constexpr std::size_t kMostGroups = 10000;
constexpr std::size_t kMostFonts = 40000;
// Bytes that are kept before they are converted.
constexpr std::size_t kMostBytes = 4096;

constexpr std::u16string_view kLineEnd = u"\r\n";

const RtfWordRow* findWord(std::string_view word) {
  const auto row = std::lower_bound(std::begin(kRtfWords), std::end(kRtfWords), word,
                                    [](const RtfWordRow& a, std::string_view b) { return a.word < b; });
  return row != std::end(kRtfWords) && row->word == word ? row : nullptr;
}

CodePage pageOfCharset(std::int32_t charset) {
  const auto row = std::find_if(std::begin(kRtfCharsets), std::end(kRtfCharsets),
                                [charset](const RtfCharsetRow& r) { return r.charset == charset; });
  return row != std::end(kRtfCharsets) ? row->codePage : kRtfCharsets[0].codePage;
}

// A page that bytes of text can be in.
bool isBytePage(CodePage page) {
  const Charset* charset = findCodePage(page);
  return charset != nullptr && charset->asciiSuperset();
}

// Looks for the mark among the first tokens.
class HeadEvents final : public RtfEvents {
 public:
  void onGroupStart() override { ++tokens_; }
  void onGroupEnd() override { tokens_ = kTokens; }
  void onWord(std::string_view name, std::int32_t number) override {
    if (++tokens_ > kTokens || kind != RtfNativeBody::Rtf) {
      return;
    }
    if (name == "fromhtml" && number == 1) {
      kind = RtfNativeBody::Html;
    } else if (name == "fromtext") {
      kind = RtfNativeBody::PlainText;
    }
  }
  void onSymbol(char) override { ++tokens_; }
  void onByte(char) override { tokens_ = kTokens; }
  void onText(std::string_view bytes) override {
    if (!trim(bytes).empty()) {
      tokens_ = kTokens;
    }
  }

  RtfNativeBody kind = RtfNativeBody::Rtf;

 private:
  static constexpr int kTokens = 10;
  int tokens_ = 0;
};

}  // namespace

RtfNativeBody rtfNativeBody(std::string_view head) {
  HeadEvents events;
  RtfLexer lexer(events);
  lexer.update(head.substr(0, kRtfHead));
  return events.kind;
}

RtfReader::RtfReader(Rendering rendering) : rendering_(rendering), lexer_(*this) {}

void RtfReader::update(std::string_view rtf, std::u16string& out) {
  out_ = &out;
  lexer_.update(rtf);
}

void RtfReader::finish(std::u16string& out) {
  out_ = &out;
  lexer_.finish();
  flushBytes();
}

void RtfReader::onGroupStart() {
  toSkip_ = 0;
  starred_ = false;
  if (outer_.size() < kMostGroups) {
    outer_.push_back(group_);
  } else {
    ++tooDeep_;
  }
}

void RtfReader::onGroupEnd() {
  toSkip_ = 0;
  starred_ = false;
  if (tooDeep_ != 0) {
    --tooDeep_;
  } else if (!outer_.empty()) {
    group_ = outer_.back();
    outer_.pop_back();
    ended_ = ended_ || (isRtf_ && outer_.empty());
  }
}

void RtfReader::onWord(std::string_view name, std::int32_t number) {
  const RtfWordRow* row = findWord(name);
  if (toSkip_ > 0) {
    if (row != nullptr && row->action == Action::Character) {
      --toSkip_;
      return;
    }
    // Writers that leave the character out are more frequent than such that write a word in its place.
    toSkip_ = 0;
  }
  if (row == nullptr) {
    if (starred_) {
      group_.destination = Destination::Skipped;
    }
  } else if (group_.destination != Destination::Skipped) {
    obey(*row, number);
  }
  starred_ = false;
}

void RtfReader::obey(const RtfWordRow& row, std::int32_t number) {
  const bool on = number != 0;  // also without a number
  switch (row.action) {
    case Action::Rtf:
      isRtf_ = true;
      break;
    case Action::Character:
      if (shows()) {
        const auto unit = static_cast<char16_t>(row.value);
        flushBytes();
        addText(isHtml() && group_.destination == Destination::Body ? row.html : std::u16string_view(&unit, 1));
      }
      break;
    case Action::Tab:
      onBreak(u"\t", u"\t");
      break;
    case Action::Line:
      onBreak(kLineEnd, kLineEnd);
      break;
    case Action::Paragraph:
      onParagraphEnd();
      break;
    case Action::Cell:
      onCellEnd();
      break;
    case Action::Row:
      onRowEnd();
      break;
    case Action::Unicode:
      if (number != kNoNumber) {
        onUnicode(number);
      }
      break;
    case Action::Fallback:
      group_.fallback = number == kNoNumber ? 1 : std::clamp(number, 0, 0xFFFF);
      break;
    case Action::Font:
      setFont(number == kNoNumber ? kDefaultFont : number);
      break;
    case Action::DefaultFont:
      defaultFont_ = number;
      break;
    case Action::FontCharset:
      setFontPage(pageOfCharset(number));
      break;
    case Action::FontPage:
      setFontPage(number > 0 ? static_cast<CodePage>(number) : kRtfDefaultPage);
      break;
    case Action::Plain:
      setFont(kDefaultFont);
      group_.hidden = false;
      break;
    case Action::Hidden:
      group_.hidden = on;
      break;
    case Action::HtmlRtf:
      group_.rtfOnly = on;
      break;
    case Action::Page:
      defaultPage_ = static_cast<CodePage>(row.value);
      break;
    case Action::GivenPage:
      if (number > 0 && isBytePage(static_cast<CodePage>(number))) {
        defaultPage_ = static_cast<CodePage>(number);
      }
      break;
    case Action::FontTable:
      group_.destination = Destination::FontTable;
      break;
    case Action::HtmlTag:
      group_.destination = isHtml() ? Destination::HtmlTag : Destination::Skipped;
      break;
    case Action::Upr:
      group_.outside = group_.destination;
      group_.destination = Destination::Upr;
      break;
    case Action::Ud:
      if (group_.destination == Destination::Upr) {
        group_.destination = group_.outside;
      }
      break;
    case Action::Body:
      break;
    case Action::Skipped:
      group_.destination = Destination::Skipped;
      break;
    case Action::SkippedInHtml:
      if (isHtml()) {
        group_.destination = Destination::Skipped;
      }
      break;
  }
}

void RtfReader::onSymbol(char symbol) {
  if (symbol == '*') {
    starred_ = true;
    return;
  }
  if (toSkip_ > 0) {
    --toSkip_;
    return;
  }
  switch (symbol) {
    case '\\':
    case '{':
    case '}':
      onText(std::string_view(&symbol, 1));
      break;
    case '\r':
    case '\n':
      onParagraphEnd();
      break;
    case '\t':
      onBreak(u"\t", u"\t");
      break;
    case '~':
      obey({"", Action::Character, 0xA0, u"&nbsp;"}, kNoNumber);
      break;
    case '_':
      obey({"", Action::Character, 0x2011, u"&#8209;"}, kNoNumber);
      break;
    case '-':
      obey({"", Action::Character, 0xAD, u"&shy;"}, kNoNumber);
      break;
    default:
      break;
  }
}

void RtfReader::onByte(char byte) { onText(std::string_view(&byte, 1)); }

void RtfReader::onText(std::string_view bytes) {
  starred_ = false;
  if (toSkip_ > 0) {
    const std::size_t skipped = std::min(bytes.size(), static_cast<std::size_t>(toSkip_));
    bytes.remove_prefix(skipped);
    toSkip_ -= static_cast<std::int32_t>(skipped);
  }
  if (shows() && !bytes.empty()) {
    addBytes(bytes);
  }
}

// Half of a surrogate pair, or a character beyond 16 bits where a writer did not cut it.
void RtfReader::onUnicode(std::int32_t number) {
  toSkip_ = group_.fallback;
  if (!shows()) {
    return;
  }
  const auto codePoint = static_cast<char32_t>(number < 0 ? number + 0x10000 : number);
  if (codePoint > 0x10FFFF) {
    return;
  }
  // Symbol fonts have their 224 characters in the private area.
  if (page() == kRtfSymbolPage && codePoint >= 0xF020 && codePoint <= 0xF0FF) {
    const char byte = static_cast<char>(codePoint & 0xFF);
    addBytes(std::string_view(&byte, 1));
    return;
  }
  flushBytes();
  std::u16string text;
  appendUtf16(codePoint, text);
  addText(text);
}

void RtfReader::onBreak(std::u16string_view inText, std::u16string_view inHtml) {
  if (shows()) {
    flushBytes();
    addText(isHtml() ? inHtml : inText);
  }
}

// The line end comes out when something follows.
void RtfReader::onParagraphEnd() {
  if (isHtml()) {
    onBreak({}, kLineEnd);
  } else if (shows()) {
    flushBytes();
    flushBreaks();
    paragraphEnded_ = true;
  }
}

void RtfReader::onCellEnd() {
  if (!isHtml() && shows()) {
    flushBytes();
    flushBreaks();
    cellEnded_ = true;
  }
}

// Cells are parted by tabs; the last one of a row ends with the row.
void RtfReader::onRowEnd() {
  if (!isHtml() && shows()) {
    flushBytes();
    cellEnded_ = false;
    flushBreaks();
    paragraphEnded_ = true;
  }
}

void RtfReader::setFont(std::int32_t font) {
  group_.font = font;
  if (group_.destination == Destination::FontTable && font >= 0 && fontPages_.size() < kMostFonts) {
    fontPages_.try_emplace(font, kRtfDefaultPage);
  }
}

void RtfReader::setFontPage(CodePage page) {
  if (group_.destination == Destination::FontTable &&
      (page == kRtfDefaultPage || page == kRtfSymbolPage || isBytePage(page))) {
    if (const auto font = fontPages_.find(group_.font); font != fontPages_.end()) {
      font->second = page;
    }
  }
}

bool RtfReader::shows() const {
  if (ended_) {
    return false;
  }
  if (group_.destination == Destination::HtmlTag) {
    return true;
  }
  return group_.destination == Destination::Body && !(rendering_ != Rendering::Text && group_.rtfOnly) &&
         !(group_.hidden && !isHtml());
}

CodePage RtfReader::page() const {
  const auto font = fontPages_.find(group_.font == kDefaultFont ? defaultFont_ : group_.font);
  return font == fontPages_.end() || font->second == kRtfDefaultPage ? defaultPage_ : font->second;
}

// Characters of several bytes may be written partly as they are, partly with digits, with formatting between the two.
void RtfReader::addBytes(std::string_view bytes) {
  const CodePage here = page();
  if (here != bytesPage_) {
    flushBytes();
    bytesPage_ = here;
  }
  // Cut at the same places whatever the pieces are.
  while (bytes_.size() + bytes.size() > kMostBytes) {
    const std::size_t taken = kMostBytes - bytes_.size();
    bytes_.append(bytes.substr(0, taken));
    bytes.remove_prefix(taken);
    convertBytes(false);
  }
  bytes_.append(bytes);
}

void RtfReader::flushBytes() {
  if (!bytes_.empty() || inConverter_) {
    convertBytes(true);
  }
}

void RtfReader::convertBytes(bool complete) {
  std::u16string text;
  if (!inConverter_ && isAscii(bytes_)) {
    text.assign(bytes_.begin(), bytes_.end());
  } else {
    // Writers that name UTF-8 as their page still write single bytes of Windows-1252.
    const bool noUtf8 = bytesPage_ == kUtf8 && complete && !inConverter_ && !isValidUtf8(bytes_);
    const CodePage page = bytesPage_ == kRtfSymbolPage || noUtf8 ? kAnsiCodePage : bytesPage_;
    auto& converter = converters_[page];
    if (!converter) {
      converter = TextConverter::open(page, kUtf16);
    }
    std::string wide;
    converter->convert(bytes_, wide);
    if (complete) {
      converter->finish(wide);
    }
    inConverter_ = !complete;
    text.resize(wide.size() / 2);
    std::memcpy(text.data(), wide.data(), 2 * text.size());
  }
  bytes_.clear();
  addText(text);
}

void RtfReader::addText(std::u16string_view text) {
  if (!text.empty()) {
    flushBreaks();
  }
  out_->append(text);
}

void RtfReader::flushBreaks() {
  if (std::exchange(cellEnded_, false)) {
    out_->push_back(u'\t');
  }
  if (std::exchange(paragraphEnded_, false)) {
    out_->append(kLineEnd);
  }
}

}  // namespace nalvo
