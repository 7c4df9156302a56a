#include "properties/lexical.h"

#include <bit>
#include <cstring>

#include "diagnostics/hresult_exception.h"
#include "properties/guid.h"
#include "properties/hexadecimal.h"
#include "properties/narrow_text.h"
#include "streams/transfer_codecs.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\Lexical"};

constexpr std::size_t kShortDigits = 4;
constexpr std::size_t kLongDigits = 8;
// Base64 is decoded in pieces of this many characters.
constexpr std::size_t kPiece = 65536;

[[noreturn]] void corruptedData(const char* function, int line = __builtin_LINE()) {
  throwHResult(MAPI_E_CORRUPT_DATA, kSource.at(function, line));
}

}  // namespace

void LexicalSynthesizer::separate() {
  if (!text_.empty()) {
    text_ += ' ';
  }
}

void LexicalSynthesizer::putRaw(std::string_view token) {
  separate();
  text_ += token;
}

void LexicalSynthesizer::putShort(std::uint16_t value) {
  separate();
  appendHex(value, kShortDigits, text_);
}

void LexicalSynthesizer::putLong(std::uint32_t value) {
  separate();
  appendHex(value, kLongDigits, text_);
}

void LexicalSynthesizer::putBool(bool value) { putShort(value ? 1 : 0); }

void LexicalSynthesizer::putInt64(std::uint64_t value) {
  putLong(static_cast<std::uint32_t>(value));
  putLong(static_cast<std::uint32_t>(value >> 32));
}

void LexicalSynthesizer::putDouble(double value) { putInt64(std::bit_cast<std::uint64_t>(value)); }

void LexicalSynthesizer::putFileTime(const FILETIME& value) {
  putLong(value.dwLowDateTime);
  putLong(value.dwHighDateTime);
}

void LexicalSynthesizer::putGuid(const GUID& value) { putRaw(Guid(value).toString()); }

void LexicalSynthesizer::putString(std::string_view ansi) {
  separate();
  text_ += '"';
  appendStored(ansi, text_);
  text_ += '"';
}

void LexicalSynthesizer::putWideString(std::u16string_view text) { putString(wideToWtf8(text)); }

void LexicalSynthesizer::putBinary(std::string_view bytes) {
  const std::uint64_t size = Base64Encoder::encodedSize(bytes.size(), Base64Lines::None);
  if (size > text_.max_size() - text_.size() - 3) {
    throwHResult(E_FAIL, kSource.at("LexicalSynthesizer::putBinary"));
  }
  const std::size_t needed = text_.size() + static_cast<std::size_t>(size) + 3;
  if (needed > text_.capacity()) {
    text_.reserve(std::max(needed, 2 * text_.size()));
  }
  separate();
  text_ += '[';
  Base64Encoder encoder(Base64Lines::None);
  encoder.update(bytes, text_);
  encoder.finish(text_);
  text_ += ']';
}

std::string_view LexicalParser::nextToken() {
  constexpr const char* kWhere = "LexicalParser::nextToken";
  position_ = std::min(text_.find_first_not_of(' ', position_), text_.size());
  if (position_ == text_.size()) {
    corruptedData(kWhere);
  }
  const std::size_t start = position_;
  if (text_[start] != '"') {
    position_ = std::min(text_.find(' ', start), text_.size());
    return text_.substr(start, position_ - start);
  }
  for (std::size_t quote = text_.find('"', start + 1); quote != std::string_view::npos; quote = text_.find('"', quote + 1)) {
    const std::size_t backslashes = quote - 1 - text_.find_last_not_of('\\', quote - 1);
    if (backslashes % 2 == 0) {
      position_ = quote + 1;
      return text_.substr(start, position_ - start);
    }
  }
  corruptedData(kWhere);
}

std::string_view LexicalParser::between(char first, char last) {
  const std::string_view token = nextToken();
  if (token.size() < 2 || token.front() != first || token.back() != last) {
    corruptedData("LexicalParser::between");
  }
  return token.substr(1, token.size() - 2);
}

std::uint32_t LexicalParser::hex(std::size_t width) {
  const std::optional<std::uint32_t> value = parseHex(nextToken(), width);
  if (!value) {
    corruptedData("LexicalParser::hex");
  }
  return *value;
}

std::uint16_t LexicalParser::getShort() { return static_cast<std::uint16_t>(hex(kShortDigits)); }
std::uint32_t LexicalParser::getLong() { return hex(kLongDigits); }
bool LexicalParser::getBool() { return getShort() != 0; }

std::uint64_t LexicalParser::getInt64() {
  const std::uint64_t low = getLong();
  return low | std::uint64_t{getLong()} << 32;
}

double LexicalParser::getDouble() { return std::bit_cast<double>(getInt64()); }

FILETIME LexicalParser::getFileTime() {
  const std::uint32_t low = getLong();
  return {low, getLong()};
}

GUID LexicalParser::getGuid() {
  Guid guid;
  if (failed(guid.fromString(nextToken()))) {
    corruptedData("LexicalParser::getGuid");
  }
  return guid.get();
}

std::string LexicalParser::getString() { return fromStored(between('"', '"')); }
std::u16string LexicalParser::getStringOld() { return wtf8ToWide(getString()); }
std::u16string LexicalParser::getWideString() { return unescape(std::u16string_view(wtf8ToWide(between('"', '"')))); }

SBinary LexicalParser::getBinary(const MapiAlloc& alloc, void* parent) {
  constexpr const char* kWhere = "LexicalParser::getBinary";
  std::string_view coded = between('[', ']');
  // Three bytes from four characters; what is skipped makes the block larger than needed.
  const std::uint64_t most = std::uint64_t{coded.size()} / 4 * 3 + 3;
  if (coded.empty()) {
    return {0, nullptr};
  }
  if (most > UINT32_MAX) {
    corruptedData(kWhere);
  }
  void* block = nullptr;
  checkHResult(alloc.allocateMore(static_cast<ULONG>(most), parent, &block), kSource.at(kWhere));
  if (block == nullptr) {
    throwHResult(E_OUTOFMEMORY, kSource.at(kWhere));
  }
  SBinary binary{0, static_cast<BYTE*>(block)};
  Base64Decoder decoder;
  std::string piece;
  const auto keep = [&] {
    std::memcpy(binary.lpb + binary.cb, piece.data(), piece.size());
    binary.cb += static_cast<ULONG>(piece.size());
    piece.clear();
  };
  for (; !coded.empty(); coded.remove_prefix(std::min(kPiece, coded.size()))) {
    decoder.update(coded.substr(0, kPiece), piece);
    keep();
  }
  decoder.finish(piece);
  keep();
  return binary.cb == 0 ? SBinary{0, nullptr} : binary;
}

}  // namespace nalvo
