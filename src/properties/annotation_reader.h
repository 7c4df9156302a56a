// Applies annotations to an object.
#pragma once

#include "nalvo/interfaces.h"

namespace nalvo::AnnotationReader {

// `kind` is the interface id of the object and selects the tags that never travel: those are left alone, whatever the
// annotations say. Both throw E_INVALIDARG for null, and the codes of finding out those tags.

// A bad entry is passed over; the others apply. "nil" as a value deletes the property. Throws the codes of the enumeration,
// with what was applied so far staying.
void read(IAnnotations* annotations, IConvertObject* object, const IID& kind);
// Reads from the stream's position to its end, both forms that are in use. The first entry that is bad ends the reading
// without a failure, and so does a stream that fails to read; what was applied so far stays.
void read(IStream* stream, IConvertObject* object, const IID& kind);

}  // namespace nalvo::AnnotationReader
