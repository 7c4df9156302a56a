#include "host/msg_object_writer.h"

#include <bit>
#include <type_traits>

#include "diagnostics/hresult_exception.h"
#include "host/little_endian.h"
#include "platform/time/file_time.h"

namespace nalvo::host::msg {
namespace {

constexpr SourceFile kSource{".\\MsgObjectWriter"};

std::string_view viewOf(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

std::uint64_t sizeOf(IStream* stream) {
  ComPtr<IStream> reader;
  std::uint64_t size = 0;
  checkHResult(stream->Clone(reader.put()), kSource.at("host::sizeOf"));
  checkHResult(reader->Seek(0, STREAM_SEEK_END, &size), kSource.at("host::sizeOf"));
  return size;
}

// How a value of a fixed type lies in its entry; no value for one that has a stream.
struct FixedValue {
  std::optional<std::uint64_t> operator()(std::int16_t value) const { return static_cast<std::uint16_t>(value); }
  std::optional<std::uint64_t> operator()(std::int32_t value) const { return static_cast<std::uint32_t>(value); }
  std::optional<std::uint64_t> operator()(std::int64_t value) const { return static_cast<std::uint64_t>(value); }
  std::optional<std::uint64_t> operator()(float value) const { return std::bit_cast<std::uint32_t>(value); }
  std::optional<std::uint64_t> operator()(double value) const { return std::bit_cast<std::uint64_t>(value); }
  std::optional<std::uint64_t> operator()(bool value) const { return value ? 1 : 0; }
  std::optional<std::uint64_t> operator()(FILETIME value) const { return ticksOf(value); }
  std::optional<std::uint64_t> operator()(std::monostate) const { return 0; }
  template <typename T>
  std::optional<std::uint64_t> operator()(const T&) const {
    return std::nullopt;
  }
};

}  // namespace

void ObjectWriter::list(ULONG tag, std::uint64_t value) {
  appendTo(entries_, tag);
  appendTo(entries_, kReadableWriteable);
  appendTo(entries_, value);
}

void ObjectWriter::listObject(ULONG tag, std::uint32_t kind) {
  const std::uint64_t value = std::uint64_t{kind} << 32 | kObjectSize;
  if (const std::optional<std::size_t> at = placeOf(tag)) {
    storeAt(entries_, *at + kEntryValue, value);
  } else {
    list(tag, value);
  }
}

void ObjectWriter::setBits(ULONG tag, std::uint32_t bits) {
  if (const std::optional<std::size_t> at = placeOf(tag)) {
    storeAt(entries_, *at + kEntryValue, loadAt<std::uint32_t>(entries_, *at + kEntryValue) | bits);
  } else {
    list(tag, bits);
  }
}

std::optional<std::size_t> ObjectWriter::placeOf(ULONG tag) const {
  for (std::size_t at = 0; at < entries_.size(); at += kEntryBytes) {
    if (loadAt<ULONG>(entries_, at) == tag) {
      return at;
    }
  }
  return std::nullopt;
}

void ObjectWriter::finish(std::string_view header) {
  writer_.addStream(storage_, kPropertiesName, std::string(header) + entries_);
}

void ObjectWriter::writeStream(ULONG tag, std::string_view bytes) {
  writer_.addStream(storage_, numberedName(kValuePrefix, tag), bytes);
}

// A size counts the terminator that a text has in memory, though not in the file.
void ObjectWriter::writeBytes(ULONG tag, const PropertyRecord& record, std::uint32_t terminator) {
  std::uint64_t size = 0;
  if (const auto* stream = std::get_if<ComPtr<IStream>>(&record.content)) {
    size = sizeOf(stream->get());
    writer_.addStream(storage_, numberedName(kValuePrefix, tag), stream->get());
  } else {
    const auto* text = std::get_if<std::u16string>(&record.content);
    const std::string_view bytes = text != nullptr ? viewOf(*text) : std::string_view(std::get<std::string>(record.content));
    size = bytes.size();
    writeStream(tag, bytes);
  }
  if (size > kObjectSize - terminator - 1) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("ObjectWriter::writeBytes"));
  }
  list(tag, size + terminator);
}

void ObjectWriter::writeText(ULONG tag, const PropertyRecord& record, bool narrow) {
  if (narrow) {
    writeBytes(changePropType(tag, PT_STRING8), record, 1);
    return;
  }
  hasWideTexts_ = true;
  const ULONG wide = changePropType(tag, PT_UNICODE);
  if (record.type == PT_UNICODE) {
    writeBytes(wide, record, sizeof(char16_t));
  } else {
    writeBytes(wide, {PT_UNICODE, textOf(record)}, sizeof(char16_t));
  }
}

void ObjectWriter::writeTexts(ULONG tag, const PropertyRecord& record, bool narrow) {
  tag = changePropType(tag, narrow ? PT_MV_STRING8 : PT_MV_UNICODE);
  std::string lengths;
  std::uint32_t index = 0;
  const auto put = [&](std::string_view bytes, std::size_t terminator) {
    std::string ended(bytes);
    ended.append(terminator, '\0');
    appendTo(lengths, static_cast<std::uint32_t>(ended.size()));
    writer_.addStream(storage_, elementName(tag, index++), ended);
  };
  if (narrow) {
    for (const std::string& text : std::get<std::vector<std::string>>(record.content)) {
      put(text, 1);
    }
  } else {
    hasWideTexts_ = true;
    for (const std::u16string& text : textsOf(record)) {
      put(viewOf(text), sizeof(char16_t));
    }
  }
  writeStream(tag, lengths);
  list(tag, lengths.size());
}

void ObjectWriter::writeOne(const PropertyBag& bag, ULONG tag, const PropertyRecord& record, CodePage codePage) {
  if (propId(tag) >= kFirstNamedId) {
    const PropertyName* name = bag.names().nameOf(static_cast<std::uint16_t>(propId(tag)));
    if (name == nullptr) {
      return;
    }
    tag = propTag(propType(tag), names_.idOf(*name));
  }
  tag = changePropType(tag, record.type);
  // A narrow text without a code page was set by somebody who wrote no file; it is as well as a wide one.
  const bool narrow = record.codePage != 0 && record.codePage == codePage;
  switch (record.type) {
    case PT_OBJECT:
      list(tag, kObjectSize);
      return;
    case PT_STRING8:
    case PT_UNICODE:
      writeText(tag, record, narrow);
      return;
    case PT_MV_STRING8:
    case PT_MV_UNICODE:
      writeTexts(tag, record, narrow);
      return;
    default:
      break;
  }
  if (const std::optional<std::uint64_t> value = std::visit(FixedValue{}, record.content)) {
    list(tag, *value);
    return;
  }
  std::visit(
      [&](const auto& content) {
        using T = std::decay_t<decltype(content)>;
        if constexpr (std::is_same_v<T, GUID>) {
          writeBytes(tag, {PT_BINARY, std::string(reinterpret_cast<const char*>(&content), sizeof content)}, 0);
        } else if constexpr (std::is_same_v<T, std::vector<std::string>>) {
          std::string lengths;
          std::uint32_t index = 0;
          for (const std::string& bytes : content) {
            appendTo(lengths, std::uint64_t{bytes.size()});
            writer_.addStream(storage_, elementName(tag, index++), bytes);
          }
          writeStream(tag, lengths);
          list(tag, lengths.size());
        } else if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, ComPtr<IStream>>) {
          writeBytes(tag, record, 0);
        } else if constexpr (requires { content.data(); } && !std::is_same_v<T, std::vector<std::u16string>>) {
          const std::string_view bytes(reinterpret_cast<const char*>(content.data()),
                                       content.size() * sizeof(*content.data()));
          writeStream(tag, bytes);
          list(tag, bytes.size());
        }
      },
      record.content);
}

void ObjectWriter::write(const PropertyBag& bag, CodePage codePage) {
  for (const ULONG tag : bag.tags()) {
    writeOne(bag, tag, *bag.find(tag), codePage);
  }
}

}  // namespace nalvo::host::msg
