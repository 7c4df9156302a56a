#include "platform/text/text_converter.h"

#include <algorithm>
#include <bit>  // endian
#include <utility>

#include "platform/text/codec.h"
#include "platform/text/text.h"
#include "platform/text/utf8.h"
#include "platform/text/windows1252.h"

namespace nalvo {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

constexpr bool isSurrogate(char16_t unit) { return (unit & 0xF800) == 0xD800; }

// A page of single bytes given by two functions: byte to unit and unit to byte, each -1 for "no such character".
template <auto ToUnit>
class ByteDecoder final : public Decoder {
 public:
  using Decoder::Decoder;

  void decode(std::string_view in, std::u16string& out) override {
    while (!in.empty()) {
      const std::size_t plain = asciiPrefix(in.data(), in.size());
      appendAscii(in.data(), plain, out);
      in.remove_prefix(plain);
      if (in.empty()) {
        break;
      }
      const int unit = ToUnit(static_cast<unsigned char>(in.front()));
      if (unit >= 0) {
        out.push_back(static_cast<char16_t>(unit));
      } else {
        bad(out);
      }
      in.remove_prefix(1);
    }
  }
  void finish(std::u16string&) override {}
};

template <auto ToByte>
class ByteEncoder final : public Encoder {
 public:
  using Encoder::Encoder;

  void encode(std::u16string_view in, std::string& out) override {
    for (const char16_t unit : in) {
      // The first half of a pair counts, the second one follows it in silence.
      if (std::exchange(afterHigh_, isHighSurrogate(unit)) && isLowSurrogate(unit)) {
        continue;
      }
      const int byte = ToByte(unit);
      if (byte >= 0) {
        out.push_back(static_cast<char>(byte));
      } else if (const char16_t substitute = bad(); substitute != 0) {
        out.push_back(static_cast<char>(substitute));
      }
    }
  }
  void finish(std::string&) override { afterHigh_ = false; }

 private:
  bool afterHigh_ = false;
};

constexpr int ansiUnit(unsigned char byte) { return ansiToUnit(byte); }
constexpr int ansiByte(char16_t unit) { return unitToAnsi(unit); }
constexpr int asciiUnit(unsigned char byte) { return byte < 0x80 ? byte : -1; }
constexpr int asciiByte(char16_t unit) { return unit < 0x80 ? unit : -1; }
constexpr int latin1Unit(unsigned char byte) { return byte; }
constexpr int latin1Byte(char16_t unit) { return unit < 0x100 ? unit : -1; }

class Utf8Decoder final : public Decoder {
 public:
  using Decoder::Decoder;

  void decode(std::string_view in, std::u16string& out) override {
    std::string joined;
    if (!carried_.empty()) {
      joined = std::exchange(carried_, {});
      joined.append(in);
      in = joined;
    }
    while (!in.empty()) {
      const std::size_t plain = asciiPrefix(in.data(), in.size());
      appendAscii(in.data(), plain, out);
      in.remove_prefix(plain);
      if (in.empty()) {
        return;
      }
      const Utf8Step step = readUtf8(in.data(), in.size());
      if (step.kind == Utf8Step::Kind::Short) {
        carried_ = std::string(in);
        return;
      }
      if (step.kind == Utf8Step::Kind::Good) {
        appendUtf16(step.codePoint, out);
      } else {
        bad(out);
      }
      in.remove_prefix(step.bytes);
    }
  }

  void finish(std::u16string& out) override {
    if (!std::exchange(carried_, {}).empty()) {
      bad(out);
    }
  }

 private:
  std::string carried_;
};

// How many units `in` begins with that pass `test`.
template <typename Test>
std::size_t prefixOf(std::u16string_view in, Test test) {
  return static_cast<std::size_t>(std::find_if_not(in.begin(), in.end(), test) - in.begin());
}

// Parts a stream of units into whole characters: calls `good(codePoint)`, and `lone()` for half a surrogate pair.
class SurrogateJoiner {
 public:
  // Whether no half of a pair is kept.
  bool isIdle() const { return high_ == 0; }

  template <typename Good, typename Lone>
  void feed(char16_t unit, Good good, Lone lone) {
    const char16_t high = std::exchange(high_, u'\0');
    if (high != 0 && isLowSurrogate(unit)) {
      good(joinSurrogates(high, unit));
      return;
    }
    if (high != 0) {
      lone();
    }
    if (isHighSurrogate(unit)) {
      high_ = unit;
    } else if (isLowSurrogate(unit)) {
      lone();
    } else {
      good(char32_t{unit});
    }
  }

  template <typename Lone>
  void finish(Lone lone) {
    if (std::exchange(high_, u'\0') != 0) {
      lone();
    }
  }

 private:
  char16_t high_ = 0;
};

class Utf8Encoder final : public Encoder {
 public:
  using Encoder::Encoder;

  void encode(std::u16string_view in, std::string& out) override {
    while (!in.empty()) {
      if (joiner_.isIdle()) {
        const std::size_t plain = prefixOf(in, [](char16_t unit) { return unit < 0x80; });
        appendAscii(in.data(), plain, out);
        in.remove_prefix(plain);
        if (in.empty()) {
          return;
        }
      }
      joiner_.feed(
          in.front(), [&out](char32_t codePoint) { appendUtf8(codePoint, out); }, [&] { putBad(out); });
      in.remove_prefix(1);
    }
  }
  void finish(std::string& out) override {
    joiner_.finish([&] { putBad(out); });
  }

 private:
  void putBad(std::string& out) {
    if (const char16_t unit = bad(); unit != 0) {
      appendUtf8(unit, out);
    }
  }
  SurrogateJoiner joiner_;
};

// UTF-16 as bytes, little endian.
class Utf16Decoder final : public Decoder {
 public:
  using Decoder::Decoder;

  void decode(std::string_view in, std::u16string& out) override {
    for (const char c : in) {
      const auto byte = static_cast<unsigned char>(c);
      if (!half_) {
        low_ = byte;
      } else if (const auto unit = static_cast<char16_t>(low_ | (byte << 8)); joiner_.isIdle() && !isSurrogate(unit)) {
        out.push_back(unit);
      } else {
        joiner_.feed(
            unit, [&out](char32_t codePoint) { appendUtf16(codePoint, out); }, [&] { bad(out); });
      }
      half_ = !half_;
    }
  }
  void finish(std::u16string& out) override {
    joiner_.finish([&] { bad(out); });
    if (std::exchange(half_, false)) {
      bad(out);
    }
  }

 private:
  SurrogateJoiner joiner_;
  unsigned char low_ = 0;
  bool half_ = false;
};

class Utf16Encoder final : public Encoder {
 public:
  using Encoder::Encoder;

  void encode(std::u16string_view in, std::string& out) override {
    while (!in.empty()) {
      if (joiner_.isIdle()) {
        static_assert(std::endian::native == std::endian::little);
        const std::size_t plain = prefixOf(in, [](char16_t unit) { return !isSurrogate(unit); });
        out.append(reinterpret_cast<const char*>(in.data()), plain * sizeof(char16_t));
        in.remove_prefix(plain);
        if (in.empty()) {
          return;
        }
      }
      joiner_.feed(
          in.front(), [&out](char32_t codePoint) { put(codePoint, out); }, [&] { putBad(out); });
      in.remove_prefix(1);
    }
  }
  void finish(std::string& out) override {
    joiner_.finish([&] { putBad(out); });
  }

 private:
  static void put(char32_t codePoint, std::string& out) {
    std::u16string units;
    appendUtf16(codePoint, units);
    for (const char16_t unit : units) {
      out.push_back(static_cast<char>(unit & 0xFF));
      out.push_back(static_cast<char>(unit >> 8));
    }
  }
  void putBad(std::string& out) {
    if (const char16_t unit = bad(); unit != 0) {
      put(unit, out);
    }
  }
  SurrogateJoiner joiner_;
};

std::unique_ptr<Decoder> makeDecoder(const Charset& charset, char16_t substitute) {
  switch (charset.engine) {
    case Charset::Engine::Iconv:
      return makeIconvDecoder(charset, substitute);
    case Charset::Engine::Icu:
      return makeIcuDecoder(charset, substitute);
    case Charset::Engine::Own:
      break;
  }
  switch (charset.codePage) {
    case kUtf8:
      return std::make_unique<Utf8Decoder>(substitute);
    case kUtf16:
      return std::make_unique<Utf16Decoder>(substitute);
    case kUsAscii:
      return std::make_unique<ByteDecoder<asciiUnit>>(substitute);
    case kLatin1:
      return std::make_unique<ByteDecoder<latin1Unit>>(substitute);
    default:
      return std::make_unique<ByteDecoder<ansiUnit>>(substitute);
  }
}

std::unique_ptr<Encoder> makeEncoder(const Charset& charset, char16_t substitute) {
  switch (charset.engine) {
    case Charset::Engine::Iconv:
      return makeIconvEncoder(charset, substitute);
    case Charset::Engine::Icu:
      return makeIcuEncoder(charset, substitute);
    case Charset::Engine::Own:
      break;
  }
  switch (charset.codePage) {
    case kUtf8:
      return std::make_unique<Utf8Encoder>(substitute);
    case kUtf16:
      return std::make_unique<Utf16Encoder>(substitute);
    case kUsAscii:
      return std::make_unique<ByteEncoder<asciiByte>>(substitute);
    case kLatin1:
      return std::make_unique<ByteEncoder<latin1Byte>>(substitute);
    default:
      return std::make_unique<ByteEncoder<ansiByte>>(substitute);
  }
}

class PivotConverter final : public TextConverter {
 public:
  PivotConverter(std::unique_ptr<Decoder> decoder, std::unique_ptr<Encoder> encoder)
      : decoder_(std::move(decoder)), encoder_(std::move(encoder)) {}

  void convert(std::string_view in, std::string& out) override {
    constexpr std::size_t kPiece = 16 * 1024;  // keeps the pivot small whatever comes in at once
    for (; !in.empty(); in.remove_prefix(std::min(in.size(), kPiece))) {
      pivot_.clear();
      decoder_->decode(in.substr(0, kPiece), pivot_);
      encoder_->encode(pivot_, out);
    }
  }

  void finish(std::string& out) override {
    pivot_.clear();
    decoder_->finish(pivot_);
    encoder_->encode(pivot_, out);
    encoder_->finish(out);
  }

  std::size_t unmappable() const override { return decoder_->badCount() + encoder_->badCount(); }

 private:
  std::unique_ptr<Decoder> decoder_;
  std::unique_ptr<Encoder> encoder_;
  std::u16string pivot_;
};

const Charset& charsetOf(CodePage page) {
  const Charset* charset = findCodePage(page);
  return charset != nullptr ? *charset : *findCodePage(kAnsiCodePage);
}

}  // namespace

std::unique_ptr<TextConverter> TextConverter::open(CodePage from, CodePage to, Policy policy) {
  const Charset* source = findCodePage(from);
  const Charset* target = findCodePage(to);
  if (source == nullptr || target == nullptr) {
    return nullptr;
  }
  // What can't be read becomes what the target shows for it, so that it is counted once.
  const char16_t substitute = policy == Policy::Skip ? u'\0' : target->isUnicode() ? kReplacement : u'?';
  std::unique_ptr<Decoder> decoder = makeDecoder(*source, substitute);
  std::unique_ptr<Encoder> encoder = makeEncoder(*target, substitute);
  if (!decoder || !encoder) {
    return nullptr;
  }
  return std::make_unique<PivotConverter>(std::move(decoder), std::move(encoder));
}

std::u16string decodeText(std::string_view bytes, CodePage from, std::size_t* unmappable) {
  const std::unique_ptr<Decoder> decoder = makeDecoder(charsetOf(from), kReplacement);
  std::u16string out;
  if (decoder) {
    out.reserve(bytes.size());
    decoder->decode(bytes, out);
    decoder->finish(out);
  } else {
    out = ansiToWide(bytes);
  }
  if (unmappable != nullptr) {
    *unmappable = decoder ? decoder->badCount() : 0;
  }
  return out;
}

std::string encodeText(std::u16string_view text, CodePage to, std::size_t* unmappable) {
  const Charset& charset = charsetOf(to);
  const std::unique_ptr<Encoder> encoder = makeEncoder(charset, charset.isUnicode() ? kReplacement : u'?');
  std::string out;
  if (encoder) {
    out.reserve(text.size());
    encoder->encode(text, out);
    encoder->finish(out);
  } else {
    out = wideToAnsi(text);
  }
  if (unmappable != nullptr) {
    *unmappable = encoder ? encoder->badCount() : 0;
  }
  return out;
}

}  // namespace nalvo
