// Folders and stores have no MIME text: all they exchange with the server are annotations.
#pragma once

#include "nalvo/interfaces.h"

namespace nalvo::Conversion {

// All four throw E_INVALIDARG for null and for flags other than 0, before anything of the object is touched. Nothing is
// saved; that is the caller's business.

// True when something was written. A single change that travels writes all that travels; without one nothing happens. Throws
// what AnnotationSaver::addProperty throws, with the entries so far staying in the set.
bool folderFromMapiToMime(IConvertFolder* folder, IAnnotations* annotations, DWORD flags);
bool storeFromMapiToMime(IConvertStore* store, IAnnotations* annotations, DWORD flags);

// A bad entry is passed over. Throws what AnnotationReader::read throws.
void folderFromMimeToMapi(IAnnotations* annotations, IConvertFolder* folder, DWORD flags);
void storeFromMimeToMapi(IAnnotations* annotations, IConvertStore* store, DWORD flags);

namespace detail {

// The same for an object of any kind; E_INVALIDARG for null.
bool propsToAnnotations(IConvertObject* object, IAnnotations* annotations, const IID& kind);
void propsFromAnnotations(IAnnotations* annotations, IConvertObject* object, const IID& kind);

}  // namespace detail
}  // namespace nalvo::Conversion
