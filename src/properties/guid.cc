#include "properties/guid.h"

#include "diagnostics/hresult_exception.h"
#include "platform/com/guid.h"
#include "platform/text/text.h"
#include "properties/hexadecimal.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\Guid"};

// The text without braces: each letter stands for two digits of the byte with that index in memory.
constexpr std::string_view kLayout = "ddccbbaa-ffee-hhgg-iijj-kkllmmnnoopp";

constexpr std::size_t byteIndex(char letter) { return static_cast<std::size_t>(letter - 'a'); }

// False, and the bytes are worthless, for a text that doesn't have the layout.
bool parse(std::string_view text, BYTE (&bytes)[sizeof(GUID)]) {
  if (text.size() != kLayout.size()) {
    return false;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kLayout[i] == '-') {
      if (text[i] != '-') {
        return false;
      }
      continue;
    }
    const int digit = hexDigit(text[i]);
    if (digit < 0) {
      return false;
    }
    BYTE& byte = bytes[byteIndex(kLayout[i])];
    byte = static_cast<BYTE>(byte << 4 | digit);
  }
  return true;
}

}  // namespace

Guid Guid::create() noexcept { return Guid(newGuid()); }

std::string Guid::toString() const {
  const auto* bytes = reinterpret_cast<const BYTE*>(&value_);
  std::string text = "{";
  bool high = true;
  for (const char letter : kLayout) {
    if (letter == '-') {
      text += '-';
      continue;
    }
    const BYTE byte = bytes[byteIndex(letter)];
    text += "0123456789ABCDEF"[high ? byte >> 4 : byte & 0xF];
    high = !high;
  }
  return text += '}';
}

std::u16string Guid::toWideString() const { return ansiToWide(toString()); }

HRESULT Guid::fromString(std::string_view text) {
  text = trim(text, " ");
  const bool braced = !text.empty() && text.front() == '{';
  if (braced) {
    if (text.size() < 2 || text.back() != '}') {
      return E_INVALIDARG;
    }
    text = text.substr(1, text.size() - 2);
  }
  GUID parsed{};
  if (!parse(text, reinterpret_cast<BYTE(&)[sizeof(GUID)]>(parsed))) {
    return braced ? E_INVALIDARG : kInvalidStringUuid;
  }
  value_ = parsed;
  return S_OK;
}

HRESULT Guid::fromString(std::u16string_view text) { return fromString(wideToAnsi(text)); }

Guid& Guid::operator=(std::string_view text) {
  checkHResult(fromString(text), kSource.at("Guid::operator ="));
  return *this;
}

Guid& Guid::operator=(std::u16string_view text) { return *this = std::string_view(wideToAnsi(text)); }

}  // namespace nalvo
