#include "host/compound_file.h"

#include <algorithm>

#include "diagnostics/boundary.h"
#include "host/compound_layout.h"
#include "host/little_endian.h"
#include "mime/read_only_stream.h"

namespace nalvo::host {
namespace {

namespace header = compound::header;
namespace entry = compound::entry;

constexpr SourceFile kSource{".\\CompoundFile"};

constexpr std::size_t kWindowBytes = 64U << 10;

[[noreturn]] void corrupt(const char* what) { throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("CompoundFile"), what); }

std::size_t readFully(IStream* stream, std::uint64_t offset, char* buffer, std::size_t bytes) {
  checkHResult(stream->Seek(static_cast<std::int64_t>(offset), STREAM_SEEK_SET, nullptr), kSource.at("host::readFully"));
  std::size_t done = 0;
  while (done < bytes) {
    ULONG got = 0;
    checkHResult(stream->Read(buffer + done, static_cast<ULONG>(std::min<std::size_t>(bytes - done, 1U << 30)), &got),
                 kSource.at("host::readFully"));
    if (got == 0) {
      break;
    }
    done += got;
  }
  return done;
}

std::uint64_t sizeOf(const Extents& extents) { return extents.empty() ? 0 : extents.back().logical + extents.back().bytes; }

// Adds a piece, which joins the last one where it goes on from it.
void append(Extents& extents, std::uint64_t offset, std::uint64_t bytes) {
  if (!extents.empty() && extents.back().offset + extents.back().bytes == offset) {
    extents.back().bytes += bytes;
  } else {
    extents.push_back({sizeOf(extents), offset, bytes});
  }
}

// The pieces of `extents` from `begin` on, at most `bytes` of them.
void appendPart(Extents& to, const Extents& extents, std::uint64_t begin, std::uint64_t bytes) {
  auto piece = std::upper_bound(extents.begin(), extents.end(), begin,
                                [](std::uint64_t offset, const Extent& e) { return offset < e.logical; });
  if (piece == extents.begin()) {
    return;
  }
  for (--piece; piece != extents.end() && bytes != 0; ++piece) {
    const std::uint64_t skip = begin - piece->logical;
    if (skip >= piece->bytes) {
      return;
    }
    const std::uint64_t taken = std::min(bytes, piece->bytes - skip);
    append(to, piece->offset + skip, taken);
    begin += taken;
    bytes -= taken;
  }
}

class CompoundStream final : public mime::ReadOnlyStream {
 public:
  CompoundStream(ComPtr<IStream> file, std::shared_ptr<const Extents> extents, std::uint64_t size)
      : file_(std::move(file)), extents_(std::move(extents)), size_(size) {}

  HRESULT Clone(IStream** out) noexcept override {
    return atBoundary([&] {
      ComPtr<IStream> file;
      checkHResult(file_->Clone(file.put()), kSource.at("CompoundStream::Clone"));
      auto clone = makeCom<CompoundStream>(std::move(file), extents_, size_);
      clone->position_ = position_;
      *out = clone.detach();
    });
  }

 protected:
  std::uint64_t size() override { return size_; }

  std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t bytes) override {
    if (offset >= size_) {
      return 0;
    }
    Extents pieces;
    appendPart(pieces, *extents_, offset, std::min<std::uint64_t>(bytes, size_ - offset));
    std::size_t done = 0;
    for (const Extent& piece : pieces) {
      const std::size_t got = readFully(file_.get(), piece.offset, buffer + done, piece.bytes);
      done += got;
      if (got < piece.bytes) {
        throwHResult(STG_E_READFAULT, kSource.at("CompoundStream::readAt"), "the file became shorter");
      }
    }
    return done;
  }

 private:
  ComPtr<IStream> file_;
  std::shared_ptr<const Extents> extents_;
  std::uint64_t size_;
};

}  // namespace

bool CompoundFile::isCompoundFile(IStream* file) {
  std::uint64_t position = 0;
  checkHResult(file->Seek(0, STREAM_SEEK_CUR, &position), kSource.at("CompoundFile::isCompoundFile"));
  char magic[8];
  const std::size_t got = readFully(file, 0, magic, sizeof magic);
  checkHResult(file->Seek(static_cast<std::int64_t>(position), STREAM_SEEK_SET, nullptr),
               kSource.at("CompoundFile::isCompoundFile"));
  return std::string_view(magic, got) == compound::kMagic;
}

CompoundFile::CompoundFile(IStream* file) {
  checkHResult(file->Clone(file_.put()), kSource.at("CompoundFile"));
  checkHResult(file_->Seek(0, STREAM_SEEK_END, &fileSize_), kSource.at("CompoundFile"));
  readHeader();
}

std::size_t CompoundFile::readAt(std::uint64_t offset, char* buffer, std::size_t bytes) {
  std::size_t done = 0;
  while (done < bytes) {
    const std::uint64_t from = offset + done;
    if (from < windowOffset_ || from >= windowOffset_ + window_.size()) {
      if (from >= fileSize_) {
        break;
      }
      windowOffset_ = from / kWindowBytes * kWindowBytes;
      window_.resize(kWindowBytes);
      window_.resize(readFully(file_.get(), windowOffset_, window_.data(), window_.size()));
      if (from >= windowOffset_ + window_.size()) {
        break;
      }
    }
    const std::size_t skip = from - windowOffset_;
    const std::size_t taken = std::min(bytes - done, window_.size() - skip);
    std::copy_n(window_.data() + skip, taken, buffer + done);
    done += taken;
  }
  return done;
}

std::string CompoundFile::readAll(const Extents& extents) {
  std::string bytes(sizeOf(extents), '\0');
  std::size_t done = 0;
  for (const Extent& piece : extents) {
    const std::size_t got = readAt(piece.offset, bytes.data() + done, piece.bytes);
    done += got;
    if (got < piece.bytes) {
      break;
    }
  }
  bytes.resize(done);
  return bytes;
}

void CompoundFile::readHeader() {
  std::string bytes(header::kBytes, '\0');
  if (readAt(0, bytes.data(), bytes.size()) < bytes.size() || !std::string_view(bytes).starts_with(compound::kMagic)) {
    corrupt("not a compound file");
  }
  sectorShift_ = loadAt<std::uint16_t>(bytes, header::kSectorShift);
  if (sectorShift_ != 9 && sectorShift_ != 12) {
    corrupt("a compound file with an unknown size of sectors");
  }
  if (loadAt<std::uint16_t>(bytes, header::kMiniSectorShift) != compound::kMiniShift) {
    corrupt("a compound file with an unknown size of small sectors");
  }
  const std::uint64_t sectorBytes = std::uint64_t{1} << sectorShift_;
  sectorCount_ = std::min<std::uint64_t>((fileSize_ - std::min(fileSize_, sectorBytes) + sectorBytes - 1) >> sectorShift_,
                                         compound::kLastRegularSector);
  cutoff_ = loadAt<std::uint32_t>(bytes, header::kCutoff);
  readFat(bytes);
  readDirectory(loadAt<std::uint32_t>(bytes, header::kDirectoryStart));
  miniStream_ = followChain(root().start, entries_.front().size);
  entries_.front().size = 0;
  const std::uint64_t miniFatBytes =
      std::min<std::uint64_t>(std::uint64_t{loadAt<std::uint32_t>(bytes, header::kMiniFatSectors)} << sectorShift_,
                              (sizeOf(miniStream_) / compound::kMiniSectorBytes + 1) * 4);
  miniFat_ =
      valuesOf<std::uint32_t>(readAll(followChain(loadAt<std::uint32_t>(bytes, header::kMiniFatStart), miniFatBytes)));
  linkChildren();
}

void CompoundFile::readFat(std::string_view bytes) {
  const std::size_t perSector = (std::size_t{1} << sectorShift_) / 4;
  const std::uint64_t wanted = std::min<std::uint64_t>(loadAt<std::uint32_t>(bytes, header::kFatSectors), sectorCount_);
  std::vector<std::uint32_t> sectors;
  const auto take = [&](std::string_view table, std::size_t offset, std::size_t count) {
    for (std::size_t i = 0; i < count && sectors.size() < wanted; ++i) {
      sectors.push_back(loadAt<std::uint32_t>(table, offset + i * 4));
    }
  };
  take(bytes, header::kDifat, header::kDifatEntries);
  std::uint32_t next = loadAt<std::uint32_t>(bytes, header::kDifatStart);
  while (sectors.size() < wanted && next < sectorCount_) {
    std::string table(perSector * 4, '\xFF');
    readAt(sectorOffset(next), table.data(), table.size());
    take(table, 0, perSector - 1);
    next = loadAt<std::uint32_t>(table, (perSector - 1) * 4);
  }
  // Sectors that the file hasn't got are free.
  const std::size_t tableSize = std::min<std::uint64_t>(sectors.size() * perSector, sectorCount_);
  fat_.assign(tableSize, compound::kFreeSector);
  std::string table(perSector * 4, '\0');
  for (std::size_t i = 0; i < sectors.size() && i * perSector < tableSize; ++i) {
    if (sectors[i] >= sectorCount_) {
      continue;
    }
    const std::size_t got = readAt(sectorOffset(sectors[i]), table.data(), table.size()) / 4;
    std::memcpy(fat_.data() + i * perSector, table.data(), std::min(got, tableSize - i * perSector) * 4);
  }
}

// Chains of a sound file share no sector. A file whose chains do could cost far more than its size.
void CompoundFile::claim(std::uint64_t sectors) {
  claimed_ += sectors;
  if (claimed_ > 4 * (sectorCount_ + miniFat_.size()) + 1024) {
    corrupt("a compound file whose streams lie in each other");
  }
}

Extents CompoundFile::followChain(std::uint32_t start, std::uint64_t size) {
  const std::uint64_t sectorBytes = std::uint64_t{1} << sectorShift_;
  Extents extents;
  std::uint64_t left = std::min(size, sectorCount_ << sectorShift_);
  std::uint64_t steps = 0;
  for (std::uint32_t sector = start; left != 0 && sector < sectorCount_; ++steps) {
    const std::uint64_t offset = sectorOffset(sector);
    const std::uint64_t there = std::min({left, sectorBytes, fileSize_ - offset});
    append(extents, offset, there);
    left -= there;
    if (there < sectorBytes || sector >= fat_.size()) {
      break;
    }
    sector = fat_[sector];
  }
  claim(steps);
  return extents;
}

Extents CompoundFile::followMiniChain(std::uint32_t start, std::uint64_t size) {
  Extents extents;
  std::uint64_t left = std::min(size, sizeOf(miniStream_));
  std::uint64_t steps = 0;
  for (std::uint32_t sector = start; left != 0 && sector < miniFat_.size(); sector = miniFat_[sector], ++steps) {
    const std::uint64_t wanted = std::min<std::uint64_t>(left, compound::kMiniSectorBytes);
    const std::uint64_t before = sizeOf(extents);
    appendPart(extents, miniStream_, std::uint64_t{sector} << compound::kMiniShift, wanted);
    const std::uint64_t there = sizeOf(extents) - before;
    left -= there;
    if (there < wanted) {
      break;
    }
  }
  claim(steps);
  return extents;
}

Extents CompoundFile::extentsOf(const Entry& stream) {
  return stream.size < cutoff_ ? followMiniChain(stream.start, stream.size) : followChain(stream.start, stream.size);
}

void CompoundFile::readDirectory(std::uint32_t start) {
  const std::string bytes = readAll(followChain(start, sectorCount_ << sectorShift_));
  for (std::size_t offset = 0; offset + entry::kBytes <= bytes.size(); offset += entry::kBytes) {
    const std::string_view one = std::string_view(bytes).substr(offset, entry::kBytes);
    const auto type = loadAt<std::uint8_t>(one, entry::kType);
    Entry made{};
    const std::size_t units =
        std::min<std::size_t>(loadAt<std::uint16_t>(one, entry::kNameBytes) / 2, entry::kLongestName + 1);
    made.name.resize(units == 0 ? 0 : units - 1);
    std::memcpy(made.name.data(), one.data(), made.name.size() * 2);
    made.isStorage = type == entry::kStorage || type == entry::kRoot;
    made.classId = loadAt<GUID>(one, entry::kClass);
    made.stateBits = loadAt<std::uint32_t>(one, entry::kStateBits);
    made.created = loadAt<FILETIME>(one, entry::kCreated);
    made.modified = loadAt<FILETIME>(one, entry::kModified);
    made.start = loadAt<std::uint32_t>(one, entry::kStart);
    if (type == entry::kStream || offset == 0) {
      // With small sectors the upper half of the size means nothing.
      made.size = sectorShift_ == 9 ? loadAt<std::uint32_t>(one, entry::kSize) : loadAt<std::uint64_t>(one, entry::kSize);
    }
    // Until the children are linked, the three neighbours stand here; unused entries have none.
    const bool used = type == entry::kStream || made.isStorage;
    made.children = used ? std::vector{loadAt<std::uint32_t>(one, entry::kLeft), loadAt<std::uint32_t>(one, entry::kRight),
                                       loadAt<std::uint32_t>(one, entry::kChild)}
                         : std::vector<std::uint32_t>();
    entries_.push_back(std::move(made));
  }
  if (entries_.empty() || !entries_.front().isStorage) {
    corrupt("a compound file without a root");
  }
}

void CompoundFile::linkChildren() {
  std::vector<std::vector<std::uint32_t>> links;
  links.reserve(entries_.size());
  for (Entry& e : entries_) {
    links.push_back(std::exchange(e.children, {}));
  }
  std::vector<bool> claimed(entries_.size(), false);
  claimed[0] = true;
  std::vector<std::uint32_t> storages{0};
  std::vector<std::uint32_t> path;
  // Takes an entry that is there, is in use and belongs to nobody yet.
  const auto enter = [&](std::uint32_t index) {
    if (index >= entries_.size() || claimed[index] || links[index].empty()) {
      return false;
    }
    claimed[index] = true;
    return true;
  };
  while (!storages.empty()) {
    const std::uint32_t storage = storages.back();
    storages.pop_back();
    std::uint32_t next = links[storage][2];
    while (true) {
      for (; enter(next); next = links[next][0]) {
        path.push_back(next);
      }
      if (path.empty()) {
        break;
      }
      const std::uint32_t visited = path.back();
      path.pop_back();
      entries_[storage].children.push_back(visited);
      if (entries_[visited].isStorage) {
        storages.push_back(visited);
      }
      next = links[visited][1];
    }
  }
}

std::string CompoundFile::read(const Entry& stream, std::uint64_t limit) {
  Entry part = stream;
  Extents extents = extentsOf(part);
  Extents wanted;
  appendPart(wanted, extents, 0, limit);
  return readAll(wanted);
}

ComPtr<IStream> CompoundFile::open(const Entry& stream, std::uint64_t bytes) {
  ComPtr<IStream> file;
  checkHResult(file_->Clone(file.put()), kSource.at("CompoundFile::open"));
  auto extents = std::make_shared<const Extents>(extentsOf(stream));
  const std::uint64_t size = std::min(bytes, sizeOf(*extents));
  return ComPtr<IStream>::attach(new CompoundStream(std::move(file), std::move(extents), size));
}

std::uint64_t CompoundFile::availableSize(const Entry& stream) { return sizeOf(extentsOf(stream)); }

}  // namespace nalvo::host
