// Reads compound files.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/com/com_ptr.h"

namespace nalvo::host {

// Part of a stream that lies in one piece of the file.
struct Extent {
  std::uint64_t logical;  // offset in the stream
  std::uint64_t offset;   // offset in the file
  std::uint64_t bytes;
};
using Extents = std::vector<Extent>;

class CompoundFile {
 public:
  struct Entry {
    std::u16string name;
    bool isStorage;
    GUID classId;
    std::uint32_t stateBits;
    FILETIME created;
    FILETIME modified;
    std::uint32_t start;                  // first sector
    std::uint64_t size;                   // as the directory tells; of a storage 0
    std::vector<std::uint32_t> children;  // of a storage, in the order of the file's tree
  };

  // True for a stream that begins as compound files do. The position comes back. Throws the stream's code.
  static bool isCompoundFile(IStream* file);

  // Reads the tables; MAPI_E_CORRUPT_DATA, with a text that tells what is wrong, when they hold nothing readable. The file
  // is read through a clone, which the object keeps.
  explicit CompoundFile(IStream* file);

  const Entry& root() const { return entries_.front(); }
  const Entry& entry(std::uint32_t index) const { return entries_[index]; }

  // At most `limit` bytes from the start of a stream. Less than its size where the file is cut or a chain is broken.
  std::string read(const Entry& stream, std::uint64_t limit);
  // The stream at offset 0, which reads from the file when it is asked and outlives this object. `bytes` is its length, at
  // most availableSize.
  ComPtr<IStream> open(const Entry& stream, std::uint64_t bytes);
  // Of the whole file; no stream has more.
  std::uint64_t fileSize() const { return fileSize_; }
  // How much of a stream is there.
  std::uint64_t availableSize(const Entry& stream);

 private:
  std::uint64_t sectorOffset(std::uint32_t sector) const { return (std::uint64_t{sector} + 1) << sectorShift_; }
  std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t bytes);
  std::string readAll(const Extents& extents);
  void readHeader();
  void readFat(std::string_view header);
  void readDirectory(std::uint32_t start);
  void linkChildren();
  Extents followChain(std::uint32_t start, std::uint64_t size);
  Extents followMiniChain(std::uint32_t start, std::uint64_t size);
  Extents extentsOf(const Entry& stream);
  void claim(std::uint64_t sectors);

  ComPtr<IStream> file_;
  std::uint64_t fileSize_ = 0;
  std::uint32_t sectorShift_ = 9;
  std::uint64_t sectorCount_ = 0;
  std::uint64_t cutoff_ = 0;
  std::uint64_t claimed_ = 0;
  std::vector<std::uint32_t> fat_;
  std::vector<std::uint32_t> miniFat_;
  Extents miniStream_;
  std::vector<Entry> entries_;
  // The piece of the file that was read last.
  std::string window_;
  std::uint64_t windowOffset_ = 0;
};

}  // namespace nalvo::host
