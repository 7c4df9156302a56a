// Cards, distribution lists and sticky notes.
#include "mail/v_card.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "mail/n_time_zone.h"
#include "mail/sticky_note.h"

namespace nalvo::mail {
namespace {

using namespace std::string_literals;

// A card of these lines.
class Card : public VCard {
 public:
  explicit Card(const std::string& lines) { readText("BEGIN:VCARD\r\n" + lines + "END:VCARD\r\n"); }

  void readText(const std::string& text) {
    std::istringstream in(text);
    ASSERT_TRUE(read(in));
  }
  // What is between BEGIN and END.
  std::string lines() const {
    const std::string text = toText();
    return text.empty() ? text : text.substr(13, text.size() - 13 - 11);
  }
};

TEST(VDistList, BeginsEmpty) {
  VDistList list;
  list.createNew();
  EXPECT_EQ(list.toText(),
            "BEGIN:VCARD\r\nVERSION:3.0\r\nPRODID:-//nalvo/Contacts//NONSGML v1.0//EN\r\nX-DL:TRUE\r\nEND:VCARD\r\n");
  EXPECT_TRUE(list.isDistList());
  static_cast<VCard&>(list).createNew();
  EXPECT_FALSE(list.isDistList());
}

TEST(VCard, KeepsTheNameFieldsApart) {
  Card card("");
  card.setFamilyName("a;b,c\\d");
  card.setPrefix("Dr.");
  EXPECT_EQ(card.getProperty("FN"), "a;b,c\\d") << "a prefix alone doesn't renew it";
  card.setGivenName("G");
  card.setSuffix("III");
  EXPECT_EQ(card.getFamilyName(), "a;b,c\\d");
  EXPECT_EQ(card.getAdditionalName(), "");
  EXPECT_EQ(card.getFn(), "Dr. G a;b,c\\d III");
  const std::string lines = card.lines();
  EXPECT_EQ(Card(lines).lines(), lines);
  card.setFn("X");
  card.setGivenName("Y");
  EXPECT_EQ(card.getFn(), "X");
  EXPECT_EQ(Card("N:F;G;A;P;S;more\r\n").getFn(), "P G A F S");
  card.readText("BEGIN:VCARD\r\nFN:Z\r\nEND:VCARD\r\n");
  card.setGivenName("Y");
  EXPECT_EQ(card.getFn(), "Y") << "a card that is read anew follows its fields again";
}

TEST(VCard, MakesWhatItIsFiledUnder) {
  struct Case {
    const char *why, *lines, *text;
  };
  static constexpr Case kCases[] = {
      {"as it says", "X-FILE-AS:me\r\nX-FILE-AS-ID:3\r\nORG:C\r\n", "me"},
      {"no number", "N:F;G;A\r\n", "F, G A"},
      {"1 without a given name", "N:F;;A\r\nX-FILE-AS-ID:1\r\n", "F A"},
      {"0", "N:F;G;A\r\nX-FILE-AS-ID:0\r\n", ""},
      {"2", "N:F;G;A\r\nX-FILE-AS-ID:2\r\n", "G A F"},
      {"3", "N:F;G;A\r\nORG:C;D\r\nX-FILE-AS-ID:3\r\n", "C"},
      {"4", "N:F;G;A\r\nORG:C\r\nX-FILE-AS-ID:4\r\n", "F, G, A\r\nC"},
      {"4 without a company", "N:F;G;A\r\nX-FILE-AS-ID:4\r\n", "F, G, A"},
      {"5", "N:F;G;A\r\nORG:C\r\nX-FILE-AS-ID:5\r\n", "C\r\nG, F, A"},
      {"5 without a name", "ORG:C\r\nX-FILE-AS-ID:5\r\n", "C"},
      {"9", "N:F;G;A\r\nX-FILE-AS-ID:9\r\n", "F, G A"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    Card card(c.lines);
    EXPECT_EQ(card.getFileAs(), c.text);
    card.setFileAs("other");
    EXPECT_EQ(card.getFileAs(), "other");
    EXPECT_EQ(card.getFileAsId(), 1);
  }
}

TEST(VCard, TellsKindsOfTelephonesByTheirTypes) {
  const std::pair<const char*, TelKind> kCases[] = {
      {";TYPE=WORK,FAX", TelKind::BusinessFax},
      {";FAX;WORK", TelKind::BusinessFax},
      {";TYPE=\"work, voice\"", TelKind::Business},
      {";TYPE=\"fax,work\",PREF", TelKind::BusinessFax},
      {";TYPE=fax,home,pref", TelKind::HomeFax},
      {";TYPE=FAX,CELL", TelKind::OtherFax},
      {";TYPE=PREF,WORK", TelKind::Business},
      {";TYPE=PREF", TelKind::Primary},
      {";TYPE=VOICE,PREF", TelKind::Other},
      {";PREF", TelKind::Primary},
      {"", TelKind::Other},
      {";TYPE=X-NONE", TelKind::Other},
      {";TYPE=CELL,HOME", TelKind::Mobile},
      {";TYPE=X-TTYTDD,WORK", TelKind::TtyTdd},
      {";TYPE=X-RADIO,X-TELEX", TelKind::Radio},
  };
  for (const auto& [types, kind] : kCases) {
    EXPECT_EQ(Card("TEL"s + types + ":12\r\n").getTel(kind).number, "12") << types;
  }
}

TEST(VCard, FindsEachTelephoneThatItWrote) {
  for (int kind = 0; kind <= static_cast<int>(TelKind::TtyTdd); ++kind) {
    SCOPED_TRACE(kind);
    Card card("");
    const bool preferred = kind % 2 == 0;
    card.setTel({static_cast<TelKind>(kind), "12", preferred}, 1);
    const Phone second = Card(card.lines()).getTel(static_cast<TelKind>(kind), 0);
    EXPECT_EQ(second.number, "12") << "the empty first one isn't written";
    EXPECT_EQ(second.preferred, preferred || static_cast<TelKind>(kind) == TelKind::Primary);
    card.setTel({static_cast<TelKind>(kind), "34", false}, 0);
    EXPECT_EQ(card.getTel(static_cast<TelKind>(kind), 0).number, "34");
    EXPECT_EQ(card.getTel(static_cast<TelKind>(kind), 1).number, "12");
    EXPECT_EQ(card.getTel(static_cast<TelKind>(kind), 2).number, "");
  }
  Card card("TEL;CELL;X-OLD=1:1\r\nTEL;TYPE=HOME,VOICE:2\r\n");
  card.setTel({TelKind::Mobile, "3", true});
  EXPECT_EQ(card.lines(), "TEL;TYPE=CELL,PREF:3\r\nTEL;TYPE=HOME,VOICE:2\r\n");
}

TEST(VCard, ChangesOneAddressAtATime) {
  const std::string lines =
      "ADR;TYPE=HOME:po;room;Main St\\, 1;Town;;1000;CZ\r\nADR;TYPE=PREF:;;old\r\nLABEL;TYPE=HOME:l\r\n";
  Card card(lines);
  Address home = card.getHomeAddress();
  EXPECT_EQ(home.street, "Main St, 1");
  EXPECT_EQ(home.city, "Town");
  EXPECT_EQ(home.region, "");
  EXPECT_EQ(home.label, "l");
  EXPECT_TRUE(home.found);
  EXPECT_FALSE(card.getWorkAddress().found);
  home.extended = "elsewhere";
  card.setHomeAddress(home);
  EXPECT_EQ(card.lines(), lines);
  EXPECT_EQ(card.getOtherAddress().street, "old");
  Address other;
  other.street = "new";
  other.preferred = true;
  card.setOtherAddress(other);
  EXPECT_EQ(card.lines(),
            "ADR;TYPE=HOME:po;room;Main St\\, 1;Town;;1000;CZ\r\nADR;TYPE=OTHER,PREF:;;new;;;;\r\nLABEL;TYPE=HOME:l\r\n");
  EXPECT_TRUE(card.getOtherAddress().preferred);
  Card old("ADR;HOME:;;h\r\nADR;WORK;PREF:;;w\r\nADR;DOM:;;d\r\n");
  EXPECT_EQ(old.getOtherAddress().street, "d") << "the types of old cards are no other address";
}

TEST(VCard, KeepsTheRoomInTheWorkAddress) {
  Card card("X-ROOM:17\r\n");
  EXPECT_EQ(card.getOffice(), "17");
  card.setOffice("a;b");
  EXPECT_EQ(card.getOffice(), "a;b");
  Address work = card.getWorkAddress();
  work.city = "Town";
  card.setWorkAddress(work);
  EXPECT_EQ(card.lines(), "X-ROOM:17\r\nADR;TYPE=WORK:;a\\;b;;Town;;;\r\n");
  card.setDepartment("D");
  EXPECT_EQ(card.getCompany(), "");
  card.setCompany("C");
  EXPECT_EQ(card.getProperty("ORG"), "C;D");
}

TEST(VCard, HandlesMailAndUrls) {
  Card card("EMAIL;TYPE=INTERNET,HOME:a@b\r\nURL:plain\r\n");
  EXPECT_EQ(card.getEmails()[0].kind, Email::Kind::Home);
  card.setEmail({"x@y", "X, Y", Email::Kind::Work, true}, 2);
  card.setWorkUrl("w");
  card.setWorkUrl("v");
  EXPECT_EQ(card.getEmails().size(), 3U);
  EXPECT_EQ(card.getHomeUrl(), "");
  EXPECT_EQ(card.getUrl(""), "plain");
  EXPECT_EQ(card.lines(),
            "EMAIL;TYPE=INTERNET,HOME:a@b\r\nEMAIL;TYPE=PREF,WORK;CN=\"X, Y\":x@y\r\nURL:plain\r\nURL;TYPE=WORK:v\r\n");
  const Email read = Card(card.lines()).getEmails().at(1);
  EXPECT_EQ(read.name + read.address, "X, Yx@y");
  EXPECT_TRUE(read.preferred && read.kind == Email::Kind::Work);
}

TEST(VCard, PutsDatesOnTheNearestDay) {
  DateTime zoned(2, 1, 1970, 8, 0, 0);
  zoned.setZone(NTimeZone::byId("America/New_York"));
  const std::pair<DateTime, const char*> kCases[] = {
      {DateTime(1, 1, 1970, 23, 0, 0), "BDAY;VALUE=DATE:19700102\r\n"},
      {DateTime(2, 1, 1970, 11, 59, 0), "BDAY;VALUE=DATE:19700102\r\n"},
      {DateTime(2, 1, 1970), "BDAY;VALUE=DATE:19700102\r\n"},
      {zoned, "BDAY;VALUE=DATE:19700102\r\n"},
      {DateTime(), ""},
  };
  for (const auto& [date, lines] : kCases) {
    Card card("");
    card.setBirthday(date);
    EXPECT_EQ(card.lines(), lines);
    EXPECT_EQ(Card(card.lines()).getBirthday().isNull(), date.isNull());
  }
  EXPECT_EQ(Card("X-ANNIVERSARY:1970-01-02\r\n").getAnniversary(), DateTime(2, 1, 1970));
}

TEST(DistItem, ComesBackAsItWent) {
  using Kind = DistItem::Kind;
  struct Case {
    DistItem item;
    const char* lines;
  };
  const Case kCases[] = {
      {{Kind::Reference, "n", "e", "abc", "{g}", 255, false},
       "TYPE:REFERENCE\r\nNAME:n\r\nEMAIL:e\r\nDATA:abc/000000ff\r\nMESSAGEGUID:{g}\r\n"},
      {{Kind::Reference, "n", "", "a/b", "", 0xFEDCBA98, true}, "TYPE:LISTREFERENCE\r\nNAME:n\r\nDATA:a/b/fedcba98\r\n"},
      {{Kind::Opaque, "n", "", "YWI=", "", 0, false}, "TYPE:OPAQUE\r\nNAME:n\r\nDATA:YWI=\r\n"},
      {{Kind::Unknown, "n", "e", "", "", 0, false}, "NAME:n\r\nEMAIL:e\r\n"},
  };
  for (const Case& c : kCases) {
    Card card("");
    card.addDistItem(c.item);
    EXPECT_EQ(card.lines(), "BEGIN:X-DL-ITEM\r\n"s + c.lines + "END:X-DL-ITEM\r\n");
    const std::vector<DistItem> items = Card(card.lines()).getDistItems();
    ASSERT_EQ(items.size(), 1U);
    const auto all = [](const DistItem& i) {
      return std::tie(i.kind, i.name, i.email, i.data, i.messageGuid, i.number, i.isList);
    };
    EXPECT_EQ(all(items[0]), all(c.item)) << c.lines;
    card.removeDistItems();
    EXPECT_TRUE(card.getDistItems().empty());
  }
}

TEST(DistItem, ReadsWhatOthersWrite) {
  struct Case {
    const char *type, *data, *read;
    std::uint32_t number;
  };
  static constexpr Case kCases[] = {
      {"reference", "a/b/ff", "a/b", 255}, {"REFERENCE", "abc", "abc", 0}, {"REFERENCE", "a/fffffffff", "a", 0xFFFFFFFF},
      {"REFERENCE", "a/", "a", 0},         {"OPAQUE", "YW I=", "", 0},     {"OTHER", "YWI=", "YWI=", 0},
  };
  for (const Case& c : kCases) {
    const Card card("BEGIN:X-DL-ITEM\r\nTYPE:"s + c.type + "\r\nDATA:" + c.data + "\r\nEND:X-DL-ITEM\r\n");
    EXPECT_EQ(card.getDistItems().at(0).data, c.read) << c.data;
    EXPECT_EQ(card.getDistItems().at(0).number, c.number) << c.data;
  }
}

TEST(StickyNote, CutsTextsByCharacters) {
  StickyNote note;
  note.createNew();
  note.setText(std::string(StickyNote::kMostText, 'x'));
  EXPECT_EQ(note.getText().size(), 30000U);
  note.setText(std::string(StickyNote::kMostText + 1, 'x'));
  EXPECT_EQ(note.getText().size(), 30000U);
  std::string accents;
  for (int i = 0; i < 30001; ++i) {
    accents += "\xC3\xA9";
  }
  note.setText(accents);
  EXPECT_EQ(note.getText().size(), 60000U);
  EXPECT_EQ(note.getSubject().size(), 510U);
  note.setText("first\nsecond");
  EXPECT_EQ(note.getSubject(), "first");
}

TEST(StickyNote, KnowsColoursAndPlaces) {
  StickyNote note;
  note.createNew();
  EXPECT_EQ(note.toText(), "BEGIN:STICKYNOTE\r\nCOLOR:yellow\r\nEND:STICKYNOTE\r\n");
  for (const auto color :
       {StickyNote::Color::White, StickyNote::Color::Pink, StickyNote::Color::Green, StickyNote::Color::Blue}) {
    note.setColor(color);
    EXPECT_EQ(note.getColor(), color);
  }
  note.setPosition({1, -2, 300, 4});
  EXPECT_EQ(note.toText(), "BEGIN:STICKYNOTE\r\nCOLOR:BLUE\r\nPOSITION:1 -2 300 4\r\nEND:STICKYNOTE\r\n");
  std::istringstream in("BEGIN:STICKYNOTE\nCOLOR:mauve\nPOSITION: 7  8\nEND:STICKYNOTE\n");
  ASSERT_TRUE(note.read(in));
  EXPECT_EQ(note.getColor(), StickyNote::Color::Yellow);
  EXPECT_EQ(note.getPosition(), (StickyNote::Position{7, 8, 0, 0}));
}

}  // namespace
}  // namespace nalvo::mail
