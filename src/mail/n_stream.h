// The library's own buffered byte stream, over a function that reads and one that writes.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace nalvo::mail {

class NStream {
 public:
  // Fills up to `room` bytes and answers how many; 0 at the end and on failure.
  using Read = std::function<std::size_t(char* buffer, std::size_t room)>;
  // Whether all of it was written.
  using Write = std::function<bool(const char* bytes, std::size_t count)>;

  // Either may be empty: there is nothing to read then, or nothing is written.
  explicit NStream(Read read, Write write = {});
  NStream(const NStream&) = delete;
  NStream& operator=(const NStream&) = delete;

  // Longest line that readLine gives, with its line feed.
  static constexpr std::size_t kMostLine = 4094;

  // Replaces `line` by the bytes up to the next line feed and with it; the last one may lack it. False at the end, and for a
  // line that is too long, which ends the source.
  bool readLine(std::string& line);

  NStream& operator<<(std::string_view text);
  // False when some byte since the start could not be written. Call it ahead of the end: nothing else empties the buffer.
  bool flush();

 private:
  static constexpr std::size_t kBuffer = 4096;

  bool fill();

  Read read_;
  Write write_;
  std::array<char, kBuffer> in_;
  std::size_t inAt_ = 0;
  std::size_t inEnd_ = 0;
  std::string out_;
  bool written_ = true;
};

}  // namespace nalvo::mail
