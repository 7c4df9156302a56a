#include "text/charset_stream.h"

#include <utility>

#include "platform/text/code_pages.h"
#include "platform/text/text.h"
#include "platform/text/text_converter.h"
#include "text/charset_converter.h"
#include "text/charset_names.h"

namespace nalvo::utils {
namespace {

// How many bytes at the end of `text` may be the beginning of a character.
std::size_t unfinishedUtf8(std::string_view text) {
  for (std::size_t back = 1; back <= 3 && back <= text.size(); ++back) {
    const auto byte = static_cast<unsigned char>(text[text.size() - back]);
    if (byte >= 0xC0) {
      const std::size_t length = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
      return length > back ? back : 0;
    }
    if (byte < 0x80) {
      break;
    }
  }
  return 0;
}

}  // namespace

BufConverter::BufConverter(std::string_view from)
    : decodeImap_(isUtf7Imap(from)), imapDecoder_({.acceptMalformed = false, .throwOnMalformed = true}) {
  if (const Charset* charset = charsetFor(from); charset != nullptr) {
    fromUtf8_ = charset->codePage == kUtf8;
    converter_ = TextConverter::open(charset->codePage, kUtf8, TextConverter::Policy::Skip);
  }
  setp(area_.data(), area_.data() + area_.size());
}

BufConverter::~BufConverter() = default;

void BufConverter::convertBytes(std::string_view bytes, bool final) {
  if (fromUtf8_) {
    pending_.append(bytes);
    const std::size_t whole = pending_.size() - (final ? 0 : unfinishedUtf8(pending_));
    output_.append(repairUtf8(std::string_view(pending_).substr(0, whole)));
    pending_.erase(0, whole);
  } else if (decodeImap_) {
    pending_.append(bytes);
    std::u16string units;
    pending_.erase(0, imapDecoder_.decode(pending_, final, units));
    converter_->convert({reinterpret_cast<const char*>(units.data()), units.size() * sizeof(char16_t)}, output_);
  } else {
    converter_->convert(bytes, output_);
  }
}

void BufConverter::convertPutArea(bool final) {
  const std::string_view bytes(pbase(), static_cast<std::size_t>(pptr() - pbase()));
  setp(area_.data(), area_.data() + area_.size());
  if (isOpen()) {
    convertBytes(bytes, final);
  }
}

BufConverter::int_type BufConverter::overflow(int_type c) {
  convertPutArea(false);
  if (!traits_type::eq_int_type(c, traits_type::eof())) {
    sputc(traits_type::to_char_type(c));
  }
  return traits_type::not_eof(c);
}

int BufConverter::sync() {
  convertPutArea(false);
  return 0;
}

std::string BufConverter::takeOutput() {
  convertPutArea(true);
  if (isOpen()) {
    converter_->finish(output_);
  }
  imapDecoder_.reset();
  pending_.clear();
  return std::exchange(output_, {});
}

StreamConverter::StreamConverter(std::string_view from, bool failOnUnsupported) : std::ostream(nullptr), buffer_(from) {
  if (failed() && failOnUnsupported) {
    throw Exception("The conversion from " + std::string(from) + " to " + std::string(kUtf8Charset) +
                    " is not supported by the implementation.");
  }
  rdbuf(&buffer_);
  // A failure inside of the buffer is the writer's to see.
  exceptions(std::ios::badbit);
}

}  // namespace nalvo::utils
