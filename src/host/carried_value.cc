#include "host/carried_value.h"

#include <type_traits>

#include "diagnostics/hresult_exception.h"
#include "host/digest.h"
#include "host/little_endian.h"
#include "platform/mapi/property_types.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\CarriedValue"};

[[noreturn]] void raiseCorrupt(const char* where) { throwHResult(MAPI_E_CORRUPT_DATA, kSource.at(where)); }

// The place of a type among the alternatives of PropertyContent.
template <typename T, std::size_t I = 0>
constexpr std::uint8_t alternative() {
  if constexpr (std::is_same_v<std::variant_alternative_t<I, PropertyContent>, T>) {
    return I;
  } else {
    return alternative<T, I + 1>();
  }
}

struct TypeRow {
  ULONG type;
  std::uint8_t alternative;
};
constexpr TypeRow kTypes[] = {
    {PT_NULL, alternative<std::monostate>()},
    {PT_SHORT, alternative<std::int16_t>()},
    {PT_LONG, alternative<std::int32_t>()},
    {PT_FLOAT, alternative<float>()},
    {PT_DOUBLE, alternative<double>()},
    {PT_CURRENCY, alternative<std::int64_t>()},
    {PT_APPTIME, alternative<double>()},
    {PT_ERROR, alternative<std::int32_t>()},
    {PT_BOOLEAN, alternative<bool>()},
    {PT_I8, alternative<std::int64_t>()},
    {PT_STRING8, alternative<std::string>()},
    {PT_UNICODE, alternative<std::u16string>()},
    {PT_SYSTIME, alternative<FILETIME>()},
    {PT_CLSID, alternative<GUID>()},
    {PT_BINARY, alternative<std::string>()},
    {PT_MV_SHORT, alternative<std::vector<std::int16_t>>()},
    {PT_MV_LONG, alternative<std::vector<std::int32_t>>()},
    {PT_MV_FLOAT, alternative<std::vector<float>>()},
    {PT_MV_DOUBLE, alternative<std::vector<double>>()},
    {PT_MV_CURRENCY, alternative<std::vector<std::int64_t>>()},
    {PT_MV_APPTIME, alternative<std::vector<double>>()},
    {PT_MV_I8, alternative<std::vector<std::int64_t>>()},
    {PT_MV_STRING8, alternative<std::vector<std::string>>()},
    {PT_MV_UNICODE, alternative<std::vector<std::u16string>>()},
    {PT_MV_SYSTIME, alternative<std::vector<FILETIME>>()},
    {PT_MV_CLSID, alternative<std::vector<GUID>>()},
    {PT_MV_BINARY, alternative<std::vector<std::string>>()},
};

// A type that nobody knows is a number in its entry or bytes in a stream.
bool fits(ULONG type, std::uint8_t index) {
  for (const TypeRow& row : kTypes) {
    if (row.type == type) {
      return row.alternative == index;
    }
  }
  return type <= 0xFFFF && type != PT_OBJECT &&
         (index == alternative<std::int64_t>() || index == alternative<std::string>());
}

template <typename T>
constexpr bool kIsVector = false;
template <typename T>
constexpr bool kIsVector<std::vector<T>> = true;

void appendContent(std::string& out, const PropertyContent& content) {
  out += static_cast<char>(content.index());
  std::visit(
      [&out](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, std::string>) {
          appendText(out, value);
        } else if constexpr (std::is_same_v<T, std::u16string>) {
          appendWideText(out, value);
        } else if constexpr (std::is_same_v<T, std::vector<std::string>>) {
          appendTo(out, static_cast<std::uint32_t>(value.size()));
          for (const std::string& text : value) {
            appendText(out, text);
          }
        } else if constexpr (std::is_same_v<T, std::vector<std::u16string>>) {
          appendTo(out, static_cast<std::uint32_t>(value.size()));
          for (const std::u16string& text : value) {
            appendWideText(out, text);
          }
        } else if constexpr (kIsVector<T>) {
          appendTo(out, static_cast<std::uint32_t>(value.size()));
          for (const auto& one : value) {
            appendTo(out, one);
          }
        } else if constexpr (!std::is_same_v<T, std::monostate> && !std::is_same_v<T, ComPtr<IStream>>) {
          appendTo(out, value);
        }
      },
      content);
}

template <typename T>
T readOne(ByteReader& in) {
  if constexpr (std::is_same_v<T, std::string>) {
    return in.text();
  } else if constexpr (std::is_same_v<T, std::u16string>) {
    return in.wideText();
  } else if constexpr (std::is_same_v<T, bool>) {
    return in.number<std::uint8_t>() != 0;
  } else if constexpr (std::is_same_v<T, std::monostate>) {
    return {};
  } else if constexpr (std::is_same_v<T, ComPtr<IStream>>) {
    raiseCorrupt("host::readOne");
  } else if constexpr (kIsVector<T>) {
    using Element = typename T::value_type;
    T values;
    const std::uint32_t count = in.count(std::is_trivially_copyable_v<Element> ? sizeof(Element) : sizeof(std::uint32_t));
    for (std::uint32_t i = 0; i < count; ++i) {
      values.push_back(readOne<Element>(in));
    }
    return values;
  } else {
    return in.number<T>();
  }
}

template <std::size_t I = 0>
PropertyContent readContent(ByteReader& in, std::size_t index) {
  if constexpr (I == std::variant_size_v<PropertyContent>) {
    raiseCorrupt("host::readContent");
  } else if (index == I) {
    return PropertyContent(std::in_place_index<I>, readOne<std::variant_alternative_t<I, PropertyContent>>(in));
  } else {
    return readContent<I + 1>(in, index);
  }
}

IStream* streamOf(const PropertyRecord& record) {
  const auto* stream = std::get_if<ComPtr<IStream>>(&record.content);
  return stream == nullptr ? nullptr : stream->get();
}

std::string_view viewOf(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

}  // namespace

std::string_view ByteReader::take(std::uint64_t bytes) {
  if (bytes > rest_.size()) {
    raiseCorrupt("ByteReader::take");
  }
  const std::string_view taken = rest_.substr(0, bytes);
  rest_.remove_prefix(bytes);
  return taken;
}

std::uint32_t ByteReader::count(std::size_t bytesEach) {
  const auto count = number<std::uint32_t>();
  if (count > rest_.size() / bytesEach) {
    raiseCorrupt("ByteReader::count");
  }
  return count;
}

std::string ByteReader::text() { return std::string(take(count(1))); }

std::u16string ByteReader::wideText() {
  const std::uint32_t units = count(sizeof(char16_t));
  std::u16string text(units, u'\0');
  const std::string_view bytes = take(units * sizeof(char16_t));
  std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(text.data()));
  return text;
}

void appendText(std::string& out, std::string_view text) {
  appendTo(out, static_cast<std::uint32_t>(text.size()));
  out += text;
}

void appendWideText(std::string& out, std::u16string_view text) {
  appendTo(out, static_cast<std::uint32_t>(text.size()));
  out += viewOf(text);
}

void appendRecord(std::string& out, const PropertyRecord& record) {
  if (contentSize(record) > kLargestCarriedValue) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("host::appendRecord"));
  }
  appendTo(out, static_cast<std::uint16_t>(record.type));
  appendTo(out, static_cast<std::uint32_t>(record.codePage));
  if (streamOf(record) == nullptr) {
    appendContent(out, record.content);
  } else if (record.type == PT_UNICODE) {
    appendContent(out, textOf(record));
  } else {
    appendContent(out, bytesOf(record));
  }
}

PropertyRecord readRecord(ByteReader& in) {
  PropertyRecord record;
  record.type = in.number<std::uint16_t>();
  record.codePage = in.number<std::uint32_t>();
  const auto index = in.number<std::uint8_t>();
  if (!fits(record.type, index) || (record.codePage != 0 && findCodePage(record.codePage) == nullptr)) {
    raiseCorrupt("host::readRecord");
  }
  record.content = readContent(in, index);
  return record;
}

std::uint64_t contentSize(const PropertyRecord& record) {
  if (IStream* stream = streamOf(record)) {
    STATSTG stat{};
    checkHResult(stream->Stat(&stat, STATFLAG_NONAME), kSource.at("host::contentSize"));
    return stat.cbSize;
  }
  if (const auto* text = std::get_if<std::string>(&record.content)) {
    return text->size();
  }
  const auto* wide = std::get_if<std::u16string>(&record.content);
  return wide == nullptr ? 0 : wide->size() * sizeof(char16_t);
}

std::string digestOf(const PropertyRecord& record) {
  std::string content;
  if (IStream* stream = streamOf(record)) {
    content = digestOf(stream).sha256;
  } else if (const auto* text = std::get_if<std::string>(&record.content)) {
    content = sha256(*text);
  } else if (const auto* wide = std::get_if<std::u16string>(&record.content)) {
    content = sha256(viewOf(*wide));
  } else {
    std::string bytes;
    appendContent(bytes, record.content);
    content = sha256(bytes);
  }
  return std::to_string(record.type) + ":" + std::to_string(record.codePage) + ":" + content.substr(0, 16);
}

std::u16string wordsOf(std::u16string_view text) {
  std::u16string words;
  for (const char16_t unit : text) {
    if (unit > u' ' && unit != u'\u00A0') {
      words += unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
    } else if (!words.empty() && words.back() != u' ') {
      words += u' ';
    }
  }
  if (!words.empty() && words.back() == u' ') {
    words.pop_back();
  }
  return words;
}

}  // namespace nalvo::host
