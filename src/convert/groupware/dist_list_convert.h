// Distribution lists.
//
// A member is a pair of entry ids on the MAPI side: a one-off one with its name and address, and the one that identifies
// it, which is the same or points to an object of the caller's store. On the card it is a plain address, a reference to an
// object by its GUID, or an entry id as it is.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "convert/groupware/groupware_convert.h"
#include "mail/v_card.h"

namespace nalvo {

namespace toMime {

class DistListConvert : public GroupwareBaseConvert<DistListConvert, mail::VDistList> {
 public:
  static constexpr GroupwareBody kBody = kDistListBody;

  explicit DistListConvert(ConvertorDataMessage* data) : GroupwareBaseConvert(data) {}

  static std::span<const PropertyRow<DistListConvert>> rows();

 private:
  // Each member of both lists, side by side. One that the second list lacks is identified by its one-off entry.
  void storeMembers();
  // A member with an empty one-off entry has no name; one that can't be read leaves its member out.
  void addDistListItem(std::string_view oneOff, std::string_view member);
  // Makes `item` a reference to the object that `member` wraps. False if nobody can tell which that is.
  bool setReference(mail::DistItem& item, std::string_view member);
  std::vector<std::string> getMultiBinary(ULONG tag) const;

  void onOneOffMembers(ULONG tag);
  void onMembers(ULONG tag);
  void onFileUnder(ULONG tag);
  void onSubject(ULONG tag);

  ComPtr<IAddressBook> addressBook_;
};

// Makes `item` hold the bytes as they are.
void setOpaque(mail::DistItem& item, std::string_view bytes);

}  // namespace toMime

namespace toMapi {

class DistListConvert : public GroupwareBaseConvert<DistListConvert, mail::VDistList> {
 public:
  static constexpr GroupwareBody kBody = kDistListBody;
  static constexpr bool kSupportsNoBody = true;

  explicit DistListConvert(ConvertorDataMessage* data) : GroupwareBaseConvert(data) {}

  void convertMimeToMapi();

 private:
  void loadMembers();
  // Appends the two entry ids of a member. One without name and address has an empty one-off entry.
  void loadMember(const mail::DistItem& item, std::vector<std::string>& oneOffs, std::vector<std::string>& members);
  // The wrapped entry id of an object in the present store.
  std::string makeReference(const mail::DistItem& item);

  std::optional<GUID> store_;
};

}  // namespace toMapi
}  // namespace nalvo
