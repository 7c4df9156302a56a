#include "properties/serializer.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>

#include "platform/mapi/property_types.h"
#include "platform/text/text.h"
#include "properties/lexical.h"
#include "properties/narrow_text.h"
#include "tests/properties/fixture.h"

namespace nalvo::test {
namespace {

class PropertyText : public testing::Test {
 protected:
  void TearDown() override {
    TestAllocator::left() = -1;
    value_.reset();
    EXPECT_EQ(TestAllocator::open(), 0U);
  }

  // What a text is read as, a block of its own.
  const SPropValue& read(ULONG type, std::string_view text) {
    const MapiAlloc alloc = MapiAlloc::getAlloc(allocator_.get());
    value_ = MapiBuffer<SPropValue>(alloc.freeBuffer);
    void* block = nullptr;
    detail::rawAlloc(alloc, sizeof(SPropValue), nullptr, &block);
    *value_.put() = static_cast<SPropValue*>(block);
    value_->ulPropTag = propTag(type, 0x1234);
    Serializer::fromString(text, allocator_.get(), value_.get());
    return *value_.get();
  }
  HRESULT codeOfReading(ULONG type, std::string_view text) {
    return codeOf([&] { (void)read(type, text); });
  }
  std::string narrow(std::string_view text) { return read(PT_STRING8, text).Value.lpszA; }
  std::u16string wide(std::string_view text) { return read(PT_UNICODE, text).Value.lpszW; }

  static std::string written(ULONG type, const std::function<void(PropertyValue&)>& fill) {
    SPropValue value{};
    value.ulPropTag = propTag(type, 0x1234);
    fill(value.Value);
    return Serializer::toString(&value);
  }
  static std::string written(std::string text) {
    return written(PT_STRING8, [&](PropertyValue& v) { v.lpszA = text.data(); });
  }
  static std::string written(std::u16string text) {
    return written(PT_UNICODE, [&](PropertyValue& v) { v.lpszW = text.data(); });
  }

  ComPtr<TestAllocator> allocator_ = makeCom<TestAllocator>();
  MapiBuffer<SPropValue> value_;
};

TEST_F(PropertyText, EveryTypeHasItsTextAndComesBack) {
  std::int16_t shorts[] = {-2, 3};
  std::int32_t longs[] = {1, 2};
  float floats[] = {1.5F, -0.0F};
  double doubles[] = {1.5, std::numeric_limits<double>::quiet_NaN()};
  std::int64_t bigs[] = {-1, 0x0123456789ABCDEF};
  FILETIME times[] = {{0xD53E8000, 0x01C6F0E5}, {0, 0x80000000}};
  GUID guid{0x00062008, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  BYTE bytes[] = {1, 2, 3};
  SBinary binaries[] = {{3, bytes}, {0, nullptr}};
  std::string a = "a";
  std::string none;
  char* narrows[] = {a.data(), none.data()};
  std::u16string abc = u"abc";
  char16_t* wides[] = {abc.data()};
  struct Case {
    ULONG type;
    const char* text;
    std::function<void(PropertyValue&)> fill;
  };
  const Case cases[] = {
      {PT_SHORT, "SHORT fffe", [](PropertyValue& v) { v.i = -2; }},
      {PT_LONG, "LONG 0000002a", [](PropertyValue& v) { v.l = 42; }},
      {PT_LONG, "LONG 80000000", [](PropertyValue& v) { v.ul = 0x80000000; }},
      {PT_FLOAT, "DOUBLE 00000000 3ff80000", [](PropertyValue& v) { v.flt = 1.5F; }},
      {PT_DOUBLE, "DOUBLE 00000000 3ff80000", [](PropertyValue& v) { v.dbl = 1.5; }},
      {PT_BOOLEAN, "BOOL 0001", [](PropertyValue& v) { v.b = 2; }},
      {PT_BOOLEAN, "BOOL 0000", [](PropertyValue& v) { v.b = 0; }},
      {PT_I8, "INT64 89abcdef 01234567", [](PropertyValue& v) { v.li = 0x0123456789ABCDEF; }},
      {PT_STRING8, "STRINGA \"a\"", [&](PropertyValue& v) { v.lpszA = a.data(); }},
      {PT_STRING8, "STRINGA \"\"", [&](PropertyValue& v) { v.lpszA = none.data(); }},
      {PT_UNICODE, "STRINGW \"abc\"", [&](PropertyValue& v) { v.lpszW = abc.data(); }},
      {PT_SYSTIME, "SYSTIME d53e8000 01c6f0e5", [&](PropertyValue& v) { v.ft = times[0]; }},
      {PT_CLSID, "CLSID {00062008-0000-0000-C000-000000000046}", [&](PropertyValue& v) { v.lpguid = &guid; }},
      {PT_BINARY, "BIN [AQID]", [&](PropertyValue& v) { v.bin = binaries[0]; }},
      {PT_BINARY, "BIN []", [&](PropertyValue& v) { v.bin = binaries[1]; }},
      {PT_MV_SHORT, "MULTISHORT 00000002 fffe 0003",
       [&](PropertyValue& v) {
         v.MVi = {2, shorts};
       }},
      {PT_MV_LONG, "MULTILONG 00000002 00000001 00000002",
       [&](PropertyValue& v) {
         v.MVl = {2, longs};
       }},
      {PT_MV_LONG, "MULTILONG 00000000",
       [&](PropertyValue& v) {
         v.MVl = {0, longs};
       }},
      {PT_MV_FLOAT, "MULTIDOUBLE 00000002 00000000 3ff80000 00000000 80000000",
       [&](PropertyValue& v) {
         v.MVflt = {2, floats};
       }},
      {PT_MV_DOUBLE, "MULTIDOUBLE 00000002 00000000 3ff80000 00000000 7ff80000",
       [&](PropertyValue& v) {
         v.MVdbl = {2, doubles};
       }},
      {PT_MV_I8, "MULTIINT64 00000002 ffffffff ffffffff 89abcdef 01234567",
       [&](PropertyValue& v) {
         v.MVli = {2, bigs};
       }},
      {PT_MV_STRING8, "MULTISTRINGA 00000002 \"a\" \"\"",
       [&](PropertyValue& v) {
         v.MVszA = {2, narrows};
       }},
      {PT_MV_UNICODE, "MULTISTRINGW 00000001 \"abc\"",
       [&](PropertyValue& v) {
         v.MVszW = {1, wides};
       }},
      {PT_MV_SYSTIME, "MULTISYSTIME 00000002 d53e8000 01c6f0e5 00000000 80000000",
       [&](PropertyValue& v) {
         v.MVft = {2, times};
       }},
      {PT_MV_CLSID, "MULTICLSID 00000001 {00062008-0000-0000-C000-000000000046}",
       [&](PropertyValue& v) {
         v.MVguid = {1, &guid};
       }},
      {PT_MV_BINARY, "MULTIBIN 00000002 [AQID] []",
       [&](PropertyValue& v) {
         v.MVbin = {2, binaries};
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(written(c.type, c.fill), c.text);
    EXPECT_EQ(Serializer::toString(&read(c.type, c.text)), c.text);
    // Each allocation fails once.
    for (int n = 0; n < 5; ++n) {
      TestAllocator::left() = n;
      const HRESULT hr = codeOfReading(c.type, c.text);
      EXPECT_TRUE(hr == S_OK || hr == E_OUTOFMEMORY) << hr;
      TestAllocator::left() = -1;
    }
    // What is cut is refused or a shorter value, and the rest of a text is ignored.
    for (std::size_t cut = 0; cut < std::strlen(c.text); ++cut) {
      const HRESULT hr = codeOfReading(c.type, std::string_view(c.text, cut));
      EXPECT_TRUE(hr == S_OK || hr == MAPI_E_CORRUPT_DATA) << cut;
    }
    EXPECT_EQ(Serializer::toString(&read(c.type, std::string(c.text) + " more")), c.text);
  }
  EXPECT_NE(read(PT_MV_LONG, "MULTILONG 00000000").Value.MVl.lpl, nullptr);
  EXPECT_EQ(read(PT_BINARY, "BIN []").Value.bin.lpb, nullptr);
}

TEST_F(PropertyText, TextsAreEscapedAndCodedTwice) {
  struct Case {
    const char* why;
    std::u16string text;
    std::string stored;  // between the quotes
  };
  const Case cases[] = {
      {"an accent", u"\u00E9", "\xC3\x83\xC2\xA9"},
      {"a character with a byte that the page calls a hole", u"\u00C1", "\xC3\x83\xC2\x81"},
      {"beyond the basic plane", u"\U0001F600", "\xC3\xB0\xC5\xB8\xCB\x9C\xE2\x82\xAC"},
      {"a quote, a backslash and a line end", u"Fax \"Office\"\\\r\n\t", "Fax \\\"Office\\\"\\\\\\r\\n\\t"},
      {"a control character", u"\x01\x1F", "\\0x01\\0x1f"},
      {"ends in a backslash", u"abc\\", "abc\\\\"},
      {"what looks like an escape", u"\\0x41\\n\\1234", "\\\\0x41\\\\n\\\\1234"},
      {"a lone surrogate", u"\xD800", "\xC3\xAD\xC2\xA0\xE2\x82\xAC"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const std::string text = "STRINGW \"" + c.stored + '"';
    EXPECT_EQ(written(c.text), text);
    EXPECT_TRUE(isValidUtf8(text));
    EXPECT_EQ(wide(text), c.text);
  }
}

TEST_F(PropertyText, AnyNarrowAndAnyWideTextComesBack) {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }
  EXPECT_EQ(narrow(written(bytes)), bytes);
  EXPECT_EQ(narrow(written(bytes + '\\')), bytes + '\\');
  std::u16string units;
  for (char32_t unit = 1; unit < 0x10000; ++unit) {
    units += static_cast<char16_t>(unit);  // among them a lone surrogate of each kind and one pair
  }
  EXPECT_EQ(wide(written(units)), units);
  // Over the borders of the pieces in which texts are recoded, with characters of each length.
  for (std::size_t shift = 0; shift < 8; ++shift) {
    std::u16string text(shift, u'x');
    for (int i = 0; i < 9000; ++i) {
      text += u"\u00E9\u20AC\U0001F600\xD83D";
    }
    EXPECT_EQ(wide(written(text)), text) << shift;
  }
}

TEST_F(PropertyText, ReadsWhatOthersMayWrite) {
  struct Case {
    const char* why;
    const char* text;
    std::u16string value;
  };
  const Case wides[] = {
      {"the form with one step", "UNICODE \"\xC3\x83\xC2\xA9\"", u"\u00C3\u00A9"},
      {"an escape of a whole unit", "UNICODE \"\\20AC\"", u"\u20AC"},
      {"the same in bytes keeps the low one", "STRINGW \"\\1241\"", u"A"},
      {"an escape that is none", "STRINGW \"\\q\"", u"q"},
      {"with characters behind it", "STRINGW \"\\qrstuv\"", u"qrstuv"},
      {"a prefix in capitals", "STRINGW \"\\0X41b\"", u"Ab"},
      {"a hexadecimal number that is cut", "STRINGW \"\\0x4\"", u"0x4"},
      {"a character outside the page", "STRINGW \"\xE4\xB8\x80\"", u"?"},
      {"bytes that are no UTF-8", "STRINGW \"\xFF\"", u"?"},
      {"blanks in front of tokens", "  STRINGW   \"x\"", u"x"},
      {"an escaped quote", "STRINGW \"a\\\"b\"", u"a\"b"},
  };
  for (const Case& c : wides) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(wide(c.text), c.value);
  }
  const SPropValue& both = read(PT_MV_UNICODE, "MULTIUNICODE 00000002 \"\xC3\xA9\"\"b\"");
  EXPECT_EQ(std::u16string(both.Value.MVszW.lppszW[0]), u"\u00E9");
  EXPECT_EQ(narrow("STRINGA \"\\0x01\""), "\x01");
  EXPECT_EQ(read(PT_BOOLEAN, "BOOL 00ff").Value.b, 1);
  EXPECT_EQ(read(PT_LONG, "LONG 0x2a").Value.l, 42);
  const SBinary& junk = read(PT_BINARY, "BIN [A*Q\tID]").Value.bin;
  EXPECT_EQ(std::string(reinterpret_cast<char*>(junk.lpb), junk.cb), "\x01\x02\x03");
}

TEST_F(PropertyText, RefusesWhatIsNoValue) {
  struct Case {
    const char* why;
    ULONG type;
    const char* text;
    HRESULT code;
  };
  const Case cases[] = {
      {"no value", PT_LONG, "LONG", MAPI_E_CORRUPT_DATA},
      {"another type", PT_LONG, "SHORT 0001", MAPI_E_CORRUPT_DATA},
      {"another width", PT_STRING8, "STRINGW \"x\"", MAPI_E_CORRUPT_DATA},
      {"no digits", PT_LONG, "LONG xyz", MAPI_E_CORRUPT_DATA},
      {"half a pair", PT_I8, "INT64 00000001", MAPI_E_CORRUPT_DATA},
      {"an open quote", PT_UNICODE, "STRINGW \"x", MAPI_E_CORRUPT_DATA},
      {"an escaped last quote", PT_UNICODE, "STRINGW \"x\\\"", MAPI_E_CORRUPT_DATA},
      {"no quotes", PT_UNICODE, "STRINGW x", MAPI_E_CORRUPT_DATA},
      {"no brackets", PT_BINARY, "BIN AQID", MAPI_E_CORRUPT_DATA},
      {"one bracket", PT_BINARY, "BIN [", MAPI_E_CORRUPT_DATA},
      {"no GUID", PT_CLSID, "CLSID {x}", MAPI_E_CORRUPT_DATA},
      {"more elements than characters", PT_MV_LONG, "MULTILONG ffffffff", MAPI_E_CORRUPT_DATA},
      {"one element too few", PT_MV_LONG, "MULTILONG 00000002 00000001", MAPI_E_CORRUPT_DATA},
      {"nothing", PT_LONG, "", MAPI_E_CORRUPT_DATA},
      {"money", PT_CURRENCY, "LONG 00000001", E_NOTIMPL},
      {"a variant time", PT_APPTIME, "DOUBLE 00000000 00000000", E_NOTIMPL},
      {"many of them", PT_MV_APPTIME, "MULTIDOUBLE 00000000", E_NOTIMPL},
      {"an error", PT_ERROR, "LONG 00000001", E_INVALIDARG},
      {"an object", PT_OBJECT, "LONG 00000001", E_INVALIDARG},
      {"no type", PT_UNSPECIFIED, "LONG 00000001", E_INVALIDARG},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(codeOfReading(c.type, c.text), c.code);
    if (c.code != MAPI_E_CORRUPT_DATA) {
      EXPECT_EQ(codeOf([&] { written(c.type, [](PropertyValue&) {}); }), c.code);
    }
  }
  for (const ULONG type : {PT_STRING8, PT_UNICODE, PT_CLSID, PT_MV_LONG, PT_MV_STRING8, PT_MV_BINARY}) {
    EXPECT_EQ(codeOf([&] { written(type, [](PropertyValue&) {}); }), E_INVALIDARG) << std::hex << type;
  }
  char16_t* nothing[] = {nullptr};
  SBinary noBytes[] = {{1, nullptr}};
  EXPECT_EQ(codeOf([&] { written(PT_MV_UNICODE, [&](PropertyValue& v) { v.MVszW = {1, nothing}; }); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { written(PT_MV_BINARY, [&](PropertyValue& v) { v.MVbin = {1, noBytes}; }); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { written(PT_BINARY, [&](PropertyValue& v) { v.bin = {1, nullptr}; }); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([] { Serializer::toString(nullptr); }), E_INVALIDARG);
}

TEST(LexicalParser, QuotedTokensNeedNoBlankBetweenThem) {
  LexicalParser parser(R"("a""b"  "c\\" "d)");
  EXPECT_EQ(parser.nextToken(), "\"a\"");
  EXPECT_EQ(parser.nextToken(), "\"b\"");
  EXPECT_EQ(parser.nextToken(), R"("c\\")");
  EXPECT_EQ(codeOf([&] { (void)parser.nextToken(); }), MAPI_E_CORRUPT_DATA);
}

}  // namespace
}  // namespace nalvo::test
