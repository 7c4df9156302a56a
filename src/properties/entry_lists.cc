#include "properties/entry_lists.h"

#include <cstring>

#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\EntryLists"};

constexpr std::size_t kListHeader = 8;
constexpr std::size_t kOneOffHeader = 24;
constexpr std::uint16_t kWideTexts = 0x8000;
constexpr std::string_view kOneOffUid("\x81\x2B\x1F\xA4\xBE\xA3\x10\x19\x9D\x6E\x00\xDD\x01\x0F\x54\x02", 16);

template <typename T>
T readAt(std::string_view bytes, std::size_t offset) {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

void append32(std::string& out, std::size_t value) {
  if (value > UINT32_MAX) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("buildFlatEntryList"));
  }
  const auto number = static_cast<std::uint32_t>(value);
  out.append(reinterpret_cast<const char*>(&number), sizeof number);
}

constexpr std::size_t padding(std::size_t size) { return (4 - size % 4) % 4; }

std::u16string takeWide(std::string_view& bytes) {
  std::u16string text;
  while (bytes.size() >= sizeof(char16_t)) {
    const auto unit = readAt<char16_t>(bytes, 0);
    bytes.remove_prefix(sizeof unit);
    if (unit == 0) {
      break;
    }
    text += unit;
  }
  return text;
}

std::u16string takeNarrow(std::string_view& bytes) {
  const std::size_t end = std::min(bytes.find('\0'), bytes.size());
  std::u16string text = ansiToWide(bytes.substr(0, end));
  bytes.remove_prefix(std::min(end + 1, bytes.size()));
  return text;
}

}  // namespace

std::vector<std::string> parseFlatEntryList(std::string_view bytes) {
  std::vector<std::string> entries;
  if (bytes.size() < kListHeader + 4 || std::uint64_t{readAt<std::uint32_t>(bytes, 4)} + kListHeader != bytes.size()) {
    return entries;
  }
  const auto count = readAt<std::uint32_t>(bytes, 0);
  bytes.remove_prefix(kListHeader);
  while (entries.size() < count && bytes.size() >= 4) {
    const std::size_t size = readAt<std::uint32_t>(bytes, 0);
    bytes.remove_prefix(4);
    if (size > bytes.size()) {
      break;
    }
    entries.emplace_back(bytes.substr(0, size));
    bytes.remove_prefix(std::min(size + padding(size), bytes.size()));
  }
  return entries;
}

std::string buildFlatEntryList(std::span<const std::string> entries) {
  std::string body;
  for (const std::string& entry : entries) {
    append32(body, entry.size());
    body += entry;
    body.append(padding(entry.size()), '\0');
  }
  std::string list;
  append32(list, entries.size());
  append32(list, body.size());
  return list + body;
}

std::optional<OneOffEntry> parseOneOffEntry(std::string_view bytes) {
  if (bytes.size() < kOneOffHeader || bytes.substr(4, kOneOffUid.size()) != kOneOffUid) {
    return std::nullopt;
  }
  const bool wide = (readAt<std::uint16_t>(bytes, 22) & kWideTexts) != 0;
  bytes.remove_prefix(kOneOffHeader);
  const auto take = wide ? takeWide : takeNarrow;
  OneOffEntry entry;
  entry.name = take(bytes);
  entry.type = take(bytes);
  entry.address = take(bytes);
  return entry;
}

}  // namespace nalvo
