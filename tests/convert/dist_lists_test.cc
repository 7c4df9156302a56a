// Distribution lists, both ways.
#include <gtest/gtest.h>

#include "properties/address_maker.h"
#include "properties/entry_lists.h"
#include "tests/support/item.h"

namespace nalvo::test {
namespace {

using namespace std::string_literals;
using Members = std::vector<std::string>;

constexpr ULONG kStoreRecordKey = 0x0FFA0102;
constexpr ULONG kPlace = 0xAF000102;

std::string hex(std::string_view text) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes += static_cast<char>(digit(text[i]) * 16 + digit(text[i + 1]));
  }
  return bytes;
}

const std::string kWrappedHead = hex("00000000c091add3519dcf11a4a900aa0047faa4");
const std::string kStore = hex("0102030405060708090a0b0c0d0e0f10");
const std::string kObject = hex("33221100554477668899aabbccddeeff");
const std::string kObjectText = "00112233-4455-6677-8899-aabbccddeeff";
// Of an object in a store.
std::string innerEntryId(const std::string& store) { return hex("00000000") + store + hex("02000000") + kObject; }

std::string oneOff(const Caller& list, std::u16string_view name, std::u16string_view type, std::string_view address) {
  const MapiBuffer<SBinary> made = AddressMaker::createOneOffAddress(address, name, type, list.allocator.get());
  return {reinterpret_cast<const char*>(made->lpb), made->cb};
}

void setMembers(Caller& list, const Members& oneOffs, const Members& members) {
  list.set(named::kDistributionListOneOffMembers, oneOffs);
  list.set(named::kDistributionListMembers, members);
}

// A list to be filled with members.
class List : public Item {
 public:
  List() : Item(u"IPM.DistList") { set(PR_SUBJECT, std::u16string(u"Friends")); }
};

Members membersOf(const Caller& list) { return list.get<Members>(list.tagOf(named::kDistributionListMembers)); }
Members oneOffsOf(const Caller& list) { return list.get<Members>(list.tagOf(named::kDistributionListOneOffMembers)); }

std::string itemsOf(const std::string& mail) {
  const std::size_t start = std::min(mail.find("BEGIN:X-DL-ITEM"), mail.size());
  return mail.substr(start, std::min(mail.rfind("END:VCARD"), mail.size()) - start);
}

TEST(DistList, MembersTravelByTheirKind) {
  struct Case {
    const char* why;
    std::u16string type;
    std::string address;
    std::string member;  // empty: the one-off entry itself
    std::string text;    // in the item
    bool sameOneOff = true;
    std::string back = {};  // "?": the new one-off entry; empty: as it was
  };
  const std::string person = kWrappedHead + '\xC3' + innerEntryId(kStore);
  const std::string list = kWrappedHead + '\xB4' + innerEntryId(kStore);
  const std::string foreign = kWrappedHead + '\xC3' + hex("00000000") + kStore + hex("09000000") + kObject;
  const std::string noObject = kWrappedHead + '\xC3' + hex("00000000") + kStore + hex("00000000");
  const std::string reference = "DATA:0a0b0c0d-0000-0000-0000-000000000000/0000beef\r\nMESSAGEGUID:" + kObjectText + "\r\n";
  const Case cases[] = {
      {"a plain address", u"SMTP", "jo@example.org", "", "NAME:Jo\r\nEMAIL:jo@example.org\r\nEND"},
      {"the type in lower case", u"smtp", "jo@example.org", "", "NAME:Jo\r\nEMAIL:jo@example.org\r\nEND", false, "?"},
      {"a person in the store", u"SMTP", "jo@example.org", person,
       "TYPE:REFERENCE\r\nNAME:Jo\r\nEMAIL:jo@example.org\r\n" + reference},
      {"a list in the store", u"MAPIPDL", "", list, "TYPE:LISTREFERENCE\r\nNAME:Jo\r\n" + reference},
      {"of another store", u"SMTP", "jo@example.org", foreign,
       "TYPE:OPAQUE\r\nNAME:Jo\r\nEMAIL:jo@example.org\r\nDATA:AAAAAM"},
      {"no object", u"SMTP", "jo@example.org", noObject, "TYPE:OPAQUE\r\n"},
      {"a head alone", u"SMTP", "jo@example.org", kWrappedHead + '\xC3', "TYPE:OPAQUE\r\n"},
      {"nothing", u"SMTP", "jo@example.org", "x", "TYPE:OPAQUE\r\nNAME:Jo\r\nEMAIL:jo@example.org\r\nDATA:eA==\r\n"},
      // The one-off entry then says SMTP; the member value is the entry as it was.
      {"a directory", u"EX", "/o=Acme/cn=jo", "directory",
       "TYPE:OPAQUE\r\nNAME:Jo\r\nEMAIL:/o=Acme/cn=jo\r\nDATA:AAAAAIErH6S+oxAZ", false, "?"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    List source;
    const std::string entryId = oneOff(source, u"Jo", c.type, c.address);
    setMembers(source, {entryId}, {c.member.empty() ? entryId : c.member});
    source.set(kStoreRecordKey, kStore);
    source.addressBook->folderGuids[innerEntryId(kStore)] = {0x0A0B0C0D, 0, 0, {}};
    source.addressBook->entries[innerEntryId(kStore)][kPlace] = "folder/beef"s;
    const std::string mail = source.write();
    EXPECT_NE(itemsOf(mail).find(c.text), std::string::npos) << mail;
    Item back(source, "");
    back.set(kStoreRecordKey, kStore);
    ASSERT_EQ(back.toMapi(back.stream(mail).get()), S_OK);
    ASSERT_EQ(membersOf(back).size(), 1U);
    ASSERT_EQ(oneOffsOf(back).size(), 1U);
    if (c.sameOneOff) {
      EXPECT_EQ(oneOffsOf(back)[0], entryId);
    }
    const std::string expected = c.why == "a directory"s ? entryId
                                 : c.back == "?"         ? oneOffsOf(back)[0]
                                 : c.member.empty()      ? entryId
                                                         : c.member;
    EXPECT_EQ(membersOf(back)[0], expected);
    const auto entry = parseOneOffEntry(oneOffsOf(back)[0]);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->name, u"Jo");
  }
}

TEST(DistList, ReferencesPointIntoThePresentStore) {
  const std::string mail = crLf(
      "Content-Type: text/x-vcard-dl\n\nBEGIN:VCARD\nFN:L\nX-DL:TRUE\nBEGIN:X-DL-ITEM\nTYPE:REFERENCE\n"
      "NAME:Jo\nEMAIL:jo@x.org\nDATA:f/0001\nMESSAGEGUID:" +
      kObjectText + "\nEND:X-DL-ITEM\nEND:VCARD\n");
  const auto memberIn = [&mail](const std::string& key) {
    Item list(u"IPM.DistList");
    if (!key.empty()) {
      list.set(kStoreRecordKey, key);
    }
    EXPECT_EQ(list.toMapi(list.stream(mail).get()), S_OK);
    return membersOf(list).at(0);
  };
  EXPECT_EQ(memberIn(kStore), kWrappedHead + '\xC3' + innerEntryId(kStore));
  const std::string nowhere = kWrappedHead + '\xC3' + innerEntryId(std::string(16, '\0'));
  EXPECT_EQ(memberIn("short"), nowhere);
  EXPECT_EQ(memberIn(""), nowhere);
  EXPECT_EQ(nowhere.size(), 61U);
}

TEST(DistList, ListsOfUnlikeLengthKeepAllMembers) {
  List source;
  const std::string a = oneOff(source, u"A", u"SMTP", "a@x.org"), b = oneOff(source, u"B", u"SMTP", "b@x.org");
  setMembers(source, {a, b}, {a});
  EXPECT_EQ(membersOf(Item(source, source.write())), (Members{a, b}));
  setMembers(source, {a}, {a, "opaque", "more"});
  const Item back(source, source.write());
  EXPECT_EQ(membersOf(back), (Members{a, "opaque", "more"}));
  EXPECT_EQ(oneOffsOf(back), Members{a});
  setMembers(source, {a, "", b}, {a, "opaque", b});
  const Item nameless(source, source.write());
  EXPECT_EQ(membersOf(nameless), (Members{a, "opaque", b}));
  EXPECT_EQ(oneOffsOf(nameless), (Members{a, "", b}));
  // One that can't be read leaves its member out.
  setMembers(source, {a, "broken", b}, {a, "x", b});
  EXPECT_EQ(membersOf(Item(source, source.write())), (Members{a, b}));
}

TEST(DistList, HasItsOwnProperties) {
  List source;
  source.set(PR_SUBJECT, std::u16string(u"Fri\u00e9nds"));
  source.set(PR_BODY, std::u16string(u"note"));
  source.set(named::kKeywords, std::vector<std::u16string>{u"a", u"b"});
  source.set(named::kPrivate, true);
  const std::string mail = source.write();
  EXPECT_NE(mail.find("Content-Type: text/x-vcard-dl"), std::string::npos) << mail;
  EXPECT_NE(mail.find("X-DL:TRUE"), std::string::npos);
  const Item back(source, mail);
  for (const ULONG tag :
       {PR_SUBJECT, PR_DISPLAY_NAME, back.tagOf(named::kDistributionListName), back.tagOf(named::kFileUnder)}) {
    EXPECT_EQ(back.text(tag), u"Fri\u00e9nds") << std::hex << tag;
  }
  EXPECT_EQ(back.text(PR_BODY), u"note");
  EXPECT_EQ(back.number(PR_SENSITIVITY), 2U);
  EXPECT_EQ(back.number(back.tagOf(named::kSideEffects)), 0x10U);
  EXPECT_EQ(back.get<std::vector<std::u16string>>(back.tagOf(named::kKeywords)), (std::vector<std::u16string>{u"a", u"b"}));
  EXPECT_FALSE(back.has(back.tagOf(named::kDistributionListMembers)));
  source.set(named::kFileUnder, std::u16string(u"other"));
  const Item filed(source, source.write());
  EXPECT_EQ(filed.text(filed.tagOf(named::kFileUnder)), u"other");
}

TEST(DistList, ItemsThatSayNothingOrWrongThings) {
  struct Case {
    const char* item;
    HRESULT expected;
    std::size_t members;
  };
  const Case cases[] = {
      {"NAME:Jo\n", S_OK, 1},
      {"TYPE:OPAQUE\nNAME:Jo\nDATA:!\n", S_OK, 1},
      {"TYPE:OPAQUE\nDATA:eA==\n", S_OK, 1},
      {"TYPE:OPAQUE\nNAME:Jo\nDATA:====\n", MAPI_E_CORRUPT_DATA, 0},
      {"TYPE:REFERENCE\nNAME:Jo\nMESSAGEGUID:none\n", E_INVALIDARG, 0},
      {"X-ELSE:1\n", S_OK, 1},
  };
  for (const Case& c : cases) {
    const ReceivedItem list(u"IPM.DistList",
                            "Content-Type: text/x-vcard-dl\n\nBEGIN:VCARD\nFN:L\nX-DL:TRUE\nBEGIN:X-DL-ITEM\n"s + c.item +
                                "END:X-DL-ITEM\nEND:VCARD\n",
                            c.expected);
    if (c.members != 0) {
      EXPECT_EQ(membersOf(list).size(), c.members) << c.item;
    }
  }
  const ReceivedItem list(u"IPM.DistList",
                          "Content-Type: text/x-vcard-dl\n\nBEGIN:VCARD\nFN:L\nX-DL:TRUE\nBEGIN:X-DL-ITEM\n"
                          "NAME:J\0o\nEMAIL:j\0o@x.org\nEND:X-DL-ITEM\nEND:VCARD\n"s);
  const auto entry = parseOneOffEntry(membersOf(list).at(0));
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->name + entry->address, u"Jojo@x.org") << "a null character would end them";
}

void fill(Item& list) {
  const std::string smtp = oneOff(list, u"A", u"SMTP", "a@x.org"), nested = oneOff(list, u"L", u"MAPIPDL", "");
  list.set(PR_SUBJECT, std::u16string(u"L"));
  list.set(PR_BODY, std::u16string(u"x"));
  list.set(named::kKeywords, std::vector<std::u16string>{u"a"});
  list.set(named::kPrivate, true);
  list.set(kStoreRecordKey, kStore);
  setMembers(list, {smtp, nested, smtp}, {smtp, kWrappedHead + '\xB4' + innerEntryId(kStore), "x"});
  list.addressBook->folderGuids[innerEntryId(kStore)] = {};
  list.addressBook->entries[innerEntryId(kStore)][kPlace] = "folder/beef"s;
}

TEST(FaultSweep, DistLists) {
  sweepWayOut(u"IPM.DistList", fill, 20);
  List list;
  fill(list);
  sweepReceived(u"IPM.DistList", list.write(kForSend), 20);
}

}  // namespace
}  // namespace nalvo::test
