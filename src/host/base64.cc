#include "host/base64.h"

#include <algorithm>

#include "platform/com/hresult.h"
#include "streams/coder.h"

namespace nalvo::host {
namespace {

bool isAlphabet(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/' || c == '=';
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

std::string encodeBase64(std::string_view bytes) {
  std::string text;
  (void)Coder::encodeBase64(bytes.data(), bytes.size(), text);
  return text;
}

std::optional<std::string> decodeBase64(std::string_view text) {
  std::string bytes;
  const bool isValid = std::all_of(text.begin(), text.end(), [](char c) { return isAlphabet(c) || isSpace(c); });
  if (!isValid || failed(Coder::decodeBase64(text.data(), text.size(), bytes))) {
    return std::nullopt;
  }
  return bytes;
}

}  // namespace nalvo::host
