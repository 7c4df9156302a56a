// Headers of a body as properties: read in the form that is asked for, set in place.
#pragma once

#include "mime/body.h"
#include "mime/header_names.h"

namespace nalvo::mime {

// Fills `value` in the form that its `vt` names. MIME_E_NOT_FOUND for no such row or parameter, MIME_E_BAD_DATE for a row
// that holds no date, E_INVALIDARG for a form that no header has: a missing header is the normal case and costs no
// exception.
HRESULT getProperty(const Body& body, const ParsedName& name, PROPVARIANT& value);

// The first row of the name gets the value, further rows of it go; without a row one is appended. False, and nothing is
// touched, when what is read from the row equals the new value.
bool setProperty(Body& body, const ParsedName& name, const PROPVARIANT& value);

// All rows of the name, or the one parameter. False if there was none.
bool deleteProperty(Body& body, const ParsedName& name);

// Whether the value as narrow text is `text`, or holds it.
bool queryProperty(const Body& body, const ParsedName& name, std::string_view text, bool substring, bool caseSensitive);

// Copies of texts for a caller, from taskAlloc.
char* taskCopy(std::string_view text);
char16_t* taskCopy(std::u16string_view text);

}  // namespace nalvo::mime
