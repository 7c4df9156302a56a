#include "host/property_bag.h"

#include <algorithm>
#include <cstring>

#include "diagnostics/boundary.h"
#include "host/host_allocator.h"
#include "host/property_stream.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"
#include "platform/text/text_converter.h"
#include "platform/time/file_time.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\PropertyBag"};

// Of a message: the SMTP addresses of the two originators.
constexpr ULONG kTagSenderSmtpAddress = propTag(PT_UNICODE, 0x5D01);
constexpr ULONG kTagSentRepresentingSmtpAddress = propTag(PT_UNICODE, 0x5D02);

// What belongs to an RTF text, which another text takes the place of.
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

struct AddressRow {
  ULONG type;
  ULONG address;
  ULONG smtp;
  bool isOriginator;
};
constexpr AddressRow kAddresses[] = {
    {PR_ADDRTYPE, PR_EMAIL_ADDRESS, PR_SMTP_ADDRESS, false},
    {PR_SENDER_ADDRTYPE, PR_SENDER_EMAIL_ADDRESS, kTagSenderSmtpAddress, true},
    {PR_SENT_REPRESENTING_ADDRTYPE, PR_SENT_REPRESENTING_EMAIL_ADDRESS, kTagSentRepresentingSmtpAddress, true},
};

bool isExchange(const PropertyRecord* type) {
  return type != nullptr && (type->type == PT_UNICODE || type->type == PT_STRING8) && equalsIgnoreCase(textOf(*type), u"EX");
}

const PropertyRecord& smtpType() {
  static const PropertyRecord kSmtp{PT_UNICODE, std::u16string(u"SMTP")};
  return kSmtp;
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
  const auto end = records_.upper_bound(tag | 0xFFFF);
  const auto record = std::find_if(records_.lower_bound(changePropType(tag, 0)), end,
                                   [tag](const auto& one) { return answersFor(one.second.type, propType(tag)); });
  return record == end ? nullptr : &record->second;
}

const PropertyRecord* PropertyBag::findListed(ULONG tag) const {
  const auto record = records_.find(tag);
  return record == records_.end() ? nullptr : &record->second;
}

std::optional<std::int32_t> PropertyBag::number(ULONG tag) const {
  const PropertyRecord* record = find(tag);
  const auto* number = record == nullptr ? nullptr : std::get_if<std::int32_t>(&record->content);
  return number == nullptr ? std::nullopt : std::optional(*number);
}

void PropertyBag::set(ULONG tag, PropertyRecord record) {
  if (idOf(tag) == idOf(PR_BODY) || idOf(tag) == idOf(PR_HTML)) {
    for (const ULONG rtf : kRtfTags) {
      erase(rtf);
    }
  }
  const ULONG listed = changePropType(tag, listedType(record.type));
  changed_.insert(listed);
  records_.erase(records_.lower_bound(changePropType(tag, 0)), records_.upper_bound(tag | 0xFFFF));
  records_.insert_or_assign(listed, std::move(record));
}

bool PropertyBag::load(ULONG tag, PropertyRecord record) {
  return records_.emplace(changePropType(tag, listedType(record.type)), std::move(record)).second;
}

bool PropertyBag::erase(ULONG tag) {
  const PropertyRecord* record = find(tag);
  if (record == nullptr) {
    return false;
  }
  changed_.insert(tag);
  return records_.erase(changePropType(tag, listedType(record->type))) != 0;
}

void PropertyBag::restore(ULONG tag, PropertyRecord record) {
  records_.insert_or_assign(changePropType(tag, listedType(record.type)), std::move(record));
}

std::optional<PropertyRecord> PropertyBag::take(ULONG tag) {
  auto node = records_.extract(tag);
  changed_.erase(tag);
  return node.empty() ? std::nullopt : std::optional(std::move(node.mapped()));
}

std::vector<ULONG> PropertyBag::tags() const {
  std::vector<ULONG> result;
  result.reserve(records_.size());
  for (const auto& [tag, record] : records_) {
    result.push_back(tag);
  }
  return result;
}

const PropertyRecord* PropertyBag::answer(ULONG tag) const {
  const PropertyRecord* record = find(tag);
  if (record == nullptr || hasOddTime(*record)) {
    return nullptr;
  }
  const auto row = std::find_if(std::begin(kAddresses), std::end(kAddresses), [tag](const AddressRow& one) {
    return idOf(one.type) == idOf(tag) || idOf(one.address) == idOf(tag);
  });
  const bool isText = record->type == PT_UNICODE || record->type == PT_STRING8;
  if (row == std::end(kAddresses) || !isText || !isExchange(find(row->type))) {
    return record;
  }
  const PropertyRecord* smtp = find(row->smtp);
  const bool known = smtp != nullptr && !textOf(*smtp).empty();
  if (idOf(tag) == idOf(row->type)) {
    return known ? &smtpType() : record;
  }
  return known ? smtp : row->isOriginator && propType(tag) == PT_STRING8 ? nullptr : record;
}

std::u16string PropertyBag::text(ULONG tag) const {
  const PropertyRecord* record = answer(tag);
  return record == nullptr ? std::u16string() : textOf(*record);
}

const PropertyRecord& PropertyBag::given(const PropertyRecord& record, ULONG tag, PropertyRecord& made) const {
  const auto page = static_cast<CodePage>(number(PR_INTERNET_CPID).value_or(0));
  if (tag != PR_BODY_HTML_A || record.type != PT_UNICODE || findCodePage(page) == nullptr) {
    return record;
  }
  made = {PT_STRING8, encodeText(textOf(record), page)};
  return made;
}

HRESULT PropertyBag::getProp(ULONG tag, SPropValue** value) const noexcept {
  if (value == nullptr) {
    return E_INVALIDARG;
  }
  *value = nullptr;
  return atBoundary([&] {
    const PropertyRecord* record = answer(tag);
    PropertyRecord made;
    return record == nullptr ? MAPI_E_NOT_FOUND : makeSPropValue(given(*record, tag, made), tag, value);
  });
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

HRESULT PropertyBag::propExists(ULONG tag) const noexcept {
  return atBoundary([&] { return answer(tag) != nullptr ? S_OK : S_FALSE; });
}

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

HRESULT PropertyBag::list(Listing listing, ULONG* count, ULONG** out) const noexcept {
  return atBoundary([&] {
    std::vector<ULONG> listed;
    for (const auto& [tag, record] : records_) {
      if ((listing == Listing::All || hasTextForm(record.type)) && !hasOddTime(record)) {
        listed.push_back(tag);
      }
    }
    return giveTags(listed, count, out);
  });
}

HRESULT PropertyBag::listChanged(Listing listing, ULONG* count, ULONG** out) const noexcept {
  return atBoundary([&] {
    std::vector<ULONG> listed;
    std::copy_if(changed_.begin(), changed_.end(), std::back_inserter(listed),
                 [listing](ULONG tag) { return listing == Listing::All || hasTextForm(propType(tag)); });
    return giveTags(listed, count, out);
  });
}

HRESULT PropertyBag::openStream(ULONG tag, bool create, const std::shared_ptr<PropertyBag>& self, IUnknown** out) noexcept {
  return atBoundary([&] {
    ComPtr<IStream> inner;
    if (!create) {
      const PropertyRecord* record = answer(tag);
      if (record == nullptr) {
        return MAPI_E_NOT_FOUND;
      }
      PropertyRecord made;
      checkHResult(openRecord(given(*record, tag, made), propType(tag), inner.put()), kSource.at("PropertyBag::openStream"));
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
