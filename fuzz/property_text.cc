// Any text is a value of a type or refused; a value that was read is written and read again as the same.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "diagnostics/hresult_exception.h"
#include "host/host_allocator.h"
#include "platform/mapi/property_types.h"
#include "properties/map_name.h"
#include "properties/mapi_alloc.h"
#include "properties/narrow_text.h"
#include "properties/serializer.h"

using namespace nalvo;

namespace {

constexpr ULONG kTypes[] = {PT_SHORT,      PT_LONG,     PT_FLOAT,     PT_DOUBLE, PT_BOOLEAN,    PT_I8,
                            PT_STRING8,    PT_UNICODE,  PT_SYSTIME,   PT_CLSID,  PT_BINARY,     PT_MV_SHORT,
                            PT_MV_LONG,    PT_MV_FLOAT, PT_MV_DOUBLE, PT_MV_I8,  PT_MV_STRING8, PT_MV_UNICODE,
                            PT_MV_SYSTIME, PT_MV_CLSID, PT_MV_BINARY};

void expect(bool holds) {
  if (!holds) {
    std::abort();
  }
}

// What the text becomes when it is read and written; empty if it is refused.
std::string rewritten(ULONG type, std::string_view text, IMapiAllocator* allocator) {
  void* block = nullptr;
  expect(host::HostAllocator::allocate(sizeof(SPropValue), &block) == S_OK);
  const MapiBuffer<SPropValue> value(static_cast<SPropValue*>(block), &host::HostAllocator::free);
  *value.get() = SPropValue{};
  value->ulPropTag = propTag(type, 1);
  try {
    Serializer::fromString(text, allocator, value.get());
  } catch (const HResultException& failure) {
    expect(failure.getHResult() == MAPI_E_CORRUPT_DATA);
    return {};
  }
  return Serializer::toString(value.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto context = std::make_shared<host::HostContext>();
  {
    const host::ScopedContext allocations(context.get());
    const auto allocator = makeCom<host::HostAllocator>(context);
    for (const ULONG type : kTypes) {
      const std::string once = rewritten(type, text, allocator.get());
      expect(once.empty() || rewritten(type, once, allocator.get()) == once);
    }
    try {
      const MapiName name = MapiName::fromAnnotationString(text);
      const std::string written = name.annotationString();
      expect(MapiName::fromAnnotationString(written).annotationString() == written);
    } catch (const HResultException& failure) {
      expect(failure.getHResult() == MAPI_E_CORRUPT_DATA);
    }
  }
  expect(context->openBuffers == 0 && context->liveObjects == 0);
  // Any bytes and any units survive the steps of a text.
  std::string stored;
  appendStored(text, stored);
  expect(fromStored(stored) == text);
  std::u16string units(size / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(data[2 * i] << 8 | data[2 * i + 1]);
  }
  expect(wtf8ToWide(wideToWtf8(units)) == units);
  return 0;
}
