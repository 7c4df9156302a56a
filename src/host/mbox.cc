#include "host/mbox.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "diagnostics/hresult_exception.h"
#include "host/file_stream.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\Mbox"};

constexpr std::string_view kFrom = "From ";

// The beginnings of the lines of a stream, each with its offset and length. A line of any length costs no memory.
class LineWalk {
 public:
  static constexpr std::size_t kMostStart = 200;

  explicit LineWalk(IStream* stream) : stream_(stream) {}

  // False at the end.
  bool next() {
    offset_ += size_;
    size_ = 0;
    start_.clear();
    while (true) {
      if (position_ == filled_) {
        ULONG read = 0;
        checkHResult(stream_->Read(buffer_.data(), static_cast<ULONG>(buffer_.size()), &read), kSource.at("host::scanMbox"));
        position_ = 0;
        filled_ = read;
        if (read == 0) {
          return size_ != 0;
        }
      }
      const std::string_view rest(buffer_.data() + position_, filled_ - position_);
      const std::size_t feed = rest.find('\n');
      const std::string_view piece = rest.substr(0, feed == std::string_view::npos ? feed : feed + 1);
      start_.append(piece.substr(0, kMostStart - std::min(kMostStart, start_.size())));
      size_ += piece.size();
      position_ += piece.size();
      if (feed != std::string_view::npos) {
        return true;
      }
    }
  }

  std::uint64_t offset() const { return offset_; }
  std::uint64_t size() const { return size_; }
  bool isBlank() const { return start_ == "\n" || start_ == "\r\n"; }
  // Such a line holds the time at which the mail came; a line of text that begins likewise seldom does.
  bool isFrom() const {
    const auto isTime = [this](std::size_t colon) {
      const auto isDigit = [this](std::size_t at) { return at < start_.size() && start_[at] >= '0' && start_[at] <= '9'; };
      return isDigit(colon - 2) && isDigit(colon - 1) && isDigit(colon + 1) && isDigit(colon + 2);
    };
    if (!start_.starts_with(kFrom)) {
      return false;
    }
    for (std::size_t colon = start_.find(':'); colon != std::string::npos; colon = start_.find(':', colon + 1)) {
      if (isTime(colon)) {
        return true;
      }
    }
    return false;
  }

 private:
  IStream* stream_;
  std::array<char, 65536> buffer_;
  std::size_t position_ = 0;
  std::size_t filled_ = 0;
  std::uint64_t offset_ = 0;
  std::uint64_t size_ = 0;
  std::string start_;
};

// Copies text and takes one ">" from lines of ">" and "From ".
class Unquoter {
 public:
  explicit Unquoter(IStream* out) : out_(out) {}

  void write(std::string_view bytes) {
    for (const char c : bytes) {
      if (atMarks_ && matched_ == 0 && c == '>') {
        ++marks_;
        continue;
      }
      if (atMarks_ && matched_ < kFrom.size() && c == kFrom[matched_]) {
        if (++matched_ == kFrom.size()) {
          settle(marks_ == 0 ? 0 : 1);
        }
        continue;
      }
      settle(0);
      text_ += c;
      if (c == '\n') {
        atMarks_ = true;
      }
    }
    flush();
  }
  void finish() {
    settle(0);
    flush();
  }

 private:
  // What was held back goes out, without so many marks.
  void settle(std::size_t dropped) {
    if (atMarks_) {
      text_.append(marks_ - dropped, '>').append(kFrom.substr(0, matched_));
      marks_ = 0;
      matched_ = 0;
      atMarks_ = false;
    }
  }
  void flush() {
    streamUtils::detail::writeStr(out_, text_.data(), static_cast<std::uint32_t>(text_.size()));
    text_.clear();
  }

  IStream* out_;
  std::string text_;
  bool atMarks_ = true;
  std::size_t marks_ = 0;
  std::size_t matched_ = 0;
};

}  // namespace

bool isMbox(const std::filesystem::path& file) {
  std::array<char, kFrom.size()> start{};
  ULONG read = 0;
  try {
    const ComPtr<IStream> stream = openFile(file);
    return succeeded(stream->Read(start.data(), static_cast<ULONG>(start.size()), &read)) &&
           std::string_view(start.data(), read) == kFrom;
  } catch (const HResultException&) {
    return false;
  }
}

std::vector<MboxMessage> scanMbox(const std::filesystem::path& file) {
  const ComPtr<IStream> stream = openFile(file);
  LineWalk line(stream.get());
  std::vector<MboxMessage> messages;
  std::uint64_t blank = 0;  // size of the empty line that was last
  bool afterBlank = true;
  while (line.next()) {
    if (afterBlank && line.isFrom()) {
      if (!messages.empty()) {
        messages.back().size = line.offset() - blank - messages.back().offset;
      }
      messages.push_back({line.offset() + line.size(), 0});
      blank = 0;
      afterBlank = false;
      continue;
    }
    afterBlank = line.isBlank();
    blank = afterBlank ? line.size() : 0;
  }
  if (!messages.empty()) {
    messages.back().size = line.offset() - blank - messages.back().offset;
  }
  return messages;
}

ComPtr<IStream> openMboxMessage(const std::filesystem::path& file, const MboxMessage& message) {
  constexpr const char* kWhere = "host::openMboxMessage";
  const ComPtr<IStream> source = openFile(file);
  checkHResult(source->Seek(static_cast<std::int64_t>(message.offset), STREAM_SEEK_SET, nullptr), kSource.at(kWhere));
  ComPtr<IStream> mail = streamUtils::createStream();
  Unquoter unquoter(mail.get());
  std::array<char, 65536> buffer;
  for (std::uint64_t left = message.size; left != 0;) {
    ULONG read = 0;
    checkHResult(source->Read(buffer.data(), static_cast<ULONG>(std::min<std::uint64_t>(left, buffer.size())), &read),
                 kSource.at(kWhere));
    if (read == 0) {
      break;
    }
    unquoter.write({buffer.data(), read});
    left -= read;
  }
  unquoter.finish();
  streamUtils::rewind(mail.get());
  return mail;
}

}  // namespace nalvo::host
