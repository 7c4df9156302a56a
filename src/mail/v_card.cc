#include "mail/v_card.h"

#include <algorithm>

#include "mail/v_text.h"
#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

// `part` behind `text`, with the separator only between two that hold something.
void appendPart(std::string& text, std::string_view separator, std::string_view part) {
  if (!text.empty() && !part.empty()) {
    text.append(separator);
  }
  text.append(part);
}

struct TypeRow {
  TelKind kind;
  std::array<std::string_view, 2> types;  // as they are written; the second may be empty
};

constexpr TypeRow kTypes[] = {
    {TelKind::Assistant, {"X-ASSISTANT"}},
    {TelKind::Business, {"WORK", "VOICE"}},
    {TelKind::BusinessFax, {"WORK", "FAX"}},
    {TelKind::Callback, {"X-CALLBACK"}},
    {TelKind::Car, {"CAR"}},
    {TelKind::CompanyMain, {"X-COMPANY"}},
    {TelKind::Home, {"HOME", "VOICE"}},
    {TelKind::HomeFax, {"HOME", "FAX"}},
    {TelKind::Isdn, {"ISDN"}},
    {TelKind::Mobile, {"CELL"}},
    {TelKind::Other, {"VOICE"}},
    {TelKind::OtherFax, {"FAX"}},
    {TelKind::Pager, {"PAGER"}},
    {TelKind::Primary, {"PREF"}},
    {TelKind::Radio, {"X-RADIO"}},
    {TelKind::Telex, {"X-TELEX"}},
    {TelKind::TtyTdd, {"X-TTYTDD"}},
};

// The first row whose types are all there tells the kind.
struct ClassRow {
  std::array<std::string_view, 2> types;
  TelKind kind;
};

constexpr ClassRow kClasses[] = {
    {{"FAX", "WORK"}, TelKind::BusinessFax},
    {{"FAX", "HOME"}, TelKind::HomeFax},
    {{"FAX"}, TelKind::OtherFax},
    {{"X-ASSISTANT"}, TelKind::Assistant},
    {{"X-CALLBACK"}, TelKind::Callback},
    {{"CAR"}, TelKind::Car},
    {{"ISDN"}, TelKind::Isdn},
    {{"CELL"}, TelKind::Mobile},
    {{"PAGER"}, TelKind::Pager},
    {{"X-COMPANY"}, TelKind::CompanyMain},
    {{"X-RADIO"}, TelKind::Radio},
    {{"X-TELEX"}, TelKind::Telex},
    {{"X-TTYTDD"}, TelKind::TtyTdd},
    {{"WORK"}, TelKind::Business},
    {{"HOME"}, TelKind::Home},
};

TelKind classify(const PropertyValue& value) {
  for (const ClassRow& row : kClasses) {
    if (value.hasType(row.types[0]) && (row.types[1].empty() || value.hasType(row.types[1]))) {
      return row.kind;
    }
  }
  return value.isPreferred() && value.hasType({}) ? TelKind::Primary : TelKind::Other;
}

void setTypes(PropertyValue& value, TelKind kind) {
  value.clearParams();
  for (const std::string_view type :
       std::find_if(std::begin(kTypes), std::end(kTypes), [kind](const TypeRow& row) { return row.kind == kind; })->types) {
    if (!type.empty()) {
      value.addParamValue("TYPE", type);
    }
  }
}

// With an empty type, one that is neither of home nor of work in the manner of old cards (";HOME") either.
const PropertyValue* findTyped(const Property& property, std::string_view type) {
  const auto found = std::find_if(property.values.begin(), property.values.end(), [type](const PropertyValue& value) {
    return value.hasType(type) && (!type.empty() || (!value.hasType("HOME") && !value.hasType("WORK")));
  });
  return found == property.values.end() ? nullptr : &*found;
}

void eraseTyped(Property& property, std::string_view type) {
  if (const PropertyValue* found = findTyped(property, type)) {
    property.values.erase(property.values.begin() + (found - property.values.data()));
  }
}

constexpr std::size_t kExtendedField = 1;

// Where each field of ADR goes.
constexpr std::array<std::string Address::*, 7> kAddressFields = {&Address::poBox,  &Address::extended, &Address::street,
                                                                  &Address::city,   &Address::region,   &Address::postalCode,
                                                                  &Address::country};

constexpr std::size_t kCompanyField = 0;
constexpr std::size_t kDepartmentField = 1;

}  // namespace

void VCard::createNew(bool isDistList) {
  rootForWrite() = Component("VCARD");
  fnIsExplicit_ = false;
  setVersion("3.0");
  setProdId("-//nalvo/Contacts//NONSGML v1.0//EN");
  if (isDistList) {
    setDistList();
  }
}

bool VCard::readFrom(HeaderLex& lexer) {
  fnIsExplicit_ = false;
  return VBase::readFrom(lexer);
}

void VCard::dump(std::ostream& log) const {
  dumpFields(log, {"ADR", "LABEL", "URL", "FBURL", "EMAIL", "ORG", "TITLE", "NOTE", "ICQ"});
}

void VCard::setNote(std::string text) {
  rootForWrite().removeProperty("NOTE");
  setProperty("NOTE", text);
}

std::string VCard::getNoteAltRep() const {
  return std::string(root().findProperty("NOTE").firstValue().firstParamValue("ALTREP"));
}

void VCard::setPhoto(std::string_view uri) {
  PropertyValue& value = rootForWrite().addProperty("PHOTO").firstValueForWrite();
  value.setParam("VALUE", "URI");
  value.text = uri;
}

bool VCard::isDistList() const { return equalsIgnoreCase(getProperty("X-DL"), "TRUE"); }

std::string VCard::getNameField(NameField field) const { return fieldAt(getProperty("N"), field); }

void VCard::setNameField(NameField field, std::string_view text) {
  setProperty("N", withField(getProperty("N"), field, text));
  if (field != kPrefix && !fnIsExplicit_) {
    setProperty("FN", makeFn());
  }
}

std::string VCard::getFn() const {
  const std::string& fn = getProperty("FN");
  return fn.empty() ? makeFn() : fn;
}

void VCard::setFn(std::string_view text) {
  setProperty("FN", text);
  fnIsExplicit_ = true;
}

std::string VCard::makeFn() const {
  std::vector<std::string> fields = splitEscaped(getProperty("N"));
  fields.resize(std::max<std::size_t>(fields.size(), kSuffix + 1));
  std::string fn;
  for (const NameField field : {kPrefix, kGiven, kAdditional, kFamily, kSuffix}) {
    appendPart(fn, " ", fields[field]);
  }
  return fn;
}

std::string VCard::getFileAs() const {
  const std::string& text = getProperty("X-FILE-AS");
  return text.empty() ? makeFileAs() : text;
}

void VCard::setFileAs(std::string_view text) {
  setProperty("X-FILE-AS", text);
  rootForWrite().removeProperty("X-FILE-AS-ID");
}

int VCard::getFileAsId() const {
  constexpr int kFamilyFirst = 1;
  return root().hasProperty("X-FILE-AS-ID") ? leadingInt(getProperty("X-FILE-AS-ID")) : kFamilyFirst;
}

std::string VCard::makeFileAs() const {
  const std::string family = getFamilyName(), given = getGivenName(), additional = getAdditionalName();
  std::string text;
  switch (getFileAsId()) {
    case 0:
      break;
    case 2:
      text = given;
      appendPart(text, " ", additional);
      appendPart(text, " ", family);
      break;
    case 3:
      text = getCompany();
      break;
    case 4:
      text = family;
      appendPart(text, ", ", given);
      appendPart(text, ", ", additional);
      appendPart(text, "\r\n", getCompany());
      break;
    case 5: {
      std::string name = given;
      appendPart(name, ", ", family);
      appendPart(name, ", ", additional);
      text = getCompany();
      appendPart(text, "\r\n", name);
      break;
    }
    default:
      text = family;
      appendPart(text, ", ", given);
      appendPart(text, " ", additional);
  }
  return text;
}

Phone VCard::getTel(TelKind kind, std::size_t index) const {
  for (const PropertyValue& value : root().findProperty("TEL").values) {
    if (classify(value) == kind && index-- == 0) {
      return {kind, value.text, value.isPreferred()};
    }
  }
  return {kind, {}, false};
}

void VCard::setTel(const Phone& phone, std::size_t index) {
  Property& tel = rootForWrite().addProperty("TEL");
  PropertyValue* wanted = nullptr;
  std::size_t missing = index + 1;
  for (PropertyValue& value : tel.values) {
    if (classify(value) == phone.kind && --missing == 0) {
      wanted = &value;
      break;
    }
  }
  for (; missing != 0; --missing) {
    wanted = &tel.addValue();
    setTypes(*wanted, phone.kind);
  }
  setTypes(*wanted, phone.kind);
  if (phone.preferred) {
    wanted->setPreferred();
  }
  wanted->text = phone.number;
}

// The first value of that type, made at the end when there is none.
PropertyValue& VCard::typedValue(std::string_view name, std::string_view type) {
  Property& property = rootForWrite().addProperty(name);
  if (const PropertyValue* found = findTyped(property, type)) {
    return property.values[static_cast<std::size_t>(found - property.values.data())];
  }
  PropertyValue& value = property.addValue();
  value.setParam("TYPE", type);
  return value;
}

Address VCard::getAddress(std::string_view type) const {
  Address address;
  if (const PropertyValue* value = findTyped(root().findProperty("ADR"), type)) {
    std::vector<std::string> fields = splitEscaped(value->text);
    for (std::size_t i = 0; i < std::min(fields.size(), kAddressFields.size()); ++i) {
      address.*kAddressFields[i] = std::move(fields[i]);
    }
    address.preferred = value->isPreferred();
    address.found = true;
  }
  if (const PropertyValue* label = findTyped(root().findProperty("LABEL"), type)) {
    address.label = label->text;
    address.found = true;
  }
  return address;
}

void VCard::setAddress(const Address& address, std::string_view type) {
  const auto write = [&](std::string_view name, const auto& makeText, bool preferred) {
    PropertyValue& value = typedValue(name, type);
    value.text = makeText(value.text);
    value.clearParams();
    value.setParam("TYPE", type);
    if (preferred) {
      value.setPreferred();
    }
  };
  const auto makeFields = [&](const std::string& present) {
    std::vector<std::string> fields(kAddressFields.size());
    for (std::size_t i = 0; i < fields.size(); ++i) {
      fields[i] = i == kExtendedField ? fieldAt(present, i) : address.*kAddressFields[i];
    }
    return joinEscaped(fields);
  };
  write("ADR", makeFields, address.preferred);
  write(
      "LABEL", [&](const std::string&) { return address.label; }, false);
}

Address VCard::getOtherAddress() const {
  Address address = getAddress("OTHER");
  return address.found ? address : getAddress({});
}

void VCard::setOtherAddress(const Address& address) {
  if (!getAddress("OTHER").found) {
    for (const char* name : {"ADR", "LABEL"}) {
      eraseTyped(rootForWrite().addProperty(name), {});
    }
  }
  setAddress(address, "OTHER");
}

std::string VCard::getCompany() const { return fieldAt(getProperty("ORG"), kCompanyField); }

void VCard::setCompany(std::string_view text) { setProperty("ORG", withField(getProperty("ORG"), kCompanyField, text)); }

std::string VCard::getDepartment() const { return fieldAt(getProperty("ORG"), kDepartmentField); }

void VCard::setDepartment(std::string_view text) {
  setProperty("ORG", withField(getProperty("ORG"), kDepartmentField, text));
}

std::string VCard::getOffice() const {
  const PropertyValue* work = findTyped(root().findProperty("ADR"), "WORK");
  std::string room = work != nullptr ? fieldAt(work->text, kExtendedField) : std::string();
  return room.empty() ? getProperty("X-ROOM") : room;
}

void VCard::setOffice(std::string_view text) {
  PropertyValue& work = typedValue("ADR", "WORK");
  work.text = withField(work.text, kExtendedField, text);
}

std::vector<Email> VCard::getEmails() const {
  std::vector<Email> emails;
  for (const PropertyValue& value : root().findProperty("EMAIL").values) {
    const Email::Kind kind = value.hasType("WORK")   ? Email::Kind::Work
                             : value.hasType("HOME") ? Email::Kind::Home
                                                     : Email::Kind::None;
    emails.push_back({value.text, std::string(value.firstParamValue("CN")), kind, value.isPreferred()});
  }
  return emails;
}

void VCard::setEmail(const Email& email, std::size_t index) {
  PropertyValue& value = rootForWrite().addProperty("EMAIL").valueAt(index);
  value.clearParams();
  if (email.preferred) {
    value.setPreferred();
  }
  if (email.kind != Email::Kind::None) {
    value.addParamValue("TYPE", email.kind == Email::Kind::Work ? "WORK" : "HOME");
  }
  if (!email.name.empty()) {
    value.setParam("CN", email.name);
  }
  value.text = email.address;
}

std::string VCard::getUrl(std::string_view type) const {
  const PropertyValue* value = findTyped(root().findProperty("URL"), type);
  return value != nullptr ? value->text : std::string();
}

void VCard::setUrl(std::string_view text, std::string_view type) { typedValue("URL", type).text = text; }

DateTime VCard::getDay(std::string_view name) const {
  DateTime date = DateTime::parse(getProperty(name));
  date.setFixedOffset(Duration(0));
  return date;
}

void VCard::setDay(std::string_view name, const DateTime& date) {
  // A local midnight stays on its day, whatever the offset.
  constexpr Duration kHalfDay(calendar::kDay / 2);
  DateTime day = date.isDateOnly() ? date : (date + kHalfDay).makeDateOnly();
  day.setFixedOffset(Duration(0));  // a card holds no zones
  rootForWrite().addProperty(name).firstValueForWrite().setDateTime(day);
}

}  // namespace nalvo::mail
