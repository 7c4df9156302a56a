#include "properties/serializer.h"

#include <algorithm>
#include <iterator>

#include "diagnostics/hresult_exception.h"
#include "platform/mapi/property_types.h"
#include "properties/lexical.h"
#include "properties/mapi_alloc.h"

namespace nalvo::Serializer {
namespace {

constexpr SourceFile kSource{".\\Serializer"};

[[noreturn]] void invalidValue(int line = __builtin_LINE()) {
  throwHResult(E_INVALIDARG, kSource.at("Serializer::toString", line));
}

// Where the parts of a value that is read are allocated.
struct Blocks {
  const MapiAlloc& alloc;
  void* parent;

  template <typename T>
  T* array(std::size_t count) const {
    const std::uint64_t bytes = std::uint64_t{std::max<std::size_t>(count, 1)} * sizeof(T);
    if (bytes > UINT32_MAX) {
      throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("Serializer::fromString"));
    }
    void* block = nullptr;
    nalvo::detail::rawAlloc(alloc, static_cast<ULONG>(bytes), parent, &block);
    return static_cast<T*>(block);
  }

  template <typename Char>
  Char* text(const std::basic_string<Char>& source) const {
    auto* copy = array<Char>(source.size() + 1);
    std::copy_n(source.c_str(), source.size() + 1, copy);
    return copy;
  }
};

// How one element is written and read. Single values and the elements of multi-valued ones share these.
template <typename T>
struct Element;

#define NALVO_ELEMENT(type, put, get)                                                                \
  template <>                                                                                        \
  struct Element<type> {                                                                             \
    static void write(LexicalSynthesizer& out, type value) { put; }                                  \
    static void read(LexicalParser& in, [[maybe_unused]] const Blocks& blocks, type& value) { get; } \
  }

NALVO_ELEMENT(std::int16_t, out.putShort(static_cast<std::uint16_t>(value)),
              value = static_cast<std::int16_t>(in.getShort()));
NALVO_ELEMENT(std::int32_t, out.putLong(static_cast<std::uint32_t>(value)), value = static_cast<std::int32_t>(in.getLong()));
NALVO_ELEMENT(std::int64_t, out.putInt64(static_cast<std::uint64_t>(value)),
              value = static_cast<std::int64_t>(in.getInt64()));
NALVO_ELEMENT(std::uint16_t, out.putBool(value != 0), value = in.getBool() ? 1 : 0);  // a truth value
NALVO_ELEMENT(float, out.putDouble(value), value = static_cast<float>(in.getDouble()));
NALVO_ELEMENT(double, out.putDouble(value), value = in.getDouble());
NALVO_ELEMENT(FILETIME, out.putFileTime(value), value = in.getFileTime());
NALVO_ELEMENT(GUID, out.putGuid(value), value = in.getGuid());
NALVO_ELEMENT(SBinary, out.putBinary({reinterpret_cast<const char*>(value.lpb), value.cb}),
              value = in.getBinary(blocks.alloc, blocks.parent));

#undef NALVO_ELEMENT

void requirePointer(const void* pointer) {
  if (pointer == nullptr) {
    invalidValue();
  }
}

template <>
struct Element<char*> {
  static void write(LexicalSynthesizer& out, const char* value) { out.putString(value); }
  static void read(LexicalParser& in, const Blocks& blocks, char*& value) { value = blocks.text(in.getString()); }
};

template <>
struct Element<char16_t*> {
  static void write(LexicalSynthesizer& out, const char16_t* value) { out.putWideString(value); }
  static void read(LexicalParser& in, const Blocks& blocks, char16_t*& value) { value = blocks.text(in.getStringOld()); }
};

template <>
struct Element<GUID*> {
  static void write(LexicalSynthesizer& out, const GUID* value) { out.putGuid(*value); }
  static void read(LexicalParser& in, const Blocks& blocks, GUID*& value) {
    value = blocks.array<GUID>(1);
    *value = in.getGuid();
  }
};

// A wide text as other clients write it.
struct PlainUtf8 {
  static void read(LexicalParser& in, const Blocks& blocks, char16_t*& value) { value = blocks.text(in.getWideString()); }
};

template <typename T>
void write(LexicalSynthesizer& out, const T& value) {
  if constexpr (std::is_pointer_v<T>) {
    requirePointer(value);
  } else if constexpr (std::is_same_v<T, SBinary>) {
    if (value.cb != 0) {
      requirePointer(value.lpb);
    }
  }
  Element<T>::write(out, value);
}

using Write = void (*)(LexicalSynthesizer& out, const PropertyValue& value);
using Read = void (*)(LexicalParser& in, const Blocks& blocks, PropertyValue& value);

template <auto Member>
using MemberType = std::remove_reference_t<decltype(std::declval<PropertyValue&>().*Member)>;

template <auto Member>
void writeOne(LexicalSynthesizer& out, const PropertyValue& value) {
  write(out, value.*Member);
}

template <auto Member, typename Form = Element<MemberType<Member>>>
void readOne(LexicalParser& in, const Blocks& blocks, PropertyValue& value) {
  Form::read(in, blocks, value.*Member);
}

template <auto Array, auto Elements>
void writeMulti(LexicalSynthesizer& out, const PropertyValue& value) {
  const ULONG count = (value.*Array).cValues;
  auto* elements = (value.*Array).*Elements;
  requirePointer(elements);
  out.putLong(count);
  std::for_each_n(elements, count, [&out](const auto& element) { write(out, element); });
}

template <auto Array, auto Elements>
using ElementType = std::remove_pointer_t<std::remove_reference_t<decltype(std::declval<MemberType<Array>&>().*Elements)>>;

template <auto Array, auto Elements, typename Form = Element<ElementType<Array, Elements>>>
void readMulti(LexicalParser& in, const Blocks& blocks, PropertyValue& value) {
  using T = ElementType<Array, Elements>;
  const ULONG count = in.getLong();
  // The shortest element takes two characters.
  if (count > in.left() / 2) {
    throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("Serializer::fromString"));
  }
  T* elements = blocks.array<T>(count);
  (value.*Array).*Elements = elements;
  (value.*Array).cValues = count;
  std::for_each_n(elements, count, [&](T& element) { Form::read(in, blocks, element); });
}

struct TypeRow {
  ULONG type;
  std::string_view tag;
  Write write;  // null: only read
  Read read;
};

template <auto Member>
constexpr TypeRow one(ULONG type, std::string_view tag) {
  return {type, tag, writeOne<Member>, readOne<Member>};
}

template <auto Array, auto Elements>
constexpr TypeRow multi(ULONG type, std::string_view tag) {
  return {type, tag, writeMulti<Array, Elements>, readMulti<Array, Elements>};
}

using V = PropertyValue;

constexpr TypeRow kTypes[] = {
    one<&V::i>(PT_SHORT, "SHORT"),
    one<&V::l>(PT_LONG, "LONG"),
    one<&V::flt>(PT_FLOAT, "DOUBLE"),
    one<&V::dbl>(PT_DOUBLE, "DOUBLE"),
    one<&V::b>(PT_BOOLEAN, "BOOL"),
    one<&V::li>(PT_I8, "INT64"),
    one<&V::lpszA>(PT_STRING8, "STRINGA"),
    one<&V::lpszW>(PT_UNICODE, "STRINGW"),
    one<&V::ft>(PT_SYSTIME, "SYSTIME"),
    one<&V::lpguid>(PT_CLSID, "CLSID"),
    one<&V::bin>(PT_BINARY, "BIN"),
    multi<&V::MVi, &SShortArray::lpi>(PT_MV_SHORT, "MULTISHORT"),
    multi<&V::MVl, &SLongArray::lpl>(PT_MV_LONG, "MULTILONG"),
    multi<&V::MVflt, &SRealArray::lpflt>(PT_MV_FLOAT, "MULTIDOUBLE"),
    multi<&V::MVdbl, &SDoubleArray::lpdbl>(PT_MV_DOUBLE, "MULTIDOUBLE"),
    multi<&V::MVli, &SLargeIntegerArray::lpli>(PT_MV_I8, "MULTIINT64"),
    multi<&V::MVszA, &SLPSTRArray::lppszA>(PT_MV_STRING8, "MULTISTRINGA"),
    multi<&V::MVszW, &SWStringArray::lppszW>(PT_MV_UNICODE, "MULTISTRINGW"),
    multi<&V::MVft, &SDateTimeArray::lpft>(PT_MV_SYSTIME, "MULTISYSTIME"),
    multi<&V::MVguid, &SGuidArray::lpguid>(PT_MV_CLSID, "MULTICLSID"),
    multi<&V::MVbin, &SBinaryArray::lpbin>(PT_MV_BINARY, "MULTIBIN"),
    {PT_UNICODE, "UNICODE", nullptr, readOne<&V::lpszW, PlainUtf8>},
    {PT_MV_UNICODE, "MULTIUNICODE", nullptr, readMulti<&V::MVszW, &SWStringArray::lppszW, PlainUtf8>},
};

// The first row of a type, which is the one that writes. Types of money and variant times are known but have no text.
const TypeRow& rowOf(ULONG type, const char* function) {
  const auto* row = std::find_if(std::begin(kTypes), std::end(kTypes), [type](const TypeRow& r) { return r.type == type; });
  if (row == std::end(kTypes)) {
    const ULONG single = type & ~MV_FLAG;
    throwHResult(single == PT_CURRENCY || single == PT_APPTIME ? E_NOTIMPL : E_INVALIDARG, kSource.at(function));
  }
  return *row;
}

}  // namespace

std::string toString(const SPropValue* value) {
  if (value == nullptr) {
    invalidValue();
  }
  const TypeRow& row = rowOf(propType(value->ulPropTag), "Serializer::detail::toString::internalToStringError");
  LexicalSynthesizer out;
  out.putRaw(row.tag);
  row.write(out, value->Value);
  return out.take();
}

void fromString(std::string_view text, IMapiAllocator* allocator, SPropValue* value) {
  if (text.data() == nullptr || allocator == nullptr || value == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("Serializer::fromString"));
  }
  const ULONG type = propType(value->ulPropTag);
  (void)rowOf(type, "Serializer::detail::fromString::internalFromStringError");
  LexicalParser in(text);
  const std::string_view tag = in.nextToken();
  const auto* row =
      std::find_if(std::begin(kTypes), std::end(kTypes), [&](const TypeRow& r) { return r.type == type && r.tag == tag; });
  if (row == std::end(kTypes)) {
    throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("Serializer::detail::corruptedData"));
  }
  const MapiAlloc alloc = MapiAlloc::getAlloc(allocator);
  row->read(in, Blocks{alloc, value}, value->Value);
}

}  // namespace nalvo::Serializer
