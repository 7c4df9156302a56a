// Contacts to cards.
#include "convert/groupware/contact_convert.h"

#include <algorithm>
#include <iterator>

#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"
#include "mail/windows_zone.h"
#include "platform/text/text.h"

namespace nalvo {
namespace {

[[maybe_unused]] const bool kRegistered = ConvertorList::instance().registerConvertor(
    &ConvertorImpl<toMime::ContactConvert, toMapi::ContactConvert>::create, u"IPM.Contact");

constexpr std::string_view kSpecialInAddress = "!#$%&'*+-/=?^_`{|}~";

// Words with single dots between them.
bool isDotAtoms(std::string_view text) {
  const auto isAtom = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           kSpecialInAddress.find(c) != std::string_view::npos;
  };
  bool isInWord = false;
  for (const char c : text) {
    if (!isAtom(c) && !(c == '.' && isInWord)) {
      return false;
    }
    isInWord = c != '.';
  }
  return isInWord;
}

}  // namespace

namespace contact {

bool isInternetAddress(std::string_view address) {
  const std::size_t at = address.find('@');
  return at != std::string_view::npos && isDotAtoms(address.substr(0, at)) && isDotAtoms(address.substr(at + 1));
}

bool isPortable(const EmailRow& slot, IConvertMessage* message, IMapiAllocator* allocator) {
  const auto textOf = [&](const NamedProperty& property) {
    const ULONG tag = MapiName(property).getPropertyTag(message);
    return MapiPropUtils::propertyExists(message, tag) ? MapiPropUtils::propUnicodeT(message, tag, allocator)
                                                       : std::u16string();
  };
  const std::u16string type = textOf(slot.addressType);
  return (type.empty() || equalsIgnoreCase(type, u"SMTP")) && isInternetAddress(wideToUtf8(textOf(slot.address)));
}

}  // namespace contact

namespace toMime {

std::vector<PropertyRow<ContactConvert>> ContactConvert::makeRows() {
  std::vector<PropertyRow<ContactConvert>> rows = {
      {PR_DISPLAY_NAME, ChangeOf::Body, &ContactConvert::onDisplayName},
      {named::kPostalAddressId, ChangeOf::Body, &ContactConvert::onPostalAddressId},
      {named::kFileUnder, ChangeOf::Body, &ContactConvert::onFileUnder},
      {named::kKeywords, ChangeOf::Body, &ContactConvert::onKeywords},
      {named::kPrivate, ChangeOf::Body, &ContactConvert::onPrivate},
      {contact::PR_CHILDRENS_NAMES, ChangeOf::Body, &ContactConvert::storeChildren},
      {PR_BODY, ChangeOf::Body},
      {named::kAddressBookProviderArrayType, ChangeOf::Nothing},
      {named::kAddressBookProviderEmailList, ChangeOf::Nothing},
  };
  for (const ULONG tag : kRichTextTags) {
    rows.push_back({tag, ChangeOf::Nothing});
  }
  for (const contact::TextRow& row : contact::kTexts) {
    rows.push_back({row.property, ChangeOf::Body, &ContactConvert::onText});
  }
  for (const contact::ExtensionRow& row : contact::kExtensions) {
    rows.push_back({row.tag, ChangeOf::Body, &ContactConvert::onExtension});
  }
  for (const contact::DayRow& row : contact::kDays) {
    rows.push_back({row.tag, ChangeOf::Body, &ContactConvert::onDay});
  }
  for (const contact::PhoneRow& row : contact::kPhones) {
    rows.push_back({row.tag, ChangeOf::Body});
  }
  for (const contact::AddressRow& row : contact::kAddresses) {
    for (const PropertyKey& part : row.parts) {
      rows.push_back({part, ChangeOf::Body, &ContactConvert::onAddressPart});
    }
  }
  for (const ULONG tag : contact::kMailingAddress) {
    rows.push_back({tag, ChangeOf::Nothing});
  }
  for (const contact::EmailRow& slot : contact::kEmails) {
    for (const NamedProperty* property : slot.all()) {
      const bool isInCard = property == &slot.address || property == &slot.displayName;
      rows.push_back({*property, isInCard ? ChangeOf::Body : ChangeOf::Nothing, &ContactConvert::onEmail});
    }
  }
  for (const contact::FaxRow& row : contact::kFaxes) {
    for (const NamedProperty* property : row.all()) {
      rows.push_back({*property, ChangeOf::Nothing});
    }
  }
  return rows;
}

std::span<const PropertyRow<ContactConvert>> ContactConvert::rows() {
  static const std::vector<PropertyRow<ContactConvert>> all = makeRows();
  return all;
}

PartTags ContactConvert::getPartTags(IConvertMessage* message) const {
  PartTags tags = GroupwareBaseConvert::getPartTags(message);
  // What of these no card can hold is in the annotations.
  for (const contact::EmailRow& slot : contact::kEmails) {
    if (!contact::isPortable(slot, message, nullptr)) {
      for (const NamedProperty* property : slot.all()) {
        tags.annotationTags.insert(MapiName(*property).getPropertyTag(message));
      }
    }
  }
  tags.annotationTags.insert(MapiName(named::kPostalAddressId).getPropertyTag(message));
  return tags;
}

void ContactConvert::mapiToMimeStart() {
  GroupwareBaseConvert::mapiToMimeStart();
  if (converts(Converted::Body)) {
    storePhones();
    storeEmails();
    markPreferredAddress();
    storePhoto();
  }
}

void ContactConvert::storePhones() {
  for (const contact::PhoneRow& row : contact::kPhones) {
    if (const std::string number = textOf(row.tag); !number.empty()) {
      object().setTel({row.kind, number, false}, row.index);
    }
  }
}

void ContactConvert::storeEmails() {
  std::size_t count = 0;
  for (const contact::EmailRow& slot : contact::kEmails) {
    if (const std::string address = textOf(tagOf(slot.address)); !address.empty()) {
      object().setEmail({address, textOf(tagOf(slot.displayName)), slot.kind, slot.preferred}, count++);
    }
  }
}

void ContactConvert::markPreferredAddress() {
  if (const contact::AddressRow* row = contact::findAddress(getULongOr(tagOf(named::kPostalAddressId), 0))) {
    mail::Address address = object().getAddress(row->type);
    address.preferred = true;
    object().setAddress(address, row->type);
  }
}

void ContactConvert::onDisplayName(ULONG tag) {
  object().setFn(getUtf8(tag));
  setHeader(tag, mime::HeaderId::Subject);
}

void ContactConvert::onText(ULONG tag) {
  const auto* row = std::find_if(std::begin(contact::kTexts), std::end(contact::kTexts),
                                 [&](const contact::TextRow& r) { return tagOf(r.property) == tag; });
  (object().*row->set)(getUtf8(tag));
}

void ContactConvert::onExtension(ULONG tag) {
  const auto* row = std::find_if(std::begin(contact::kExtensions), std::end(contact::kExtensions),
                                 [tag](const contact::ExtensionRow& r) { return r.tag == tag; });
  object().setProperty(row->name, getUtf8(tag));
}

void ContactConvert::onDay(ULONG tag) {
  const auto* row = std::find_if(std::begin(contact::kDays), std::end(contact::kDays),
                                 [tag](const contact::DayRow& r) { return r.tag == tag; });
  const SYSTEMTIME utc = getSysTime(tag);
  (object().*
   row->set)(mail::DateTime::fromSystemTime(contact::hasZone(utc) ? mail::DateTimeUtils::gmtToLocal(utc, nullptr) : utc));
}

void ContactConvert::onAddressPart(ULONG tag) {
  const std::string text = getUtf8(tag);
  for (const contact::AddressRow& row : contact::kAddresses) {
    const auto part =
        std::find_if(row.parts.begin(), row.parts.end(), [&](const PropertyKey& p) { return tagOf(p) == tag; });
    if (part != row.parts.end() && !text.empty()) {
      mail::Address address = object().getAddress(row.type);
      address.*contact::kAddressParts[static_cast<std::size_t>(part - row.parts.begin())] = text;
      object().setAddress(address, row.type);
    }
  }
}

void ContactConvert::onPostalAddressId(ULONG tag) {
  if (contact::findAddress(getULong(tag)) == nullptr) {
    storeAnnotation(tag);
  }
}

void ContactConvert::onEmail(ULONG tag) {
  for (const contact::EmailRow& slot : contact::kEmails) {
    const auto properties = slot.all();
    const bool isOfSlot = std::any_of(properties.begin(), properties.end(),
                                      [&](const NamedProperty* property) { return tagOf(*property) == tag; });
    if (isOfSlot && !contact::isPortable(slot, data().getMapiMessage(), data().getAllocator())) {
      storeAnnotation(tag);
    }
  }
}

void ContactConvert::onFileUnder(ULONG tag) { object().setFileAs(getUtf8(tag)); }

void ContactConvert::storeChildren(ULONG tag) {
  object().setValues(contact::kChildren, MapiPropUtils::propMultiUtf8(data().getMapiMessage(), tag, data().getAllocator()));
}

}  // namespace toMime
}  // namespace nalvo
