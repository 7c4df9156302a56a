// The tree under all calendar and card objects: what is kept of a text, and the exact text that comes out.
#include "mail/v_base.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "mail/n_time_zone.h"
#include "mail/v_text.h"
#include "tests/mail/zones.h"
#include "tests/streams/fakes.h"

namespace nalvo::mail {
namespace {

using namespace std::string_literals;

class Thing final : public VBase {
 public:
  const char* getType() const override { return "THING"; }
  void dump(std::ostream& log) const override { dumpFields(log, {"SUMMARY"}); }
  using VBase::currentForWrite;
};

bool readThing(Thing& thing, const std::string& text) {
  std::istringstream in(text);
  return thing.read(in);
}

// With the lines of a thing around `lines`.
std::string thing(const std::string& lines) { return "BEGIN:THING\r\n" + lines + "END:THING\r\n"; }

TEST(Component, PrintsWhatItKeepsOfAText) {
  struct Case {
    const char* why;
    std::string text;
    bool read;
    std::string printed;
  };
  const Case kCases[] = {
      {"an empty source", "", false, ""},
      {"no such component", "BEGIN:OTHER\nA:1\nEND:OTHER\n", false, ""},
      {"lines ahead of it, and another one", "A:1\nBEGIN:OTHER\nB:2\nEND:OTHER\nbegin:thing\nC:3\nend:thing\n", true,
       "BEGIN:thing\r\nC:3\r\nEND:thing\r\n"},
      {"what follows the last END", thing("A:1\r\n") + "B:2\r\n", true, thing("A:1\r\n")},
      {"values of one name stand together", thing("SUMMARY:a\r\nB:b\r\nSummary:c\r\n"), true,
       thing("SUMMARY:a\r\nSUMMARY:c\r\nB:b\r\n")},
      {"empty values and values of separators", thing("A:\r\nB:;;;;\r\nADR:;;;;;;\r\n"), true, ""},
      {"an empty component within", thing("A:1\r\nBEGIN:SUB\r\nB:\r\nEND:SUB\r\n"), true, thing("A:1\r\n")},
      {"cut inside of a component", "BEGIN:THING\nBEGIN:SUB\nA:1\n", true, thing("BEGIN:SUB\r\nA:1\r\nEND:SUB\r\n")},
      {"END of any name closes", "BEGIN:THING\nBEGIN:SUB\nA:1\nEND:OTHER\nB:2\nEND:X\nC:3\n", true,
       thing("B:2\r\nBEGIN:SUB\r\nA:1\r\nEND:SUB\r\n")},
      {"END outside", "END:X\nBEGIN:THING\nA:1\nEND:THING\n", true, thing("A:1\r\n")},
      {"a second one is a child", "BEGIN:THING\nBEGIN:THING\nA:1\nEND:THING\nEND:THING\n", true, thing(thing("A:1\r\n"))},
      {"a line that can't begin a name ends it on every level", "BEGIN:THING\nA:1\nBEGIN:SUB\nB:2\n=x\nC:3\nEND:SUB\nD:4\n",
       true, thing("A:1\r\nBEGIN:SUB\r\nB:2\r\nEND:SUB\r\n")},
      {"BEGIN without a value", "BEGIN:\nBEGIN:THING\nBEGIN:\nA:1\nEND:THING\n", true, thing("A:1\r\n")},
      {"a line feed in the name of a component", "BEGIN:THING\nBEGIN:SUB \\nX:1\nA:1\nEND:SUB\nEND:THING\n", true,
       thing("BEGIN:SUB\r\nA:1\r\nEND:SUB\r\n")},
      {"parameters", thing("A;ROLE=CHAIR;CN=\"A, B\":mailto:user\r\n"), true,
       thing("A;ROLE=CHAIR;CN=\"A, B\":mailto:user\r\n")},
      {"bare parameters", thing("TEL;WORK;VOICE:1\r\n"), true, thing("TEL:1\r\n")},
      {"one parameter twice", thing("TEL;TYPE=WORK;type=VOICE,work:1\r\n"), true, thing("TEL;TYPE=WORK,VOICE:1\r\n")},
      {"values that are written alike", thing("A;B=x\"y,X'Y:1\r\n"), true, thing("A;B=x'y:1\r\n")},
      {"ENCODING", thing("X-FOO;ENCODING=BASE64:abc\r\nB;ENCODING=quoted-printable:a=41\r\nC;QUOTED-PRINTABLE:=42\r\n"),
       true, thing("X-FOO:abc\r\nB:aA\r\nC:B\r\n")},
      {"CHARSET", thing("A;CHARSET=ISO-8859-2;X=1:P\xF8\r\nB;CHARSET=utf-8:\xC3\xA9\r\nC;CHARSET=none-such:c\r\n"), true,
       thing("A;X=1:P\xC5\x99\r\nB;CHARSET=utf-8:\xC3\xA9\r\nC;CHARSET=none-such:c\r\n")},
      {"fields keep their escapes", thing("N:a\\,b;c\\;d\r\nNOTE:a\\,b\\;c\\nd\\\\e\r\n"), true,
       thing("N:a\\,b;c\\;d\r\nNOTE:a,b;c\\nd\\\\e\r\n")},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    Thing object;
    EXPECT_EQ(readThing(object, c.text), c.read);
    EXPECT_EQ(object.toText(), c.printed);
    Thing again;
    readThing(again, c.printed);
    EXPECT_EQ(again.toText(), c.printed);
  }
}

TEST(Component, StopsKeepingBelowItsDepthAndGoesOnBehind) {
  for (const int depth : {Component::kMostDepth - 1, Component::kMostDepth, 100'000}) {
    std::string text = "BEGIN:THING\n";
    for (int i = 0; i < depth; ++i) {
      text += "BEGIN:SUB\n";
    }
    text += "DEEP:1\n";
    for (int i = 0; i < depth; ++i) {
      text += "END:SUB\n";
    }
    Thing object;
    ASSERT_TRUE(readThing(object, text + "A:2\nEND:THING\n"));
    EXPECT_EQ(object.toText().find("DEEP:1") != std::string::npos, depth < Component::kMostDepth) << depth;
    EXPECT_EQ(object.getProperty("A"), "2");
  }
}

// Without a search that stays cheap, each of these takes minutes.
TEST(Component, TakesManyOfAnything) {
  constexpr int kMany = 60'000;
  std::string names, params, values;
  for (int i = 0; i < kMany; ++i) {
    const std::string number = std::to_string(i);
    names += "N" + number + ":1\r\n";
    params += ";P" + number + "=1";
    values += ";P=" + number;
  }
  Thing object;
  ASSERT_TRUE(readThing(object, thing(names + "A" + params + ":1\r\nB" + values + ":1\r\n")));
  EXPECT_EQ(object.root().properties().size(), kMany + 2U);
  EXPECT_EQ(object.getProperty("n59999"), "1");
  EXPECT_EQ(object.root().findProperty("A").firstValue().params.all().size(), static_cast<std::size_t>(kMany));
  EXPECT_EQ(object.root().findProperty("B").firstValue().findParam("P").values.size(), static_cast<std::size_t>(kMany));
  object.currentForWrite().removeProperty("N30000");
  EXPECT_EQ(object.getProperty("N30001"), "1");
  EXPECT_FALSE(object.root().hasProperty("N30000"));
}

TEST(PropertyValue, ReadsDatesInTheirZones) {
  const testing::ScopedZone machine("Australia/Sydney");
  const auto own = std::make_shared<NTimeZone>(*NTimeZone::byId("Asia/Calcutta"));
  const auto hollow = std::make_shared<NTimeZone>("Hollow", std::vector<Observance>{});
  const Zones zones = {{"Mine", own}, {"America/Chicago", hollow}, {"Hollow", hollow}};
  struct Case {
    const char *why, *line;
    std::int64_t seconds;
    bool dateOnly;
  };
  constexpr std::int64_t kMidnight = 1'199'145'600;  // 2008-01-01 UTC
  static constexpr Case kCases[] = {
      {"UTC", "D:20080101T000000Z", kMidnight, false},
      {"a zone of the calendar", "D;TZID=Mine:20080101T000000", kMidnight - 19800, false},
      {"a name that is known", "D;TZID=America/New_York:20080101T000000", kMidnight + 5 * 3600, false},
      {"a name that isn't", "D;TZID=Nowhere/City:20080101T000000", kMidnight, false},
      {"a zone without observances", "D;TZID=Hollow:20080101T000000", kMidnight, false},
      {"one of a name that is known", "D;TZID=America/Chicago:20080101T000000", kMidnight + 6 * 3600, false},
      {"a day", "D;VALUE=DATE:20080101", kMidnight, true},
      {"a day that has a time", "D;VALUE=date:20080101T150000Z", kMidnight, true},
      {"a day that isn't said to be one", "D:20080101", kMidnight, true},
      {"a day in a zone", "D;VALUE=DATE;TZID=Mine:20080101", kMidnight, true},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    Thing object;
    readThing(object, thing(c.line + "\r\n"s));
    const DateTime date = object.root().findProperty("D").firstValue().getDateTime(zones);
    EXPECT_EQ(date.seconds(), c.seconds);
    EXPECT_EQ(date.isDateOnly(), c.dateOnly);
  }
}

TEST(PropertyValue, WritesDatesWithWhatTellsHowToReadThem) {
  DateTime zoned(1, 1, 2008, 12, 0, 0);
  zoned.setZone(NTimeZone::byId("America/New_York"));
  DateTime hollow(1, 1, 2008, 12, 0, 0);
  hollow.setZone(std::make_shared<NTimeZone>());
  const std::pair<DateTime, const char*> kCases[] = {
      {DateTime(1, 1, 2008, 12, 0, 0), "D:20080101T120000Z"},
      {DateTime(1, 1, 2008), "D;VALUE=DATE:20080101"},
      {zoned, "D;TZID=America/New_York:20080101T120000"},
      {hollow, "D:20080101T120000Z"},
  };
  for (const auto& [date, line] : kCases) {
    Thing object;
    readThing(object, thing("D;VALUE=PERIOD;X=1:x\r\n"));
    object.currentForWrite().addProperty("D").firstValueForWrite().setDateTime(date);
    EXPECT_EQ(object.toText(), thing(line + "\r\n"s));
  }
}

TEST(VBase, GoesOverAllStreamsAlike) {
  const std::string text = thing("A:" + std::string(50, 'a') + "\r\nB:" + std::string(3'000'000, 'b') + "\r\n");
  Thing object;
  readThing(object, text);
  const std::string printed = object.toText();

  const ComPtr<IStream> stream = streamUtils::createStream();
  EXPECT_EQ(object.print(stream.get()), S_OK);
  streamUtils::rewind(stream.get());
  Thing again;
  ASSERT_TRUE(again.read(stream.get()));
  EXPECT_EQ(again.toText(), printed);

  std::string bytes;
  NStream out({}, [&](const char* piece, std::size_t count) {
    bytes.append(piece, count);
    return true;
  });
  object.print(out);
  EXPECT_TRUE(out.flush());
  EXPECT_EQ(bytes, printed);
  std::size_t at = 0;
  NStream in([&](char* buffer, std::size_t room) {
    const std::size_t count = bytes.copy(buffer, room, at);
    at += count;
    return count;
  });
  ASSERT_TRUE(again.read(in));
  EXPECT_EQ(again.toText(), printed);

  const auto failing = makeCom<FakeStream>();
  failing->failAt = 2;
  EXPECT_EQ(object.print(failing.get()), failing->failure);
  const auto full = makeCom<FakeStream>();
  full->atMost = 100;
  EXPECT_EQ(object.print(full.get()), STG_E_MEDIUMFULL);
}

TEST(VBase, HandlesListsOfValues) {
  Thing object;
  readThing(object, thing("CATEGORIES:a,b\r\nX:1\r\nCATEGORIES:c,,d\r\n"));
  EXPECT_EQ(object.getCategories(), (std::vector<std::string>{"a", "b", "c", "", "d"}));
  object.setCategories({"x", "y"});
  EXPECT_EQ(object.getValues("categories"), std::vector<std::string>{"x,y"});
  object.setCategories({});
  object.currentForWrite().addProperty("X").valueAt(2);
  EXPECT_EQ(object.getValues("X").size(), 3U);
  EXPECT_EQ(object.toText(), thing("X:1\r\n"));
}

TEST(VText, PartsStructuredFields) {
  const std::pair<const char*, std::vector<std::string>> kCases[] = {
      {"", {""}},
      {"a;b;", {"a", "b", ""}},
      {"a\\;b\\,c\\\\;d", {"a;b,c\\", "d"}},
      {"\\x;y\\", {"\\x", "y\\"}},
  };
  for (const auto& [text, fields] : kCases) {
    EXPECT_EQ(splitEscaped(text), fields) << text;
    EXPECT_EQ(splitEscaped(joinEscaped(fields)), fields) << text;
  }
  EXPECT_EQ(withField("a\\,b", 3, "c;d"), "a\\,b;;;c\\;d");
  EXPECT_EQ(split(",a,", ","), (std::vector<std::string_view>{"", "a", ""}));
  EXPECT_TRUE(split("", ",").empty());
}

TEST(VText, CountsCharacters) {
  EXPECT_EQ(firstCharacters("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z", 4), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(firstCharacters("a\xE2\x82", 2), "a\xE2\x82");
  EXPECT_EQ(leadingInt(" -12x"), -12);
  EXPECT_EQ(leadingInt("99999999999999999999"), 2147483647);
}

}  // namespace
}  // namespace nalvo::mail
