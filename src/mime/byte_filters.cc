#include "mime/byte_filters.h"

#include "mime/body_encoding.h"
#include "platform/text/text_converter.h"
#include "streams/transfer_codecs.h"

namespace nalvo::mime {
namespace {

template <typename Codec>
class CodecFilter final : public ByteFilter {
 public:
  void update(std::string_view in, std::string& out) override { codec_.update(in, out); }
  void finish(std::string& out) override { codec_.finish(out); }

 private:
  Codec codec_;
};

class QpCleaner final : public ByteFilter {
 public:
  void update(std::string_view in, std::string& out) override {
    for (const char c : in) {
      if (isWaiting_) {
        if ((c == ' ' || c == '\t') && blanks_.size() < kMostBlanks) {
          blanks_ += c;
          continue;
        }
        out += '=';
        if (c != '\r' && c != '\n') {
          out += blanks_;
        }
        isWaiting_ = false;
        blanks_.clear();
      }
      if (c == '=') {
        isWaiting_ = true;
      } else {
        out += c;
      }
    }
  }
  // A "=" at the very end is a soft break whose line end belongs to the delimiter behind.
  void finish(std::string&) override {
    blanks_.clear();
    isWaiting_ = false;
  }

 private:
  // No line of mail is longer, so more blanks are no soft break.
  static constexpr std::size_t kMostBlanks = 998;

  bool isWaiting_ = false;  // "=" came, and blanks so far
  std::string blanks_;
};

class Base64LineEncoder final : public ByteFilter {
 public:
  void update(std::string_view in, std::string& out) override {
    text_.clear();
    encoder_.update(in, text_);
    breakLines(out);
  }
  void finish(std::string& out) override {
    text_.clear();
    encoder_.finish(text_);
    breakLines(out);
    column_ = 0;
  }

 private:
  static constexpr std::size_t kColumn = 76;

  void breakLines(std::string& out) {
    std::string_view rest = text_;
    while (!rest.empty()) {
      if (column_ == kColumn) {
        out += "\r\n";
        column_ = 0;
      }
      const std::string_view piece = rest.substr(0, kColumn - column_);
      out += piece;
      column_ += piece.size();
      rest.remove_prefix(piece.size());
    }
  }

  Base64Encoder encoder_{Base64Lines::None};
  std::string text_;
  std::size_t column_ = 0;
};

class UuDecoder final : public ByteFilter {
 public:
  void update(std::string_view in, std::string& out) override {
    for (const char c : in) {
      if (c == '\n') {
        endLine(out);
      } else if (line_.size() < kMostCharacters) {
        line_ += c;
      }
    }
  }
  void finish(std::string& out) override {
    endLine(out);
    state_ = State::Ahead;
  }

 private:
  // A line holds at most 63 bytes; the "begin" line has a file name, of which the start is enough.
  static constexpr std::size_t kMostCharacters = 128;
  enum class State { Ahead, Inside, Behind };

  void endLine(std::string& out) {
    if (!line_.empty() && line_.back() == '\r') {
      line_.pop_back();
    }
    if (state_ == State::Ahead && line_.starts_with("begin ")) {
      state_ = State::Inside;
    } else if (state_ == State::Inside && line_ == "end") {
      state_ = State::Behind;
    } else if (state_ == State::Inside && !line_.empty()) {
      decodeLine(out);
    }
    line_.clear();
  }

  unsigned sixBits(std::size_t at) const {
    return at < line_.size() ? (static_cast<unsigned char>(line_[at]) - 32U) & 0x3F : 0;
  }

  void decodeLine(std::string& out) const {
    std::size_t left = sixBits(0);
    for (std::size_t at = 1; left > 0; at += 4) {
      const unsigned bits = sixBits(at) << 18 | sixBits(at + 1) << 12 | sixBits(at + 2) << 6 | sixBits(at + 3);
      for (int shift = 16; shift >= 0 && left > 0; shift -= 8, --left) {
        out += static_cast<char>(bits >> shift & 0xFF);
      }
    }
  }

  State state_ = State::Ahead;
  std::string line_;
};

class LineEndFilter final : public ByteFilter {
 public:
  void update(std::string_view in, std::string& out) override {
    for (const char c : in) {
      if (c == '\n' && !afterCr_) {
        out += '\r';
      }
      out += c;
      afterCr_ = c == '\r';
    }
  }
  void finish(std::string&) override { afterCr_ = false; }

 private:
  bool afterCr_ = false;
};

class CharsetFilter final : public ByteFilter {
 public:
  CharsetFilter(CodePage from, CodePage to, std::size_t* unmappable) : from_(from), to_(to), unmappable_(unmappable) {}

  void update(std::string_view in, std::string& out) override {
    if (converter_ != nullptr) {
      converter_->convert(in, out);
      return;
    }
    head_ += in;
    if (head_.size() >= kMarkBytes) {
      start(out);
    }
  }
  void finish(std::string& out) override {
    if (converter_ == nullptr) {
      start(out);
    }
    converter_->finish(out);
    if (unmappable_ != nullptr) {
      *unmappable_ = converter_->unmappable();
    }
    converter_.reset();
  }

 private:
  static constexpr std::size_t kMarkBytes = 4;

  void start(std::string& out) {
    const ByteOrderMark mark = byteOrderMarkOf(head_);
    const Charset* charset = findCodePage(from_);
    const bool isWide = charset != nullptr && charset->shape == Charset::Shape::Wide;
    if (mark.codePage != 0 && (isWide || mark.codePage == from_)) {
      from_ = mark.codePage;
      head_.erase(0, mark.bytes);
    }
    converter_ = TextConverter::open(from_, to_);
    if (converter_ == nullptr) {
      converter_ = TextConverter::open(kAnsiCodePage, to_);
    }
    converter_->convert(head_, out);
    head_.clear();
  }

  CodePage from_;
  CodePage to_;
  std::size_t* unmappable_;
  std::string head_;  // until there are enough bytes for a mark
  std::unique_ptr<TextConverter> converter_;
};

}  // namespace

std::unique_ptr<ByteFilter> makeQpCleaner() { return std::make_unique<QpCleaner>(); }
std::unique_ptr<ByteFilter> makeQpDecoder() { return std::make_unique<CodecFilter<QpDecoder>>(); }
std::unique_ptr<ByteFilter> makeQpEncoder() { return std::make_unique<CodecFilter<QpEncoder>>(); }
std::unique_ptr<ByteFilter> makeBase64Decoder() { return std::make_unique<CodecFilter<Base64Decoder>>(); }
std::unique_ptr<ByteFilter> makeBase64Encoder() { return std::make_unique<Base64LineEncoder>(); }
std::unique_ptr<ByteFilter> makeUuDecoder() { return std::make_unique<UuDecoder>(); }
std::unique_ptr<ByteFilter> makeLineEndFilter() { return std::make_unique<LineEndFilter>(); }
std::unique_ptr<ByteFilter> makeCharsetFilter(CodePage from, CodePage to, std::size_t* unmappable) {
  return std::make_unique<CharsetFilter>(from, to, unmappable);
}

std::string_view FilterChain::pass(std::string_view piece) {
  for (const std::unique_ptr<ByteFilter>& filter : filters_) {
    out_.clear();
    filter->update(piece, out_);
    std::swap(in_, out_);
    piece = in_;
  }
  return piece;
}

std::string_view FilterChain::end() {
  in_.clear();
  for (const std::unique_ptr<ByteFilter>& filter : filters_) {
    out_.clear();
    if (!in_.empty()) {
      filter->update(in_, out_);
    }
    filter->finish(out_);
    std::swap(in_, out_);
  }
  return in_;
}

}  // namespace nalvo::mime
