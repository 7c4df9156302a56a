#include "properties/mapi_prop_utils.h"

#include "diagnostics/hresult_exception.h"
#include "platform/mapi/property_types.h"
#include "platform/text/text.h"
#include "platform/time/file_time.h"

namespace nalvo::MapiPropUtils {
namespace {

constexpr SourceFile kSource{".\\MapiPropUtils"};

void checkArguments(const IConvertObject* object, bool typeFits, const char* function) {
  if (object == nullptr || !typeFits) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
}

// Asks for one property and makes sure that the answer is of the type asked for.
MapiBuffer<SPropValue> read(IConvertObject* object, ULONG tag, IMapiAllocator* allocator, const char* function) {
  FreeBuffer freeBuffer = nullptr;
  checkHResult(detail::getAllocator(allocator, object)->getAllocators(nullptr, nullptr, &freeBuffer), kSource.at(function));
  if (freeBuffer == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
  MapiBuffer<SPropValue> value(freeBuffer);
  checkHResult(object->getProp(tag, value.put()), kSource.at(function));
  if (!value) {
    throwHResult(MAPI_E_NOT_FOUND, kSource.at(function));
  }
  const ULONG wanted = propType(tag);
  const ULONG type = propType(value->ulPropTag);
  if (type == PT_ERROR && wanted != PT_ERROR) {
    throwHResult(failed(value->Value.err) ? value->Value.err : MAPI_E_NOT_FOUND, kSource.at(function));
  }
  if (wanted != PT_UNSPECIFIED && type != wanted) {
    throwHResult(MAPI_E_UNEXPECTED_TYPE, kSource.at(function));
  }
  return value;
}

SPropValue valueOf(ULONG tag) {
  SPropValue value{};
  value.ulPropTag = tag;
  return value;
}

void write(IConvertObject* object, const SPropValue& value) { detail::setPropInternal(object->setProp(&value)); }

std::u16string withoutNulls(std::u16string_view text) {
  std::u16string result(text);
  std::erase(result, u'\0');
  return result;
}

bool isText(ULONG tag) { return propType(tag) == PT_STRING8 || propType(tag) == PT_UNICODE; }
bool isMultiText(ULONG tag) { return propType(tag) == PT_MV_STRING8 || propType(tag) == PT_MV_UNICODE; }

}  // namespace

std::uint32_t propULong(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiPropUtils::propULong";
  checkArguments(object, propType(tag) == PT_LONG, kWhere);
  return read(object, tag, allocator, kWhere)->Value.ul;
}

bool propBool(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiPropUtils::propBool";
  checkArguments(object, propType(tag) == PT_BOOLEAN, kWhere);
  return read(object, tag, allocator, kWhere)->Value.b != 0;
}

double propDouble(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiPropUtils::propDouble";
  checkArguments(object, propType(tag) == PT_DOUBLE, kWhere);
  return read(object, tag, allocator, kWhere)->Value.dbl;
}

SYSTEMTIME propSysTime(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiPropUtils::propSysTime";
  checkArguments(object, propType(tag) == PT_SYSTIME, kWhere);
  const std::optional<SYSTEMTIME> time = fileTimeToSystemTime(read(object, tag, allocator, kWhere)->Value.ft);
  if (!time) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  return *time;
}

std::string propBinary(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiPropUtils::propBinary";
  checkArguments(object, propType(tag) == PT_BINARY, kWhere);
  const MapiBuffer<SPropValue> value = read(object, tag, allocator, kWhere);
  const SBinary& bytes = value->Value.bin;
  return bytes.lpb == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(bytes.lpb), bytes.cb);
}

std::u16string propUnicodeT(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiPropUtils::propUnicodeT";
  checkArguments(object, isText(tag), kWhere);
  const MapiBuffer<SPropValue> value = read(object, changePropType(tag, PT_UNICODE), allocator, kWhere);
  return value->Value.lpszW == nullptr ? std::u16string() : std::u16string(value->Value.lpszW);
}

std::string propAnsi(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiPropUtils::propAnsi";
  checkArguments(object, isText(tag), kWhere);
  const MapiBuffer<SPropValue> value = read(object, changePropType(tag, PT_STRING8), allocator, kWhere);
  return value->Value.lpszA == nullptr ? std::string() : std::string(value->Value.lpszA);
}

std::vector<std::uint32_t> propMultiULong(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiPropUtils::propMultiULong";
  checkArguments(object, propType(tag) == PT_MV_LONG, kWhere);
  const MapiBuffer<SPropValue> value = read(object, tag, allocator, kWhere);
  const SLongArray& numbers = value->Value.MVl;
  return numbers.lpl == nullptr ? std::vector<std::uint32_t>()
                                : std::vector<std::uint32_t>(numbers.lpl, numbers.lpl + numbers.cValues);
}

std::vector<std::string> propMultiUtf8(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiPropUtils::propMultiUtf8";
  checkArguments(object, isMultiText(tag), kWhere);
  const MapiBuffer<SPropValue> value = read(object, changePropType(tag, PT_MV_UNICODE), allocator, kWhere);
  const SWStringArray& texts = value->Value.MVszW;
  std::vector<std::string> result;
  if (texts.lppszW != nullptr) {
    for (const char16_t* text : std::span(texts.lppszW, texts.cValues)) {
      result.push_back(text == nullptr ? std::string() : wideToUtf8(text));
    }
  }
  return result;
}

MapiBuffer<SPropValue> getProp(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiPropUtils::getProp";
  checkArguments(object, true, kWhere);
  return read(object, tag, allocator, kWhere);
}

void setULong(IConvertObject* object, ULONG tag, std::uint32_t number) {
  checkArguments(object, propType(tag) == PT_LONG, "MapiPropUtils::setULong");
  SPropValue value = valueOf(tag);
  value.Value.ul = number;
  write(object, value);
}

void setBool(IConvertObject* object, ULONG tag, bool truth) {
  checkArguments(object, propType(tag) == PT_BOOLEAN, "MapiPropUtils::setBool");
  SPropValue value = valueOf(tag);
  value.Value.b = truth ? 1 : 0;
  write(object, value);
}

void setDouble(IConvertObject* object, ULONG tag, double number) {
  checkArguments(object, propType(tag) == PT_DOUBLE, "MapiPropUtils::setDouble");
  SPropValue value = valueOf(tag);
  value.Value.dbl = number;
  write(object, value);
}

void setSysTime(IConvertObject* object, ULONG tag, const SYSTEMTIME& time) {
  constexpr const char* kWhere = "MapiPropUtils::setSysTime";
  checkArguments(object, propType(tag) == PT_SYSTIME, kWhere);
  const std::optional<FILETIME> fileTime = systemTimeToFileTime(time);
  if (!fileTime) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  SPropValue value = valueOf(tag);
  value.Value.ft = *fileTime;
  write(object, value);
}

void setBinary(IConvertObject* object, ULONG tag, const void* bytes, ULONG count) {
  checkArguments(object, propType(tag) == PT_BINARY, "MapiPropUtils::setBinary");
  SPropValue value = valueOf(tag);
  // The object reads during the call; the record has no const form.
  value.Value.bin = {count, static_cast<BYTE*>(const_cast<void*>(bytes))};
  write(object, value);
}

void setBinary(IConvertObject* object, ULONG tag, std::string_view bytes) {
  if (bytes.size() > UINT32_MAX) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("MapiPropUtils::setBinary"));
  }
  setBinary(object, tag, bytes.data(), static_cast<ULONG>(bytes.size()));
}

void setAnsiString(IConvertObject* object, ULONG tag, std::string_view text) {
  checkArguments(object, isText(tag), "MapiPropUtils::setAnsiString");
  std::string terminated(text);
  SPropValue value = valueOf(changePropType(tag, PT_STRING8));
  value.Value.lpszA = terminated.data();
  write(object, value);
}

void setUnicode(IConvertObject* object, ULONG tag, std::u16string_view text) {
  checkArguments(object, isText(tag), "MapiPropUtils::setUnicode");
  std::u16string terminated = withoutNulls(text);
  SPropValue value = valueOf(changePropType(tag, PT_UNICODE));
  value.Value.lpszW = terminated.data();
  write(object, value);
}

void setUnicodeIfNotEmpty(IConvertObject* object, ULONG tag, std::u16string_view text) {
  if (!text.empty()) {
    setUnicode(object, tag, text);
  }
}

void setUtf8(IConvertObject* object, ULONG tag, std::string_view text) {
  checkArguments(object, isText(tag), "MapiPropUtils::setUtf8");
  setUnicode(object, tag, utf8ToWideStrict(text).value_or(std::u16string()));
}

void setMultiLong(IConvertObject* object, ULONG tag, std::span<const std::uint32_t> values) {
  checkArguments(object, propType(tag) == PT_MV_LONG && !values.empty(), "MapiPropUtils::setMultiLong");
  std::vector<std::int32_t> numbers(values.begin(), values.end());
  SPropValue value = valueOf(tag);
  value.Value.MVl = {static_cast<ULONG>(numbers.size()), numbers.data()};
  write(object, value);
}

void setMultiBin(IConvertObject* object, ULONG tag, std::span<const std::string> values) {
  checkArguments(object, propType(tag) == PT_MV_BINARY && !values.empty(), "MapiPropUtils::setMultiBin");
  std::vector<SBinary> records;
  for (const std::string& bytes : values) {
    records.push_back({static_cast<ULONG>(bytes.size()), reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))});
  }
  SPropValue value = valueOf(tag);
  value.Value.MVbin = {static_cast<ULONG>(records.size()), records.data()};
  write(object, value);
}

void setMultiUnicode(IConvertObject* object, ULONG tag, std::span<const std::u16string> values) {
  checkArguments(object, isMultiText(tag) && !values.empty(), "MapiPropUtils::setMultiUnicode");
  std::vector<std::u16string> terminated;
  terminated.reserve(values.size());
  std::vector<char16_t*> texts;
  for (const std::u16string& text : values) {
    texts.push_back(terminated.emplace_back(withoutNulls(text)).data());
  }
  SPropValue value = valueOf(changePropType(tag, PT_MV_UNICODE));
  value.Value.MVszW = {static_cast<ULONG>(texts.size()), texts.data()};
  write(object, value);
}

bool propertyExists(IConvertObject* object, ULONG tag) {
  constexpr const char* kWhere = "MapiPropUtils::propertyExists";
  checkArguments(object, true, kWhere);
  const HRESULT hr = object->propExists(tag);
  checkHResult(hr, kSource.at(kWhere));
  return hr == S_OK;
}

HRESULT propCopyIfExist(IConvertObject* source, IConvertObject* destination, IMapiAllocator* allocator, ULONG tag) {
  constexpr const char* kWhere = "MapiPropUtils::propCopyIfExist";
  if (source == nullptr || destination == nullptr || allocator == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  if (!propertyExists(source, tag)) {
    return S_OK;
  }
  return destination->setProp(read(source, tag, allocator, kWhere).get());
}

void deletePropIfExist(IConvertObject* object, ULONG tag) {
  if (!propertyExists(object, tag)) {
    return;
  }
  const HRESULT hr = object->deleteProp(tag);
  if (hr != MAPI_E_NOT_FOUND) {
    checkHResult(hr, kSource.at("MapiPropUtils::deletePropIfExist"));
  }
}

ComPtr<IMapiAllocator> detail::getAllocator(IMapiAllocator* allocator, IConvertObject* object) {
  constexpr const char* kWhere = "MapiPropUtils::detail::getAllocator";
  if (allocator != nullptr) {
    return ComPtr<IMapiAllocator>::retain(allocator);
  }
  checkArguments(object, true, kWhere);
  ComPtr<IMapiAllocator> own;
  checkHResult(object->getAllocator(own.put()), kSource.at(kWhere));
  if (!own) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  return own;
}

void detail::setPropInternal(HRESULT hr) {
  if (hr != MAPI_E_COMPUTED) {
    checkHResult(hr, kSource.at("MapiPropUtils::detail::setPropInternal"));
  }
}

}  // namespace nalvo::MapiPropUtils
