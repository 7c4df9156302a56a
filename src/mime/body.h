// A body of a message: header rows and content, at a place in a tree.
#pragma once

#include <variant>

#include "mime/mime.h"
#include "mime/scanner.h"

namespace nalvo::mime {

class MessageObject;

// A span of the source that the rows of the body come from.
struct SpanContent {
  Span span;
};
// A stream of the caller, in the encoding that it said.
struct StreamContent {
  std::shared_ptr<Source> source;
  Encoding encoding = IET_BINARY;
};
// Another message, which writes itself.
struct MessageContent {
  ComPtr<IMimeMessage> message;  // always a MessageObject
};
// The children of the body.
struct PartsContent {
  bool isLoaded = false;  // preamble, delimiters and closing lie in the source
};
using Content = std::variant<std::monostate, SpanContent, StreamContent, MessageContent, PartsContent>;

// How a body came into a tree that was built here.
enum class Attached { No, Object, Url };

// What a body is to the readers of a message; worked out for all bodies at once (text_bodies.h).
struct BodyRole {
  bool isAttachment = false;     // IBT_ATTACHMENT
  bool isAutoAttach = false;     // IBT_AUTOATTACH
  bool isRescued = false;        // reads as an attachment though no row says so
  std::uint32_t leafNumber = 0;  // from 1; 0 for a multipart
};

// What a header block that was loaded into the root said about a content that is not there (stored_block.h).
struct StoredBlock {
  std::string typeRow;  // the whole Content-Type row, empty if the block had none
  ParameterList type;
  bool hasSender = false;
};

struct Body {
  ~Body();

  HBODY handle = nullptr;
  // The message whose tree the body is in; null when it belongs to none.
  MessageObject* message = nullptr;
  Body* parent = nullptr;
  Body* first = nullptr;
  Body* last = nullptr;
  Body* previous = nullptr;
  Body* next = nullptr;
  std::uint32_t childCount = 0;

  HeaderRows rows;
  Content content;
  BodySpans spans;  // of a loaded body
  bool isLoaded = false;
  HBODY delimiterOwner = nullptr;  // the parent that `spans.delimiter` was found in
  std::string boundary;            // of a multipart: loaded, or made by the first save
  Attached attached = Attached::No;
  std::unique_ptr<StoredBlock> stored;  // of a root
  const Charset* charset = nullptr;     // of header words, if set on this body
  BodyRole role;

  bool isRoot() const { return parent == nullptr; }
  bool hasContent() const { return !std::holds_alternative<std::monostate>(content); }
  bool isMultipart() const { return std::holds_alternative<PartsContent>(content); }
  const SpanContent* span() const { return std::get_if<SpanContent>(&content); }
  const StreamContent* stream() const { return std::get_if<StreamContent>(&content); }
  StreamContent* stream() { return std::get_if<StreamContent>(&content); }
  const MessageContent* embedded() const { return std::get_if<MessageContent>(&content); }
  bool hasLoadedParts() const { return isMultipart() && std::get<PartsContent>(content).isLoaded; }

  // The next body of a walk in pre-order that ends with the bodies below `top`; null behind the last.
  Body* nextInWalk(const Body* top) const;
  // The same without going below this body.
  Body* nextBeside(const Body* top) const;
};

// The type and subtype by which a body is treated, in lower case.
struct MediaType {
  std::string type;
  std::string subtype;

  bool is(std::string_view wantedType, std::string_view wantedSubtype) const {
    return type == wantedType && subtype == wantedSubtype;
  }
  bool isMultipart(std::string_view wantedSubtype) const { return is("multipart", wantedSubtype); }
};

// By the Content-Type row; "text/plain" without a usable one ("message/rfc822" below a digest), and for a multipart that was
// loaded without parts.
MediaType mediaTypeOf(const Body& body);
bool hasMediaType(const Body& body, std::string_view type, std::string_view subtype);
// "a/b" in lower case; empty type for a text without "/".
MediaType splitMediaType(std::string_view word);
// A parameter of Content-Type or Content-Disposition as raw bytes; empty if there is none.
std::string parameterOf(const Body& body, std::string_view row, std::string_view parameter);
// The first word of Content-Disposition in lower case; empty if there is none.
std::string dispositionOf(const Body& body);
bool hasFileName(const Body& body);

}  // namespace nalvo::mime
