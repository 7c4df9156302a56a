// Which property of a contact goes to which attribute of its card. Both directions read these tables.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "convert/groupware/property_rows.h"
#include "mail/v_card.h"
#include "platform/mapi/tags.h"
#include "properties/named_properties.h"

namespace nalvo::contact {

inline constexpr ULONG PR_GENERATION = propTag(PT_UNICODE, 0x3A05);
inline constexpr ULONG PR_GIVEN_NAME = propTag(PT_UNICODE, 0x3A06);
inline constexpr ULONG PR_SURNAME = propTag(PT_UNICODE, 0x3A11);
inline constexpr ULONG PR_COMPANY_NAME = propTag(PT_UNICODE, 0x3A16);
inline constexpr ULONG PR_DEPARTMENT_NAME = propTag(PT_UNICODE, 0x3A18);
inline constexpr ULONG PR_MIDDLE_NAME = propTag(PT_UNICODE, 0x3A44);
inline constexpr ULONG PR_DISPLAY_NAME_PREFIX = propTag(PT_UNICODE, 0x3A45);
inline constexpr ULONG PR_CHILDRENS_NAMES = propTag(PT_MV_UNICODE, 0x3A58);

// A text that the card has an accessor for.
struct TextRow {
  PropertyKey property;
  std::string (mail::VCard::*get)() const;
  void (mail::VCard::*set)(std::string_view);
};

inline constexpr TextRow kTexts[] = {
    {PR_GIVEN_NAME, &mail::VCard::getGivenName, &mail::VCard::setGivenName},
    {PR_MIDDLE_NAME, &mail::VCard::getAdditionalName, &mail::VCard::setAdditionalName},
    {PR_SURNAME, &mail::VCard::getFamilyName, &mail::VCard::setFamilyName},
    {PR_DISPLAY_NAME_PREFIX, &mail::VCard::getPrefix, &mail::VCard::setPrefix},
    {PR_GENERATION, &mail::VCard::getSuffix, &mail::VCard::setSuffix},
    {propTag(PT_UNICODE, 0x3A4F), &mail::VCard::getNickname, &mail::VCard::setNickname},
    {propTag(PT_UNICODE, 0x3A50), &mail::VCard::getHomeUrl, &mail::VCard::setHomeUrl},
    {propTag(PT_UNICODE, 0x3A51), &mail::VCard::getWorkUrl, &mail::VCard::setWorkUrl},
    {PR_COMPANY_NAME, &mail::VCard::getCompany, &mail::VCard::setCompany},
    {PR_DEPARTMENT_NAME, &mail::VCard::getDepartment, &mail::VCard::setDepartment},
    {propTag(PT_UNICODE, 0x3A19), &mail::VCard::getOffice, &mail::VCard::setOffice},
    {propTag(PT_UNICODE, 0x3A17), &mail::VCard::getTitle, &mail::VCard::setTitle},
    {propTag(PT_UNICODE, 0x3A30), &mail::VCard::getAssistant, &mail::VCard::setAssistant},
    {propTag(PT_UNICODE, 0x3A4E), &mail::VCard::getManager, &mail::VCard::setManager},
    {named::kFreeBusyLocation, &mail::VCard::getFreeBusyUrl, &mail::VCard::setFreeBusyUrl},
    {named::kInstantMessagingAddress, &mail::VCard::getIcq, &mail::VCard::setIcq},
};

// A text that the card keeps under a name of its own.
struct ExtensionRow {
  ULONG tag;
  std::string_view name;
};

inline constexpr ExtensionRow kExtensions[] = {
    {propTag(PT_UNICODE, 0x3A48), "X-SPOUSE-NAME"}, {propTag(PT_UNICODE, 0x3A07), "X-GOVERNMENT-ID"},
    {propTag(PT_UNICODE, 0x3A00), "X-ACCOUNT-ID"},  {propTag(PT_UNICODE, 0x3A4A), "X-CUSTOMER-ID"},
    {propTag(PT_UNICODE, 0x3A43), "X-HOBBIES"},
};
inline constexpr std::string_view kChildren = "X-CHILDREN";

struct DayRow {
  ULONG tag;
  mail::DateTime (mail::VCard::*get)() const;
  void (mail::VCard::*set)(const mail::DateTime&);
};

inline constexpr DayRow kDays[] = {
    {propTag(PT_SYSTIME, 0x3A42), &mail::VCard::getBirthday, &mail::VCard::setBirthday},
    {propTag(PT_SYSTIME, 0x3A41), &mail::VCard::getAnniversary, &mail::VCard::setAnniversary},
};

struct PhoneRow {
  ULONG tag;
  mail::TelKind kind;
  std::size_t index;  // among the numbers of that kind
};

inline constexpr ULONG PR_PRIMARY_FAX_NUMBER = propTag(PT_UNICODE, 0x3A23);
inline constexpr ULONG PR_BUSINESS_FAX_NUMBER = propTag(PT_UNICODE, 0x3A24);
inline constexpr ULONG PR_HOME_FAX_NUMBER = propTag(PT_UNICODE, 0x3A25);

inline constexpr PhoneRow kPhones[] = {
    {propTag(PT_UNICODE, 0x3A2E), mail::TelKind::Assistant, 0},   {propTag(PT_UNICODE, 0x3A08), mail::TelKind::Business, 0},
    {propTag(PT_UNICODE, 0x3A1B), mail::TelKind::Business, 1},    {PR_BUSINESS_FAX_NUMBER, mail::TelKind::BusinessFax, 0},
    {propTag(PT_UNICODE, 0x3A02), mail::TelKind::Callback, 0},    {propTag(PT_UNICODE, 0x3A1E), mail::TelKind::Car, 0},
    {propTag(PT_UNICODE, 0x3A57), mail::TelKind::CompanyMain, 0}, {propTag(PT_UNICODE, 0x3A09), mail::TelKind::Home, 0},
    {propTag(PT_UNICODE, 0x3A2F), mail::TelKind::Home, 1},        {PR_HOME_FAX_NUMBER, mail::TelKind::HomeFax, 0},
    {propTag(PT_UNICODE, 0x3A2D), mail::TelKind::Isdn, 0},        {propTag(PT_UNICODE, 0x3A1C), mail::TelKind::Mobile, 0},
    {propTag(PT_UNICODE, 0x3A1F), mail::TelKind::Other, 0},       {PR_PRIMARY_FAX_NUMBER, mail::TelKind::OtherFax, 0},
    {propTag(PT_UNICODE, 0x3A21), mail::TelKind::Pager, 0},       {propTag(PT_UNICODE, 0x3A1A), mail::TelKind::Primary, 0},
    {propTag(PT_UNICODE, 0x3A1D), mail::TelKind::Radio, 0},       {propTag(PT_UNICODE, 0x3A2C), mail::TelKind::Telex, 0},
    {propTag(PT_UNICODE, 0x3A4B), mail::TelKind::TtyTdd, 0},
};

// The parts of an address. The label comes last.
inline constexpr std::array<std::string mail::Address::*, 7> kAddressParts = {
    &mail::Address::street,  &mail::Address::city,  &mail::Address::postalCode, &mail::Address::region,
    &mail::Address::country, &mail::Address::poBox, &mail::Address::label};

struct AddressRow {
  std::string_view type;  // of the card; the last one takes an address without a type as well
  std::uint32_t id;       // PidLidPostalAddressId
  std::array<PropertyKey, kAddressParts.size()> parts;

  const PropertyKey& label() const { return parts.back(); }
};

// In the order in which one of them becomes the mailing address.
inline constexpr std::array<AddressRow, 3> kAddresses = {{
    {"WORK",
     2,
     {{named::kWorkAddressStreet, named::kWorkAddressCity, named::kWorkAddressPostalCode, named::kWorkAddressState,
       named::kWorkAddressCountry, named::kWorkAddressPostOfficeBox, named::kWorkAddress}}},
    {"HOME",
     1,
     {{propTag(PT_UNICODE, 0x3A5D), propTag(PT_UNICODE, 0x3A59), propTag(PT_UNICODE, 0x3A5B), propTag(PT_UNICODE, 0x3A5C),
       propTag(PT_UNICODE, 0x3A5A), propTag(PT_UNICODE, 0x3A5E), named::kHomeAddress}}},
    {"OTHER",
     3,
     {{propTag(PT_UNICODE, 0x3A63), propTag(PT_UNICODE, 0x3A5F), propTag(PT_UNICODE, 0x3A61), propTag(PT_UNICODE, 0x3A62),
       propTag(PT_UNICODE, 0x3A60), propTag(PT_UNICODE, 0x3A64), named::kOtherAddress}}},
}};
inline constexpr std::uint32_t kDefaultAddressId = 2;

// Null for an id that names none of them.
constexpr const AddressRow* findAddress(std::uint32_t id) {
  const auto* row = std::find_if(kAddresses.begin(), kAddresses.end(), [id](const AddressRow& r) { return r.id == id; });
  return row == kAddresses.end() ? nullptr : row;
}
inline mail::Address addressOf(const mail::VCard& card, const AddressRow& row) {
  return row.type == "OTHER" ? card.getOtherAddress() : card.getAddress(row.type);
}

// Where the parts of the mailing address stand once more.
inline constexpr std::array<ULONG, kAddressParts.size()> kMailingAddress = {
    propTag(PT_UNICODE, 0x3A29), propTag(PT_UNICODE, 0x3A27), propTag(PT_UNICODE, 0x3A2A), propTag(PT_UNICODE, 0x3A28),
    propTag(PT_UNICODE, 0x3A26), propTag(PT_UNICODE, 0x3A2B), propTag(PT_UNICODE, 0x3A15)};

struct EmailRow {
  mail::Email::Kind kind;
  bool preferred;
  const NamedProperty& address;
  const NamedProperty& displayName;
  const NamedProperty& originalName;
  const NamedProperty& addressType;
  const NamedProperty& entryId;

  constexpr std::array<const NamedProperty*, 5> all() const {
    return {&address, &displayName, &originalName, &addressType, &entryId};
  }
};

inline constexpr std::array<EmailRow, 3> kEmails = {{
    {mail::Email::Kind::Home, true, named::kEmail1EmailAddress, named::kEmail1DisplayName, named::kEmail1OriginalDisplayName,
     named::kEmail1AddressType, named::kEmail1OriginalEntryId},
    {mail::Email::Kind::Work, false, named::kEmail2EmailAddress, named::kEmail2DisplayName,
     named::kEmail2OriginalDisplayName, named::kEmail2AddressType, named::kEmail2OriginalEntryId},
    {mail::Email::Kind::None, false, named::kEmail3EmailAddress, named::kEmail3DisplayName,
     named::kEmail3OriginalDisplayName, named::kEmail3AddressType, named::kEmail3OriginalEntryId},
}};

struct FaxRow {
  ULONG number;
  std::uint32_t providerIndex;  // in PidLidAddressBookProviderEmailList
  const NamedProperty& addressType;
  const NamedProperty& address;
  const NamedProperty& originalName;
  const NamedProperty& entryId;

  constexpr std::array<const NamedProperty*, 4> all() const { return {&addressType, &address, &originalName, &entryId}; }
};

inline constexpr std::array<FaxRow, 3> kFaxes = {{
    {PR_PRIMARY_FAX_NUMBER, 5, named::kFax1AddressType, named::kFax1EmailAddress, named::kFax1OriginalDisplayName,
     named::kFax1OriginalEntryId},
    {PR_BUSINESS_FAX_NUMBER, 3, named::kFax2AddressType, named::kFax2EmailAddress, named::kFax2OriginalDisplayName,
     named::kFax2OriginalEntryId},
    {PR_HOME_FAX_NUMBER, 4, named::kFax3AddressType, named::kFax3EmailAddress, named::kFax3OriginalDisplayName,
     named::kFax3OriginalEntryId},
}};

// What PidLidFileUnderId says of the text in PidLidFileUnder.
enum class FileUnder : std::uint32_t {
  Company = 0x3A16,
  LastFirst = 0x8017,
  CompanyLastFirst = 0x8018,
  LastFirstCompany = 0x8019,
  FirstLast = 0x8037,
};

}  // namespace nalvo::contact
