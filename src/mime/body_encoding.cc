#include "mime/body_encoding.h"

#include <algorithm>

#include "mime/header_text.h"

namespace nalvo::mime {
namespace {

constexpr std::size_t kEncodedLine = 76;
constexpr std::string_view kFrom = "From ";

// What stands for itself in a quoted-printable line; blanks do unless they end one.
bool isLiteral(unsigned char byte) { return byte >= 0x20 && byte < 0x7F && byte != '='; }

}  // namespace

void QpEncoder::update(std::string_view piece, std::string& out) {
  for (const char c : piece) {
    const auto byte = static_cast<unsigned char>(c);
    if (cr_) {
      cr_ = false;
      if (byte == '\n') {
        flushLine(true, out);
        continue;
      }
      putEncoded('\r', out);
      softBreak(out);
    }
    if (byte == '\r') {
      cr_ = true;
    } else if (byte == '\n') {
      putEncoded('\n', out);
      softBreak(out);
    } else {
      put(byte, out);
    }
  }
}

void QpEncoder::finish(std::string& out) {
  if (cr_) {
    cr_ = false;
    putEncoded('\r', out);
  }
  flushLine(false, out);
}

void QpEncoder::put(unsigned char byte, std::string& out) {
  if (!isLiteral(byte) && byte != '\t') {
    putEncoded(byte, out);
    return;
  }
  if (line_.size() + 1 >= kEncodedLine) {  // one column stays free for the "=" of a soft break
    softBreak(out);
  }
  line_.push_back(static_cast<char>(byte));
  if (line_ == kFrom) {
    line_ = "=46rom ";  // mailboxes take "From " for the start of the next message
  }
}

void QpEncoder::putEncoded(unsigned char byte, std::string& out) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  if (line_.size() + 3 >= kEncodedLine) {
    softBreak(out);
  }
  line_.append({'=', kDigits[byte >> 4], kDigits[byte & 15]});
}

void QpEncoder::softBreak(std::string& out) {
  line_.push_back('=');
  flushLine(true, out);
}

// Writes the line that stands; a blank at its end would be lost on the way.
void QpEncoder::flushLine(bool lineEnd, std::string& out) {
  std::string tail;
  if (line_.ends_with(' ') || line_.ends_with('\t')) {
    tail = line_.back() == ' ' ? "=20" : "=09";
    line_.pop_back();
    if (line_.size() + tail.size() > kEncodedLine) {
      out.append(line_).append("=\r\n").append(tail);
      line_.clear();
      tail.clear();
    }
  }
  if (line_ == "." && tail.empty()) {
    line_ = "=2E";  // transports take a lone "." for the end of the message
  }
  out.append(line_).append(tail).append(lineEnd ? "\r\n" : "");
  line_.clear();
}

void TextStatistics::update(std::string_view piece) {
  bytes_ += piece.size();
  for (const char c : piece) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == '\n') {
      if (lastCr_) {
        longest_ = std::max(longest_, lineLength_);
        lineLength_ = 0;
        fromMatched_ = 0;
        lastCr_ = false;
        continue;
      }
      bare_ = true;
    } else if (lastCr_) {
      bare_ = true;
      ++encoded_;
      ++lineLength_;
    }
    lastCr_ = byte == '\r';
    if (lastCr_) {
      continue;
    }
    if (lineLength_ == fromMatched_ && fromMatched_ < kFrom.size() && c == kFrom[fromMatched_]) {
      fromLine_ = ++fromMatched_ == kFrom.size() || fromLine_;
    }
    nul_ = nul_ || byte == 0;
    nonAscii_ += byte >= 0x80 ? 1U : 0U;
    encoded_ += isLiteral(byte) || byte == '\t' ? 0U : 1U;
    ++lineLength_;
  }
}

std::uint64_t TextStatistics::qpSize() const {
  const std::uint64_t characters = bytes_ + 2 * encoded_;
  return characters + characters / kEncodedLine * 3;
}

std::uint64_t TextStatistics::base64Size() const {
  const std::uint64_t characters = (bytes_ + 2) / 3 * 4;
  return characters + characters / kEncodedLine * 2;
}

Encoding chooseTextEncoding(const TextStatistics& statistics, const Charset* charset) {
  if (charset != nullptr && charset->shape == Charset::Shape::Wide) {
    return IET_BASE64;
  }
  if (statistics.isAscii() && !statistics.hasNul() && !statistics.hasBareLineEnd() && !statistics.hasFromLine() &&
      statistics.longestLine() <= kLineLimit) {
    return IET_7BIT;
  }
  return statistics.base64Size() < statistics.qpSize() ? IET_BASE64 : IET_QP;
}

Encoding chooseRawEncoding(const TextStatistics& statistics) {
  if (statistics.hasNul() || statistics.longestLine() > kLineLimit) {
    return IET_BASE64;
  }
  return statistics.isAscii() ? IET_7BIT : IET_8BIT;
}

}  // namespace nalvo::mime
