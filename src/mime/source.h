// A stream that somebody else owns, read by offset.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/com/com_ptr.h"

namespace nalvo::mime {

// A stretch of a source, in bytes from its start.
struct Span {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;

  std::uint64_t end() const { return offset + length; }
  bool empty() const { return length == 0; }
};

// Reads an IStream through one window. Needs only Read and Seek of the stream; every read seeks first and puts the stream's
// position back, so that others may use the same stream in between. A failure of the stream is thrown with its code.
class Source {
 public:
  static constexpr std::size_t kWindow = 64 * 1024;

  // What lies between the position of `stream` and its end. If nothing lies there and the stream is not empty: all of it.
  static std::shared_ptr<Source> fromPosition(IStream* stream);
  // The stream from offset 0. It is not touched before the first read.
  static std::shared_ptr<Source> whole(IStream* stream);

  // Whole sources: asked for anew at each call that finds no size yet.
  std::uint64_t size();

  // The bytes from `offset` on that are at hand, at least one unless the source ends there. Valid until the next call.
  std::string_view view(std::uint64_t offset) {
    if ((offset < windowOffset_ || offset - windowOffset_ >= windowBytes_) && !fill(offset)) {
      return {};
    }
    const std::size_t skip = static_cast<std::size_t>(offset - windowOffset_);
    return {window_.get() + skip, windowBytes_ - skip};
  }
  // The same, but a whole window, or all that is left.
  std::string_view fullView(std::uint64_t offset);

  // Reads up to `bytes` at `offset` and tells how many; fewer only at the end.
  std::size_t read(std::uint64_t offset, char* buffer, std::size_t bytes);
  // The whole span as text; shorter if the source has become shorter.
  std::string text(Span span);
  // Gives the window back. For sources of which there are many, each read from time to time.
  void release();
  // Gives the bytes of `span` to `sink` in pieces of at most a window. `sink` must not read this source.
  template <typename Sink>
  void pump(Span span, Sink&& sink) {
    while (!span.empty()) {
      std::string_view piece = view(span.offset);
      if (piece.empty()) {
        return;
      }
      if (piece.size() > span.length) {
        piece = piece.substr(0, static_cast<std::size_t>(span.length));
      }
      span.offset += piece.size();
      span.length -= piece.size();
      sink(piece);
    }
  }

 private:
  Source(IStream* stream, std::uint64_t base, std::uint64_t size, bool sized)
      : stream_(ComPtr<IStream>::retain(stream)), base_(base), size_(size), sized_(sized) {}

  // What is read at a time when somebody wants a row here and a row there.
  static constexpr std::size_t kSmallWindow = 8 * 1024;

  // False, and the window stays, at the end.
  bool fill(std::uint64_t offset, std::size_t most = kWindow);
  std::size_t readStream(std::uint64_t offset, char* buffer, std::size_t bytes);

  ComPtr<IStream> stream_;
  std::uint64_t base_;
  std::uint64_t size_;
  bool sized_;
  std::unique_ptr<char[]> window_;
  std::size_t windowCapacity_ = 0;
  std::uint64_t windowOffset_ = 0;
  std::size_t windowBytes_ = 0;
};

}  // namespace nalvo::mime
