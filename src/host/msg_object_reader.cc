#include "host/msg_object_reader.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "diagnostics/hresult_exception.h"
#include "host/little_endian.h"
#include "host/msg_code_page.h"
#include "platform/time/file_time.h"
#include "properties/tag_names.h"

namespace nalvo::host::msg {
namespace {

constexpr SourceFile kSource{".\\MsgObjectReader"};

// Longer values stay in the file.
constexpr std::uint64_t kKeptBytes = 4096;
// Bound what a hostile file costs: entries of one object, elements of one value, bytes of one value that is kept as an
// array.
constexpr std::uint64_t kMostEntries = 1U << 20;
constexpr std::size_t kMostElements = 1U << 16;
constexpr std::uint64_t kLargestArray = 64U << 20;
constexpr std::uint64_t kLargestElement = 64U << 20;
constexpr std::size_t kMostWarnings = 100;

// The set of properties whose identifier has no name in the file; the identifier takes its place.
constexpr GUID kUnnamedSet{0x7B5A3E52, 0x2D0C, 0x4F7B, {0x9E, 0x61, 0x0B, 0x9C, 0x58, 0x4D, 0xC3, 0x17}};

std::string nameOf(ULONG tag) {
  char number[9];
  std::snprintf(number, sizeof number, "%08" PRIx32, tag);
  const std::string_view name = tagName(tag);
  return name.empty() ? number : std::string(name) + " (" + number + ")";
}

bool isNarrow(ULONG type) { return (type & ~MV_FLAG) == PT_STRING8; }

// True for a type whose value lies in the entry itself. One that nobody knows does, unless there is a stream for it.
bool isFixed(ULONG type, bool hasStream) {
  switch (type) {
    case PT_NULL:
    case PT_SHORT:
    case PT_LONG:
    case PT_FLOAT:
    case PT_DOUBLE:
    case PT_CURRENCY:
    case PT_APPTIME:
    case PT_ERROR:
    case PT_BOOLEAN:
    case PT_OBJECT:
    case PT_I8:
    case PT_SYSTIME:
      return true;
    case PT_STRING8:
    case PT_UNICODE:
    case PT_CLSID:
    case PT_BINARY:
      return false;
    default:
      return !hasStream && (type & MV_FLAG) == 0;
  }
}

PropertyContent fixedValue(ULONG type, std::uint64_t value) {
  const auto low = static_cast<std::uint32_t>(value);
  switch (type) {
    case PT_NULL:
    case PT_OBJECT:
      return std::monostate();
    case PT_SHORT:
      return static_cast<std::int16_t>(low);
    case PT_LONG:
    case PT_ERROR:
      return static_cast<std::int32_t>(low);
    case PT_FLOAT:
      return std::bit_cast<float>(low);
    case PT_DOUBLE:
    case PT_APPTIME:
      return std::bit_cast<double>(value);
    case PT_BOOLEAN:
      return (low & 0xFFFF) != 0;
    case PT_SYSTIME:
      return fileTimeOf(value);
    default:
      return static_cast<std::int64_t>(value);
  }
}

// Some writers end texts with a terminator. `bytes` is the length without it, in whole characters.
std::uint64_t withoutTerminators(std::string_view tail, std::uint64_t bytes, std::size_t unit) {
  const std::size_t odd = bytes % unit;
  bytes -= odd;
  tail.remove_suffix(std::min(odd, tail.size()));
  while (bytes != 0 && tail.size() >= unit && tail.substr(tail.size() - unit) == std::string_view("\0\0", unit)) {
    tail.remove_suffix(unit);
    bytes -= unit;
  }
  return bytes;
}

std::u16string wideOf(std::string_view bytes) {
  std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
  return text;
}

std::string tailOf(IStream* stream, std::uint64_t bytes, std::size_t wanted) {
  std::string tail(std::min<std::uint64_t>(bytes, wanted), '\0');
  ULONG got = 0;
  checkHResult(stream->Seek(static_cast<std::int64_t>(bytes - tail.size()), STREAM_SEEK_SET, nullptr),
               kSource.at("host::tailOf"));
  checkHResult(stream->Read(tail.data(), static_cast<ULONG>(tail.size()), &got), kSource.at("host::tailOf"));
  tail.resize(got);
  return tail;
}

}  // namespace

ObjectStreams::ObjectStreams(const CompoundFile& file, const CompoundFile::Entry& storage) {
  for (const std::uint32_t index : storage.children) {
    const std::u16string& name = file.entry(index).name;
    if (name == kPropertiesName) {
      properties = index;
    } else if (const auto tag = numberOf(name, kValuePrefix)) {
      values.emplace(*tag, index);
    } else if (const auto element = elementOf(name)) {
      elements.emplace(std::pair(element->tag, element->index), index);
    } else if (const auto recipient = numberOf(name, kRecipientPrefix)) {
      recipients.emplace(*recipient, index);
    } else if (const auto attachment = numberOf(name, kAttachmentPrefix)) {
      attachments.emplace(*attachment, index);
    }
  }
}

// The object whose properties are being read.
struct ObjectReader::Object {
  const ObjectStreams& streams;
  const std::string& where;
};

void ObjectReader::warn(const std::string& where, const std::string& what) {
  if (warnings_.size() < kMostWarnings) {
    warnings_.push_back(where + ": " + what);
  } else if (warnings_.size() == kMostWarnings) {
    warnings_.push_back("and more");
  }
}

std::optional<ULONG> ObjectReader::renumbered(ULONG fileTag, const std::string& where, PropertyBag& bag) {
  const auto fileId = static_cast<std::uint16_t>(propId(fileTag));
  if (fileId < kFirstNamedId) {
    return fileTag;
  }
  const auto name = names_.find(fileId);
  if (name == names_.end()) {
    warn(where, nameOf(fileTag) + " is a named property without a name");
  }
  const std::uint16_t id =
      bag.names().idOf(name == names_.end() ? PropertyName{kUnnamedSet, MNID_ID, fileId, {}} : name->second, true);
  if (id == 0) {
    warn(where, nameOf(fileTag) + " is left out: too many named properties");
    return std::nullopt;
  }
  return propTag(propType(fileTag), id);
}

std::vector<ObjectReader::Entry> ObjectReader::entriesOf(const ObjectStreams& streams, ObjectKind kind,
                                                         const std::string& where) {
  std::vector<Entry> entries;
  if (streams.properties) {
    const CompoundFile::Entry& stream = file_.entry(*streams.properties);
    const std::string bytes = file_.read(stream, headerBytes(kind) + kMostEntries * kEntryBytes);
    if (bytes.size() < stream.size || bytes.size() < headerBytes(kind)) {
      warn(where, "the list of properties is cut");
    }
    for (std::size_t at = headerBytes(kind); at + kEntryBytes <= bytes.size(); at += kEntryBytes) {
      entries.push_back({loadAt<ULONG>(bytes, at), loadAt<std::uint64_t>(bytes, at + kEntryValue)});
    }
    return entries;
  }
  // Long values tell their tags themselves.
  warn(where, "the list of properties is missing");
  for (const auto& [tag, stream] : streams.values) {
    if (propType(tag) != PT_OBJECT) {
      entries.push_back({tag, 0});
    }
  }
  std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.tag < b.tag; });
  return entries;
}

PropertyContent ObjectReader::bytesOrStream(const Object& object, const Entry& entry, std::uint32_t stream) {
  const CompoundFile::Entry& stored = file_.entry(stream);
  const ULONG type = propType(entry.tag);
  const std::size_t unit = type == PT_UNICODE ? sizeof(char16_t) : type == PT_STRING8 ? 1 : 0;
  if (stored.size <= kKeptBytes) {
    std::string bytes = file_.read(stored, kKeptBytes);
    if (bytes.size() < stored.size) {
      warn(object.where, nameOf(entry.tag) + " is cut");
    }
    if (unit != 0) {
      bytes.resize(withoutTerminators(bytes, bytes.size(), unit));
    }
    return type == PT_UNICODE ? PropertyContent(wideOf(bytes)) : PropertyContent(std::move(bytes));
  }
  std::uint64_t there = file_.availableSize(stored);
  if (there < stored.size) {
    warn(object.where, nameOf(entry.tag) + " is cut");
  }
  if (unit != 0) {
    there -= there % unit;
    there = withoutTerminators(tailOf(file_.open(stored, there).get(), there, kKeptBytes), there, unit);
  }
  return file_.open(stored, there);
}

template <typename T>
PropertyContent ObjectReader::values(const Object& object, const Entry& entry, std::uint32_t stream) {
  const CompoundFile::Entry& stored = file_.entry(stream);
  const std::string bytes = file_.read(stored, kLargestArray);
  if (bytes.size() < stored.size || bytes.size() % sizeof(T) != 0) {
    warn(object.where, nameOf(entry.tag) + " is cut");
  }
  return valuesOf<T>(bytes);
}

std::vector<std::string> ObjectReader::elements(const Object& object, const Entry& entry, std::uint32_t stream) {
  const std::size_t lengthBytes = propType(entry.tag) == PT_MV_BINARY ? 8 : 4;
  const CompoundFile::Entry& stored = file_.entry(stream);
  const std::string lengths = file_.read(stored, kMostElements * lengthBytes);
  bool whole = lengths.size() == stored.size && lengths.size() % lengthBytes == 0;
  std::vector<std::string> result;
  for (std::size_t i = 0; i < lengths.size() / lengthBytes; ++i) {
    const auto element = object.streams.elements.find({entry.tag, static_cast<std::uint32_t>(i)});
    if (element == object.streams.elements.end()) {
      whole = whole && loadAt<std::uint32_t>(lengths, i * lengthBytes) == 0;
      result.emplace_back();
      continue;
    }
    const CompoundFile::Entry& one = file_.entry(element->second);
    result.push_back(file_.read(one, kLargestElement));
    whole = whole && result.back().size() == one.size;
  }
  if (!whole) {
    warn(object.where, nameOf(entry.tag) + " is cut");
  }
  return result;
}

PropertyContent ObjectReader::longValue(const Object& object, const Entry& entry) {
  const ULONG type = propType(entry.tag);
  const auto found = object.streams.values.find(entry.tag);
  if (found == object.streams.values.end() || file_.entry(found->second).isStorage) {
    return std::monostate();
  }
  const std::uint32_t stream = found->second;
  switch (type) {
    case PT_CLSID: {
      const std::string bytes = file_.read(file_.entry(stream), sizeof(GUID));
      return bytes.size() < sizeof(GUID) ? PropertyContent() : loadAt<GUID>(bytes, 0);
    }
    case PT_MV_SHORT:
      return values<std::int16_t>(object, entry, stream);
    case PT_MV_LONG:
      return values<std::int32_t>(object, entry, stream);
    case PT_MV_FLOAT:
      return values<float>(object, entry, stream);
    case PT_MV_DOUBLE:
    case PT_MV_APPTIME:
      return values<double>(object, entry, stream);
    case PT_MV_CURRENCY:
    case PT_MV_I8:
      return values<std::int64_t>(object, entry, stream);
    case PT_MV_SYSTIME:
      return values<FILETIME>(object, entry, stream);
    case PT_MV_CLSID:
      return values<GUID>(object, entry, stream);
    case PT_MV_BINARY:
      return elements(object, entry, stream);
    case PT_MV_STRING8:
    case PT_MV_UNICODE: {
      std::vector<std::string> texts = elements(object, entry, stream);
      const std::size_t unit = type == PT_MV_UNICODE ? sizeof(char16_t) : 1;
      for (std::string& text : texts) {
        text.resize(withoutTerminators(text, text.size(), unit));
      }
      if (type == PT_MV_STRING8) {
        return texts;
      }
      std::vector<std::u16string> wide;
      std::transform(texts.begin(), texts.end(), std::back_inserter(wide), wideOf);
      return wide;
    }
    default:
      return bytesOrStream(object, entry, stream);
  }
}

CodePage ObjectReader::read(const ObjectStreams& streams, ObjectKind kind, const std::string& where, CodePage codePage,
                            PropertyBag& bag) {
  const Object object{streams, where};
  const std::vector<Entry> entries = entriesOf(streams, kind, where);
  const auto keep = [&](const Entry& entry, PropertyRecord record) {
    const std::optional<ULONG> tag = renumbered(entry.tag, where, bag);
    if (!tag || (isNarrow(record.type) && bag.find(*tag) != nullptr)) {
      return;
    }
    if (!bag.load(*tag, std::move(record))) {
      warn(where, nameOf(entry.tag) + " is there more than once; the first one counts");
    }
  };
  const auto fixed = [&](const Entry& entry) { return isFixed(propType(entry.tag), streams.values.contains(entry.tag)); };
  for (const Entry& entry : entries) {
    const ULONG type = propType(entry.tag);
    if (!fixed(entry)) {
      continue;
    }
    if (type == PT_SYSTIME && !fileTimeToSystemTime(fileTimeOf(entry.value))) {
      warn(where, nameOf(entry.tag) + " is a time out of range and counts as absent");
    }
    keep(entry, {type, fixedValue(type, entry.value)});
  }
  if (kind != ObjectKind::Part) {
    codePage = codePageOf(bag, codePage);
  }
  for (const bool wide : {true, false}) {  // where both widths are there, the wide text has all characters
    for (const Entry& entry : entries) {
      const ULONG type = propType(entry.tag);
      if (fixed(entry) || wide == isNarrow(type)) {
        continue;
      }
      PropertyContent content = longValue(object, entry);
      if (std::holds_alternative<std::monostate>(content)) {
        warn(where, nameOf(entry.tag) + " has no value");
        continue;
      }
      keep(entry, {type, std::move(content), isNarrow(type) ? codePage : 0});
    }
  }
  return codePage;
}

}  // namespace nalvo::host::msg
