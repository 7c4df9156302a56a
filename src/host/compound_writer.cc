#include "host/compound_writer.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <bit>
#include <utility>

#include "diagnostics/hresult_exception.h"
#include "host/compound_layout.h"
#include "host/little_endian.h"
#include "mime/read_only_stream.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

namespace header = compound::header;
namespace entry = compound::entry;

constexpr SourceFile kSource{".\\CompoundWriter"};

constexpr std::size_t kCopyBytes = 64U << 10;
// Sizes of streams have 31 bits with sectors of 512 bytes; this leaves room for what comes on top of the content.
constexpr std::uint64_t kSmallSectorsUpTo = 0x70000000;
constexpr std::uint64_t kLongestInSmallSectors = 0x7FFFFFFF;

char16_t upper(char16_t unit) {
  const UChar32 mapped = u_toupper(unit);
  return mapped <= 0xFFFF ? static_cast<char16_t>(mapped) : unit;
}

// Reads until the buffer is full or the stream ends.
std::string_view fill(IStream* stream, std::string& buffer) {
  std::size_t done = 0;
  while (done < buffer.size()) {
    ULONG got = 0;
    checkHResult(stream->Read(buffer.data() + done, static_cast<ULONG>(buffer.size() - done), &got),
                 kSource.at("CompoundWriter::addStream"));
    if (got == 0) {
      break;
    }
    done += got;
  }
  return std::string_view(buffer).substr(0, done);
}

}  // namespace

bool comesBefore(std::u16string_view name, std::u16string_view other) {
  if (name.size() != other.size()) {
    return name.size() < other.size();
  }
  return std::lexicographical_compare(name.begin(), name.end(), other.begin(), other.end(),
                                      [](char16_t x, char16_t y) { return upper(x) < upper(y); });
}

CompoundWriter::CompoundWriter(ByteSink& sink, std::uint64_t expectedBytes)
    : sink_(sink), sectorShift_(expectedBytes <= kSmallSectorsUpTo ? 9 : 12), miniStream_(streamUtils::createStream()) {
  sink_.append(std::string(sectorBytes(), '\0'));
  entries_.push_back({u"Root Entry",
                      entry::kRoot,
                      entry::kBlack,
                      compound::kNoEntry,
                      compound::kNoEntry,
                      compound::kNoEntry,
                      compound::kEndOfChain,
                      0,
                      {}});
}

std::uint32_t CompoundWriter::addEntry(Storage parent, std::u16string_view name, std::uint8_t type,
                                       const StorageInfo& info) {
  if (name.size() > entry::kLongestName) {
    throwHResult(E_INVALIDARG, kSource.at("CompoundWriter::addEntry"));
  }
  const auto index = static_cast<std::uint32_t>(entries_.size());
  entries_.push_back({std::u16string(name), type, entry::kBlack, compound::kNoEntry, compound::kNoEntry, compound::kNoEntry,
                      type == entry::kStream ? compound::kEndOfChain : 0, 0, info});
  children_[parent].push_back(index);
  return index;
}

CompoundWriter::Storage CompoundWriter::addStorage(Storage parent, std::u16string_view name, const StorageInfo& info) {
  return addEntry(parent, name, entry::kStorage, info);
}

void CompoundWriter::put(std::string_view bytes) { sink_.append(bytes); }

std::uint32_t CompoundWriter::endRun(std::uint64_t bytes) {
  if (bytes == 0) {
    return compound::kEndOfChain;
  }
  const std::uint64_t sectors = (bytes + sectorBytes() - 1) >> sectorShift_;
  if (sectors > compound::kLastRegularSector - nextSector_) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("CompoundWriter::endRun"));
  }
  put(std::string((sectors << sectorShift_) - bytes, '\0'));
  runs_.push_back({nextSector_, static_cast<std::uint32_t>(sectors)});
  nextSector_ += static_cast<std::uint32_t>(sectors);
  return runs_.back().start;
}

void CompoundWriter::putMini(Entry& made, std::string_view bytes) {
  made.size = bytes.size();
  if (bytes.empty()) {
    return;
  }
  made.start = static_cast<std::uint32_t>(miniFat_.size());
  const std::size_t sectors = (bytes.size() + compound::kMiniSectorBytes - 1) / compound::kMiniSectorBytes;
  for (std::size_t i = 1; i < sectors; ++i) {
    miniFat_.push_back(static_cast<std::uint32_t>(miniFat_.size() + 1));
  }
  miniFat_.push_back(compound::kEndOfChain);
  miniBuffer_ += bytes;
  miniBuffer_.resize((miniBuffer_.size() + compound::kMiniSectorBytes - 1) / compound::kMiniSectorBytes *
                     compound::kMiniSectorBytes);
  if (miniBuffer_.size() >= kCopyBytes) {
    mime::writeAll(miniStream_.get(), miniBuffer_);
    miniBuffer_.clear();
  }
}

void CompoundWriter::addStream(Storage parent, std::u16string_view name, std::string_view bytes) {
  Entry& made = entries_[addEntry(parent, name, entry::kStream, {})];
  if (bytes.size() < compound::kMiniCutoff) {
    putMini(made, bytes);
    return;
  }
  put(bytes);
  made.size = bytes.size();
  made.start = endRun(bytes.size());
}

void CompoundWriter::addStream(Storage parent, std::u16string_view name, IStream* content) {
  ComPtr<IStream> reader;
  checkHResult(content->Clone(reader.put()), kSource.at("CompoundWriter::addStream"));
  streamUtils::rewind(reader.get());
  std::string buffer(kCopyBytes, '\0');
  std::string_view piece = fill(reader.get(), buffer);
  if (piece.size() < buffer.size()) {
    addStream(parent, name, piece);
    return;
  }
  std::uint64_t size = 0;
  for (; !piece.empty(); piece = fill(reader.get(), buffer)) {
    size += piece.size();
    if (size > kLongestInSmallSectors && sectorShift_ == 9) {
      throwHResult(MAPI_E_TOO_BIG, kSource.at("CompoundWriter::addStream"));
    }
    put(piece);
  }
  Entry& made = entries_[addEntry(parent, name, entry::kStream, {})];
  made.size = size;
  made.start = endRun(size);
}

// A balanced tree of black entries, of which those of the lowest row are red, keeps the rules of a red-black tree.
std::uint32_t CompoundWriter::linkTree(const std::vector<std::uint32_t>& sorted, std::size_t begin, std::size_t end,
                                       unsigned depth, unsigned redDepth) {
  if (begin == end) {
    return compound::kNoEntry;
  }
  const std::size_t middle = begin + (end - begin) / 2;
  Entry& made = entries_[sorted[middle]];
  made.colour = depth == redDepth && depth != 0 ? entry::kRed : entry::kBlack;
  made.left = linkTree(sorted, begin, middle, depth + 1, redDepth);
  made.right = linkTree(sorted, middle + 1, end, depth + 1, redDepth);
  return sorted[middle];
}

void CompoundWriter::linkTrees() {
  for (auto& [storage, children] : children_) {
    std::stable_sort(children.begin(), children.end(),
                     [this](std::uint32_t a, std::uint32_t b) { return comesBefore(entries_[a].name, entries_[b].name); });
    const auto redDepth = static_cast<unsigned>(std::bit_width(children.size())) - 1;
    entries_[storage].child = linkTree(children, 0, children.size(), 0, redDepth);
  }
}

std::string CompoundWriter::directory() const {
  std::string bytes;
  bytes.reserve(entries_.size() * entry::kBytes + sectorBytes());
  for (const Entry& e : entries_) {
    std::string one(entry::kBytes, '\0');
    std::memcpy(one.data(), e.name.data(), e.name.size() * sizeof(char16_t));
    storeAt(one, entry::kNameBytes, static_cast<std::uint16_t>((e.name.size() + 1) * sizeof(char16_t)));
    storeAt(one, entry::kType, e.type);
    storeAt(one, entry::kColour, e.colour);
    storeAt(one, entry::kLeft, e.left);
    storeAt(one, entry::kRight, e.right);
    storeAt(one, entry::kChild, e.child);
    storeAt(one, entry::kClass, e.info.classId);
    storeAt(one, entry::kStateBits, e.info.stateBits);
    storeAt(one, entry::kCreated, e.info.created);
    storeAt(one, entry::kModified, e.info.modified);
    storeAt(one, entry::kStart, e.start);
    storeAt(one, entry::kSize, e.size);
    bytes += one;
  }
  std::string unused(entry::kBytes, '\0');
  for (const std::size_t link : {entry::kLeft, entry::kRight, entry::kChild}) {
    storeAt(unused, link, compound::kNoEntry);
  }
  while (bytes.size() % sectorBytes() != 0) {
    bytes += unused;
  }
  return bytes;
}

std::uint32_t CompoundWriter::putTable(const std::vector<std::uint32_t>& table) {
  std::string bytes(reinterpret_cast<const char*>(table.data()), table.size() * 4);
  bytes.resize((bytes.size() + sectorBytes() - 1) >> sectorShift_ << sectorShift_, '\xFF');
  put(bytes);
  return endRun(bytes.size());
}

void CompoundWriter::putFat(std::string& head) {
  const std::uint64_t perSector = sectorBytes() / 4;
  std::uint64_t fatSectors = 0;
  std::uint64_t difatSectors = 0;
  while (true) {
    const std::uint64_t all = nextSector_ + fatSectors + difatSectors;
    const std::uint64_t wantedFat = (all + perSector - 1) / perSector;
    const std::uint64_t listed = wantedFat - std::min<std::uint64_t>(wantedFat, header::kDifatEntries);
    const std::uint64_t wantedDifat = (listed + perSector - 2) / (perSector - 1);
    if (wantedFat == fatSectors && wantedDifat == difatSectors) {
      break;
    }
    fatSectors = wantedFat;
    difatSectors = wantedDifat;
  }
  const std::uint32_t firstFat = nextSector_;
  const auto firstDifat = static_cast<std::uint32_t>(firstFat + fatSectors);

  std::string buffer;
  std::uint64_t count = 0;
  const auto next = [&](std::uint32_t value) {
    appendTo(buffer, value);
    ++count;
    if (buffer.size() >= kCopyBytes) {
      put(buffer);
      buffer.clear();
    }
  };
  for (const Run& run : runs_) {
    for (std::uint32_t i = 1; i < run.sectors; ++i) {
      next(run.start + i);
    }
    next(compound::kEndOfChain);
  }
  for (std::uint64_t i = 0; i < fatSectors; ++i) {
    next(compound::kFatSector);
  }
  for (std::uint64_t i = 0; i < difatSectors; ++i) {
    next(compound::kDifatSector);
  }
  while (count < fatSectors * perSector) {
    next(compound::kFreeSector);
  }
  std::uint64_t listed = std::min<std::uint64_t>(fatSectors, header::kDifatEntries);
  for (std::uint32_t i = 0; i < header::kDifatEntries; ++i) {
    storeAt(head, header::kDifat + i * 4, i < listed ? firstFat + i : compound::kFreeSector);
  }
  for (std::uint64_t i = 0; i < difatSectors; ++i) {
    for (std::uint64_t k = 0; k + 1 < perSector; ++k, ++listed) {
      next(listed < fatSectors ? static_cast<std::uint32_t>(firstFat + listed) : compound::kFreeSector);
    }
    next(i + 1 < difatSectors ? static_cast<std::uint32_t>(firstDifat + i + 1) : compound::kEndOfChain);
  }
  put(buffer);
  storeAt(head, header::kFatSectors, static_cast<std::uint32_t>(fatSectors));
  storeAt(head, header::kDifatStart, difatSectors == 0 ? compound::kEndOfChain : firstDifat);
  storeAt(head, header::kDifatSectors, static_cast<std::uint32_t>(difatSectors));
}

void CompoundWriter::finish() {
  Entry& root = entries_[kRoot];
  root.size = miniFat_.size() * std::uint64_t{compound::kMiniSectorBytes};
  mime::writeAll(miniStream_.get(), miniBuffer_);
  streamUtils::rewind(miniStream_.get());
  std::string buffer(kCopyBytes, '\0');
  for (std::string_view piece = fill(miniStream_.get(), buffer); !piece.empty(); piece = fill(miniStream_.get(), buffer)) {
    put(piece);
  }
  root.start = endRun(root.size);

  std::string head(header::kBytes, '\0');
  std::copy(compound::kMagic.begin(), compound::kMagic.end(), head.begin());
  storeAt(head, header::kMinorVersion, std::uint16_t{0x3E});
  storeAt(head, header::kMajorVersion, static_cast<std::uint16_t>(sectorShift_ == 9 ? 3 : 4));
  storeAt(head, header::kByteOrder, std::uint16_t{0xFFFE});
  storeAt(head, header::kSectorShift, static_cast<std::uint16_t>(sectorShift_));
  storeAt(head, header::kMiniSectorShift, static_cast<std::uint16_t>(compound::kMiniShift));
  storeAt(head, header::kCutoff, compound::kMiniCutoff);

  const std::uint32_t beforeMiniFat = nextSector_;
  storeAt(head, header::kMiniFatStart, putTable(miniFat_));
  storeAt(head, header::kMiniFatSectors, nextSector_ - beforeMiniFat);

  linkTrees();
  const std::string entries = directory();
  const std::uint32_t beforeDirectory = nextSector_;
  put(entries);
  storeAt(head, header::kDirectoryStart, endRun(entries.size()));
  storeAt(head, header::kDirectorySectors, sectorShift_ == 9 ? 0 : nextSector_ - beforeDirectory);
  putFat(head);
  sink_.replaceStart(head);
}

}  // namespace nalvo::host
