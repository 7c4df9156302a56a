#include "properties/entry_id.h"

#include <cstring>

#include "diagnostics/hresult_exception.h"

namespace nalvo::EntryId {
namespace {

constexpr SourceFile kSource{".\\EntryId"};

// 4 bytes of flags and the GUID of the store stand in front.
constexpr std::size_t kTypeOffset = 20;
constexpr std::size_t kObjectOffset = 24;
constexpr std::size_t kShortSize = 24;
constexpr std::size_t kLongSize = 40;

std::uint32_t typeAt(const BYTE* data) {
  std::uint32_t type = 0;
  std::memcpy(&type, data + kTypeOffset, sizeof type);
  return type;
}

}  // namespace

bool isValidEntryId(const BYTE* data, std::size_t size) {
  if (data == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("EntryId::isValidEntryId"));
  }
  if (size == kShortSize) {
    return typeAt(data) == 0;
  }
  if (size != kLongSize) {
    return false;
  }
  const std::uint32_t type = typeAt(data);
  return (type >= 1 && type <= 3) || type == 6;
}

std::uint32_t getType(const BYTE* data, std::size_t size) {
  if (!isValidEntryId(data, size)) {
    throwHResult(MAPI_E_INVALID_ENTRYID, kSource.at("EntryId::getType"));
  }
  return typeAt(data);
}

GUID getObjectGuid(const BYTE* data, std::size_t size) {
  if (getType(data, size) == 0) {
    throwHResult(E_INVALIDARG, kSource.at("EntryId::getObjectGuid"));
  }
  GUID guid;
  std::memcpy(&guid, data + kObjectOffset, sizeof guid);
  return guid;
}

}  // namespace nalvo::EntryId
