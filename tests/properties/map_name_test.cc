#include "properties/map_name.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "properties/annotation_name.h"
#include "properties/annotation_stream.h"
#include "properties/guid.h"
#include "properties/named_properties.h"
#include "properties/property_sets.h"
#include "tests/properties/fixture.h"

namespace nalvo::test {
namespace {

TEST(NamedProperties, EachSetHasItsNumberAndNoNameStandsTwice) {
  std::map<std::string, int> byNumber;
  std::map<std::string, int> byText;
  std::set<std::string> names;
  for (const NamedProperty& property : named::kAll) {
    const std::string set = Guid(property.set).toString();
    ++(property.name == nullptr ? byNumber : byText)[set];
    EXPECT_TRUE(names.insert(MapiName(property).annotationString().substr(9)).second);  // whatever its type
  }
  const auto count = [](std::map<std::string, int>& counts, const GUID& set) { return counts[Guid(set).toString()]; };
  struct Case {
    const GUID& set;
    int byNumber;
    int byText;
  };
  const Case cases[] = {{PSETID_Common, 29, 1},      {PSETID_Address, 49, 0}, {PSETID_Appointment, 24, 0},
                        {PSETID_Task, 23, 0},        {PSETID_Log, 5, 0},      {PSETID_Note, 5, 0},
                        {PSETID_Sharing, 8, 0},      {PSETID_Meeting, 4, 0},  {PSETID_SyncEngine, 0, 39},
                        {PS_INTERNET_HEADERS, 0, 5}, {PSETID_Charset, 0, 1},  {PS_PUBLIC_STRINGS, 0, 3},
                        {PSETID_SyncState, 0, 4},    {PSETID_Scanner, 0, 2}};
  int numbers = 0;
  int texts = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(Guid(c.set).toString());
    EXPECT_EQ(count(byNumber, c.set), c.byNumber);
    EXPECT_EQ(count(byText, c.set), c.byText);
    numbers += c.byNumber;
    texts += c.byText;
  }
  EXPECT_EQ(numbers, 147);
  EXPECT_EQ(texts, 55);
}

TEST(MapiName, HasATextThatHoldsEverywhere) {
  struct Case {
    const char* why;
    MapiName name;
    std::string text;
  };
  const Case cases[] = {
      {"by text",
       {PS_PUBLIC_STRINGS, u"Keywords", PT_MV_UNICODE},
       R"(0000101f {00020329-0000-0000-C000-000000000046} [UN] "Keywords")"},
      {"by number", {PSETID_Common, 0x8578U, PT_LONG}, "00000003 {00062008-0000-0000-C000-000000000046} [I] 00008578"},
      {"a narrow text is named as a wide one",
       {PSETID_Address, 0x8005U, PT_STRING8},
       "0000001f {00062004-0000-0000-C000-000000000046} [I] 00008005"},
      {"narrow texts too",
       {PS_PUBLIC_STRINGS, u"x", PT_MV_STRING8},
       R"(0000101f {00020329-0000-0000-C000-000000000046} [UN] "x")"},
      {"quotes and backslashes",
       {PS_PUBLIC_STRINGS, u"a\"b\\", PT_LONG},
       R"(00000003 {00020329-0000-0000-C000-000000000046} [UN] "a\"b\\")"},
      {"outside ASCII",
       {PS_PUBLIC_STRINGS, u"\u00E9\u4E00", PT_LONG},
       "00000003 {00020329-0000-0000-C000-000000000046} [UN] \"\xC3\x83\xC2\xA9\xC3\xA4\xC2\xB8\xE2\x82\xAC\""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(c.name.annotationString(), c.text);
    const MapiName read = MapiName::fromAnnotationString(c.text);
    EXPECT_EQ(read.set(), c.name.set());
    EXPECT_EQ(read.kind(), c.name.kind());
    EXPECT_EQ(read.name(), c.name.name());
    EXPECT_EQ(read.id(), c.name.id());
    EXPECT_EQ(read.type(), c.name.type());
  }
  const MapiName narrow = MapiName::fromAnnotationString("0000001e {00020329-0000-0000-C000-000000000046} [N] \"\xC3\xA9\"");
  EXPECT_EQ(narrow.name(), u"\u00E9");
  EXPECT_EQ(narrow.type(), PT_UNICODE);
  EXPECT_EQ(MapiName::fromAnnotationString("af07001f {00020329-0000-0000-C000-000000000046} [I] 00000001").type(),
            PT_UNICODE);
}

TEST(MapiName, RefusesWhatIsNoName) {
  for (const char* text : {"", "00000003", "00000003 {00062008-0000-0000-C000-000000000046}",
                           "00000003 {00062008-0000-0000-C000-000000000046} [X] 00008578",
                           "00000003 {00062008-0000-0000-C000-000000000046} [I]",
                           "00000003 {00062008-0000-0000-C000-000000000046} [UN] x", "00000003 [I] 00008578"}) {
    EXPECT_EQ(codeOf([&] { (void)MapiName::fromAnnotationString(text); }), MAPI_E_CORRUPT_DATA) << text;
  }
}

// Plain tags need no object.
TEST(AnnotationName, OfPlainTags) {
  struct Case {
    const char* why;
    AnnotationPath path;
    const char* name;
    std::optional<ULONG> tag;
  };
  const Case cases[] = {
      {"short", AnnotationPath::Short, "/tags/0037001f", 0x0037001F},
      {"with the vendor's path", AnnotationPath::Vendor, "/vendor/nalvo/mapi/tags/7fff0003", 0x7FFF0003},
      {"an id that means another property elsewhere", AnnotationPath::Short, "/tags/80000003", std::nullopt},
      {"a private tag", AnnotationPath::Short, "/tags/af07001f", std::nullopt},
      {"an object", AnnotationPath::Short, "/tags/0e13000d", std::nullopt},
      {"an error", AnnotationPath::Short, "/tags/0037000a", std::nullopt},
      {"nothing", AnnotationPath::Short, "/tags/00370001", std::nullopt},
      {"any type, which would delete past the list of what never travels", AnnotationPath::Short, "/tags/30010000",
       std::nullopt},
      {"a named object", AnnotationPath::Short, "/names/0000000d {00062008-0000-0000-C000-000000000046} [I] 00008501",
       std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(tagFromAnnotationName(c.name, c.path, nullptr), c.tag);
    if (c.tag) {
      EXPECT_EQ(annotationName(*c.tag, c.path, nullptr, nullptr), c.name);
    }
  }
  for (const char* name : {"", "/tags", "/tags/", "/tags/x", "/vendor/nalvo/mapi/tags/0037001f", "/names/", "0037001f"}) {
    EXPECT_EQ(codeOf([&] { (void)tagFromAnnotationName(name, AnnotationPath::Short, nullptr); }), MAPI_E_CORRUPT_DATA)
        << name;
  }
  EXPECT_EQ(codeOf([] { (void)tagFromAnnotationName("/tags/0037001f", AnnotationPath::Vendor, nullptr); }),
            MAPI_E_CORRUPT_DATA);
}

TEST(AnnotationStream, QuotesTildesAndDollarsComeBack) {
  struct Case {
    const char* text;
    const char* sanitised;
  };
  const Case cases[] = {{"\"a\"", "~a~"}, {"~$", "$~$$"}, {"$\"~", "$$~$~"}, {"", ""}, {"plain", "plain"}};
  for (const Case& c : cases) {
    std::string out;
    annotation_stream::appendSanitised(c.text, out);
    EXPECT_EQ(out, c.sanitised);
    EXPECT_EQ(annotation_stream::desanitise(out), c.text);
  }
  EXPECT_EQ(annotation_stream::desanitise("a$"), "a");
}

}  // namespace
}  // namespace nalvo::test
