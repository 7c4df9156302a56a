// Journal entries and sticky notes, both ways, and what all items have in common.
#include <gtest/gtest.h>

#include "mail/sticky_note.h"
#include "tests/support/item.h"

namespace nalvo::test {
namespace {

TEST(StickyNote, TravelsInItsOwnText) {
  struct Case {
    std::int32_t color;
    const char* text;
    std::int32_t colorBack;
    std::int32_t icon;
  };
  const Case cases[] = {{0, "COLOR:BLUE", 0, 0x300},   {1, "COLOR:GREEN", 1, 0x301}, {2, "COLOR:PINK", 2, 0x302},
                        {3, "COLOR:YELLOW", 3, 0x303}, {4, "COLOR:WHITE", 4, 0x304}, {9, "COLOR:YELLOW", 3, 0x303}};
  for (const Case& c : cases) {
    Item note(u"IPM.StickyNote");
    note.set(PR_SUBJECT, std::u16string(u"M\u00fclk"));
    note.set(PR_BODY, std::u16string(u"M\u00fclk\r\nbread"));
    note.set(named::kNoteColor, c.color);
    note.set(named::kNoteX, std::int32_t{-5});
    note.set(named::kNoteWidth, std::int32_t{300});
    const std::string mail = note.write();
    EXPECT_NE(mail.find(c.text), std::string::npos) << mail;
    EXPECT_NE(mail.find("POSITION:-5 80 300 166"), std::string::npos) << mail;
    const Item back(note, mail);
    EXPECT_EQ(back.number(back.tagOf(named::kNoteColor)), static_cast<std::uint32_t>(c.colorBack));
    EXPECT_EQ(back.number(PR_ICON_INDEX), static_cast<std::uint32_t>(c.icon));
    EXPECT_EQ(back.text(PR_BODY), u"M\u00fclk\nbread");  // Calendar text holds line feeds alone.
    EXPECT_EQ(back.text(PR_SUBJECT), u"M\u00fclk");
    EXPECT_TRUE(back.has(PR_RTF_COMPRESSED));
  }
}

TEST(StickyNote, ReadsAPositionThatIsNotSetAsTheUsualOne) {
  const ReceivedItem note(
      u"IPM.StickyNote",
      "Content-Type: text/x-stickynote; charset=utf-8\n\nBEGIN:STICKYNOTE\nPOSITION:0 0 500 0\nTEXT:a\nEND:STICKYNOTE\n");
  EXPECT_EQ(note.number(note.tagOf(named::kNoteX)), 80U);
  EXPECT_EQ(note.number(note.tagOf(named::kNoteWidth)), 200U);
  EXPECT_EQ(note.number(note.tagOf(named::kNoteHeight)), 166U);
}

TEST(StickyNote, WritesItsPositionInWhicheverOrderItsNumbersCome) {
  Item note(u"IPM.StickyNote");
  for (const NamedProperty* property : {&named::kNoteX, &named::kNoteY, &named::kNoteHeight}) {
    note.set(*property, std::int32_t{0});
  }
  note.set(named::kNoteWidth, std::int32_t{500});
  const std::string mail = note.write();
  EXPECT_NE(mail.find("POSITION:0 0 500 0"), std::string::npos) << mail;
}

TEST(StickyNote, KeepsATextThatItsOwnFormCuts) {
  for (const char16_t* start : {u"x", u"x\r\n", u"  x"}) {
    Item note(u"IPM.StickyNote");
    const std::u16string text = start + std::u16string(mail::StickyNote::kMostText + 100, u'x');
    note.set(PR_BODY, text);
    const std::string mail = note.write();
    EXPECT_EQ(Item(note, mail).text(PR_BODY), text);
    // Somebody else changed it.
    std::string edited = mail;
    edited.replace(edited.find("TEXT:") + 5, 3, "yyy");
    EXPECT_LT(Item(note, edited).text(PR_BODY).size(), mail::StickyNote::kMostText + 10);
  }
}

TEST(Items, KeepTextsThatTheirFormWouldChange) {
  for (const char16_t* text : {u" x", u"\tx\ny", u"  ", u"a =?utf-8?Q?b?= c", u"a\nb\rc"}) {
    for (const char16_t* messageClass : {u"IPM.StickyNote", u"IPM.Activity", u"IPM.Contact", u"IPM.DistList"}) {
      Item item(messageClass);
      const std::u16string line = std::u16string(text).substr(0, std::u16string_view(text).find(u'\n'));
      for (const ULONG tag : {PR_SUBJECT, PR_DISPLAY_NAME}) {
        item.set(tag, line);
      }
      item.set(PR_BODY, std::u16string(text));
      const std::vector<std::u16string> categories{line, u"a, b"};
      item.set(named::kKeywords, categories);
      const std::string mail = item.write();
      const Item back(item, mail);
      EXPECT_EQ(back.text(PR_SUBJECT), line) << mail;
      EXPECT_EQ(back.text(PR_BODY), text) << mail;
      EXPECT_EQ(back.get<std::vector<std::u16string>>(back.tagOf(named::kKeywords)), categories) << mail;
    }
  }
  // What somebody else wrote counts.
  Item entry(u"IPM.Activity");
  entry.set(PR_SUBJECT, std::u16string(u" x"));
  std::string edited = entry.write();
  edited.replace(edited.find("SUMMARY: x"), 10, "SUMMARY:z");
  EXPECT_EQ(Item(entry, edited).text(PR_SUBJECT), u"z");
}

TEST(StickyNote, IsSentWithBodiesForPeople) {
  Item note(u"IPM.StickyNote");
  note.set(PR_BODY, std::u16string(u"1 < 2\r\n& so"));
  note.set(named::kNoteColor, std::int32_t{2});
  const std::string mail = note.write(kForSend);
  const std::size_t plain = mail.find("1 < 2\r\n& so");
  const std::size_t html = mail.find("background-color:#ffcccc");
  const std::size_t own = mail.find("BEGIN:STICKYNOTE");
  EXPECT_NE(mail.find("multipart/alternative"), std::string::npos);
  EXPECT_LT(plain, html);
  EXPECT_LT(html, own);
  EXPECT_NE(own, std::string::npos);
  EXPECT_NE(mail.find("1 &lt; 2<br>\r\n&amp; so"), std::string::npos) << mail;
}

TEST(Journal, KeepsTheRestInAnnotations) {
  Item entry(u"IPM.Activity");
  entry.set(PR_SUBJECT, std::u16string(u"Call"));
  entry.set(PR_BODY, std::u16string(u"They said yes."));
  entry.set(named::kLogStart, FILETIME{0x5C5A4000, 0x01D5F0A1});
  entry.set(named::kPrivate, true);
  entry.set(named::kKeywords, std::vector<std::u16string>{u"a b", u"c"});
  const ULONG logType = MapiName(PSETID_Log, 0x8700, PT_UNICODE).getPropertyTag(entry.message.get());
  entry.set(logType, std::u16string(u"Phone call"));
  const std::string mail = entry.write();
  EXPECT_NE(mail.find("component=vjournal"), std::string::npos) << mail;
  EXPECT_NE(mail.find("CLASS:PRIVATE"), std::string::npos) << mail;
  EXPECT_NE(mail.find("SEQUENCE:1"), std::string::npos) << mail;
  const Item back(entry, mail);
  EXPECT_EQ(back.text(PR_SUBJECT), u"Call");
  EXPECT_EQ(back.text(PR_BODY), u"They said yes.");
  const FILETIME start = back.get<FILETIME>(back.tagOf(named::kLogStart));
  EXPECT_EQ(start.dwHighDateTime, 0x01D5F0A1U);
  EXPECT_TRUE(back.get<bool>(back.tagOf(named::kPrivate)));
  EXPECT_EQ(back.number(PR_SENSITIVITY), 2U);
  EXPECT_EQ(back.get<std::vector<std::u16string>>(back.tagOf(named::kKeywords)),
            (std::vector<std::u16string>{u"a b", u"c"}));
  EXPECT_EQ(back.text(MapiName(PSETID_Log, 0x8700, PT_UNICODE).getPropertyTag(back.message.get())), u"Phone call");
}

TEST(Journal, KeepsASubjectThatIsEmpty) {
  Item entry(u"IPM.Activity");
  EXPECT_FALSE(Item(entry, entry.write()).has(PR_SUBJECT));
  entry.set(PR_SUBJECT, std::u16string());
  EXPECT_TRUE(Item(entry, entry.write()).has(PR_SUBJECT));
}

TEST(Items, StopWhereTheFlagsSaySo) {
  Item entry(u"IPM.Activity");
  entry.set(PR_SUBJECT, std::u16string(u"Call"));
  const std::string mail = entry.write();
  EXPECT_TRUE(Item(entry, mail).has(PR_SUBJECT));
  EXPECT_FALSE(Item(entry, mail, kJustFlags).has(PR_SUBJECT));
  EXPECT_FALSE(Item(entry, mail, kWithoutBody).has(PR_SUBJECT));
}

TEST(Items, ReadTextOfOtherCharsets) {
  const ReceivedItem note(u"IPM.StickyNote",
                          "Content-Type: text/x-stickynote; charset=iso-8859-2\n\nBEGIN:STICKYNOTE\nTEXT:\xE8"
                          "aj\nEND:STICKYNOTE\n");
  EXPECT_EQ(note.text(PR_BODY), u"\u010daj");
}

TEST(Items, RefuseATextThatIsNoneOfTheirs) {
  const ReceivedItem note(u"IPM.StickyNote", "Content-Type: text/x-stickynote\n\nhello\n", MAPI_E_CORRUPT_DATA);
  EXPECT_FALSE(note.has(PR_BODY));
}

void fillSticky(Item& note) {
  note.set(PR_SUBJECT, std::u16string(u"x"));
  note.set(PR_BODY, std::u16string(u"x\r\ny"));
  note.set(named::kNoteColor, std::int32_t{2});
  note.set(named::kNoteX, std::int32_t{2});
  note.set(named::kKeywords, std::vector<std::u16string>{u"c"});
}

void fillJournal(Item& entry) {
  entry.set(PR_SUBJECT, std::u16string(u"x"));
  entry.set(PR_BODY, std::u16string(u"x"));
  entry.set(named::kLogStart, FILETIME{0x5C5A4000, 0x01D5F0A1});
  entry.set(named::kPrivate, true);
}

TEST(FaultSweep, StickyNotesAndJournal) {
  sweepItem(u"IPM.StickyNote", fillSticky);
  sweepItem(u"IPM.Activity", fillJournal);
}

}  // namespace
}  // namespace nalvo::test
