// Contacts.
#pragma once

#include <vector>

#include "convert/groupware/contact_tables.h"
#include "convert/groupware/groupware_convert.h"

namespace nalvo {

namespace contact {

// Whether a card can hold the address of a slot and give it back: one of SMTP, or of no type, of plain words around "@".
bool isPortable(const EmailRow& slot, IConvertMessage* message, IMapiAllocator* allocator);
bool isInternetAddress(std::string_view address);
// Whether a day is moved between UTC and the machine's zone. Those in the first year that MAPI has and in the last of zones
// stand for no day at all, and might leave that range.
constexpr bool hasZone(const SYSTEMTIME& day) { return day.wYear > 1601 && day.wYear < 9999; }

}  // namespace contact

namespace toMime {

class ContactConvert : public GroupwareBaseConvert<ContactConvert, mail::VCard> {
 public:
  static constexpr GroupwareBody kBody = kCardBody;

  explicit ContactConvert(ConvertorDataMessage* data) : GroupwareBaseConvert(data) {}

  static std::span<const PropertyRow<ContactConvert>> rows();
  PartTags getPartTags(IConvertMessage* message) const override;

  void mapiToMimeStart();

 private:
  // All tables as the rows of one.
  static std::vector<PropertyRow<ContactConvert>> makeRows();

  ULONG tagOf(const NamedProperty& property) const { return GroupwareBaseConvert::tagOf(property); }
  ULONG tagOf(const PropertyKey& key) const { return key.tagOn(data().getMapiMessage(), data()); }
  // Empty if there is none.
  std::string textOf(ULONG tag) { return exists(tag) ? getUtf8(tag) : std::string(); }

  void storePhones();
  void storeEmails();
  void markPreferredAddress();
  // Refers to the first attachment that is the photo, which gets a content id if it has none; else to what a link names.
  void storePhoto();

  void onDisplayName(ULONG tag);
  void onText(ULONG tag);
  void onExtension(ULONG tag);
  void onDay(ULONG tag);
  void onAddressPart(ULONG tag);
  void onPostalAddressId(ULONG tag);
  void onEmail(ULONG tag);
  void onFileUnder(ULONG tag);
  void storeChildren(ULONG tag);
};

}  // namespace toMime

namespace toMapi {

class ContactConvert : public GroupwareBaseConvert<ContactConvert, mail::VCard> {
 public:
  static constexpr GroupwareBody kBody = kCardBody;
  static constexpr bool kSupportsNoBody = true;

  explicit ContactConvert(ConvertorDataMessage* data) : GroupwareBaseConvert(data) {}

  void convertMimeToMapi();
  // What follows from the properties of the other stage.
  void mimeToMapiEnd();

 private:
  ULONG tagOf(const NamedProperty& property) const { return GroupwareBaseConvert::tagOf(property); }
  ULONG tagOf(const PropertyKey& key) const { return key.tagOn(data().getMapiMessage(), data()); }
  bool hasText(ULONG tag) const { return exists(tag) && !getUnicode(tag).empty(); }

  // A picture that stands in the card becomes an attachment; a reference marks the attachment that it names.
  void createPhoto();
  void attachPhoto(std::string_view bytes, std::u16string_view type, std::u16string_view fileName,
                   std::u16string_view contentId);
  void markPhoto(std::u16string_view contentId);
  void setTexts();
  void setDays();
  void setPhones();
  void setPostalAddresses();
  void setFileUnder();
  std::string makeFileUnder(std::uint32_t id) const;
  void setChildren();
  void getGenericString(ULONG tag, std::string_view name);

  void setSubjects();
  void setEmails();
  void setOneOff(ULONG tag, std::string_view address, std::u16string_view name, std::u16string_view type);
  // Moves slots that no card can hold behind the first `count`, as far as there is room.
  void keepForeignSlots(std::size_t count);
  void setFaxes();
  void setMailingAddress();
  void setProviderList();
};

}  // namespace toMapi
}  // namespace nalvo
