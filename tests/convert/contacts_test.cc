// Contacts, both ways.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "convert/attachment_convert.h"
#include "convert/groupware/contact_tables.h"
#include "mail/windows_zone.h"
#include "properties/address_maker.h"
#include "properties/entry_lists.h"
#include "tests/support/item.h"

namespace nalvo::test {
namespace {

constexpr ULONG kBirthday = propTag(PT_SYSTIME, 0x3A42);
constexpr ULONG kAnniversary = propTag(PT_SYSTIME, 0x3A41);
constexpr ULONG kBusinessPhone = propTag(PT_UNICODE, 0x3A08);
constexpr ULONG kBusiness2Phone = propTag(PT_UNICODE, 0x3A1B);
constexpr ULONG kStreet = contact::kMailingAddress[0];
constexpr ULONG kPostalAddress = contact::kMailingAddress[6];

std::string cardOf(const std::string& mail) {
  const std::size_t start = std::min(mail.find("BEGIN:VCARD"), mail.size());
  return mail.substr(start, mail.find("END:VCARD") - start);
}

std::u16string wide(std::string_view text) { return utf8ToWide(text); }

// A card as a mail of its own.
class ReceivedContact : public ReceivedItem {
 public:
  explicit ReceivedContact(const std::string& lines, const char* type = "text/x-vcard")
      : ReceivedItem(u"IPM.Contact", "Content-Type: " + std::string(type) + "; charset=utf-8\n\nBEGIN:VCARD\nVERSION:3.0\n" +
                                         lines + "END:VCARD\n") {}

  std::string utf8(ULONG tag) const { return has(tag) ? wideToUtf8(text(tag)) : "<none>"; }
  std::string utf8(const NamedProperty& property) const { return utf8(tagOf(property)); }
};

host::PropertyBag& addPhoto(Item& contact, std::u16string contentId) {
  ComPtr<IConvertAttachment> made;
  EXPECT_EQ(contact.message->createAttachment(made.put()), S_OK);
  EXPECT_EQ(made->saveChanges(), S_OK);
  host::PropertyBag& bag = contact.message->parts().attachments.back()->bag();
  bag.set(PR_ATTACH_METHOD, {PT_LONG, static_cast<std::int32_t>(AttachMethod::ByValue)});
  bag.set(PR_ATTACH_LONG_FILENAME, {PT_UNICODE, std::u16string(u"ContactPicture.jpg")});
  bag.set(PR_ATTACH_DATA_BIN, {PT_BINARY, std::string("\xFF\xD8\xFF\0picture", 11)});
  bag.set(PR_ATTACHMENT_CONTACTPHOTO, {PT_BOOLEAN, true});
  if (!contentId.empty()) {
    bag.set(PR_ATTACH_CONTENT_ID, {PT_UNICODE, std::move(contentId)});
  }
  return bag;
}

// Everything that a card has a place for.
void fill(Item& contact) {
  contact.set(PR_DISPLAY_NAME, std::u16string(u"Dr. Zo\u00eb A. O\u2019Neil; Jr."));
  int count = 0;
  for (const contact::TextRow& row : contact::kTexts) {
    contact.set(row.property.tagOn(contact.message.get()), wide("text; " + std::to_string(++count) + ", \\ more"));
  }
  for (const contact::ExtensionRow& row : contact::kExtensions) {
    contact.set(row.tag, wide(row.name) + u" \u010d");
  }
  for (const contact::PhoneRow& row : contact::kPhones) {
    contact.set(row.tag, wide("+420 " + std::to_string(++count)));
  }
  for (const contact::AddressRow& row : contact::kAddresses) {
    for (const PropertyKey& part : row.parts) {
      contact.set(part.tagOn(contact.message.get()), wide("part, of " + std::string(row.type) + std::to_string(++count)));
    }
  }
  contact.set(named::kPostalAddressId, std::int32_t{3});
  for (const contact::EmailRow& slot : contact::kEmails) {
    const std::string number = std::to_string(++count);
    contact.set(slot.addressType, std::u16string(u"SMTP"));
    contact.set(slot.address, wide("zoe." + number + "@example.org"));
    contact.set(slot.displayName, wide("Zo\u00eb (" + number + ")"));
    contact.set(slot.originalName, wide("Zo\u00eb (" + number + ")"));
  }
  contact.set(kBirthday, mail::DateTimeUtils::systemTimeToFileTime({1973, 11, 0, 19, 0, 0, 0, 0}));
  contact.set(kAnniversary, mail::DateTimeUtils::systemTimeToFileTime({1999, 2, 0, 28, 0, 0, 0, 0}));
  contact.set(contact::PR_CHILDRENS_NAMES, std::vector<std::u16string>{u"Ann, B.", u"Bob; C."});
  contact.set(named::kKeywords, std::vector<std::u16string>{u"friends", u"\u0161"});
  contact.set(PR_BODY, std::u16string(u"A note\r\nof two lines"));
  contact.set(named::kPrivate, true);
  contact.set(named::kFileUnder, std::u16string(u"O\u2019Neil, Zo\u00eb"));
  contact.set(named::kFileUnderId, std::int32_t{0x8018});
  addPhoto(contact, {});
}

TEST(Contact, ComesBackWithEverything) {
  Item contact(u"IPM.Contact");
  fill(contact);
  const std::string mail = contact.write();
  const Item back(contact, mail);
  const auto expectSame = [&](ULONG old, ULONG now) { EXPECT_EQ(back.text(now), contact.text(old)) << std::hex << old; };
  for (const contact::TextRow& row : contact::kTexts) {
    expectSame(row.property.tagOn(contact.message.get()), row.property.tagOn(back.message.get()));
  }
  for (const contact::ExtensionRow& row : contact::kExtensions) {
    expectSame(row.tag, row.tag);
  }
  for (const contact::PhoneRow& row : contact::kPhones) {
    expectSame(row.tag, row.tag);
  }
  for (const contact::AddressRow& row : contact::kAddresses) {
    for (const PropertyKey& part : row.parts) {
      expectSame(part.tagOn(contact.message.get()), part.tagOn(back.message.get()));
    }
  }
  for (const contact::EmailRow& slot : contact::kEmails) {
    for (const NamedProperty* property : {&slot.address, &slot.displayName, &slot.originalName, &slot.addressType}) {
      expectSame(contact.tagOf(*property), back.tagOf(*property));
    }
    const auto entry = parseOneOffEntry(back.bytes(back.tagOf(slot.entryId)));
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->address, contact.text(contact.tagOf(slot.address)));
    EXPECT_EQ(entry->name, contact.text(contact.tagOf(slot.displayName)));
  }
  // The third address is the mailing address.
  EXPECT_EQ(back.number(back.tagOf(named::kPostalAddressId)), 3U);
  for (std::size_t i = 0; i < contact::kMailingAddress.size(); ++i) {
    expectSame(contact::kAddresses[2].parts[i].tagOn(contact.message.get()), contact::kMailingAddress[i]);
  }
  for (const ULONG day : {kBirthday, kAnniversary}) {
    EXPECT_EQ(back.get<FILETIME>(day).dwHighDateTime, contact.get<FILETIME>(day).dwHighDateTime);
    EXPECT_EQ(back.get<FILETIME>(day).dwLowDateTime, contact.get<FILETIME>(day).dwLowDateTime);
  }
  using Texts = std::vector<std::u16string>;
  EXPECT_EQ(back.get<Texts>(contact::PR_CHILDRENS_NAMES), (Texts{u"Ann, B.", u"Bob; C."}));
  EXPECT_EQ(back.get<Texts>(back.tagOf(named::kKeywords)), (Texts{u"friends", u"\u0161"}));
  EXPECT_EQ(back.text(PR_BODY), u"A note\nof two lines");
  EXPECT_TRUE(back.get<bool>(back.tagOf(named::kPrivate)));
  EXPECT_EQ(back.number(PR_SENSITIVITY), 2U);
  EXPECT_EQ(back.text(back.tagOf(named::kFileUnder)), u"O\u2019Neil, Zo\u00eb");
  EXPECT_EQ(back.number(back.tagOf(named::kFileUnderId)), 0x8018U);
  EXPECT_EQ(back.text(PR_DISPLAY_NAME), contact.text(PR_DISPLAY_NAME));
  EXPECT_EQ(back.text(PR_SUBJECT), contact.text(PR_DISPLAY_NAME));
  EXPECT_EQ(back.number(back.tagOf(named::kAddressBookProviderArrayType)), 0x3FU);
  EXPECT_EQ(back.get<std::vector<std::int32_t>>(back.tagOf(named::kAddressBookProviderEmailList)),
            (std::vector<std::int32_t>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(back.text(back.tagOf(named::kFax2OriginalDisplayName)),
            back.text(PR_SUBJECT) + u"@" + contact.text(contact::PR_BUSINESS_FAX_NUMBER));
}

TEST(Contact, PhotoIsReferredToByItsContentId) {
  struct Case {
    std::u16string contentId;
    const char* inCard;  // null: a new one
  };
  for (const Case& c :
       {Case{u"<a.b@c>", "PHOTO;VALUE=URI:cid:a.b@c\r\n"}, Case{u"x", "PHOTO;VALUE=URI:cid:x\r\n"}, Case{u"", nullptr}}) {
    Item contact(u"IPM.Contact");
    contact.set(PR_DISPLAY_NAME, std::u16string(u"Ann"));
    const host::PropertyBag& photo = addPhoto(contact, c.contentId);
    const std::string mail = contact.write();
    if (c.inCard != nullptr) {
      EXPECT_NE(mail.find(c.inCard), std::string::npos) << mail;
    }
    EXPECT_EQ(cardOf(contact.write()), cardOf(mail));  // by the id that the first run gave it
    const Item back(contact, mail);
    ASSERT_EQ(back.message->parts().attachments.size(), 1U);
    const host::PropertyBag& bag = back.message->parts().attachments[0]->bag();
    ASSERT_NE(bag.find(PR_ATTACHMENT_CONTACTPHOTO), nullptr) << mail;
    EXPECT_EQ(host::bytesOf(*bag.find(PR_ATTACH_DATA_BIN)), host::bytesOf(*photo.find(PR_ATTACH_DATA_BIN)));
    EXPECT_TRUE(back.get<bool>(back.tagOf(named::kHasPicture)));
    EXPECT_NE(mail.find("cid:" + wideToUtf8(back.text(back.tagOf(named::kContactPictureCid)))), std::string::npos);
  }
}

TEST(Contact, PictureInTheCardBecomesItsPhoto) {
  const std::string jpeg("\xFF\xD8\xFF\0picture", 11), png("\x89PNG\r\n\0picture", 14);
  struct Case {
    const char* line;
    std::string bytes;
    std::u16string name, type;
  };
  for (const Case& c :
       {Case{"PHOTO;ENCODING=b;TYPE=PNG:/9j/AHBp\n Y3R1cmU=\n", jpeg, u"ContactPicture.jpg", u"image/jpeg"},
        Case{"PHOTO;BASE64:\n  /9j/AHBp\n  Y3R1cmU=\n\n", jpeg, u"ContactPicture.jpg", u"image/jpeg"},
        Case{"PHOTO;VALUE=URI:data:image/jpeg;base64,iVBORw0KAHBpY3R1cmU=\n", png, u"ContactPicture.png", u"image/png"}}) {
    ReceivedContact contact(std::string("FN:Ann\n") + c.line);
    const std::string mail = contact.write();
    Caller back;
    EXPECT_EQ(back.toMapi(back.stream(mail).get()), S_OK);
    for (const Caller* each : std::initializer_list<const Caller*>{&contact, &back}) {
      const auto& attachments = each->message->parts().attachments;
      ASSERT_EQ(attachments.size(), 1U) << c.line << mail;
      const host::PropertyBag& bag = attachments[0]->bag();
      EXPECT_EQ(host::bytesOf(*bag.find(PR_ATTACH_DATA_BIN)), c.bytes);
      EXPECT_EQ(host::textOf(*bag.find(PR_ATTACH_LONG_FILENAME)), c.name);
      EXPECT_EQ(host::textOf(*bag.find(PR_ATTACH_MIME_TAG)), c.type);
      EXPECT_NE(bag.find(PR_ATTACHMENT_CONTACTPHOTO), nullptr);
      EXPECT_EQ(host::textOf(*bag.find(PR_ATTACH_CONTENT_ID)), each->text(each->tagOf(named::kContactPictureCid)));
      EXPECT_TRUE(each->get<bool>(each->tagOf(named::kHasPicture)));
    }
  }
  // What is no picture is a reference, of whatever kind.
  for (const char* line : {"PHOTO;VALUE=URI:http://example.org/a.jpg\n", "PHOTO:TGFycw==\n", "PHOTO:CID:x@y\n"}) {
    ReceivedContact contact(std::string("FN:Ann\n") + line);
    EXPECT_TRUE(contact.message->parts().attachments.empty());
    EXPECT_FALSE(contact.utf8(named::kContactPictureCid).starts_with("CID:"));
    EXPECT_EQ(contact.write().find("PHOTO;VALUE=URI:http://example.org/a.jpg\r\n") != std::string::npos,
              std::string_view(line).find("http") != std::string_view::npos);
  }
}

TEST(Contact, StaysOneBesideAFile) {
  for (const char16_t* messageClass : {u"IPM.Contact", u"IPM.DistList", u"IPM.StickyNote"}) {
    Item item(messageClass);
    item.set(PR_SUBJECT, std::u16string(u"Ann"));
    item.set(PR_DISPLAY_NAME, std::u16string(u"Ann"));
    item.set(PR_BODY, std::u16string(u"Ann"));
    ComPtr<IConvertAttachment> file;
    ASSERT_EQ(item.message->createAttachment(file.put()), S_OK);
    ASSERT_EQ(file->saveChanges(), S_OK);
    host::PropertyBag& bag = item.message->parts().attachments.back()->bag();
    bag.set(PR_ATTACH_METHOD, {PT_LONG, static_cast<std::int32_t>(AttachMethod::ByValue)});
    bag.set(PR_ATTACH_LONG_FILENAME, {PT_UNICODE, std::u16string(u"a.bin")});
    bag.set(PR_ATTACH_DATA_BIN, {PT_BINARY, std::string("data")});
    for (const DWORD word : {DWORD{0}, DWORD{CONVERT_TO_ATTACHMENT}}) {
      const std::string mail = item.write(word);
      Caller back;
      ASSERT_EQ(back.toMapi(back.stream(mail).get(), word == 0 ? 0 : CONVERT_FROM_ATTACHMENT), S_OK);
      EXPECT_EQ(back.text(PR_MESSAGE_CLASS), messageClass) << mail;
      EXPECT_EQ(back.text(PR_BODY), u"Ann");
      EXPECT_EQ(back.message->parts().attachments.size(), 1U) << mail;
    }
  }
}

TEST(Contact, IsFiledAsTheCardSays) {
  struct Case {
    std::string lines;
    std::uint32_t id;
    std::string text;
  };
  const Case cases[] = {
      {"N:Doe;Jo;Q.\n", 0x8017, "Doe, Jo Q."},
      {"N:;Jo;Q.\n", 0x8017, "Jo Q."},
      {"N:Doe\nORG:Acme\n", 0x8017, "Doe"},
      {"ORG:Acme\n", 0x3A16, "Acme"},
      {"NOTE:x\n", 0x3A16, "<none>"},
      {"N:Doe;Jo\nX-FILE-AS:Boss\n", 0x8017, "Boss"},
      {"N:Doe;Jo\nORG:Acme\nX-FILE-AS-ID:3\n", 0x8017, "Acme"},
      {"N:Doe;Jo\nX-FILE-AS-ID:0\n", 0x8017, "Doe, Jo"},
  };
  for (const Case& c : cases) {
    const ReceivedContact contact(c.lines);
    EXPECT_EQ(contact.utf8(named::kFileUnder), c.text) << c.lines;
    EXPECT_EQ(contact.number(contact.tagOf(named::kFileUnderId)), c.id) << c.lines;
  }
}

TEST(Contact, IsFiledByTheRuleThatItHad) {
  struct Case {
    std::int32_t id;
    std::uint32_t idBack;
    const char16_t* company;
    const char16_t* text;
  };
  const Case cases[] = {
      {0x8018, 0x8018, u"Acme", u"Acme (Doe, Jo)"}, {0x8018, 0x8018, u"", u"(Doe, Jo)"},
      {0x8019, 0x8019, u"Acme", u"Doe, Jo (Acme)"}, {0x8019, 0x8019, u"", u"Doe, Jo"},
      {0x8037, 0x8037, u"Acme", u"Jo Doe Jr."},     {0x1234, 0x3A16, u"Acme", u"Acme"},
      {0x3A16, 0x3A16, u"Acme", u"Acme"},
  };
  for (const Case& c : cases) {
    Item contact(u"IPM.Contact");
    contact.set(contact::PR_GIVEN_NAME, std::u16string(u"Jo"));
    contact.set(contact::PR_SURNAME, std::u16string(u"Doe"));
    contact.set(contact::PR_GENERATION, std::u16string(u"Jr."));
    contact.set(contact::PR_COMPANY_NAME, std::u16string(c.company));
    contact.set(named::kFileUnderId, c.id);
    const Item back(contact, contact.write());
    EXPECT_EQ(back.text(back.tagOf(named::kFileUnder)), c.text) << std::hex << c.id;
    EXPECT_EQ(back.number(back.tagOf(named::kFileUnderId)), c.idBack);
  }
}

TEST(Contact, EmailsTakeTheSlotsInOrder) {
  const ReceivedContact contact(
      "FN:Jo\nEMAIL:no address\nEMAIL;CN=A@X.org:a@x.org\nEMAIL;TYPE=PREF:b@x..org\nEMAIL;CN=\"Bea\":b@x.org\n"
      "EMAIL:c@x\nEMAIL:d@x.org\n");
  EXPECT_EQ(contact.utf8(named::kEmail1EmailAddress), "a@x.org");
  EXPECT_EQ(contact.utf8(named::kEmail1DisplayName), "Jo");  // A name that is the address says nothing.
  EXPECT_EQ(contact.utf8(named::kEmail2EmailAddress), "b@x.org");
  EXPECT_EQ(contact.utf8(named::kEmail2OriginalDisplayName), "Bea");
  EXPECT_EQ(contact.utf8(named::kEmail3EmailAddress), "c@x");
  EXPECT_EQ(contact.number(contact.tagOf(named::kAddressBookProviderArrayType)), 7U);
}

TEST(Contact, KeepsAddressesOfOtherSystems) {
  Item contact(u"IPM.Contact");
  contact.set(PR_DISPLAY_NAME, std::u16string(u"Jo"));
  contact.set(named::kEmail1AddressType, std::u16string(u"EX"));
  contact.set(named::kEmail1EmailAddress, std::u16string(u"/o=Acme/cn=jo"));
  contact.set(named::kEmail1DisplayName, std::u16string(u"Jo (inside)"));
  contact.set(named::kEmail1OriginalEntryId, std::string("\0\1directory", 11));
  const Item alone(contact, contact.write());
  EXPECT_EQ(alone.text(alone.tagOf(named::kEmail1EmailAddress)), u"/o=Acme/cn=jo");
  EXPECT_EQ(alone.bytes(alone.tagOf(named::kEmail1OriginalEntryId)), std::string("\0\1directory", 11));
  // Another address moves up, and this one behind it.
  contact.set(named::kEmail2AddressType, std::u16string(u"SMTP"));
  contact.set(named::kEmail2EmailAddress, std::u16string(u"jo@acme.example"));
  const Item both(contact, contact.write());
  EXPECT_EQ(both.text(both.tagOf(named::kEmail1EmailAddress)), u"jo@acme.example");
  EXPECT_EQ(both.text(both.tagOf(named::kEmail1AddressType)), u"SMTP");
  EXPECT_EQ(both.text(both.tagOf(named::kEmail2AddressType)), u"EX");
  EXPECT_EQ(both.text(both.tagOf(named::kEmail2DisplayName)), u"Jo (inside)");
  EXPECT_EQ(both.bytes(both.tagOf(named::kEmail2OriginalEntryId)), std::string("\0\1directory", 11));
  EXPECT_EQ(both.number(both.tagOf(named::kAddressBookProviderArrayType)), 3U);
}

TEST(Contact, NumbersOfOneKindAreToldApartByTheirOrder) {
  Item contact(u"IPM.Contact");
  contact.set(kBusiness2Phone, std::u16string(u"2"));
  const Item moved(contact, contact.write());
  EXPECT_EQ(moved.text(kBusinessPhone), u"2");
  contact.set(kBusinessPhone, std::u16string(u"1"));
  const Item both(contact, contact.write());
  EXPECT_EQ(both.text(kBusinessPhone), u"1");
  EXPECT_EQ(both.text(kBusiness2Phone), u"2");
}

TEST(Contact, MailingAddressIsTheOneChosenOrTheFirstThatThereIs) {
  struct Case {
    std::string lines;
    std::string id, street, label;
  };
  const Case cases[] = {
      {"ADR;TYPE=HOME:;;1 Low St;Ely;;CB7;UK\n", "1", "1 Low St", "1 Low St, Ely CB7\nUK"},
      {"ADR;TYPE=HOME:;;H\nADR;TYPE=WORK:;;W\n", "<none>", "W", "W"},
      {"ADR;TYPE=HOME:;;H\nADR;TYPE=WORK,PREF:;;W\n", "2", "W", "W"},
      {"ADR;TYPE=PREF:;;;Ely;Cambs\nADR;TYPE=WORK:;;W\n", "3", "<none>", "Ely Cambs"},
      {"ADR;TYPE=HOME:;;H\nLABEL;TYPE=HOME:By hand\n", "1", "H", "By hand"},
      {"FN:Jo\n", "<none>", "<none>", "<none>"},
  };
  for (const Case& c : cases) {
    const ReceivedContact contact(c.lines);
    const ULONG id = contact.tagOf(named::kPostalAddressId);
    EXPECT_EQ(contact.has(id) ? std::to_string(contact.number(id)) : "<none>", c.id) << c.lines;
    EXPECT_EQ(contact.utf8(kStreet), c.street) << c.lines;
    EXPECT_EQ(contact.utf8(kPostalAddress), c.label) << c.lines;
  }
  // None is chosen, and that stays.
  Item none(u"IPM.Contact");
  none.set(named::kPostalAddressId, std::int32_t{0});
  none.set(named::kWorkAddressStreet, std::u16string(u"W"));
  const Item back(none, none.write());
  EXPECT_EQ(back.number(back.tagOf(named::kPostalAddressId)), 0U);
  EXPECT_EQ(back.text(back.tagOf(named::kWorkAddressStreet)), u"W");
  EXPECT_FALSE(back.has(kStreet));
}

TEST(Contact, SubjectIsTheNameAndItsPrefixIsLeftOut) {
  const ReceivedContact contact("N:Doe;Jo;;Dr.\nFN:Dr. Jo Doe\n");
  EXPECT_EQ(contact.utf8(PR_SUBJECT), "Dr. Jo Doe");
  EXPECT_EQ(contact.utf8(PR_NORMALIZED_SUBJECT), "Jo Doe");
  const ReceivedContact made("N:Doe;Jo;;Dr.\n", "text/vcard");
  EXPECT_EQ(made.utf8(PR_DISPLAY_NAME), "Dr. Jo Doe");
  const ReceivedContact nobody("NOTE:x\n");
  EXPECT_EQ(nobody.utf8(PR_DISPLAY_NAME), "");
  EXPECT_FALSE(nobody.has(PR_SUBJECT));
}

TEST(Contact, IsMadeOfTheCardThatIsNoAttachment) {
  const ReceivedItem contact(u"IPM.Contact",
                             "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/vcard\n\n"
                             "BEGIN:VCARD\nFN:Jo\nEND:VCARD\n--b\nContent-Type: text/x-vcard\n"
                             "Content-Disposition: attachment; filename=a.vcf\n\nBEGIN:VCARD\nFN:Ann\nEND:VCARD\n--b--\n");
  EXPECT_EQ(contact.text(PR_DISPLAY_NAME), u"Jo");
}

// The machine stands there while this lives.
class ScopedPlace {
 public:
  explicit ScopedPlace(const char* zone) : former_(std::getenv("TZ") == nullptr ? "" : std::getenv("TZ")) {
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedPlace() {
    former_.empty() ? unsetenv("TZ") : setenv("TZ", former_.c_str(), 1);
    tzset();
  }

 private:
  std::string former_;
};

TEST(Contact, DaysStayWhereverTheMachineIs) {
  for (const char* zone : {"Pacific/Pago_Pago", "America/New_York", "America/Sao_Paulo", "UTC", "Europe/Prague",
                           "Asia/Kolkata", "Pacific/Auckland", "Etc/GMT-13"}) {
    const ScopedPlace place(zone);
    for (const char* day : {"19600229", "19801006", "20240701", "20241231", "45010101"}) {
      const ReceivedContact contact("BDAY:" + std::string(day) + "\nX-ANNIVERSARY:" + day + "\n");
      ASSERT_TRUE(contact.has(kBirthday) && contact.has(kAnniversary)) << zone << day;
      // As people's programs store it: midnight there, in UTC.
      if (std::string_view(day) != "45010101") {
        const SYSTEMTIME local = mail::DateTimeUtils::gmtToLocal(
            mail::DateTimeUtils::fileTimeToSystemTime(contact.get<FILETIME>(kBirthday)), nullptr);
        EXPECT_EQ(local.wHour, 0) << zone << day;
        EXPECT_EQ(local.wDay, std::stoi(std::string(day).substr(6))) << zone << day;
      }
      Item again(u"IPM.Contact");
      again.set(kBirthday, contact.get<FILETIME>(kBirthday));
      again.set(kAnniversary, contact.get<FILETIME>(kAnniversary));
      const std::string mail = again.write();
      EXPECT_NE(mail.find("BDAY;VALUE=DATE:" + std::string(day)), std::string::npos) << zone << mail;
      EXPECT_NE(mail.find("X-ANNIVERSARY;VALUE=DATE:" + std::string(day)), std::string::npos) << zone << mail;
    }
  }
}

TEST(Contact, DaysAtTheEndsOfTimeStandForNone) {
  for (const char* zone : {"Pacific/Pago_Pago", "UTC"}) {
    const ScopedPlace place(zone);
    for (const char* day : {"BDAY:1555-01-01T10\n", "BDAY:16010101\n"}) {
      const FILETIME time = ReceivedContact(day).get<FILETIME>(kBirthday);
      EXPECT_EQ(time.dwHighDateTime | time.dwLowDateTime, 0U) << zone << day;
    }
    Item none(u"IPM.Contact");
    none.set(kBirthday, FILETIME{});
    EXPECT_NE(none.write().find("BDAY;VALUE=DATE:16010101"), std::string::npos) << zone;
    EXPECT_FALSE(ReceivedContact("BDAY:--0101\n").has(kBirthday));
  }
}

TEST(FaultSweep, Contacts) {
  sweepWayOut(u"IPM.Contact", fill, 40);
  Item contact(u"IPM.Contact");
  fill(contact);
  sweepReceived(u"IPM.Contact", contact.write(kForSend), 40);
  sweepReceived(u"IPM.Contact", "Content-Type: text/x-vcard\n\nBEGIN:VCARD\nPHOTO;ENCODING=b:/9j/AHBp\nEND:VCARD\n");
}

}  // namespace
}  // namespace nalvo::test
