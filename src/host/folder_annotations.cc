#include "host/folder_annotations.h"

#include "diagnostics/hresult_exception.h"
#include "nalvo/convert.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\FolderAnnotations"};

bool told(HRESULT hr, MemoryAnnotations& annotations) {
  if (failed(hr)) {
    annotations.clear();
  }
  checkHResult(hr, kSource.at("host::writeAnnotations"));
  return hr == S_OK;
}

}  // namespace

bool writeAnnotations(MemoryFolder* folder, MemoryAnnotations& annotations, ILog* log) {
  const ScopedContext allocations(folder->context().get());
  return told(folderFromMapiToMime(folder, &annotations, 0, log), annotations);
}

bool writeAnnotations(MemoryStore* store, MemoryAnnotations& annotations, ILog* log) {
  const ScopedContext allocations(store->context().get());
  return told(storeFromMapiToMime(store, &annotations, 0, log), annotations);
}

}  // namespace nalvo::host
