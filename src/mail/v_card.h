// Cards: contacts and distribution lists.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mail/v_base.h"

namespace nalvo::mail {

enum class TelKind : std::uint8_t {
  Assistant,
  Business,
  BusinessFax,
  Callback,
  Car,
  CompanyMain,
  Home,
  HomeFax,
  Isdn,
  Mobile,
  Other,
  OtherFax,
  Pager,
  Primary,
  Radio,
  Telex,
  TtyTdd,
};

struct Phone {
  TelKind kind = TelKind::Other;
  std::string number;
  bool preferred = false;
};

struct Address {
  bool preferred = false;
  std::string poBox, extended, street, region, city, postalCode, country;
  std::string label;   // the address as it stands on a letter
  bool found = false;  // the card has the fields or the label
};

struct Email {
  enum class Kind : std::uint8_t { Work, Home, None };

  std::string address, name;
  Kind kind = Kind::None;
  bool preferred = false;
};

// A member of a distribution list.
struct DistItem {
  enum class Kind : std::uint8_t { Unknown, Reference, Opaque };

  Kind kind = Kind::Unknown;
  std::string name, email;
  std::string data;  // what a reference points at; of an opaque member its Base64 text
  std::string messageGuid;
  std::uint32_t number = 0;  // the one behind a reference
  bool isList = false;       // the reference is to a list
};

class VCard : public VBase {
 public:
  const char* getType() const override { return "VCARD"; }
  void dump(std::ostream& log) const override;

  void createNew(bool isDistList = false);

  std::string getVersion() const { return getProperty("VERSION"); }
  void setVersion(std::string_view text) { setProperty("VERSION", text); }
  std::string getProdId() const { return getProperty("PRODID"); }
  void setProdId(std::string_view text) { setProperty("PRODID", text); }
  std::string getNickname() const { return getProperty("NICKNAME"); }
  void setNickname(std::string_view text) { setProperty("NICKNAME", text); }
  std::string getFreeBusyUrl() const { return getProperty("FBURL"); }
  void setFreeBusyUrl(std::string_view text) { setProperty("FBURL", text); }
  std::string getManager() const { return getProperty("X-MANAGER"); }
  void setManager(std::string_view text) { setProperty("X-MANAGER", text); }
  std::string getAssistant() const { return getProperty("X-ASSISTANT"); }
  void setAssistant(std::string_view text) { setProperty("X-ASSISTANT", text); }
  std::string getTitle() const { return getProperty("TITLE"); }
  void setTitle(std::string_view text) { setProperty("TITLE", text); }
  std::string getNote() const { return getProperty("NOTE"); }
  // What came with the former note goes.
  void setNote(std::string text);
  std::string getNoteAltRep() const;
  std::string getIcq() const { return getProperty("ICQ"); }
  void setIcq(std::string_view text) { setProperty("ICQ", text); }
  std::string getPhoto() const { return getProperty("PHOTO"); }
  void setPhoto(std::string_view uri);
  void setDistList() { setProperty("X-DL", "TRUE"); }
  bool isDistList() const;

  std::string getFamilyName() const { return getNameField(kFamily); }
  std::string getGivenName() const { return getNameField(kGiven); }
  std::string getAdditionalName() const { return getNameField(kAdditional); }
  std::string getPrefix() const { return getNameField(kPrefix); }
  std::string getSuffix() const { return getNameField(kSuffix); }
  // FN follows these, but not the prefix alone, until setFn was called.
  void setFamilyName(std::string_view text) { setNameField(kFamily, text); }
  void setGivenName(std::string_view text) { setNameField(kGiven, text); }
  void setAdditionalName(std::string_view text) { setNameField(kAdditional, text); }
  void setPrefix(std::string_view text) { setNameField(kPrefix, text); }
  void setSuffix(std::string_view text) { setNameField(kSuffix, text); }

  // The whole name; made of its fields when the card doesn't give it.
  std::string getFn() const;
  void setFn(std::string_view text);
  std::string makeFn() const;

  // How the card is filed; made by getFileAsId() when the card doesn't tell.
  std::string getFileAs() const;
  void setFileAs(std::string_view text);
  int getFileAsId() const;
  std::string makeFileAs() const;

  // The index-th of that kind, with an empty number when there is none. The setter makes those that are missing up to it.
  Phone getTel(TelKind kind, std::size_t index = 0) const;
  void setTel(const Phone& phone, std::size_t index = 0);

  // The first with that TYPE; with an empty type, one without any. The setter leaves `extended` as it is in the card.
  Address getAddress(std::string_view type) const;
  void setAddress(const Address& address, std::string_view type);
  Address getHomeAddress() const { return getAddress("HOME"); }
  void setHomeAddress(const Address& address) { setAddress(address, "HOME"); }
  Address getWorkAddress() const { return getAddress("WORK"); }
  void setWorkAddress(const Address& address) { setAddress(address, "WORK"); }
  // One without a type counts as the other one, and is replaced by it.
  Address getOtherAddress() const;
  void setOtherAddress(const Address& address);

  std::string getCompany() const;
  void setCompany(std::string_view text);
  std::string getDepartment() const;
  void setDepartment(std::string_view text);
  // The room: a field of the work address, or X-ROOM.
  std::string getOffice() const;
  void setOffice(std::string_view text);

  std::vector<Email> getEmails() const;
  void setEmail(const Email& email, std::size_t index);

  std::string getUrl(std::string_view type) const;
  void setUrl(std::string_view text, std::string_view type);
  std::string getHomeUrl() const { return getUrl("HOME"); }
  void setHomeUrl(std::string_view text) { setUrl(text, "HOME"); }
  std::string getWorkUrl() const { return getUrl("WORK"); }
  void setWorkUrl(std::string_view text) { setUrl(text, "WORK"); }

  // At offset zero. A date with a time goes to the day whose midnight is the nearest.
  DateTime getBirthday() const { return getDay("BDAY"); }
  void setBirthday(const DateTime& date) { setDay("BDAY", date); }
  DateTime getAnniversary() const { return getDay("X-ANNIVERSARY"); }
  void setAnniversary(const DateTime& date) { setDay("X-ANNIVERSARY", date); }

  std::vector<DistItem> getDistItems() const;
  void addDistItem(const DistItem& item);
  void removeDistItems();

 protected:
  bool readFrom(HeaderLex& lexer) override;

 private:
  enum NameField : std::size_t { kFamily, kGiven, kAdditional, kPrefix, kSuffix };

  std::string getNameField(NameField field) const;
  void setNameField(NameField field, std::string_view text);
  PropertyValue& typedValue(std::string_view name, std::string_view type);
  DateTime getDay(std::string_view name) const;
  void setDay(std::string_view name, const DateTime& date);

  bool fnIsExplicit_ = false;
};

// A card whose members are its children.
class VDistList final : public VCard {
 public:
  void createNew() { VCard::createNew(true); }
};

}  // namespace nalvo::mail
