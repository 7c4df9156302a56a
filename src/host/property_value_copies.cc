// Between the values of a caller and those that the host keeps.
#include <algorithm>
#include <iterator>
#include <utility>

#include "diagnostics/boundary.h"
#include "host/host_allocator.h"
#include "host/property_value.h"
#include "platform/mapi/property_types.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\PropertyValue"};

template <typename T, typename Element>
std::optional<PropertyRecord> multi(ULONG type, const Element* elements, ULONG count) {
  if (elements == nullptr && count != 0) {
    return std::nullopt;
  }
  return PropertyRecord{type, std::vector<T>(elements, elements + count)};
}

// Builds one value in a block of the allocator and what hangs on it.
class Builder {
 public:
  explicit Builder(ULONG tag) {
    void* block = nullptr;
    checkHResult(HostAllocator::allocate(sizeof(SPropValue), &block), kSource.at("host::makeSPropValue"));
    value_ = static_cast<SPropValue*>(block);
    *value_ = SPropValue{};
    value_->ulPropTag = tag;
  }
  ~Builder() { HostAllocator::free(value_); }
  Builder(const Builder&) = delete;
  Builder& operator=(const Builder&) = delete;

  SPropValue* operator->() { return value_; }
  SPropValue* detach() { return std::exchange(value_, nullptr); }

  template <typename T>
  T* array(std::size_t count) {
    void* block = nullptr;
    checkHResult(HostAllocator::allocateMore(static_cast<ULONG>(count * sizeof(T)), value_, &block),
                 kSource.at("host::makeSPropValue"));
    return static_cast<T*>(block);
  }

  template <typename T>
  T* copy(const T* elements, std::size_t count) {
    T* made = array<T>(count);
    std::copy_n(elements, count, made);
    return made;
  }

  char* text(const std::string& bytes) { return copy(bytes.c_str(), bytes.size() + 1); }
  char16_t* text(const std::u16string& wide) { return copy(wide.c_str(), wide.size() + 1); }
  SBinary binary(const std::string& bytes) {
    return {static_cast<ULONG>(bytes.size()), reinterpret_cast<BYTE*>(copy(bytes.data(), bytes.size()))};
  }

 private:
  SPropValue* value_ = nullptr;
};

// A narrow reader takes valid UTF-8 for what it is, so nothing need be lost to "?".
std::string narrowOf(std::u16string_view text) {
  std::string ansi = wideToAnsi(text);
  return ansiToWide(ansi) == text ? ansi : wideToUtf8(text);
}

std::vector<std::string> narrowed(const PropertyRecord& record) {
  if (const auto* narrow = std::get_if<std::vector<std::string>>(&record.content)) {
    return *narrow;
  }
  std::vector<std::string> result;
  for (const std::u16string& text : std::get<std::vector<std::u16string>>(record.content)) {
    result.push_back(narrowOf(text));
  }
  return result;
}

template <typename T, typename Array>
void fillArray(Builder& builder, const PropertyRecord& record, Array& array, T* Array::*elements) {
  const auto& values = std::get<std::vector<T>>(record.content);
  array.cValues = static_cast<ULONG>(values.size());
  array.*elements = builder.copy(values.data(), values.size());
}

void fill(Builder& builder, const PropertyRecord& record, ULONG type) {
  PropertyValue& value = builder->Value;
  switch (type) {
    case PT_NULL:
    case PT_OBJECT:
      break;
    case PT_SHORT:
      value.i = std::get<std::int16_t>(record.content);
      break;
    case PT_LONG:
      value.l = std::get<std::int32_t>(record.content);
      break;
    case PT_FLOAT:
      value.flt = std::get<float>(record.content);
      break;
    case PT_DOUBLE:
    case PT_APPTIME:
      value.dbl = std::get<double>(record.content);
      break;
    case PT_CURRENCY:
    case PT_I8:
      value.li = std::get<std::int64_t>(record.content);
      break;
    case PT_BOOLEAN:
      value.b = std::get<bool>(record.content) ? 1 : 0;
      break;
    case PT_SYSTIME:
      value.ft = std::get<FILETIME>(record.content);
      break;
    case PT_CLSID:
      value.lpguid = builder.copy(&std::get<GUID>(record.content), 1);
      break;
    case PT_STRING8:
      value.lpszA = builder.text(record.type == PT_UNICODE ? narrowOf(textOf(record)) : bytesOf(record));
      break;
    case PT_UNICODE:
      value.lpszW = builder.text(textOf(record));
      break;
    case PT_BINARY:
      value.bin = builder.binary(bytesOf(record));
      break;
    case PT_MV_SHORT:
      fillArray(builder, record, value.MVi, &SShortArray::lpi);
      break;
    case PT_MV_LONG:
      fillArray(builder, record, value.MVl, &SLongArray::lpl);
      break;
    case PT_MV_FLOAT:
      fillArray(builder, record, value.MVflt, &SRealArray::lpflt);
      break;
    case PT_MV_DOUBLE:
    case PT_MV_APPTIME:
      fillArray(builder, record, value.MVdbl, &SDoubleArray::lpdbl);
      break;
    case PT_MV_CURRENCY:
    case PT_MV_I8:
      fillArray(builder, record, value.MVli, &SLargeIntegerArray::lpli);
      break;
    case PT_MV_SYSTIME:
      fillArray(builder, record, value.MVft, &SDateTimeArray::lpft);
      break;
    case PT_MV_CLSID:
      fillArray(builder, record, value.MVguid, &SGuidArray::lpguid);
      break;
    case PT_MV_BINARY: {
      const auto& values = std::get<std::vector<std::string>>(record.content);
      value.MVbin = {static_cast<ULONG>(values.size()), builder.array<SBinary>(values.size())};
      std::transform(values.begin(), values.end(), value.MVbin.lpbin,
                     [&](const std::string& bytes) { return builder.binary(bytes); });
      break;
    }
    case PT_MV_STRING8: {
      const std::vector<std::string> values = narrowed(record);
      value.MVszA = {static_cast<ULONG>(values.size()), builder.array<char*>(values.size())};
      std::transform(values.begin(), values.end(), value.MVszA.lppszA,
                     [&](const std::string& t) { return builder.text(t); });
      break;
    }
    case PT_MV_UNICODE: {
      const std::vector<std::u16string> values = textsOf(record);
      value.MVszW = {static_cast<ULONG>(values.size()), builder.array<char16_t*>(values.size())};
      std::transform(values.begin(), values.end(), value.MVszW.lppszW,
                     [&](const std::u16string& t) { return builder.text(t); });
      break;
    }
    default:
      throwHResult(MAPI_E_NOT_FOUND, kSource.at("host::makeSPropValue"));
  }
}

}  // namespace

std::optional<PropertyRecord> recordOf(const SPropValue& source) {
  const ULONG type = propType(source.ulPropTag);
  const PropertyValue& value = source.Value;
  const auto bytes = [](const SBinary& b) {
    return b.lpb == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(b.lpb), b.cb);
  };
  switch (type) {
    case PT_NULL:
    case PT_OBJECT:
      return PropertyRecord{type, std::monostate()};
    case PT_SHORT:
      return PropertyRecord{type, value.i};
    case PT_LONG:
      return PropertyRecord{type, value.l};
    case PT_FLOAT:
      return PropertyRecord{type, value.flt};
    case PT_DOUBLE:
    case PT_APPTIME:
      return PropertyRecord{type, value.dbl};
    case PT_CURRENCY:
    case PT_I8:
      return PropertyRecord{type, value.li};
    case PT_BOOLEAN:
      return PropertyRecord{type, value.b != 0};
    case PT_SYSTIME:
      return PropertyRecord{type, value.ft};
    case PT_CLSID:
      return value.lpguid == nullptr ? std::nullopt : std::optional(PropertyRecord{type, *value.lpguid});
    case PT_STRING8:
      return PropertyRecord{type, std::string(value.lpszA == nullptr ? "" : value.lpszA)};
    case PT_UNICODE:
      return PropertyRecord{type, std::u16string(value.lpszW == nullptr ? u"" : value.lpszW)};
    case PT_BINARY:
      return PropertyRecord{type, bytes(value.bin)};
    case PT_MV_SHORT:
      return multi<std::int16_t>(type, value.MVi.lpi, value.MVi.cValues);
    case PT_MV_LONG:
      return multi<std::int32_t>(type, value.MVl.lpl, value.MVl.cValues);
    case PT_MV_FLOAT:
      return multi<float>(type, value.MVflt.lpflt, value.MVflt.cValues);
    case PT_MV_DOUBLE:
    case PT_MV_APPTIME:
      return multi<double>(type, value.MVdbl.lpdbl, value.MVdbl.cValues);
    case PT_MV_CURRENCY:
    case PT_MV_I8:
      return multi<std::int64_t>(type, value.MVli.lpli, value.MVli.cValues);
    case PT_MV_SYSTIME:
      return multi<FILETIME>(type, value.MVft.lpft, value.MVft.cValues);
    case PT_MV_CLSID:
      return multi<GUID>(type, value.MVguid.lpguid, value.MVguid.cValues);
    case PT_MV_STRING8:
    case PT_MV_UNICODE:
    case PT_MV_BINARY:
      break;
    default:
      return std::nullopt;
  }
  const ULONG count = value.MVbin.cValues;  // at the same place in the three
  if (count != 0 && value.MVbin.lpbin == nullptr) {
    return std::nullopt;
  }
  if (type == PT_MV_UNICODE) {
    std::vector<std::u16string> texts;
    std::transform(value.MVszW.lppszW, value.MVszW.lppszW + count, std::back_inserter(texts),
                   [](const char16_t* text) { return std::u16string(text == nullptr ? u"" : text); });
    return PropertyRecord{type, std::move(texts)};
  }
  std::vector<std::string> texts;
  if (type == PT_MV_STRING8) {
    std::transform(value.MVszA.lppszA, value.MVszA.lppszA + count, std::back_inserter(texts),
                   [](const char* text) { return std::string(text == nullptr ? "" : text); });
  } else {
    std::transform(value.MVbin.lpbin, value.MVbin.lpbin + count, std::back_inserter(texts), bytes);
  }
  return PropertyRecord{type, std::move(texts)};
}

HRESULT makeSPropValue(const PropertyRecord& record, ULONG tag, SPropValue** out) {
  return atBoundary([&] {
    const ULONG type = propType(tag) == PT_UNSPECIFIED ? record.type : propType(tag);
    if (!answersFor(record.type, type)) {
      throwHResult(MAPI_E_NOT_FOUND, kSource.at("host::makeSPropValue"));
    }
    Builder builder(changePropType(tag, type));
    fill(builder, record, type);
    *out = builder.detach();
  });
}

}  // namespace nalvo::host
