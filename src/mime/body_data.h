// The data of a body, in the forms that callers ask for.
#pragma once

#include "mime/body.h"
#include "mime/byte_filters.h"

namespace nalvo::mime {

// By the value of a Content-Transfer-Encoding row; IET_BINARY for one that nobody knows.
Encoding encodingNamed(std::string_view value);
// The name in headers; "binary" for forms that are no transfer encoding.
std::string_view encodingName(Encoding encoding);

// The encoding that the stored data is in: of loaded data by its row, of given data as it was given.
Encoding storedEncoding(const Body& body);

// A stretch of stored data. Empty for bodies that are written first: multiparts and embedded messages.
struct StoredData {
  std::shared_ptr<Source> source;
  Span span;
};
StoredData storedData(const Body& body);

// The size of the stored data, without reading it where it lies in one piece.
std::uint64_t storedSize(Body& body);
// About what it will be in another encoding.
std::uint64_t estimatedSize(Body& body, Encoding wanted);

// A stream of the data, at 0. What must be decoded is decoded at its first use. The current encoding gives the stored bytes;
// IET_BINARY, IET_ENCODED, IET_7BIT and IET_8BIT the bytes without transfer encoding; IET_UNICODE UTF-16 text without mark;
// IET_BASE64 and IET_QP encode anew. E_INVALIDARG for any other encoding.
ComPtr<IStream> openData(const std::shared_ptr<Body>& body, Encoding wanted);
// Writes the same to `stream`, at its position.
void copyData(Body& body, Encoding wanted, IStream* stream);

// The charset that the text of a body is in: its parameter if that can be true, else by the data. Never null.
const Charset* charsetOf(Body& body);

}  // namespace nalvo::mime
