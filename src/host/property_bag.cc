#include "host/property_bag.h"

#include <algorithm>
#include <cstring>

#include "diagnostics/boundary.h"
#include "host/host_allocator.h"
#include "host/property_stream.h"
#include "platform/mapi/property_types.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\PropertyBag"};

constexpr std::uint16_t kFirstNamed = 0x8000;
constexpr std::uint16_t kLastNamed = 0xAEFF;

std::uint16_t idOf(ULONG tag) { return static_cast<std::uint16_t>(propId(tag)); }

// How a type is listed: narrow texts as wide ones.
constexpr ULONG listedType(ULONG type) {
  return type == PT_STRING8 ? PT_UNICODE : type == PT_MV_STRING8 ? PT_MV_UNICODE : type;
}

std::string keyOf(const PropertyName& name) {
  std::string key(reinterpret_cast<const char*>(&name.set), sizeof name.set);
  key += name.kind == MNID_ID ? 'i' : 's';
  if (name.kind == MNID_ID) {
    key.append(reinterpret_cast<const char*>(&name.id), sizeof name.id);
  } else {
    key.append(reinterpret_cast<const char*>(name.name.data()), name.name.size() * sizeof(char16_t));
  }
  return key;
}

HRESULT giveTags(const std::vector<ULONG>& tags, ULONG* count, ULONG** out) {
  void* block = nullptr;
  checkHResult(HostAllocator::allocate(static_cast<ULONG>(tags.size() * sizeof(ULONG)), &block),
               kSource.at("host::giveTags"));
  std::copy(tags.begin(), tags.end(), static_cast<ULONG*>(block));
  *out = static_cast<ULONG*>(block);
  *count = static_cast<ULONG>(tags.size());
  return S_OK;
}

}  // namespace

std::uint16_t NameMap::idOf(const PropertyName& name, bool create) {
  const std::string key = keyOf(name);
  if (const auto known = ids_.find(key); known != ids_.end()) {
    return known->second;
  }
  const std::size_t next = kFirstNamed + names_.size();
  if (!create || next > kLastNamed) {
    return 0;
  }
  names_.push_back(name);
  return ids_.emplace(key, static_cast<std::uint16_t>(next)).first->second;
}

const PropertyName* NameMap::nameOf(std::uint16_t id) const {
  const std::size_t index = static_cast<std::size_t>(id) - kFirstNamed;
  return id >= kFirstNamed && index < names_.size() ? &names_[index] : nullptr;
}

const PropertyRecord* PropertyBag::find(ULONG tag) const {
  const auto record = records_.find(idOf(tag));
  return record != records_.end() && answersFor(record->second.type, propType(tag)) ? &record->second : nullptr;
}

void PropertyBag::set(ULONG tag, PropertyRecord record) {
  changed_.insert(changePropType(tag, listedType(record.type)));
  records_.insert_or_assign(idOf(tag), std::move(record));
}

bool PropertyBag::erase(ULONG tag) {
  if (find(tag) == nullptr) {
    return false;
  }
  changed_.insert(tag);
  return records_.erase(idOf(tag)) != 0;
}

std::vector<ULONG> PropertyBag::tags() const {
  std::vector<ULONG> result;
  for (const auto& [id, record] : records_) {
    result.push_back(propTag(listedType(record.type), id));
  }
  return result;
}

HRESULT PropertyBag::getProp(ULONG tag, SPropValue** value) const noexcept {
  if (value == nullptr) {
    return E_INVALIDARG;
  }
  *value = nullptr;
  const PropertyRecord* record = find(tag);
  return record == nullptr ? MAPI_E_NOT_FOUND : makeSPropValue(*record, tag, value);
}

HRESULT PropertyBag::setProp(const SPropValue* value) noexcept {
  return atBoundary([&] {
    std::optional<PropertyRecord> record = value == nullptr ? std::nullopt : recordOf(*value);
    if (!record) {
      return E_INVALIDARG;
    }
    set(value->ulPropTag, std::move(*record));
    return S_OK;
  });
}

HRESULT PropertyBag::deleteProp(ULONG tag) noexcept {
  return atBoundary([&] { return erase(tag) ? S_OK : MAPI_E_NOT_FOUND; });
}

HRESULT PropertyBag::propExists(ULONG tag) const noexcept { return find(tag) != nullptr ? S_OK : S_FALSE; }

HRESULT PropertyBag::getNamesFromIds(ULONG tag, MAPINAMEID** out) const noexcept {
  return atBoundary([&] {
    if (out == nullptr) {
      return E_INVALIDARG;
    }
    *out = nullptr;
    const PropertyName* name = names_->nameOf(idOf(tag));
    if (name == nullptr) {
      return MAPI_E_NOT_FOUND;
    }
    const std::size_t textBytes = (name->name.size() + 1) * sizeof(char16_t);
    void* block = nullptr;
    checkHResult(HostAllocator::allocate(static_cast<ULONG>(sizeof(MAPINAMEID) + sizeof(GUID) + textBytes), &block),
                 kSource.at("PropertyBag::getNamesFromIds"));
    auto* record = static_cast<MAPINAMEID*>(block);
    record->lpguid = reinterpret_cast<GUID*>(record + 1);
    *record->lpguid = name->set;
    record->ulKind = name->kind;
    if (name->kind == MNID_ID) {
      record->Kind.lID = name->id;
    } else {
      record->Kind.lpwstrName = reinterpret_cast<char16_t*>(record->lpguid + 1);
      std::memcpy(record->Kind.lpwstrName, name->name.c_str(), textBytes);
    }
    *out = record;
    return S_OK;
  });
}

HRESULT PropertyBag::getIdsFromNames(const MAPINAMEID* name, BOOL create, ULONG* tag) noexcept {
  return atBoundary([&] {
    if (name == nullptr || name->lpguid == nullptr || tag == nullptr ||
        (name->ulKind == MNID_STRING && name->Kind.lpwstrName == nullptr)) {
      return E_INVALIDARG;
    }
    PropertyName wanted{*name->lpguid, name->ulKind, 0, {}};
    if (name->ulKind == MNID_ID) {
      wanted.id = name->Kind.lID;
    } else {
      wanted.name = name->Kind.lpwstrName;
    }
    const std::uint16_t id = names_->idOf(wanted, create != 0);
    *tag = propTag(id == 0 ? PT_ERROR : PT_UNSPECIFIED, id);
    return S_OK;
  });
}

HRESULT PropertyBag::list(ULONG* count, ULONG** out) const noexcept {
  return atBoundary([&] { return giveTags(tags(), count, out); });
}

HRESULT PropertyBag::listChanged(ULONG* count, ULONG** out) const noexcept {
  return atBoundary([&] { return giveTags({changed_.begin(), changed_.end()}, count, out); });
}

HRESULT PropertyBag::openStream(ULONG tag, bool create, const std::shared_ptr<PropertyBag>& self, IUnknown** out) noexcept {
  return atBoundary([&] {
    ComPtr<IStream> inner;
    if (!create) {
      const PropertyRecord* record = find(tag);
      if (record == nullptr) {
        return MAPI_E_NOT_FOUND;
      }
      checkHResult(openRecord(*record, propType(tag), inner.put()), kSource.at("PropertyBag::openStream"));
      *out = makeCom<PropertyStream>(context_, std::move(inner), nullptr).detach();
      return S_OK;
    }
    streamUtils::createStream(inner.put());
    const auto keep = [weak = std::weak_ptr(self), tag, content = inner]() -> HRESULT {
      const std::shared_ptr<PropertyBag> bag = weak.lock();
      return bag == nullptr ? E_UNEXPECTED : atBoundary([&] { bag->set(tag, PropertyRecord{propType(tag), content}); });
    };
    *out = makeCom<PropertyStream>(context_, std::move(inner), keep).detach();
    return S_OK;
  });
}

}  // namespace nalvo::host
