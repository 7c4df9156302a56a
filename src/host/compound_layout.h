// The layout of compound files: a file of sectors that holds storages and streams, as folders and files.
//
// A table (FAT) gives each sector the next one of its chain. Streams below a cutoff lie in small sectors of the "mini
// stream", which is itself a chain of sectors and has a table of its own. The directory is a chain of entries of 128 bytes;
// the entries of one storage form a binary tree ordered by length and upper-cased name. The table's own sectors are listed
// in the header and, beyond 109, in a chain of further sectors (DIFAT).
#pragma once

#include <cstdint>
#include <string_view>

namespace nalvo::host::compound {

inline constexpr std::string_view kMagic{"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8};

inline constexpr std::uint32_t kLastRegularSector = 0xFFFFFFFA;
inline constexpr std::uint32_t kDifatSector = 0xFFFFFFFC;
inline constexpr std::uint32_t kFatSector = 0xFFFFFFFD;
inline constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
inline constexpr std::uint32_t kFreeSector = 0xFFFFFFFF;
inline constexpr std::uint32_t kNoEntry = 0xFFFFFFFF;

inline constexpr std::uint32_t kMiniShift = 6;
inline constexpr std::uint32_t kMiniSectorBytes = 1U << kMiniShift;
inline constexpr std::uint32_t kMiniCutoff = 4096;

// Offsets in the header, which takes the first 512 bytes.
namespace header {
inline constexpr std::size_t kBytes = 512;
inline constexpr std::size_t kMinorVersion = 24;
inline constexpr std::size_t kMajorVersion = 26;
inline constexpr std::size_t kByteOrder = 28;
inline constexpr std::size_t kSectorShift = 30;
inline constexpr std::size_t kMiniSectorShift = 32;
inline constexpr std::size_t kDirectorySectors = 40;  // 0 with sectors of 512 bytes
inline constexpr std::size_t kFatSectors = 44;
inline constexpr std::size_t kDirectoryStart = 48;
inline constexpr std::size_t kCutoff = 56;
inline constexpr std::size_t kMiniFatStart = 60;
inline constexpr std::size_t kMiniFatSectors = 64;
inline constexpr std::size_t kDifatStart = 68;
inline constexpr std::size_t kDifatSectors = 72;
inline constexpr std::size_t kDifat = 76;
inline constexpr std::uint32_t kDifatEntries = 109;
}  // namespace header

// Offsets in a directory entry.
namespace entry {
inline constexpr std::size_t kBytes = 128;
inline constexpr std::size_t kLongestName = 31;  // UTF-16 units
inline constexpr std::size_t kNameBytes = 64;    // with its terminator
inline constexpr std::size_t kType = 66;
inline constexpr std::size_t kColour = 67;
inline constexpr std::size_t kLeft = 68;
inline constexpr std::size_t kRight = 72;
inline constexpr std::size_t kChild = 76;
inline constexpr std::size_t kClass = 80;
inline constexpr std::size_t kStateBits = 96;
inline constexpr std::size_t kCreated = 100;
inline constexpr std::size_t kModified = 108;
inline constexpr std::size_t kStart = 116;
inline constexpr std::size_t kSize = 120;

inline constexpr std::uint8_t kStorage = 1;
inline constexpr std::uint8_t kStream = 2;
inline constexpr std::uint8_t kRoot = 5;
inline constexpr std::uint8_t kRed = 0;
inline constexpr std::uint8_t kBlack = 1;
}  // namespace entry

}  // namespace nalvo::host::compound
