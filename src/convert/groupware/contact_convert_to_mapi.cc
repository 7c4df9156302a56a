// Cards to contacts.
#include <algorithm>
#include <iterator>

#include "convert/groupware/contact_convert.h"
#include "mail/windows_zone.h"
#include "platform/text/text.h"
#include "properties/address_maker.h"

namespace nalvo {
namespace {

constexpr std::uint32_t kSideEffects = 0x10;
constexpr std::u16string_view kSmtp = u"SMTP";
constexpr std::u16string_view kFax = u"FAX";

// `part` behind `text`, with the separator only between two that hold something.
void append(std::string& text, std::string_view separator, std::string_view part) {
  if (!text.empty() && !part.empty()) {
    text.append(separator);
  }
  text.append(part);
}

std::string composeLabel(const mail::Address& address) {
  std::string label = address.street;
  append(label, ", ", address.city);
  append(label, " ", address.postalCode);
  append(label, " ", address.region);
  append(label, "\n", address.country);
  return label;
}

std::string inParentheses(std::string_view text) { return text.empty() ? std::string() : "(" + std::string(text) + ")"; }

// A day of a card is one of the machine's zone; but see contact::hasZone.
SYSTEMTIME toUtc(const mail::DateTime& day) {
  const SYSTEMTIME local = mail::DateTimeUtils::wallClockSystemTime(day);
  return contact::hasZone(local) ? mail::DateTimeUtils::localToGmt(local, true, nullptr)
                                 : mail::DateTimeUtils::wallClockSystemTime(day.midnight());
}

}  // namespace

namespace toMapi {

void ContactConvert::convertMimeToMapi() {
  GroupwareBaseConvert::convertMimeToMapi();
  if (!readsText()) {
    return;
  }
  setULongIfMissing(tagOf(named::kSideEffects), kSideEffects);
  createPhoto();
  // A name that no card holds isn't made anew from its parts.
  if (!isRestored(PR_DISPLAY_NAME, object().getProperty("FN"))) {
    setUtf8(PR_DISPLAY_NAME, object().getFn());
  }
  setTexts();
  setDays();
  setPhones();
  setPostalAddresses();
  setFileUnder();
  setPrivate(object());
  setChildren();
  for (const contact::ExtensionRow& row : contact::kExtensions) {
    getGenericString(row.tag, row.name);
  }
}

void ContactConvert::setTexts() {
  for (const contact::TextRow& row : contact::kTexts) {
    setUtf8IfNotEmpty(tagOf(row.property), (object().*row.get)());
  }
  setCategories(object());
  if (const std::string note = object().getNote(); !note.empty()) {
    setBodyText(note);
  }
}

void ContactConvert::setDays() {
  for (const contact::DayRow& row : contact::kDays) {
    const mail::DateTime day = (object().*row.get)();
    if (!day.isNull()) {
      setSysTime(row.tag, toUtc(day));
    }
  }
}

void ContactConvert::setPhones() {
  for (const contact::PhoneRow& row : contact::kPhones) {
    setUtf8IfNotEmpty(row.tag, object().getTel(row.kind, row.index).number);
  }
}

void ContactConvert::setPostalAddresses() {
  const contact::AddressRow* preferred = nullptr;
  for (const contact::AddressRow& row : contact::kAddresses) {
    mail::Address address = contact::addressOf(object(), row);
    if (address.label.empty()) {
      address.label = composeLabel(address);
    }
    for (std::size_t i = 0; i < row.parts.size(); ++i) {
      setUtf8IfNotEmpty(tagOf(row.parts[i]), address.*contact::kAddressParts[i]);
    }
    if (address.preferred && preferred == nullptr) {
      preferred = &row;
    }
  }
  if (preferred != nullptr) {
    setULong(tagOf(named::kPostalAddressId), preferred->id);
  }
}

void ContactConvert::setFileUnder() {
  const ULONG textTag = tagOf(named::kFileUnder);
  const ULONG idTag = tagOf(named::kFileUnderId);
  // A card that gives no text may still say how to make it.
  const mail::Component& card = object().root();
  if (card.hasProperty("X-FILE-AS") || card.hasProperty("X-FILE-AS-ID")) {
    setUtf8IfNotEmpty(textTag, object().getFileAs());
  }
  setULongIfMissing(idTag, static_cast<std::uint32_t>(contact::FileUnder::LastFirst));
  if (exists(textTag)) {
    return;
  }
  constexpr auto kCompany = static_cast<std::uint32_t>(contact::FileUnder::Company);
  const std::uint32_t id = getULong(idTag);
  std::string text = makeFileUnder(id);
  if (text.empty() && id != kCompany) {
    setULong(idTag, kCompany);
    text = makeFileUnder(kCompany);
  }
  setUtf8IfNotEmpty(textTag, text);
}

std::string ContactConvert::makeFileUnder(std::uint32_t id) const {
  const std::string company = object().getCompany();
  std::string firstNames = object().getGivenName();
  append(firstNames, " ", object().getAdditionalName());
  std::string lastFirst = object().getFamilyName();
  append(lastFirst, ", ", firstNames);
  std::string text;
  switch (static_cast<contact::FileUnder>(id)) {
    case contact::FileUnder::Company:
      return company;
    case contact::FileUnder::LastFirst:
      return lastFirst;
    case contact::FileUnder::CompanyLastFirst:
      text = company;
      append(text, " ", inParentheses(lastFirst));
      return text;
    case contact::FileUnder::LastFirstCompany:
      text = lastFirst;
      append(text, " ", inParentheses(company));
      return text;
    case contact::FileUnder::FirstLast:
      text = firstNames;
      append(text, " ", object().getFamilyName());
      append(text, " ", object().getSuffix());
      return text;
  }
  return {};
}

void ContactConvert::setChildren() {
  std::vector<std::u16string> children;
  for (const std::string& child : object().getValues(contact::kChildren)) {
    children.push_back(utf8ToWide(child));
  }
  if (!children.empty()) {
    MapiPropUtils::setMultiUnicode(data().getMapiMessage(), contact::PR_CHILDRENS_NAMES, children);
  }
}

void ContactConvert::getGenericString(ULONG tag, std::string_view name) {
  setUtf8IfNotEmpty(tag, object().getProperty(name));
}

void ContactConvert::mimeToMapiEnd() {
  GroupwareBaseConvert::mimeToMapiEnd();
  if (!readsText()) {
    return;
  }
  setSubjects();
  setEmails();
  setFaxes();
  setMailingAddress();
  setProviderList();
  setSensitivity();
}

void ContactConvert::setSubjects() {
  const std::string name = object().getFn();
  setUtf8IfNotEmpty(PR_SUBJECT, name);
  const std::string prefix = object().getPrefix() + ' ';
  const bool hasPrefix = prefix.size() > 1 && name.starts_with(prefix);
  setUtf8IfNotEmpty(PR_NORMALIZED_SUBJECT, hasPrefix ? name.substr(prefix.size()) : name);
}

void ContactConvert::setEmails() {
  std::vector<mail::Email> emails = object().getEmails();
  std::erase_if(emails, [](const mail::Email& email) { return !contact::isInternetAddress(email.address); });
  emails.resize(std::min(emails.size(), contact::kEmails.size()));
  keepForeignSlots(emails.size());
  for (std::size_t i = 0; i < emails.size(); ++i) {
    const contact::EmailRow& slot = contact::kEmails[i];
    const std::string& address = emails[i].address;
    std::string name = emails[i].name;
    if (name.empty() || equalsIgnoreCase(name, address)) {
      name = object().getFn();
    }
    if (name.empty()) {
      name = address;
    }
    setUnicode(tagOf(slot.addressType), kSmtp);
    setUtf8(tagOf(slot.address), address);
    setUtf8(tagOf(slot.displayName), name);
    setUtf8(tagOf(slot.originalName), name);
    setOneOff(tagOf(slot.entryId), address, utf8ToWide(name), kSmtp);
  }
}

void ContactConvert::setOneOff(ULONG tag, std::string_view address, std::u16string_view name, std::u16string_view type) {
  const MapiBuffer<SBinary> oneOff = AddressMaker::createOneOffAddress(address, name, type, data().getAllocator());
  MapiPropUtils::setBinary(data().getMapiMessage(), tag, oneOff->lpb, oneOff->cb);
}

void ContactConvert::keepForeignSlots(std::size_t count) {
  const auto isForeign = [this](const contact::EmailRow& slot) {
    return hasText(tagOf(slot.address)) && !contact::isPortable(slot, data().getMapiMessage(), data().getAllocator());
  };
  std::size_t free = count;
  for (std::size_t from = 0; from < count; ++from) {
    if (!isForeign(contact::kEmails[from])) {
      continue;
    }
    while (free < contact::kEmails.size() && isForeign(contact::kEmails[free])) {
      ++free;
    }
    if (free == contact::kEmails.size()) {
      return;
    }
    const auto source = contact::kEmails[from].all();
    const auto target = contact::kEmails[free].all();
    for (std::size_t i = 0; i < source.size(); ++i) {
      propCopyIfExists(tagOf(*source[i]), tagOf(*target[i]));
    }
  }
}

void ContactConvert::setFaxes() {
  const std::u16string subject = exists(PR_SUBJECT) ? getUnicode(PR_SUBJECT) + u"@" : std::u16string();
  for (const contact::FaxRow& row : contact::kFaxes) {
    if (!hasText(row.number)) {
      continue;
    }
    const std::u16string number = getUnicode(row.number);
    const std::u16string name = subject + number;
    setUnicode(tagOf(row.addressType), kFax);
    setUnicode(tagOf(row.address), number);
    setUnicode(tagOf(row.originalName), name);
    setOneOff(tagOf(row.entryId), wideToUtf8(number), name, kFax);
  }
}

void ContactConvert::setMailingAddress() {
  const contact::AddressRow* chosen =
      contact::findAddress(getULongOr(tagOf(named::kPostalAddressId), contact::kDefaultAddressId));
  if (chosen == nullptr) {
    return;  // none is
  }
  const auto hasLabel = [this](const contact::AddressRow& row) { return hasText(tagOf(row.label())); };
  if (!hasLabel(*chosen)) {
    const auto* other = std::find_if(contact::kAddresses.begin(), contact::kAddresses.end(), hasLabel);
    if (other != contact::kAddresses.end()) {
      chosen = other;
      setULong(tagOf(named::kPostalAddressId), chosen->id);
    }
  }
  for (std::size_t i = 0; i < chosen->parts.size(); ++i) {
    propCopyIfExists(tagOf(chosen->parts[i]), contact::kMailingAddress[i]);
  }
}

void ContactConvert::setProviderList() {
  std::vector<std::uint32_t> indices;
  for (std::uint32_t i = 0; i < contact::kEmails.size(); ++i) {
    if (hasText(tagOf(contact::kEmails[i].address))) {
      indices.push_back(i);
    }
  }
  for (const contact::FaxRow& row : contact::kFaxes) {
    if (hasText(row.number)) {
      indices.push_back(row.providerIndex);
    }
  }
  std::sort(indices.begin(), indices.end());
  std::uint32_t mask = 0;
  for (const std::uint32_t index : indices) {
    mask |= 1U << index;
  }
  setULong(tagOf(named::kAddressBookProviderArrayType), mask);
  if (mask != 0) {
    MapiPropUtils::setMultiLong(data().getMapiMessage(), tagOf(named::kAddressBookProviderEmailList), indices);
  }
}

}  // namespace toMapi
}  // namespace nalvo
