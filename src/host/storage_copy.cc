#include "host/storage_copy.h"

#include <algorithm>

#include "host/compound_layout.h"

namespace nalvo::host {
namespace {

// Each level costs stack.
constexpr unsigned kDeepestStorage = 100;

bool copyLevel(CompoundFile& file, const CompoundFile::Entry& source, CompoundWriter& writer, CompoundWriter::Storage target,
               unsigned depth) {
  // A damaged file may have them in another order, and a copy of the copy is to be the same file.
  std::vector<std::uint32_t> children = source.children;
  std::stable_sort(children.begin(), children.end(), [&file](std::uint32_t a, std::uint32_t b) {
    return comesBefore(file.entry(a).name, file.entry(b).name);
  });
  bool whole = true;
  for (const std::uint32_t index : children) {
    const CompoundFile::Entry& child = file.entry(index);
    if (!child.isStorage) {
      const std::uint64_t there = file.availableSize(child);
      writer.addStream(target, child.name, file.open(child, there).get());
      whole = whole && there == child.size;
    } else if (depth < kDeepestStorage) {
      whole = copyLevel(file, child, writer, writer.addStorage(target, child.name, infoOf(child)), depth + 1) && whole;
    } else {
      whole = false;
    }
  }
  return whole;
}

}  // namespace

StorageInfo infoOf(const CompoundFile::Entry& storage) {
  return {storage.classId, storage.stateBits, storage.created, storage.modified};
}

std::uint64_t sizeOfStorage(const CompoundFile& file, const CompoundFile::Entry& storage) {
  std::uint64_t bytes = 0;
  std::vector<const CompoundFile::Entry*> waiting{&storage};
  while (!waiting.empty()) {
    const CompoundFile::Entry& next = *waiting.back();
    waiting.pop_back();
    bytes += std::min(next.size, file.fileSize()) + compound::entry::kBytes;
    for (const std::uint32_t child : next.children) {
      waiting.push_back(&file.entry(child));
    }
  }
  return bytes;
}

bool copyStorage(CompoundFile& file, const CompoundFile::Entry& source, CompoundWriter& writer,
                 CompoundWriter::Storage target) {
  return copyLevel(file, source, writer, target, 0);
}

}  // namespace nalvo::host
