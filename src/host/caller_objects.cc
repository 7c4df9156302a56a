#include "host/caller_objects.h"

#include <algorithm>
#include <cstring>

#include "diagnostics/boundary.h"
#include "host/host_allocator.h"
#include "host/property_value.h"
#include "platform/mapi/property_types.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\CallerObjects"};

char* taskText(const std::string& text) {
  auto* copy = static_cast<char*>(taskAlloc(text.size() + 1));
  if (copy == nullptr) {
    throw std::bad_alloc();
  }
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

char16_t* bufferText(const std::u16string& text) {
  void* block = nullptr;
  checkHResult(HostAllocator::allocate(static_cast<ULONG>((text.size() + 1) * sizeof(char16_t)), &block),
               kSource.at("host::bufferText"));
  std::copy_n(text.c_str(), text.size() + 1, static_cast<char16_t*>(block));
  return static_cast<char16_t*>(block);
}

std::string keyOf(ULONG bytes, const BYTE* entryId) { return {reinterpret_cast<const char*>(entryId), bytes}; }

class AnnotationEnum final : public IUnknownImpl<IEnumAnnotations>, private Counted {
 public:
  AnnotationEnum(HostContextPtr context, MemoryAnnotations::Entries entries)
      : Counted(std::move(context)), entries_(std::move(entries)) {}

  HRESULT nextAnnotation(char** name, char** value) noexcept override {
    const HRESULT hr = called("IEnumAnnotations::nextAnnotation");
    return failed(hr) ? hr : atBoundary([&] {
      *name = nullptr;
      *value = nullptr;
      if (next_ == entries_.size()) {
        return S_FALSE;
      }
      *name = taskText(entries_[next_].first);
      *value = taskText(entries_[next_].second);
      ++next_;
      return S_OK;
    });
  }

 private:
  MemoryAnnotations::Entries entries_;
  std::size_t next_ = 0;
};

class LogSettings final : public IUnknownImpl<ILogSettings>, private Counted {
 public:
  LogSettings(HostContextPtr context, std::int32_t level) : Counted(std::move(context)), level_(level) {}

  void reserved3() noexcept override {}
  void reserved4() noexcept override {}
  void reserved5() noexcept override {}
  HRESULT getLogLevels(std::int32_t* level, std::int32_t* second) noexcept override {
    *level = level_;
    *second = 0;
    return S_OK;
  }

 private:
  std::int32_t level_;
};

}  // namespace

HRESULT MemoryAnnotations::addAnnotation(const char* name, const char* value) noexcept {
  const HRESULT hr = called("IAnnotations::addAnnotation");
  return failed(hr) ? hr : atBoundary([&] { entries_.emplace_back(name, value); });
}

HRESULT MemoryAnnotations::enumAnnotations(IEnumAnnotations** out) noexcept {
  const HRESULT hr = called("IAnnotations::enumAnnotations");
  return failed(hr) ? hr : atBoundary([&] { *out = makeCom<AnnotationEnum>(context(), entries_).detach(); });
}

HRESULT MemoryFlags::isFlagSet(ULONG flag) noexcept {
  const HRESULT hr = called("IMimeFlags::isFlagSet");
  return failed(hr) ? hr : flags.contains(flag) ? S_OK : S_FALSE;
}

HRESULT MemoryFlags::setFlag(ULONG flag, BOOL value) noexcept {
  const HRESULT hr = called("IMimeFlags::setFlag");
  return failed(hr) ? hr : atBoundary([&] {
    if (value != 0) {
      flags.insert(flag);
    } else {
      flags.erase(flag);
    }
  });
}

HRESULT MemoryFlags::getInternalDate(SYSTEMTIME* out) noexcept {
  const HRESULT hr = called("IMimeFlags::getInternalDate");
  if (failed(hr) || !internalDate) {
    return failed(hr) ? hr : MAPI_E_NOT_FOUND;
  }
  *out = *internalDate;
  return S_OK;
}

HRESULT MemoryFlags::setInternalDate(const SYSTEMTIME* date) noexcept {
  const HRESULT hr = called("IMimeFlags::setInternalDate");
  if (succeeded(hr)) {
    internalDate = *date;
  }
  return hr;
}

HRESULT MemoryFlags::getModificationDate(SYSTEMTIME* out) noexcept {
  const HRESULT hr = called("IMimeFlags::getModificationDate");
  if (failed(hr) || !modificationDate) {
    return failed(hr) ? hr : MAPI_E_NOT_FOUND;
  }
  *out = *modificationDate;
  return S_OK;
}

HRESULT MemoryFlags::setMessageClass(const char16_t* name) noexcept {
  const HRESULT hr = called("IMimeFlags::setMessageClass");
  return failed(hr) ? hr : atBoundary([&] { messageClass = name; });
}

HRESULT MemoryFlags::isHidden() noexcept {
  const HRESULT hr = called("IMimeFlags::isHidden");
  return failed(hr) ? hr : hidden ? S_OK : S_FALSE;
}

HRESULT MemoryFlags::getMessageSize(ULONG* out) noexcept {
  const HRESULT hr = called("IMimeFlags::getMessageSize");
  if (failed(hr) || !messageSize) {
    return failed(hr) ? hr : MAPI_E_NOT_FOUND;
  }
  *out = *messageSize;
  return S_OK;
}

HRESULT MemoryFlags::hasAttachments() noexcept {
  const HRESULT hr = called("IMimeFlags::hasAttachments");
  if (failed(hr) || !attachments) {
    return failed(hr) ? hr : MAPI_E_NOT_FOUND;
  }
  return *attachments ? S_OK : S_FALSE;
}

HRESULT MemoryAddressBook::getEntryProp(ULONG entryIdBytes, const BYTE* entryId, ULONG tag, SPropValue** value) noexcept {
  const HRESULT hr = called("IAddressBook::getEntryProp");
  return failed(hr) ? hr : atBoundary([&] {
    *value = nullptr;
    const auto entry = entries.find(keyOf(entryIdBytes, entryId));
    if (entry == entries.end() || !entry->second.contains(tag)) {
      return MAPI_E_NOT_FOUND;
    }
    return makeSPropValue(PropertyRecord{propType(tag), entry->second.at(tag)}, tag, value);
  });
}

HRESULT MemoryAddressBook::getOwner(char16_t** name, ULONG, char16_t** address) noexcept {
  const HRESULT hr = called("IAddressBook::getOwner");
  return failed(hr) ? hr : atBoundary([&] {
    *name = nullptr;
    *address = nullptr;
    *name = bufferText(ownerName);
    try {
      *address = bufferText(ownerAddress);
    } catch (const HResultException&) {
      HostAllocator::free(std::exchange(*name, nullptr));
      throw;
    }
  });
}

HRESULT MemoryAddressBook::getFolderKind(ULONG entryIdBytes, const BYTE* entryId, ULONG* kind) noexcept {
  const HRESULT hr = called("IAddressBook::getFolderKind");
  return failed(hr) ? hr : atBoundary([&] {
    const auto folder = folderKinds.find(keyOf(entryIdBytes, entryId));
    *kind = folder == folderKinds.end() ? 0 : folder->second;
  });
}

HRESULT MemoryAddressBook::getFolderGuid(ULONG entryIdBytes, const BYTE* entryId, GUID* guid) noexcept {
  const HRESULT hr = called("IAddressBook::getFolderGuid");
  return failed(hr) ? hr : atBoundary([&] {
    const auto folder = folderGuids.find(keyOf(entryIdBytes, entryId));
    if (folder == folderGuids.end()) {
      return MAPI_E_NOT_FOUND;
    }
    *guid = folder->second;
    return S_OK;
  });
}

HRESULT MemoryLog::writeLog(ULONG level, ULONG category, const char16_t* text) noexcept {
  return atBoundary([&] { entries_.push_back({level, category, text}); });
}

HRESULT MemoryLog::getSettings(ILogSettings** out) noexcept {
  return atBoundary([&] { *out = makeCom<LogSettings>(context(), level_).detach(); });
}

}  // namespace nalvo::host
