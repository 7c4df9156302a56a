#include "properties/address_maker.h"

#include <unicode/uchar.h>  // u_toupper

#include <cstring>
#include <optional>

#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\AddressMaker"};

// flags 0, the one-off identifier, version 0, 0x8001: wide text, no rich information.
constexpr BYTE kOneOffHeader[24] = {0x00, 0x00, 0x00, 0x00, 0x81, 0x2B, 0x1F, 0xA4, 0xBE, 0xA3, 0x10, 0x19,
                                    0x9D, 0x6E, 0x00, 0xDD, 0x01, 0x0F, 0x54, 0x02, 0x00, 0x00, 0x01, 0x80};

// The wide form of an internationalised address, which comes as UTF-8; none for one in the ANSI code page.
std::optional<std::u16string> wideIfUtf8(std::string_view address) {
  return isAscii(address) ? std::nullopt : utf8ToWideStrict(address);
}

// In the encoding that the address came in.
std::string upperAddress(std::string_view address) {
  std::optional<std::u16string> wide = wideIfUtf8(address);
  if (!wide) {
    return ansiToUpper(address);
  }
  for (char16_t& unit : *wide) {
    if (!isHighSurrogate(unit) && !isLowSurrogate(unit)) {
      unit = static_cast<char16_t>(u_toupper(unit));  // a capital stays within the basic plane
    }
  }
  return wideToUtf8(*wide);
}

}  // namespace

std::u16string widenAddress(std::string_view address) {
  std::optional<std::u16string> wide = wideIfUtf8(address);
  return wide ? std::move(*wide) : ansiToWide(address);
}

std::string narrowAddress(std::u16string_view address) {
  std::string narrow = wideToAnsi(address);
  return ansiToWide(narrow) == address ? narrow : wideToUtf8(address);
}

AddressMaker::AddressMaker(IMapiAllocator* allocator, std::string_view address, std::u16string_view name, Make make)
    : allocator_(ComPtr<IMapiAllocator>::retain(allocator)), address_(address), name_(name) {
  if (allocator == nullptr || (address.empty() && name.empty())) {
    throwHResult(E_INVALIDARG, kSource.at("AddressMaker::AddressMaker"));
  }
  if (make == Make::AtOnce) {
    getEntryId();
    getSearchKey();
  }
}

const SBinary& AddressMaker::getEntryId() {
  if (!entryId_) {
    entryId_ = createOneOffAddress(address_, name_, getAddressType(), allocator_.get());
  }
  return *entryId_.get();
}

const SBinary& AddressMaker::getSearchKey() {
  if (!searchKey_) {
    searchKey_ = createOneOffSearchKey(address_.empty() ? wideToAnsi(name_) : address_, getAddressType(), allocator_.get());
  }
  return *searchKey_.get();
}

std::u16string_view AddressMaker::getAddressType() const { return address_.empty() ? u"SYSTEM" : u"SMTP"; }

MapiBuffer<SBinary> AddressMaker::createOneOffAddress(std::string_view address, std::u16string_view name,
                                                      std::u16string_view type, IMapiAllocator* allocator) {
  if (address.empty() && name.empty()) {
    throwHResult(E_INVALIDARG, kSource.at("AddressMaker::createOneOffAddress"));
  }
  if (allocator == nullptr || type.empty()) {
    throwHResult(E_INVALIDARG, kSource.at("AddressMaker::createOneOffAddressInternal"));
  }
  const std::u16string wideAddress = address.empty() ? std::u16string(name) : widenAddress(address);
  std::u16string texts(name.empty() ? std::u16string_view(wideAddress) : name);
  for (const std::u16string_view text : {type, std::u16string_view(wideAddress)}) {
    texts += u'\0';
    texts += text;
  }
  texts += u'\0';
  const std::size_t bytes = sizeof kOneOffHeader + texts.size() * sizeof(char16_t);
  if (bytes > UINT32_MAX) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("AddressMaker::createOneOffAddressInternal"));
  }
  MapiBuffer<SBinary> result = InternalMapiAlloc::allocSBinary(MapiAlloc::getAlloc(allocator), static_cast<ULONG>(bytes));
  std::memcpy(result->lpb, kOneOffHeader, sizeof kOneOffHeader);
  std::memcpy(result->lpb + sizeof kOneOffHeader, texts.data(), texts.size() * sizeof(char16_t));
  return result;
}

MapiBuffer<SBinary> AddressMaker::createOneOffSearchKey(std::string_view address, std::u16string_view type,
                                                        IMapiAllocator* allocator) {
  if (address.empty() || type.empty() || allocator == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("AddressMaker::createOneOffSearchKey"));
  }
  const std::string key = ansiToUpper(wideToAnsi(type)) + ":" + upperAddress(address);
  if (key.size() >= UINT32_MAX) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("AddressMaker::createOneOffSearchKey"));
  }
  MapiBuffer<SBinary> result =
      InternalMapiAlloc::allocSBinary(MapiAlloc::getAlloc(allocator), static_cast<ULONG>(key.size() + 1));
  std::memcpy(result->lpb, key.c_str(), key.size() + 1);
  return result;
}

}  // namespace nalvo
