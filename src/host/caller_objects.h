// The rest of what a caller hands in: annotations, IMAP flags, an address book, a log.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/host_context.h"
#include "host/property_value.h"
#include "nalvo/interfaces.h"
#include "platform/com/unknown_impl.h"

namespace nalvo::host {

class MemoryAnnotations final : public IUnknownImpl<IAnnotations>, private Counted {
 public:
  using Entries = std::vector<std::pair<std::string, std::string>>;

  explicit MemoryAnnotations(HostContextPtr context, Entries entries = {})
      : Counted(std::move(context)), entries_(std::move(entries)) {}

  const Entries& entries() const { return entries_; }
  void clear() { entries_.clear(); }
  HRESULT addAnnotation(const char* name, const char* value) noexcept override;
  HRESULT enumAnnotations(IEnumAnnotations** out) noexcept override;

 private:
  Entries entries_;
};

class MemoryFlags final : public IUnknownImpl<IMimeFlags>, private Counted {
 public:
  explicit MemoryFlags(HostContextPtr context) : Counted(std::move(context)) {}

  std::set<ULONG> flags;  // those that are set
  // UTC. A date that is not there answers MAPI_E_NOT_FOUND.
  std::optional<SYSTEMTIME> internalDate;
  std::optional<SYSTEMTIME> modificationDate;
  std::u16string messageClass;
  bool hidden = false;
  std::optional<ULONG> messageSize;
  std::optional<bool> attachments;

  HRESULT isFlagSet(ULONG flag) noexcept override;
  HRESULT setFlag(ULONG flag, BOOL value) noexcept override;
  HRESULT getInternalDate(SYSTEMTIME* out) noexcept override;
  HRESULT setInternalDate(const SYSTEMTIME* date) noexcept override;
  HRESULT getModificationDate(SYSTEMTIME* out) noexcept override;
  void reserved8() noexcept override {}
  HRESULT setMessageClass(const char16_t* messageClass) noexcept override;
  void reserved10() noexcept override {}
  void reserved11() noexcept override {}
  HRESULT isHidden() noexcept override;
  HRESULT getMessageSize(ULONG* out) noexcept override;
  void reserved14() noexcept override {}
  void reserved15() noexcept override {}
  HRESULT hasAttachments() noexcept override;
};

class MemoryAddressBook final : public IUnknownImpl<IAddressBook>, private Counted {
 public:
  explicit MemoryAddressBook(HostContextPtr context) : Counted(std::move(context)) {}

  // Properties of the entries, by entry id and tag.
  std::map<std::string, std::map<ULONG, PropertyContent>> entries;
  std::u16string ownerName;
  std::u16string ownerAddress;
  // 1 for a folder whose private items are hidden.
  std::map<std::string, ULONG> folderKinds;
  std::map<std::string, GUID> folderGuids;

  HRESULT getEntryProp(ULONG entryIdBytes, const BYTE* entryId, ULONG tag, SPropValue** value) noexcept override;
  HRESULT getOwner(char16_t** name, ULONG flags, char16_t** address) noexcept override;
  HRESULT getFolderKind(ULONG entryIdBytes, const BYTE* entryId, ULONG* kind) noexcept override;
  HRESULT getFolderGuid(ULONG entryIdBytes, const BYTE* entryId, GUID* guid) noexcept override;
};

class MemoryLog final : public IUnknownImpl<ILog>, private Counted {
 public:
  struct Entry {
    ULONG level;
    ULONG category;
    std::u16string text;
  };

  explicit MemoryLog(HostContextPtr context, std::int32_t level = 2) : Counted(std::move(context)), level_(level) {}

  const std::vector<Entry>& entries() const { return entries_; }
  HRESULT writeLog(ULONG level, ULONG category, const char16_t* text) noexcept override;
  HRESULT getSettings(ILogSettings** out) noexcept override;

 private:
  std::int32_t level_;
  std::vector<Entry> entries_;
};

}  // namespace nalvo::host
