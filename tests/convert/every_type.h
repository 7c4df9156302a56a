// A value of each type that a property can have.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "host/property_value.h"
#include "platform/mapi/property_types.h"

namespace nalvo::test {

struct TypeSample {
  ULONG type;
  host::PropertyContent content;
};

// All 255 bytes that a narrow text can hold, and a wide text with what is hard to store.
inline std::string everyByte() {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }
  return bytes;
}
inline const std::u16string kHardText = u"\u00E9\u4E00\U0001F600\xD800 \"~$\\0x41\r\n\t\x01\u00C1";

inline std::vector<TypeSample> everyType() {
  const GUID guid{0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
  const std::string bytes("\0\x01\xFF\"~$", 6);
  using namespace host;
  return {
      {PT_SHORT, std::int16_t{-2}},
      {PT_LONG, std::int32_t{-3}},
      {PT_FLOAT, 1.5F},
      {PT_DOUBLE, -0.1},
      {PT_BOOLEAN, true},
      {PT_I8, std::numeric_limits<std::int64_t>::min()},
      {PT_STRING8, everyByte()},
      {PT_UNICODE, kHardText},
      {PT_SYSTIME, FILETIME{0xD53E8000, 0x01C6F0E5}},
      {PT_CLSID, guid},
      {PT_BINARY, bytes},
      {PT_MV_SHORT, std::vector<std::int16_t>{-1, 2}},
      {PT_MV_LONG, std::vector<std::int32_t>{}},
      {PT_MV_FLOAT, std::vector<float>{0.5F, std::numeric_limits<float>::infinity()}},
      {PT_MV_DOUBLE, std::vector<double>{std::numeric_limits<double>::denorm_min()}},
      {PT_MV_I8, std::vector<std::int64_t>{1, -1}},
      {PT_MV_STRING8, std::vector<std::string>{everyByte(), ""}},
      {PT_MV_UNICODE, std::vector<std::u16string>{kHardText, u""}},
      {PT_MV_SYSTIME, std::vector<FILETIME>{{1, 2}, {3, 4}}},
      {PT_MV_CLSID, std::vector<GUID>{guid, GUID{}}},
      {PT_MV_BINARY, std::vector<std::string>{"", bytes}},
  };
}

}  // namespace nalvo::test
