// Writes compound files.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/byte_sink.h"
#include "platform/com/com_ptr.h"

namespace nalvo::host {

// What a storage tells of itself.
struct StorageInfo {
  GUID classId{};
  std::uint32_t stateBits = 0;
  FILETIME created{};
  FILETIME modified{};
};

// The order of the entries of a storage: by length, then by letters whatever their case.
bool comesBefore(std::u16string_view name, std::u16string_view other);

// Streams are written as they come, each in one piece; what is small is gathered and follows at the end, as do the tables.
// Memory grows with the number of entries, not with their size. The same calls give the same bytes.
class CompoundWriter {
 public:
  using Storage = std::uint32_t;
  static constexpr Storage kRoot = 0;

  // Sectors of 4096 bytes, which every stream of 2 GiB or more needs, when `expectedBytes` of content come near that; else
  // of 512.
  CompoundWriter(ByteSink& sink, std::uint64_t expectedBytes);

  void setRootInfo(const StorageInfo& info) { entries_[kRoot].info = info; }
  // Names are at most 31 units long and occur once in their storage; E_INVALIDARG for a longer one.
  Storage addStorage(Storage parent, std::u16string_view name, const StorageInfo& info = {});
  void addStream(Storage parent, std::u16string_view name, std::string_view bytes);
  // All of `content` from its start, through a clone. MAPI_E_TOO_BIG for 2 GiB and more in small sectors.
  void addStream(Storage parent, std::u16string_view name, IStream* content);
  // Writes what is left. The sink is then to be closed by its owner.
  void finish();

 private:
  struct Entry {
    std::u16string name;
    std::uint8_t type;
    std::uint8_t colour = 0;
    std::uint32_t left;
    std::uint32_t right;
    std::uint32_t child;
    std::uint32_t start;
    std::uint64_t size;
    StorageInfo info;
  };
  // A chain of sectors that follow each other.
  struct Run {
    std::uint32_t start;
    std::uint32_t sectors;
  };

  std::uint64_t sectorBytes() const { return std::uint64_t{1} << sectorShift_; }
  std::uint32_t addEntry(Storage parent, std::u16string_view name, std::uint8_t type, const StorageInfo& info);
  void put(std::string_view bytes);
  // Ends a chain of `bytes` that began at the present sector: pads and notes it. Gives its first sector.
  std::uint32_t endRun(std::uint64_t bytes);
  void putMini(Entry& entry, std::string_view bytes);
  std::uint32_t putTable(const std::vector<std::uint32_t>& table);
  void linkTrees();
  std::uint32_t linkTree(const std::vector<std::uint32_t>& sorted, std::size_t begin, std::size_t end, unsigned depth,
                         unsigned redDepth);
  std::string directory() const;
  void putFat(std::string& header);

  ByteSink& sink_;
  std::uint32_t sectorShift_;
  std::uint32_t nextSector_ = 0;
  std::vector<Run> runs_;
  ComPtr<IStream> miniStream_;
  std::string miniBuffer_;  // what is still to be written there, in whole sectors
  std::vector<std::uint32_t> miniFat_;
  std::vector<Entry> entries_;
  std::map<Storage, std::vector<std::uint32_t>> children_;
};

}  // namespace nalvo::host
