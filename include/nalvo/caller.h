// A start for who implements the interfaces of nalvo/interfaces.h: counting, memory of values, names.
//
// Nothing here is needed by the library; it knows only the interfaces. nalvo/caller_objects.h builds on this.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "nalvo/com.h"
#include "nalvo/hresult.h"
#include "nalvo/interfaces.h"
#include "nalvo/mapi.h"
#include "nalvo/property_types.h"

namespace nalvo::caller {

// Counts references from 1 and offers `Interface`.
template <typename Interface>
class Object : public Interface {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  HRESULT QueryInterface(const IID& iid, void** out) noexcept override {
    if (out == nullptr) {
      return E_POINTER;
    }
    const bool offered = iid == IUnknown::kIid || iid == Interface::kIid;
    *out = offered ? static_cast<Interface*>(this) : nullptr;
    if (offered) {
      AddRef();
    }
    return offered ? S_OK : E_NOINTERFACE;
  }
  ULONG AddRef() noexcept override { return ++count_; }
  ULONG Release() noexcept override {
    const ULONG left = --count_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

 protected:
  virtual ~Object() = default;

 private:
  std::atomic<ULONG> count_{1};
};

// Holds one reference.
template <typename T>
class Ref {
 public:
  Ref() = default;
  // Takes over the reference of a new object.
  explicit Ref(T* object) : object_(object) {}
  Ref(const Ref& other) : object_(other.object_) {
    if (object_ != nullptr) {
      object_->AddRef();
    }
  }
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_ != nullptr) {
      object_->Release();
    }
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  // For an out argument; what was held is released.
  T** put() {
    *this = Ref();
    return &object_;
  }
  // With a reference for who receives it.
  T* share() const {
    object_->AddRef();
    return object_;
  }

 private:
  T* object_ = nullptr;
};

// Runs what may throw inside an operation that must not.
template <typename Action>
HRESULT guarded(const Action& action) noexcept {
  try {
    return action();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_FAIL;
  }
}

// Memory of values: blocks that hang on a first one and die with it.
class Allocator final : public Object<IMapiAllocator> {
 public:
  static HRESULT allocate(ULONG bytes, void** out) noexcept {
    auto* block = static_cast<Block*>(std::malloc(sizeof(Block) + bytes));
    *out = block == nullptr ? nullptr : block + 1;
    if (block != nullptr) {
      block->next = nullptr;
    }
    return block == nullptr ? E_OUTOFMEMORY : S_OK;
  }
  static HRESULT allocateMore(ULONG bytes, void* parent, void** out) noexcept {
    const HRESULT hr = allocate(bytes, out);
    if (hr == S_OK) {
      Block* first = static_cast<Block*>(parent) - 1;
      static_cast<Block*>(*out)[-1].next = first->next;
      first->next = static_cast<Block*>(*out) - 1;
    }
    return hr;
  }
  static ULONG free(void* memory) noexcept {
    for (Block* block = memory == nullptr ? nullptr : static_cast<Block*>(memory) - 1; block != nullptr;) {
      std::free(std::exchange(block, block->next));
    }
    return 0;
  }

  void reserved3() noexcept override {}
  void reserved4() noexcept override {}
  void reserved5() noexcept override {}
  HRESULT getAllocators(AllocateBuffer* allocateBuffer, AllocateMore* allocateMore,
                        FreeBuffer* freeBuffer) noexcept override {
    if (allocateBuffer != nullptr) {
      *allocateBuffer = &Allocator::allocate;
    }
    if (allocateMore != nullptr) {
      *allocateMore = &Allocator::allocateMore;
    }
    if (freeBuffer != nullptr) {
      *freeBuffer = &Allocator::free;
    }
    return S_OK;
  }

 private:
  struct alignas(std::max_align_t) Block {
    Block* next;
  };
};

namespace detail {

// Copies `count` records into a block that hangs on `parent`.
template <typename T>
HRESULT copyRecords(const T* from, std::size_t count, void* parent, T** to) noexcept {
  void* memory = nullptr;
  if (count > (UINT32_MAX - sizeof(T)) / sizeof(T)) {
    return MAPI_E_TOO_BIG;
  }
  const HRESULT hr = Allocator::allocateMore(static_cast<ULONG>(count * sizeof(T)), parent, &memory);
  if (hr == S_OK && count != 0) {
    std::memcpy(memory, from, count * sizeof(T));
  }
  *to = static_cast<T*>(memory);
  return hr;
}

template <typename Char>
HRESULT copyText(const Char* from, void* parent, Char** to) noexcept {
  return copyRecords(from, from == nullptr ? 0 : std::char_traits<Char>::length(from) + 1, parent, to);
}

// Makes the records of a copied array the copy's own.
template <typename T, typename Copy>
HRESULT copyEach(T*& records, ULONG count, void* parent, const Copy& copy) noexcept {
  HRESULT hr = copyRecords(records, count, parent, &records);
  for (ULONG i = 0; hr == S_OK && i < count; ++i) {
    hr = copy(records[i]);
  }
  return hr;
}

// `value` is a plain copy of the original, whose pointers are replaced by blocks that hang on `parent`.
inline HRESULT own(SPropValue& value, void* parent) noexcept {
  PropertyValue& v = value.Value;
  const auto text = [parent](auto*& one) { return copyText(one, parent, &one); };
  const auto bytes = [parent](SBinary& one) { return copyRecords(one.lpb, one.cb, parent, &one.lpb); };
  const auto same = [](auto&) { return S_OK; };
  switch (propType(value.ulPropTag)) {
    case PT_STRING8:
      return text(v.lpszA);
    case PT_UNICODE:
      return text(v.lpszW);
    case PT_BINARY:
      return bytes(v.bin);
    case PT_CLSID:
      return copyRecords(v.lpguid, 1, parent, &v.lpguid);
    case PT_MV_SHORT:
      return copyEach(v.MVi.lpi, v.MVi.cValues, parent, same);
    case PT_MV_LONG:
      return copyEach(v.MVl.lpl, v.MVl.cValues, parent, same);
    case PT_MV_FLOAT:
      return copyEach(v.MVflt.lpflt, v.MVflt.cValues, parent, same);
    case PT_MV_DOUBLE:
    case PT_MV_APPTIME:
      return copyEach(v.MVdbl.lpdbl, v.MVdbl.cValues, parent, same);
    case PT_MV_CURRENCY:
    case PT_MV_I8:
      return copyEach(v.MVli.lpli, v.MVli.cValues, parent, same);
    case PT_MV_SYSTIME:
      return copyEach(v.MVft.lpft, v.MVft.cValues, parent, same);
    case PT_MV_CLSID:
      return copyEach(v.MVguid.lpguid, v.MVguid.cValues, parent, same);
    case PT_MV_STRING8:
      return copyEach(v.MVszA.lppszA, v.MVszA.cValues, parent, text);
    case PT_MV_UNICODE:
      return copyEach(v.MVszW.lppszW, v.MVszW.cValues, parent, text);
    case PT_MV_BINARY:
      return copyEach(v.MVbin.lpbin, v.MVbin.cValues, parent, bytes);
    default:
      return S_OK;
  }
}

}  // namespace detail

// A copy that Allocator::free frees in one go.
inline HRESULT copyValue(const SPropValue& from, SPropValue** out) noexcept {
  void* memory = nullptr;
  *out = nullptr;
  HRESULT hr = Allocator::allocate(sizeof(SPropValue), &memory);
  if (hr != S_OK) {
    return hr;
  }
  auto* copy = static_cast<SPropValue*>(memory);
  *copy = from;
  hr = detail::own(*copy, copy);
  if (hr != S_OK) {
    Allocator::free(copy);
    return hr;
  }
  *out = copy;
  return S_OK;
}

// A value with memory of its own.
class Value {
 public:
  // Throws std::bad_alloc.
  explicit Value(const SPropValue& from) {
    SPropValue* copy = nullptr;
    if (copyValue(from, &copy) != S_OK) {
      throw std::bad_alloc();
    }
    value_.reset(copy, &Allocator::free);
  }
  // A PT_UNICODE text.
  Value(ULONG tag, const std::u16string& text)
      : Value(record(tag, [&](SPropValue& v) { v.Value.lpszW = mutableText(text); })) {}
  // PT_BINARY bytes, or a PT_STRING8 text.
  Value(ULONG tag, const std::string& bytes)
      : Value(record(tag, [&](SPropValue& v) {
          if (propType(tag) == PT_STRING8) {
            v.Value.lpszA = const_cast<char*>(bytes.c_str());
          } else {
            v.Value.bin = {static_cast<ULONG>(bytes.size()), reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))};
          }
        })) {}

  const SPropValue& operator*() const { return *value_; }
  const SPropValue* operator->() const { return value_.get(); }

 private:
  template <typename Fill>
  static SPropValue record(ULONG tag, const Fill& fill) {
    SPropValue value{};
    value.ulPropTag = tag;
    fill(value);
    return value;
  }
  static char16_t* mutableText(const std::u16string& text) { return const_cast<char16_t*>(text.c_str()); }

  std::shared_ptr<SPropValue> value_;
};

// The names of named properties of one store, each with an id from 0x8000 up. Safe for use by several threads.
class Names {
 public:
  // 0 when the name has none and `create` is false, or when all are taken.
  ULONG idOf(const MAPINAMEID& name, bool create) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (std::size_t i = 0; i < names_.size(); ++i) {
      if (names_[i].is(name)) {
        return kFirstNamedId + static_cast<ULONG>(i);
      }
    }
    if (!create || names_.size() >= 0xFFFE - kFirstNamedId) {
      return 0;
    }
    names_.emplace_back(name);
    return kFirstNamedId + static_cast<ULONG>(names_.size()) - 1;
  }

  // One block, with the set and the text inside it.
  HRESULT copyName(ULONG id, MAPINAMEID** out) const noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    *out = nullptr;
    if (id < kFirstNamedId || id - kFirstNamedId >= names_.size()) {
      return MAPI_E_NOT_FOUND;
    }
    const Name& name = names_[id - kFirstNamedId];
    void* memory = nullptr;
    HRESULT hr = Allocator::allocate(sizeof(MAPINAMEID), &memory);
    if (hr != S_OK) {
      return hr;
    }
    auto* copy = static_cast<MAPINAMEID*>(memory);
    copy->ulKind = name.kind;
    copy->Kind.lID = name.number;
    hr = detail::copyRecords(&name.set, 1, copy, &copy->lpguid);
    if (hr == S_OK && name.kind == MNID_STRING) {
      hr = detail::copyText(name.text.c_str(), copy, &copy->Kind.lpwstrName);
    }
    if (hr != S_OK) {
      Allocator::free(copy);
      return hr;
    }
    *out = copy;
    return S_OK;
  }

 private:
  struct Name {
    explicit Name(const MAPINAMEID& from)
        : set(*from.lpguid),
          kind(from.ulKind),
          number(from.ulKind == MNID_ID ? from.Kind.lID : 0),
          text(from.ulKind == MNID_STRING ? from.Kind.lpwstrName : u"") {}
    bool is(const MAPINAMEID& other) const {
      return kind == other.ulKind && set == *other.lpguid &&
             (kind == MNID_ID ? number == other.Kind.lID : text == other.Kind.lpwstrName);
    }
    GUID set;
    ULONG kind;
    std::int32_t number;
    std::u16string text;
  };

  mutable std::mutex mutex_;
  std::vector<Name> names_;
};

}  // namespace nalvo::caller
