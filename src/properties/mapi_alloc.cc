#include "properties/mapi_alloc.h"

#include <cstring>

#include "diagnostics/hresult_exception.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\MapiAlloc"};

}  // namespace

MapiAlloc MapiAlloc::getAlloc(IMapiAllocator* allocator) {
  constexpr const char* kWhere = "MapiAlloc::getAlloc";
  if (allocator == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  MapiAlloc alloc;
  checkHResult(allocator->getAllocators(&alloc.allocateBuffer, &alloc.allocateMore, &alloc.freeBuffer), kSource.at(kWhere));
  if (alloc.allocateBuffer == nullptr || alloc.allocateMore == nullptr || alloc.freeBuffer == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  return alloc;
}

void detail::rawAlloc(const MapiAlloc& alloc, ULONG bytes, void* parent, void** out) {
  constexpr const char* kWhere = "detail::rawAlloc";
  if (out == nullptr || alloc.allocateBuffer == nullptr || alloc.allocateMore == nullptr || alloc.freeBuffer == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  *out = nullptr;
  checkHResult(parent == nullptr ? alloc.allocateBuffer(bytes, out) : alloc.allocateMore(bytes, parent, out),
               kSource.at(kWhere));
  if (*out == nullptr) {
    throwHResult(E_OUTOFMEMORY, kSource.at(kWhere));
  }
  std::memset(*out, 0, bytes);
}

MapiBuffer<SBinary> InternalMapiAlloc::allocSBinary(const MapiAlloc& alloc, ULONG bytes) {
  void* block = nullptr;
  detail::rawAlloc(alloc, sizeof(SBinary), nullptr, &block);
  MapiBuffer<SBinary> record(static_cast<SBinary*>(block), alloc.freeBuffer);
  record->cb = bytes;
  detail::rawAlloc(alloc, bytes, record.get(), &block);
  record->lpb = static_cast<BYTE*>(block);
  return record;
}

}  // namespace nalvo
