// The ANSI code page, its five holes filled with the C1 control of the same number; for the files of this folder.
#pragma once

#include <array>
#include <cstddef>

namespace nalvo {

// 0x80 to 0x9F; every other byte is the code point of the same number.
inline constexpr std::array<char16_t, 32> kAnsiC1 = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                     0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                     0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                     0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

constexpr char16_t ansiToUnit(unsigned char byte) {
  return byte >= 0x80 && byte < 0xA0 ? kAnsiC1[byte - 0x80U] : char16_t{byte};
}

// -1 for a character that the page lacks.
constexpr int unitToAnsi(char16_t unit) {
  if (unit < 0x80 || (unit >= 0xA0 && unit < 0x100)) {
    return unit;
  }
  for (std::size_t i = 0; i < kAnsiC1.size(); ++i) {
    if (kAnsiC1[i] == unit) {
      return static_cast<int>(0x80 + i);
    }
  }
  return -1;
}

}  // namespace nalvo
