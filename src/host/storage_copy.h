// Copies storages from one compound file to another.
#pragma once

#include "host/compound_file.h"
#include "host/compound_writer.h"

namespace nalvo::host {

StorageInfo infoOf(const CompoundFile::Entry& storage);
// The bytes of all streams in a storage, as the directory tells them; a lie makes a stream as long as the file at most.
std::uint64_t sizeOfStorage(const CompoundFile& file, const CompoundFile::Entry& storage);
// Copies what lies in `source` into `target`, in the order of comesBefore, so that equal contents give equal files. False if
// something was left out: a stream that is cut, or storages more than 100 deep in each other.
bool copyStorage(CompoundFile& file, const CompoundFile::Entry& source, CompoundWriter& writer,
                 CompoundWriter::Storage target);

}  // namespace nalvo::host
