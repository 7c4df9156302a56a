// The three sources of calendar and card text.
#pragma once

#include <array>
#include <istream>
#include <string>
#include <string_view>

#include "mail/content_lines.h"
#include "mail/n_stream.h"
#include "nalvo/com.h"
#include "platform/com/com_ptr.h"

namespace nalvo::mail {

// A source of lines whose values hold backslash escapes. A byte order mark at the start is no text.
class vcLex : public HeaderLex {
 protected:
  explicit vcLex(std::string_view charset) : HeaderLex(charset, true) {}

  bool nextLine() final;
  // Replaces `line_` by the bytes up to the next line feed and with it. False at the end.
  virtual bool readLine() = 0;

 private:
  bool first_ = true;
};

// `source` must outlive each of these; an empty charset stands for UTF-8.
class vcNStreamLex final : public vcLex {
 public:
  vcNStreamLex(NStream& source, std::string_view charset) : vcLex(charset), source_(source) {}

 private:
  bool readLine() override { return source_.readLine(line_); }

  NStream& source_;
};

class vcIStreamLex final : public vcLex {
 public:
  vcIStreamLex(std::istream& source, std::string_view charset) : vcLex(charset), source_(source) {}

 private:
  bool readLine() override;

  std::istream& source_;
};

// Reads ahead in blocks, so the stream's position afterwards means nothing. A failed read is the end of the text; so is a
// null source. What stands behind the last line end is lost.
class vcWinIStreamLex final : public vcLex {
 public:
  vcWinIStreamLex(IStream* source, std::string_view charset) : vcLex(charset), source_(ComPtr<IStream>::retain(source)) {}

 private:
  bool readLine() override;
  bool fill();

  ComPtr<IStream> source_;
  std::array<char, 16384> block_;
  std::size_t at_ = 0;
  std::size_t end_ = 0;
};

}  // namespace nalvo::mail
