// Entry ids of the caller's store: 24 bytes, or 40 with the GUID of an object.
#pragma once

#include "nalvo/com.h"

namespace nalvo::EntryId {

// True for 24 bytes of type 0 and for 40 bytes of type 1, 2, 3 or 6. Throws E_INVALIDARG for null.
bool isValidEntryId(const BYTE* data, std::size_t size);
// Both throw MAPI_E_INVALID_ENTRYID for an invalid one, and E_INVALIDARG for null. The second also throws E_INVALIDARG for
// type 0, which names no object.
std::uint32_t getType(const BYTE* data, std::size_t size);
GUID getObjectGuid(const BYTE* data, std::size_t size);

}  // namespace nalvo::EntryId
