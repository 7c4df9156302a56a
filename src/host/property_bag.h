// The properties of one object, and the names of named ones.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "host/host_context.h"
#include "host/property_value.h"
#include "platform/mapi/tags.h"

namespace nalvo::host {

// The name of a named property.
struct PropertyName {
  GUID set;
  ULONG kind;  // MNID_ID or MNID_STRING
  std::int32_t id;
  std::u16string name;
};

// Gives names their identifiers, from 0x8000 up to 0xAEFF in the order in which they are asked for. One map serves all
// objects of one file or store.
class NameMap {
 public:
  // 0 when it is unknown and `create` is false, or when no identifier is left.
  std::uint16_t idOf(const PropertyName& name, bool create);
  const PropertyName* nameOf(std::uint16_t id) const;

 private:
  std::vector<PropertyName> names_;
  std::map<std::string, std::uint16_t> ids_;
};
using NameMapPtr = std::shared_ptr<NameMap>;

// Rich text and what tells whether it still belongs to the plain text.
inline constexpr ULONG kRtfTags[] = {
    PR_RTF_COMPRESSED,    PR_RTF_IN_SYNC,           PR_RTF_SYNC_BODY_CRC,       PR_RTF_SYNC_BODY_COUNT,
    PR_RTF_SYNC_BODY_TAG, PR_RTF_SYNC_PREFIX_COUNT, PR_RTF_SYNC_TRAILING_COUNT,
};

// An object keeps one value for an identifier, whatever its type; a file may bring several, of different types, which stay
// until the identifier is set. Texts are listed and answered as wide ones, also asked for narrow; the stored width is kept.
//
// The operations of IConvertObject don't show all that find and tags do. Types without a text form are not listed, since one
// of them would end the conversion of the whole message. A time that SYSTEMTIME can't hold counts as absent. An address of
// type EX is answered as the SMTP address that the object has beside it; where it has none, the narrow address of an
// originator is absent, so that no mail shows a directory path.
class PropertyBag {
 public:
  PropertyBag(HostContextPtr context, NameMapPtr names) : context_(std::move(context)), names_(std::move(names)) {}

  const PropertyRecord* find(ULONG tag) const;
  // The record that is listed under this very tag; find answers for other types of a text, and any for PT_UNSPECIFIED.
  const PropertyRecord* findListed(ULONG tag) const;
  // The number of 32 bits that find answers; no value for another type.
  std::optional<std::int32_t> number(ULONG tag) const;
  // Setting the text or the HTML of a message removes its RTF, which would win over it.
  void set(ULONG tag, PropertyRecord record);
  // Takes in what a file holds, which is no change. False, and nothing done, if the same property is there already.
  bool load(ULONG tag, PropertyRecord record);
  // Tells whether there was one.
  bool erase(ULONG tag);
  // Sets one type of an identifier, as it is listed, and leaves the others; no change.
  void restore(ULONG tag, PropertyRecord record);
  // Removes what `restore` sets, which is no change either; no value if it was not there.
  std::optional<PropertyRecord> take(ULONG tag);
  // In ascending order of identifiers.
  std::vector<ULONG> tags() const;
  void clearChanges() { changed_.clear(); }
  NameMap& names() const { return *names_; }
  const NameMapPtr& nameMap() const { return names_; }
  // What the operations of IConvertObject answer for a tag: null, the record of find, or one that stands for it.
  const PropertyRecord* answer(ULONG tag) const;
  // The text of that; empty if there is none.
  std::u16string text(ULONG tag) const;

  // The operations of IConvertObject.
  HRESULT getProp(ULONG tag, SPropValue** value) const noexcept;
  HRESULT setProp(const SPropValue* value) noexcept;
  HRESULT deleteProp(ULONG tag) noexcept;
  HRESULT propExists(ULONG tag) const noexcept;
  HRESULT getNamesFromIds(ULONG tag, MAPINAMEID** name) const noexcept;
  HRESULT getIdsFromNames(const MAPINAMEID* name, BOOL create, ULONG* tag) noexcept;
  enum class Listing { All, WithTextForm };
  HRESULT list(Listing listing, ULONG* count, ULONG** tags) const noexcept;
  HRESULT listChanged(Listing listing, ULONG* count, ULONG** tags) const noexcept;
  // What is written to a stream made with `create` becomes the value at its Commit, if the bag, which `self` shares, still
  // lives then.
  HRESULT openStream(ULONG tag, bool create, const std::shared_ptr<PropertyBag>& self, IUnknown** out) noexcept;

 private:
  // The record as it is to be given out under `tag`: `record` itself, or one in `made`.
  const PropertyRecord& given(const PropertyRecord& record, ULONG tag, PropertyRecord& made) const;

  HostContextPtr context_;
  NameMapPtr names_;
  std::map<ULONG, PropertyRecord> records_;  // by tag, texts as wide ones
  std::set<ULONG> changed_;
};

}  // namespace nalvo::host
