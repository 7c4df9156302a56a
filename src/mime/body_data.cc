#include "mime/body_data.h"

#include "diagnostics/hresult_exception.h"
#include "mime/body_context.h"
#include "mime/body_encoding.h"
#include "mime/header_names.h"
#include "mime/read_only_stream.h"
#include "mime/utf8_check.h"
#include "mime/writer.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

constexpr SourceFile kSource{".\\BodyData"};

struct EncodingName {
  std::string_view name;
  Encoding encoding;
};
constexpr EncodingName kEncodings[] = {
    {"7bit", IET_7BIT},           {"8bit", IET_8BIT},           {"binary", IET_BINARY},     {"base64", IET_BASE64},
    {"quoted-printable", IET_QP}, {"x-uuencode", IET_UUENCODE}, {"uuencode", IET_UUENCODE}, {"x-uue", IET_UUENCODE},
};

bool isPlainForm(Encoding encoding) {
  return encoding == IET_BINARY || encoding == IET_ENCODED || encoding == IET_7BIT || encoding == IET_8BIT;
}

// Texts that were stored with bare LF are read with CR LF, because their readers part paragraphs by that.
bool needsLineEnds(const Body& body) {
  if (body.span() == nullptr || !body.rows.storedWithBareLineFeed()) {
    return false;
  }
  const MediaType type = mediaTypeOf(body);
  return (type.type == "message" && type.subtype != "rfc822") || type.is("text", "rfc822-headers") || isTextBody(body);
}

void addDecoder(FilterChain& chain, Encoding stored) {
  switch (stored) {
    case IET_BASE64:
      chain.add(makeBase64Decoder());
      break;
    case IET_QP:
      chain.add(makeQpDecoder());
      break;
    case IET_UUENCODE:
      chain.add(makeUuDecoder());
      break;
    default:
      break;
  }
}

FilterChain chainFor(Body& body, Encoding wanted) {
  const Encoding stored = storedEncoding(body);
  const bool isAsStored = wanted == stored;
  FilterChain chain;
  if (stored == IET_QP && body.span() != nullptr) {
    chain.add(makeQpCleaner());
  }
  if (!isAsStored) {
    addDecoder(chain, stored);
  }
  // Base64 holds the bytes that the sender had, line ends and all.
  if (stored != IET_BASE64 && needsLineEnds(body)) {
    chain.add(makeLineEndFilter());
  }
  if (isAsStored) {
    return chain;
  }
  if (stored == IET_UNICODE) {
    chain.add(makeCharsetFilter(kUtf16, charsetOf(body)->codePage));
  }
  if (wanted == IET_UNICODE) {
    chain.add(makeCharsetFilter(charsetOf(body)->codePage, kUtf16));
  } else if (wanted == IET_BASE64) {
    chain.add(makeBase64Encoder());
  } else if (wanted == IET_QP) {
    chain.add(makeQpEncoder());
  } else if (!isPlainForm(wanted)) {
    throwHResult(E_INVALIDARG, kSource.at("BodyData::chainFor"));
  }
  return chain;
}

// Multiparts and embedded messages are written as text; other encodings go over that.
void copyWritten(Body& body, Encoding wanted, IStream* stream) {
  if (isPlainForm(wanted)) {
    StreamSink sink(stream);
    writeContent(body, sink);
    return;
  }
  const ComPtr<IStream> scratch = makeScratchStream();
  StreamSink sink(scratch.get());
  writeContent(body, sink);
  FilterChain chain;
  if (wanted == IET_UNICODE) {
    chain.add(makeCharsetFilter(charsetOf(body)->codePage, kUtf16));
  } else if (wanted == IET_BASE64) {
    chain.add(makeBase64Encoder());
  } else if (wanted == IET_QP) {
    chain.add(makeQpEncoder());
  } else {
    throwHResult(E_INVALIDARG, kSource.at("BodyData::copyWritten"));
  }
  const std::shared_ptr<Source> source = Source::whole(scratch.get());
  chain.run(*source, {0, source->size()}, [&](std::string_view piece) { writeAll(stream, piece); });
}

bool isWritten(const Body& body) { return body.embedded() != nullptr || (body.isMultipart() && !isUntouched(body)); }

Utf8Check checkData(Body& body) {
  Utf8Check check;
  const StoredData data = storedData(body);
  if (data.source != nullptr) {
    FilterChain chain;
    addDecoder(chain, storedEncoding(body));
    chain.run(*data.source, data.span, [&](std::string_view piece) { check.update(piece); });
  }
  return check;
}

}  // namespace

Encoding encodingNamed(std::string_view value) {
  // The first word; what stands behind is a comment or a slip.
  const std::string_view word = value.substr(0, value.find_first_of("; \t("));
  for (const EncodingName& row : kEncodings) {
    if (equalsIgnoreCase(row.name, word)) {
      return row.encoding;
    }
  }
  return IET_BINARY;
}

std::string_view encodingName(Encoding encoding) {
  for (const EncodingName& row : kEncodings) {
    if (row.encoding == encoding) {
      return row.name;
    }
  }
  return "binary";
}

Encoding storedEncoding(const Body& body) {
  if (const StreamContent* stream = body.stream()) {
    return stream->encoding;
  }
  if (body.embedded() != nullptr) {
    return IET_BINARY;
  }
  const std::size_t place = body.rows.find(kTransferEncoding);
  if (place == HeaderRows::kNone) {
    return IET_7BIT;
  }
  const Encoding named = encodingNamed(body.rows.rawValue(body.rows[place], {}));
  return body.isMultipart() && (named == IET_BASE64 || named == IET_QP) ? IET_7BIT : named;
}

StoredData storedData(const Body& body) {
  if (const StreamContent* stream = body.stream()) {
    return {stream->source, {0, stream->source->size()}};
  }
  if (const SpanContent* span = body.span()) {
    return {body.rows.source(), span->span};
  }
  if (body.hasLoadedParts() && isUntouched(body)) {
    return {body.rows.source(), body.spans.content};
  }
  return {};
}

std::uint64_t storedSize(Body& body) {
  if (isWritten(body)) {
    CountingSink sink;
    writeContent(body, sink);
    return sink.bytes();
  }
  const StoredData data = storedData(body);
  return data.span.length;
}

std::uint64_t estimatedSize(Body& body, Encoding wanted) {
  const std::uint64_t size = storedSize(body);
  const Encoding stored = storedEncoding(body);
  if (wanted == IET_ENCODED || wanted == stored) {
    return size;
  }
  const bool wasBase64 = stored == IET_BASE64 || stored == IET_UUENCODE;
  const std::uint64_t bytes = wasBase64 ? size / 78 * 57 + size % 78 * 3 / 4 : size;
  switch (wanted) {
    case IET_UNICODE:
      return bytes * 2;
    case IET_BASE64:
      return (bytes + 56) / 57 * 78;
    default:
      return bytes;
  }
}

ComPtr<IStream> openData(const std::shared_ptr<Body>& body, Encoding wanted) {
  if (const StreamContent* stream = body->stream(); stream != nullptr && stream->encoding == wanted) {
    return makeWindowStream(stream->source);
  }
  const bool isText = wanted == IET_UNICODE || wanted == IET_BASE64 || wanted == IET_QP;
  const Encoding stored = storedEncoding(*body);
  if (!isText && !isPlainForm(wanted) && wanted != stored) {
    throwHResult(E_INVALIDARG, kSource.at("BodyData::openData"));
  }
  const bool isStoredAsWanted = wanted == stored || (isPlainForm(wanted) && isPlainForm(stored));
  if (isStoredAsWanted && stored != IET_QP && !isWritten(*body) && !needsLineEnds(*body)) {
    if (const StreamContent* stream = body->stream()) {
      return makeWindowStream(stream->source);
    }
    StoredData data = storedData(*body);
    if (data.source != nullptr) {
      return makeWindowStream(std::move(data.source), data.span);
    }
  }
  return makeLazyStream([body, wanted](IStream* to) { copyData(*body, wanted, to); });
}

void copyData(Body& body, Encoding wanted, IStream* stream) {
  if (isWritten(body)) {
    copyWritten(body, wanted, stream);
    return;
  }
  const StoredData data = storedData(body);
  FilterChain chain = chainFor(body, wanted);
  if (data.source != nullptr) {
    chain.run(*data.source, data.span, [&](std::string_view piece) { writeAll(stream, piece); });
    if (body.stream() != nullptr) {
      data.source->release();
    }
  }
}

const Charset* charsetOf(Body& body) {
  if (const StreamContent* stream = body.stream(); stream != nullptr && stream->encoding == IET_UNICODE) {
    return writingCharset(body);
  }
  const Charset* named = findCharset(parameterOf(body, kContentType, "charset"));
  if (named != nullptr && named->codePage != kUsAscii) {
    return named;
  }
  const Utf8Check check = checkData(body);
  if (check.isAscii()) {
    return findCodePage(kUsAscii);
  }
  if (check.isValid()) {
    return findCodePage(kUtf8);
  }
  const Charset* ofRoot = rootCharset(body);
  return ofRoot != nullptr && ofRoot->codePage != kUsAscii ? ofRoot : findCodePage(kAnsiCodePage);
}

}  // namespace nalvo::mime
