// Properties that never travel: what holds for one store only, and the caller's own bookkeeping.
//
// The object kind is the interface id of the caller's object. All functions throw E_INVALIDARG for a null object or an
// unknown kind, and the object's own codes. Tags are compared whole, type included.
#pragma once

#include <vector>

#include "nalvo/interfaces.h"

namespace nalvo::NoConvert {

// The tags that stay behind: those of the tables, then the named ones as this object numbers them.
std::vector<ULONG> getNonConvertedProps(IConvertObject* object, const IID& kind);
// What the object holds without those, in ascending order.
std::vector<ULONG> getConvertableProps(IConvertObject* object, const IID& kind);
// The same of what changed since the last synchronisation; of a message.
std::vector<ULONG> getConvertableChangedProps(IConvertObject* message);
bool hasConvertableChanges(IConvertObject* object, const IID& kind);

namespace detail {

// `withExtra` takes in the tags that count as changed but are not written.
std::vector<ULONG> getNonConvertedProps(const IID& kind, IConvertObject* object, bool withExtra);
std::vector<ULONG> getConvertableChangedTags(IConvertObject* object, const IID& kind, bool withExtra);

}  // namespace detail
}  // namespace nalvo::NoConvert
