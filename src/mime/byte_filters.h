// Steps that the bytes of a body go through on their way in or out.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mime/source.h"
#include "platform/text/code_pages.h"

namespace nalvo::mime {

class ByteFilter {
 public:
  virtual ~ByteFilter() = default;
  // Appends what `in` gives to `out`; pieces of any size.
  virtual void update(std::string_view in, std::string& out) = 0;
  virtual void finish(std::string& out) = 0;
};

// Makes soft breaks of quoted-printable text plain to decoders: blanks between "=" and a line end go, and so does a "=" at
// the end of the text.
std::unique_ptr<ByteFilter> makeQpCleaner();
std::unique_ptr<ByteFilter> makeQpDecoder();
std::unique_ptr<ByteFilter> makeQpEncoder();
std::unique_ptr<ByteFilter> makeBase64Decoder();
// Lines of 76, no line end behind the last.
std::unique_ptr<ByteFilter> makeBase64Encoder();
// What stands between "begin" and "end".
std::unique_ptr<ByteFilter> makeUuDecoder();
// CR LF for a bare LF.
std::unique_ptr<ByteFilter> makeLineEndFilter();
// What can't be read becomes U+FFFD, what the target lacks "?". A byte order mark at the start is dropped; in front of
// UTF-16 or UTF-32 it decides. `unmappable` (may be null) takes the count at the end.
std::unique_ptr<ByteFilter> makeCharsetFilter(CodePage from, CodePage to, std::size_t* unmappable = nullptr);

// Filters in a row. Holds a few pieces at a time.
class FilterChain {
 public:
  void add(std::unique_ptr<ByteFilter> filter) { filters_.push_back(std::move(filter)); }
  bool isEmpty() const { return filters_.empty(); }

  // Gives what `span` becomes to `sink` in pieces. Once for each chain.
  template <typename Sink>
  void run(Source& source, Span span, Sink&& sink) {
    source.pump(span, [&](std::string_view piece) { sink(pass(piece)); });
    if (!filters_.empty()) {
      sink(end());
    }
  }

 private:
  // Valid until the next call.
  std::string_view pass(std::string_view piece);
  std::string_view end();

  std::vector<std::unique_ptr<ByteFilter>> filters_;
  std::string in_;
  std::string out_;
};

}  // namespace nalvo::mime
