#include <gtest/gtest.h>

#include <vector>

#include "diagnostics/hresult_exception.h"
#include "platform/com/guid.h"
#include "properties/entry_id.h"
#include "properties/guid.h"
#include "properties/hexadecimal.h"
#include "properties/property_sets.h"
#include "tests/properties/fixture.h"

namespace nalvo::test {
namespace {

TEST(Guid, ReadsBothFormsAndNoOther) {
  struct Case {
    const char* why;
    std::string_view text;
    HRESULT result;
  };
  const Case cases[] = {
      {"with braces", "{00062008-0000-0000-C000-000000000046}", S_OK},
      {"without", "00062008-0000-0000-C000-000000000046", S_OK},
      {"small letters", "{00062008-0000-0000-c000-000000000046}", S_OK},
      {"blanks around it", "  {00062008-0000-0000-C000-000000000046} ", S_OK},
      {"blanks around the bare form", " 00062008-0000-0000-C000-000000000046  ", S_OK},
      {"a brace that doesn't close", "{00062008-0000-0000-C000-000000000046", E_INVALIDARG},
      {"a brace alone", "{", E_INVALIDARG},
      {"blanks inside the braces", "{ 00062008-0000-0000-C000-00000000046}", E_INVALIDARG},
      {"a letter that is no digit", "{0006200G-0000-0000-C000-000000000046}", E_INVALIDARG},
      {"a digit in place of a dash", "{00062008000000-0000-C000-000000000046}", E_INVALIDARG},
      {"a digit too many", "00062008-0000-0000-C000-0000000000460", kInvalidStringUuid},
      {"a digit too few", "00062008-0000-0000-C000-00000000004", kInvalidStringUuid},
      {"a brace at the end alone", "00062008-0000-0000-C000-000000000046}", kInvalidStringUuid},
      {"nothing", "", kInvalidStringUuid},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const GUID before{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    Guid guid(before);
    EXPECT_EQ(guid.fromString(c.text), c.result);
    EXPECT_EQ(guid.get(), succeeded(c.result) ? PSETID_Common : before);
    EXPECT_EQ(Guid(before).fromString(std::u16string(c.text.begin(), c.text.end())), c.result);
    EXPECT_EQ(codeOf([&] { guid = c.text; }), c.result);
  }
}

TEST(Guid, WritesCapitalsInMemoryOrder) {
  const Guid guid(GUID{0x6ED8DA90, 0x450B, 0x101B, {0x98, 0xDA, 0x00, 0xAA, 0x00, 0x3F, 0x13, 0x05}});
  EXPECT_EQ(guid.toString(), "{6ED8DA90-450B-101B-98DA-00AA003F1305}");
  EXPECT_EQ(guid.toWideString(), u"{6ED8DA90-450B-101B-98DA-00AA003F1305}");
  for (int i = 0; i < 100; ++i) {
    const Guid made = Guid::create();
    Guid read;
    EXPECT_EQ(read.fromString(made.toString()), S_OK);
    EXPECT_EQ(read, made);
  }
}

TEST(Hexadecimal, ReadsWhatTheFixedFormatsAccept) {
  struct Case {
    const char* why;
    std::string_view token;
    std::size_t width;
    std::optional<std::uint32_t> value;
  };
  const Case cases[] = {
      {"eight digits", "8005001f", 8, 0x8005001F},
      {"capitals", "8005001F", 8, 0x8005001F},
      {"fewer digits", "1f", 8, 0x1F},
      {"the ninth is ignored", "123456789", 8, 0x12345678},
      {"what is no digit ends it", "12xyz", 8, 0x12},
      {"a prefix", "0x1f", 8, 0x1F},
      {"a prefix takes of the width", "0x123456789", 8, 0x123456},
      {"a sign", "-1", 8, 0xFFFFFFFF},
      {"a plus", "+2", 8, 2},
      {"four digits of five", "12345", 4, 0x1234},
      {"no digit", "xyz", 8, std::nullopt},
      {"nothing", "", 8, std::nullopt},
      {"a sign alone", "-", 8, std::nullopt},
      {"a prefix alone", "0x", 8, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(parseHex(c.token, c.width), c.value);
  }
}

TEST(EntryId, SizeAndTypeDecide) {
  struct Case {
    const char* why;
    std::size_t size;
    std::uint8_t type;
    bool valid;
  };
  const Case cases[] = {
      {"a folder", 24, 0, true},     {"a short one with a type", 24, 1, false},
      {"first type", 40, 1, true},   {"second type", 40, 2, true},
      {"third type", 40, 3, true},   {"sixth type", 40, 6, true},
      {"no type", 40, 0, false},     {"fourth type", 40, 4, false},
      {"fifth type", 40, 5, false},  {"seventh type", 40, 7, false},
      {"a byte less", 39, 1, false}, {"a byte more", 41, 1, false},
      {"one below", 23, 0, false},   {"nothing", 0, 0, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    std::vector<BYTE> id(c.size + 1, 0);
    if (c.size > 20) {
      id[20] = c.type;
    }
    EXPECT_EQ(EntryId::isValidEntryId(id.data(), c.size), c.valid);
    EXPECT_EQ(codeOf([&] { (void)EntryId::getType(id.data(), c.size); }), c.valid ? S_OK : MAPI_E_INVALID_ENTRYID);
    EXPECT_EQ(codeOf([&] { (void)EntryId::getObjectGuid(id.data(), c.size); }), !c.valid       ? MAPI_E_INVALID_ENTRYID
                                                                                : c.size == 24 ? E_INVALIDARG
                                                                                               : S_OK);
  }
  std::vector<BYTE> id(40, 0);
  id[20] = 3;
  id[24] = 0x08;
  id[39] = 0x46;
  EXPECT_EQ(EntryId::getType(id.data(), id.size()), 3U);
  EXPECT_EQ(EntryId::getObjectGuid(id.data(), id.size()), (GUID{8, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0x46}}));
  EXPECT_EQ(codeOf([] { (void)EntryId::isValidEntryId(nullptr, 24); }), E_INVALIDARG);
}

}  // namespace
}  // namespace nalvo::test
