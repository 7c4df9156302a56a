// Finds the bodies of a MIME text: one pass, spans only.
#pragma once

#include <vector>

#include "mime/header_rows.h"

namespace nalvo::mime {

// What stops a text that was made to exhaust its reader. What lies beyond a limit stays raw content of the body that holds
// it: never lost, never walked.
struct ScanLimits {
  std::size_t depth = 100;                        // multiparts within each other
  std::size_t bodies = 10'000;                    // of one message
  std::size_t rows = 100'000;                     // of one body
  std::uint64_t rowBytes = 16ULL * 1024 * 1024;   // of one row; X-MAPI has no limit
  std::size_t boundaryBytes = 998;                // a longer one never matches
  std::uint64_t contentTypeBytes = 64ULL * 1024;  // a longer Content-Type gives no boundary
};

// Where the pieces of a body lie. In the order of the text: delimiter, leading, header, separator, content. Nothing lies
// between them, so the spans of all bodies together are the whole text.
struct BodySpans {
  Span delimiter;  // in front of a part: the line end ahead of it, which is not content, and the line
  Span leading;    // empty lines ahead of the first row of a message
  Span header;
  Span separator;  // the empty line; none when the content begins with the first line that can't be a row
  Span content;    // of a multipart: preamble, parts, closing
  Span preamble;   // of a multipart with parts
  Span closing;    // the last delimiter and the epilogue; empty when the text ends without
};

struct ScannedBody {
  std::int32_t parent = -1;  // place in the list; -1 for the root
  BodySpans spans;
  HeaderRows rows;
  bool hasParts = false;
  std::string boundary;  // of one that has parts
};

// The bodies in pre-order, the root first. Throws what the stream answers; no text is an error.
std::vector<ScannedBody> scanMessage(const std::shared_ptr<Source>& source, const ScanLimits& limits = {});

}  // namespace nalvo::mime
