// Conversion to UTF-8 as an output stream: text in any charset is written to it, UTF-8 is taken out.
#pragma once

#include <array>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

#include "text/charset_error.h"
#include "text/charset_utf7_imap.h"

namespace nalvo {
class TextConverter;
}

namespace nalvo::utils {

// Bytes that can't be read are stepped over; those of UTF-8 are read as Windows-1252. Malformed UTF-7-IMAP throws Exception
// at the write that shows it.
class BufConverter final : public std::streambuf {
 public:
  explicit BufConverter(std::string_view from);
  ~BufConverter() override;

  bool isOpen() const { return converter_ != nullptr; }
  std::string takeOutput();

 protected:
  int_type overflow(int_type c) override;
  int sync() override;

 private:
  void convertPutArea(bool final);
  void convertBytes(std::string_view bytes, bool final);

  std::array<char, 1024> area_;
  std::unique_ptr<TextConverter> converter_;
  bool fromUtf8_ = false;
  bool decodeImap_ = false;
  Utf7ImapDecoder imapDecoder_;
  std::string pending_;  // bytes that are not the whole of a character yet
  std::string output_;
};

class StreamConverter : public std::ostream {
 public:
  // A charset that isn't supported throws Exception, or without `failOnUnsupported` sets failed(): nothing comes out then.
  explicit StreamConverter(std::string_view from, bool failOnUnsupported = true);

  bool failed() const { return !buffer_.isOpen(); }
  // Ends the text and gives all of it; the stream is then ready for a new one.
  std::string takeOutput() { return buffer_.takeOutput(); }

 private:
  BufConverter buffer_;
};

}  // namespace nalvo::utils
