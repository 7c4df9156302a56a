// Rules about contacts and distribution lists.
#include <algorithm>
#include <iterator>

#include "host/rule_rows.h"

namespace nalvo::host {
namespace {

bool isContact(const Case& c) { return sameText(c.is("PR_MESSAGE_CLASS"), "\"IPM.Contact\""); }
bool isCard(const Case& c) { return isContact(c) || sameText(c.is("PR_MESSAGE_CLASS"), "\"IPM.DistList\""); }
bool isEmptyInCard(const Case& c) { return isCard(c) && c.difference.before == "\"\""; }
bool hasLostCarriageReturns(const Case& c) {
  std::string text = textOf(c.difference.before);
  std::erase(text, '\r');
  return (isCard(c) || isEvent(c)) && !text.empty() && text == textOf(c.difference.after);
}
bool isFaxOfContact(const Case& c) { return isContact(c) && c.difference.what.starts_with("PidLidFax"); }

// The slot that a property of an e-mail of a contact belongs to, "PidLidEmail1"; empty for another property.
std::string emailSlot(const Case& c) {
  constexpr std::string_view kStart = "PidLidEmail";
  const std::string& what = c.difference.what;
  return isContact(c) && what.starts_with(kStart) ? what.substr(0, kStart.size() + 1) : std::string();
}
bool isNameOfEmail(const Case& c) {
  const std::string slot = emailSlot(c);
  return !slot.empty() && c.difference.what.ends_with("DisplayName") &&
         (c.difference.after == c.is(slot + "DisplayName") || c.difference.after == c.is("PR_DISPLAY_NAME"));
}
bool isIdentityOfEmail(const Case& c) {
  const std::string slot = emailSlot(c);
  return !slot.empty() && (c.difference.what == slot + "OriginalEntryId" || c.difference.what == slot + "AddressType") &&
         c.is(slot + "AddressType") == "\"SMTP\"";
}
bool isMailingAddress(const Case& c) {
  constexpr std::string_view kMailing[] = {"PR_STREET_ADDRESS", "PR_LOCALITY", "PR_STATE_OR_PROVINCE",
                                           "PR_POSTAL_CODE",    "PR_COUNTRY",  "PR_POST_OFFICE_BOX",
                                           "PR_POSTAL_ADDRESS"};
  const auto isPart = [&c](const auto& fact) {
    const std::string& name = fact.first;
    return fact.second == c.difference.after &&
           (name.starts_with("PidLidWorkAddress") || name == "PidLidHomeAddress" || name == "PidLidOtherAddress" ||
            name.starts_with("PR_HOME_ADDRESS_") || name.starts_with("PR_OTHER_ADDRESS_"));
  };
  return isContact(c) && std::find(std::begin(kMailing), std::end(kMailing), c.difference.what) != std::end(kMailing) &&
         std::any_of(c.now.begin(), c.now.end(), isPart);
}
bool isDisplayName(const Case& c) { return isCard(c) && c.difference.after == c.is("PR_DISPLAY_NAME"); }
bool isNameWithoutPrefix(const Case& c) {
  return isContact(c) && textOf(c.is("PR_DISPLAY_NAME")).ends_with(textOf(c.difference.after));
}
bool isSubjectOfList(const Case& c) { return isCard(c) && c.difference.after == c.is("PR_SUBJECT"); }
// Midnight in the zone of another machine goes to the nearest one here.
bool isSameDayElsewhere(const Case& c) { return isContact(c) && isWithinHalfDay(c); }
// One-off entries of members of a directory are made of their names and addresses.
bool isSameCountOfMembers(const Case& c) {
  const auto before = nlohmann::json::parse(c.difference.before, nullptr, false);
  const auto after = nlohmann::json::parse(c.difference.after, nullptr, false);
  return isCard(c) && before.is_array() && after.is_array() && before.size() == after.size();
}

constexpr std::string_view kEmptyInCard = "a card has no empty texts";
constexpr std::string_view kLineFeeds = "an item has line feeds alone";
constexpr std::string_view kFax = "the address of a fax is made of its number";
constexpr std::string_view kEmailName = "an e-mail of a contact goes under its name";
constexpr std::string_view kEmailIdentity = "the entry of an e-mail is made of its address";
constexpr std::string_view kMailing = "the mailing address is a copy of one of the others";
constexpr std::string_view kComposedLabel = "a label is made of its address";
constexpr std::string_view kContactSubject = "the subject of a contact is its name";
constexpr std::string_view kListName = "the subject of a list is its name";
constexpr std::string_view kProviders = "a contact tells which addresses it has";
constexpr std::string_view kFiled = "a contact says how it is filed";
constexpr std::string_view kDay = "a birthday is a day where the machine is";
constexpr std::string_view kPhoto = "the photo of a contact is told by its content id";

constexpr RuleRow kRules[] = {
    {Place::Message, Kind::Lost, "*", isEmptyInCard, kEmptyInCard},
    {Place::Message, Kind::Changed, "*", hasLostCarriageReturns, kLineFeeds},
    {Place::Message, Kind::Any, "*", isFaxOfContact, kFax},
    {Place::Message, Kind::Made, "*", isNameOfEmail, kEmailName},
    {Place::Message, Kind::Made, "*", isIdentityOfEmail, kEmailIdentity},
    {Place::Message, Kind::Made, "*", isMailingAddress, kMailing},
    {Place::Message, Kind::Made, "PidLidPostalAddressId", isContact, kMailing},
    {Place::Message, Kind::Added, "PidLidHomeAddress", isContact, kComposedLabel},
    {Place::Message, Kind::Added, "PidLidWorkAddress", isContact, kComposedLabel},
    {Place::Message, Kind::Added, "PidLidOtherAddress", isContact, kComposedLabel},
    {Place::Message, Kind::Made, "PR_SUBJECT", isDisplayName, kContactSubject},
    {Place::Message, Kind::Made, "PR_NORMALIZED_SUBJECT", isNameWithoutPrefix, kContactSubject},
    {Place::Message, Kind::Made, "PR_DISPLAY_NAME", isSubjectOfList, kListName},
    {Place::Message, Kind::Made, "PidLidDistributionListName", isSubjectOfList, kListName},
    {Place::Message, Kind::Changed, "PidLidDistributionListOneOffMembers", isSameCountOfMembers,
     "a member of a directory is known by its address"},
    {Place::Message, Kind::Made, "PidLidAddressBookProviderArrayType", isContact, kProviders},
    {Place::Message, Kind::Made, "PidLidAddressBookProviderEmailList", isContact, kProviders},
    {Place::Message, Kind::Added, "PidLidFileUnder", isCard, kFiled},
    {Place::Message, Kind::Added, "PidLidFileUnderId", isContact, kFiled},
    {Place::Message, Kind::Changed, "PR_BIRTHDAY", isSameDayElsewhere, kDay},
    {Place::Message, Kind::Changed, "PR_WEDDING_ANNIVERSARY", isSameDayElsewhere, kDay},
    {Place::Message, Kind::Added, "PidLidHasPicture", isContact, kPhoto},
    {Place::Message, Kind::Made, "0000001f {4A7934F6-8E3D-4C5D-B4CA-71A343DC8537} [UN] \"Contact Picture CID\"", isContact,
     kPhoto},
};

}  // namespace

std::span<const RuleRow> contactRules() { return kRules; }

}  // namespace nalvo::host
