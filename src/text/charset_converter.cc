#include "text/charset_converter.h"

#include "platform/text/text.h"
#include "platform/text/text_converter.h"
#include "text/charset_names.h"

namespace nalvo::utils {
namespace {

std::runtime_error openFailure(std::string_view from, std::string_view to) {
  constexpr std::size_t kMostCharacters = 255;
  std::string text = "CharsetConverter: failed to initialize string conversion from \"";
  text.append(from).append("\" encoding to \"").append(to).append("\" encoding");
  return std::runtime_error(text.substr(0, kMostCharacters));
}

// UTF-16 in the machine's order as bytes, and as the page of that form.
std::string_view bytesOf(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

bool isUtf16(CodePage page) { return page == kUtf16 || page == kUtf16Be; }
bool isUtf32(CodePage page) { return page == kUtf32 || page == kUtf32Be; }

// A mark at the start of wide text tells its byte order and is no text: cuts it off and answers the page that holds.
CodePage cutByteOrderMark(CodePage page, std::string_view& in) {
  ByteOrderMark mark = byteOrderMarkOf(in);
  if (isUtf16(page) && mark.codePage == kUtf32) {
    mark = {kUtf16, 2};  // followed by a NUL
  }
  if ((isUtf16(page) && isUtf16(mark.codePage)) || (isUtf32(page) && isUtf32(mark.codePage))) {
    in.remove_prefix(mark.bytes);
    return mark.codePage;
  }
  return page;
}

}  // namespace

std::string repairUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    const std::string_view character = text.substr(0, length);
    if (isValidUtf8(character)) {
      out.append(character);
      text.remove_prefix(character.size());
    } else {
      out.append(wideToUtf8(ansiToWide(text.substr(0, 1))));
      text.remove_prefix(1);
    }
  }
  return out;
}

CharsetConverter::CharsetConverter(std::string_view from, std::string_view to, bool throwOnOpenFailure, bool acceptPartial)
    : decodeImap_(isUtf7Imap(from)),
      encodeImap_(isUtf7Imap(to)),
      acceptPartial_(acceptPartial),
      imapOptions_{acceptPartial, throwOnOpenFailure} {
  const Charset* source = charsetFor(from);
  const Charset* target = charsetFor(to);
  if (source != nullptr && target != nullptr) {
    from_ = source->codePage;
    to_ = target->codePage;
    converter_ = TextConverter::open(from_, to_, TextConverter::Policy::Skip);
  }
  open_ = converter_ != nullptr;
  if (!open_ && throwOnOpenFailure) {
    throw openFailure(from, to);
  }
}

CharsetConverter::~CharsetConverter() = default;

bool CharsetConverter::endsInsideCharacter(std::string_view in, CodePage page) const {
  const auto probe = TextConverter::open(page, kUtf16, TextConverter::Policy::Substitute);
  std::string scratch;
  probe->convert(in, scratch);
  const std::size_t before = probe->unmappable();
  probe->finish(scratch);
  return probe->unmappable() != before;
}

bool CharsetConverter::convertPage(std::string_view in, CodePage page, std::string& out) {
  std::string converted;
  std::string& target = encodeImap_ ? converted : out;
  if (page == from_) {
    converter_->convert(in, target);
    converter_->finish(target);
  } else {
    const auto other = TextConverter::open(page, to_, TextConverter::Policy::Skip);
    other->convert(in, target);
    other->finish(target);
  }
  if (encodeImap_) {
    std::u16string units(converted.size() / sizeof(char16_t), u'\0');
    converted.copy(reinterpret_cast<char*>(units.data()), units.size() * sizeof(char16_t));
    Utf7ImapEncoder encoder;
    encoder.encode(units, out);
    encoder.finish(out);
  }
  return acceptPartial_ || !endsInsideCharacter(in, page);
}

bool CharsetConverter::convert(std::string_view in, std::string& out) {
  if (!open_) {
    return false;
  }
  out.clear();
  irreversible_ = 0;
  if (in.empty()) {
    return true;
  }
  if (decodeImap_) {
    Utf7ImapDecoder decoder(imapOptions_);
    std::u16string units;
    decoder.decode(in, true, units);
    irreversible_ = decoder.failures();
    return convertPage(bytesOf(units), kUtf16, out);
  }
  if (from_ == kUtf8) {
    if (isValidUtf8(in)) {
      return to_ == kUtf8 ? (out = in, true) : convertPage(in, from_, out);
    }
    const std::string repaired = repairUtf8(in);
    return to_ == kUtf8 ? (out = repaired, true) : convertPage(repaired, from_, out);
  }
  const CodePage page = cutByteOrderMark(from_, in);
  return convertPage(in, page, out);
}

bool convertCharset(std::string_view from, std::string_view in, std::string_view to, std::string& out, bool acceptPartial) {
  return CharsetConverter(from, to, false, acceptPartial).convert(in, out);
}

bool convertToCharset(std::string_view from, std::string_view to, std::string_view in, std::string& out,
                      bool acceptPartial) {
  std::string repaired;
  normalizeCharsetName(from, repaired);
  CharsetConverter converter(repaired, to, false, acceptPartial);
  return converter.convert(in, out) && converter.irreversible() == 0;
}

}  // namespace nalvo::utils
