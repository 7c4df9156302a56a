#include "host/msg_names.h"

#include <algorithm>
#include <array>

#include "diagnostics/hresult_exception.h"
#include "host/little_endian.h"
#include "host/msg_layout.h"

namespace nalvo::host::msg {
namespace {

constexpr SourceFile kSource{".\\MsgNames"};

// Bounds what a name storage may cost; a file can't use more than 0x8000 names.
constexpr std::uint64_t kLargestStream = 16U << 20;
constexpr std::uint16_t kFirstNamed = 0x8000;
constexpr std::size_t kNameEntryBytes = 8;

struct NameStreams {
  std::string guids;
  std::string names;
  std::string texts;
};

NameStreams streamsOf(CompoundFile& file) {
  NameStreams streams;
  for (const std::uint32_t child : file.root().children) {
    if (file.entry(child).name != kNamesName) {
      continue;
    }
    for (const std::uint32_t index : file.entry(child).children) {
      const CompoundFile::Entry& stream = file.entry(index);
      const std::optional<std::uint32_t> tag = numberOf(stream.name, kValuePrefix);
      std::string* wanted = tag == kGuidStream   ? &streams.guids
                            : tag == kNameStream ? &streams.names
                            : tag == kTextStream ? &streams.texts
                                                 : nullptr;
      if (wanted != nullptr) {
        *wanted = file.read(stream, kLargestStream);
      }
    }
  }
  return streams;
}

std::optional<GUID> guidOf(const NameStreams& streams, std::uint16_t index) {
  if (index == kGuidMapi || index == kGuidPublicStrings) {
    return index == kGuidMapi ? kPsMapi : kPsPublicStrings;
  }
  const std::size_t offset = (std::size_t{index} - kFirstListedGuid) * sizeof(GUID);
  if (index < kFirstListedGuid || offset + sizeof(GUID) > streams.guids.size()) {
    return std::nullopt;
  }
  return loadAt<GUID>(streams.guids, offset);
}

std::optional<std::u16string> textAt(const NameStreams& streams, std::uint32_t offset) {
  const std::string& texts = streams.texts;
  if (texts.size() < 4 || offset > texts.size() - 4) {
    return std::nullopt;
  }
  const auto bytes = loadAt<std::uint32_t>(texts, offset);
  if (bytes > texts.size() - 4 - offset) {
    return std::nullopt;
  }
  std::u16string text(bytes / 2, u'\0');
  std::memcpy(text.data(), texts.data() + offset + 4, text.size() * 2);
  return text;
}

// The check sum by which named texts are sorted into buckets: that of zip files without its inversions.
std::uint32_t bucketChecksum(std::u16string_view text) {
  static const auto kTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
      std::uint32_t value = i;
      for (int bit = 0; bit < 8; ++bit) {
        value = value >> 1 ^ ((value & 1) != 0 ? 0xEDB88320U : 0);
      }
      table[i] = value;
    }
    return table;
  }();
  std::uint32_t sum = 0;
  for (const char16_t unit : text) {
    for (const std::uint32_t byte : {unit & 0xFFU, unit >> 8 & 0xFFU}) {
      sum = kTable[(sum ^ byte) & 0xFF] ^ sum >> 8;
    }
  }
  return sum;
}

}  // namespace

std::map<std::uint16_t, PropertyName> readNames(CompoundFile& file, std::vector<std::string>& warnings) {
  const NameStreams streams = streamsOf(file);
  std::map<std::uint16_t, PropertyName> names;
  std::size_t unreadable = 0;
  for (std::size_t at = 0; at + kNameEntryBytes <= streams.names.size(); at += kNameEntryBytes) {
    const auto value = loadAt<std::uint32_t>(streams.names, at);
    const auto guidAndKind = loadAt<std::uint16_t>(streams.names, at + 4);
    const std::uint32_t id = std::uint32_t{kFirstNamed} + loadAt<std::uint16_t>(streams.names, at + 6);
    const std::optional<GUID> set = guidOf(streams, guidAndKind >> 1);
    const bool isText = (guidAndKind & 1) != 0;
    const std::optional<std::u16string> text = isText ? textAt(streams, value) : std::optional(std::u16string());
    if (!set || !text || id > 0xFFFF) {
      ++unreadable;
      continue;
    }
    names.emplace(static_cast<std::uint16_t>(id), isText
                                                      ? PropertyName{*set, MNID_STRING, 0, *text}
                                                      : PropertyName{*set, MNID_ID, static_cast<std::int32_t>(value), {}});
  }
  if (unreadable != 0) {
    warnings.push_back("names of properties that can't be read: " + std::to_string(unreadable));
  }
  return names;
}

std::uint16_t NameNumbers::idOf(const PropertyName& name) {
  const std::uint16_t id = numbers_.idOf(name, true);
  if (id == 0) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("NameNumbers::idOf"), "too many named properties");
  }
  return id;
}

void NameNumbers::write(CompoundWriter& writer) const {
  const CompoundWriter::Storage storage = writer.addStorage(CompoundWriter::kRoot, kNamesName);
  std::string guids;
  std::string names;
  std::string texts;
  std::map<ULONG, std::string> buckets;
  std::vector<GUID> sets;
  for (std::uint16_t id = kFirstNamed; numbers_.nameOf(id) != nullptr; ++id) {
    const PropertyName& name = *numbers_.nameOf(id);
    std::size_t set = kGuidMapi;
    if (name.set == kPsPublicStrings) {
      set = kGuidPublicStrings;
    } else if (name.set != kPsMapi) {
      const auto known = std::find(sets.begin(), sets.end(), name.set);
      set = kFirstListedGuid + static_cast<std::size_t>(known - sets.begin());
      if (known == sets.end()) {
        sets.push_back(name.set);
        appendTo(guids, name.set);
      }
    }
    const bool isText = name.kind == MNID_STRING;
    const auto guidAndKind = static_cast<std::uint16_t>(set << 1 | (isText ? 1 : 0));
    const auto index = static_cast<std::uint16_t>(id - kFirstNamed);
    const std::uint32_t value = isText ? static_cast<std::uint32_t>(texts.size()) : static_cast<std::uint32_t>(name.id);
    const std::uint32_t key = isText ? bucketChecksum(name.name) : value;
    if (isText) {
      appendTo(texts, static_cast<std::uint32_t>(name.name.size() * 2));
      texts.append(reinterpret_cast<const char*>(name.name.data()), name.name.size() * 2);
      texts.resize((texts.size() + 3) / 4 * 4);
    }
    std::string& bucket = buckets[propTag(PT_BINARY, kFirstBucket + (key ^ guidAndKind) % kBuckets)];
    const auto put = [&](std::string& stream, std::uint32_t first) {
      appendTo(stream, first);
      appendTo(stream, guidAndKind);
      appendTo(stream, index);
    };
    put(names, value);
    put(bucket, key);
  }
  writer.addStream(storage, numberedName(kValuePrefix, kGuidStream), guids);
  writer.addStream(storage, numberedName(kValuePrefix, kNameStream), names);
  writer.addStream(storage, numberedName(kValuePrefix, kTextStream), texts);
  for (const auto& [tag, bucket] : buckets) {
    writer.addStream(storage, numberedName(kValuePrefix, tag), bucket);
  }
}

}  // namespace nalvo::host::msg
