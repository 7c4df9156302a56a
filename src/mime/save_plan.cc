#include "mime/save_plan.h"

#include <algorithm>

#include "mime/body_context.h"
#include "mime/body_data.h"
#include "mime/body_encoding.h"
#include "mime/boundary.h"
#include "mime/header_names.h"
#include "mime/stored_block.h"
#include "mime/utf8_check.h"
#include "mime/writer.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

// What is known of content after one reading.
struct Reading {
  TextStatistics statistics;
  Utf8Check utf8;
  std::size_t unmappable = 0;
};

Reading readThrough(const StreamContent& stream, const Charset* convertTo) {
  Reading result;
  FilterChain chain;
  if (convertTo != nullptr) {
    chain.add(makeCharsetFilter(kUtf16, convertTo->codePage, &result.unmappable));
  }
  chain.run(*stream.source, {0, stream.source->size()}, [&](std::string_view piece) {
    result.statistics.update(piece);
    result.utf8.update(piece);
  });
  stream.source->release();
  return result;
}

bool holdsEightBit(Source& source, Span span) {
  bool found = false;
  source.pump(span, [&](std::string_view piece) { found = found || !isAscii(piece); });
  return found;
}

// Rows of our own are ASCII; rows of a source and stored ones may not be.
bool rowsHoldEightBit(const Body& body) {
  for (std::size_t i = 0; i < body.rows.size(); ++i) {
    const HeaderRow& row = body.rows[i];
    const bool isStoredText = row.isLoaded() || std::holds_alternative<RawRow>(*row.own);
    if (isStoredText && !isAscii(std::string_view(body.rows.rowText(row, {})))) {
      return true;
    }
  }
  return false;
}

bool canCarry(Encoding encoding, const TextStatistics& data) {
  const bool hasPlainLines = !data.hasNul() && !data.hasBareLineEnd() && data.longestLine() <= kLineLimit;
  switch (encoding) {
    case IET_7BIT:
      return hasPlainLines && data.isAscii();
    case IET_8BIT:
      return hasPlainLines;
    default:
      return true;
  }
}

bool isPkcs7Mime(const MediaType& type) {
  return type.is("application", "pkcs7-mime") || type.is("application", "x-pkcs7-mime");
}

// Made once and kept, so that a second save gives the same text.
const std::string& ownBoundary(Body& body) {
  if (body.boundary.empty()) {
    body.boundary = makeBoundary();
  }
  return body.boundary;
}

}  // namespace

bool isManaged(const Body& body) {
  if (body.isMultipart()) {
    return !body.hasLoadedParts() || body.childCount == 0;
  }
  return body.span() == nullptr && (body.hasContent() || body.isRoot());
}

FilterChain outgoingChain(const StreamContent& stream, const BodyPlan& plan) {
  FilterChain chain;
  if (stream.encoding == IET_UNICODE && plan.convertTo != nullptr) {
    chain.add(makeCharsetFilter(kUtf16, plan.convertTo->codePage));
  }
  if (plan.isEncoded && plan.encoding == IET_BASE64) {
    chain.add(makeBase64Encoder());
  } else if (plan.isEncoded && plan.encoding == IET_QP) {
    chain.add(makeQpEncoder());
  }
  return chain;
}

SavePlan::SavePlan(Body& top) {
  // Parents first; worked off from the end, so that a body is planned behind all that is below it.
  std::vector<Step> steps;
  std::vector<Step> open{{&top, false}};
  while (!open.empty()) {
    Step step = open.back();
    open.pop_back();
    if (step.body->isRoot() && step.body->isMultipart() && holdsStoredType(*step.body)) {
      step.countsBytes = true;
    }
    steps.push_back(step);
    if (step.body->embedded() != nullptr) {
      open.push_back({&embeddedRoot(*step.body), true});
    }
    for (Body* child = step.body->first; child != nullptr; child = child->next) {
      open.push_back({child, step.countsBytes});
    }
  }
  plans_.reserve(steps.size());
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    plan(*step);
  }
  settleStoredBoundaries(top);
}

const BodyPlan& SavePlan::of(const Body& body) const {
  static const BodyPlan kNothing;
  const auto found = plans_.find(&body);
  return found != plans_.end() ? found->second : kNothing;
}

void SavePlan::plan(const Step& step) {
  Body& body = *step.body;
  BodyPlan plan;
  if (body.stream() != nullptr) {
    planStream(body, plan);
  } else if (body.embedded() != nullptr) {
    plan.isEightBit = of(embeddedRoot(body)).isEightBit;
    plan.encoding = plan.isEightBit ? IET_8BIT : IET_7BIT;
  } else if (body.isMultipart()) {
    for (const Body* child = body.first; child != nullptr && step.countsBytes; child = child->next) {
      plan.isEightBit = plan.isEightBit || of(*child).isEightBit;
    }
    planParts(body, plan);
  } else if (body.span() != nullptr && step.countsBytes && !body.span()->span.empty()) {
    plan.isEightBit = holdsEightBit(*body.rows.source(), body.span()->span);
  }
  if (step.countsBytes && !plan.isEightBit) {
    plan.isEightBit = rowsHoldEightBit(body);
  }
  plans_.insert_or_assign(&body, std::move(plan));
}

void SavePlan::planStream(Body& body, BodyPlan& plan) {
  const StreamContent& stream = *body.stream();
  if (stream.encoding == IET_BASE64 || stream.encoding == IET_QP || stream.encoding == IET_UUENCODE) {
    plan.encoding = stream.encoding;
    return;
  }
  const MediaType type = mediaTypeOf(body);
  const bool isHeaders = type.is("text", "rfc822-headers");
  const bool isRaw = type.type == "message" || isHeaders;
  const bool isText = type.type == "text" && !isHeaders && body.attached == Attached::No;
  plan.isEncoded = true;
  if (!isRaw && !isText) {
    plan.encoding = IET_BASE64;
    planStoredEncoding(body, plan);
    return;
  }
  const bool isWide = stream.encoding == IET_UNICODE;
  plan.convertTo = isWide ? writingCharset(body) : nullptr;
  Reading reading = readThrough(stream, plan.convertTo);
  if (reading.unmappable > 0) {
    plan.convertTo = findCodePage(kUtf8);
    reading = readThrough(stream, plan.convertTo);
  }
  if (isRaw) {
    plan.encoding = chooseRawEncoding(reading.statistics);
    if (type.is("message", "rfc822") || type.is("message", "external-body")) {
      plan.encoding = reading.statistics.isAscii() ? IET_7BIT : IET_8BIT;
    }
    plan.isEncoded = plan.encoding == IET_BASE64;
    plan.isEightBit = plan.encoding == IET_8BIT;
    return;
  }
  plan.label = plan.convertTo;
  if (!isWide) {
    const Charset* own = findCharset(parameterOf(body, kContentType, "charset"));
    const Charset* byData = findCodePage(reading.utf8.isValid() ? kUtf8 : kAnsiCodePage);
    plan.label = own != nullptr ? own : chosenCharset(body) != nullptr ? chosenCharset(body) : byData;
  }
  plan.encoding = chooseTextEncoding(reading.statistics, plan.label);
  plan.isEncoded = plan.encoding == IET_BASE64 || plan.encoding == IET_QP;
  if (holdsStoredType(body)) {
    const std::size_t place = body.rows.find(kTransferEncoding);
    if (place != HeaderRows::kNone && body.rows[place].isStored) {
      const Encoding stored = encodingNamed(body.rows.rawValue(body.rows[place], {}));
      const bool isKnown = stored != IET_UUENCODE;
      const bool isWidePage = plan.label != nullptr && plan.label->shape == Charset::Shape::Wide;
      if (isKnown && canCarry(stored, reading.statistics) && (!isWidePage || stored == IET_BASE64)) {
        plan.encoding = stored;
        plan.isEncoded = stored == IET_BASE64 || stored == IET_QP;
        plan.keepsStoredEncoding = true;
      }
    }
  }
  plan.isEightBit = !plan.isEncoded && !reading.statistics.isAscii();
}

// Data that is no text goes out as Base64, and so does a stored encoding say or it goes.
void SavePlan::planStoredEncoding(Body& body, BodyPlan& plan) {
  const std::size_t place = body.rows.find(kTransferEncoding);
  plan.keepsStoredEncoding = holdsStoredType(body) && place != HeaderRows::kNone && body.rows[place].isStored &&
                             encodingNamed(body.rows.rawValue(body.rows[place], {})) == IET_BASE64;
}

void SavePlan::planParts(Body& body, BodyPlan& plan) {
  if (body.childCount == 1 && body.isRoot() && !body.hasLoadedParts() && body.first->attached == Attached::Object &&
      body.first->stream() != nullptr && isPkcs7Mime(mediaTypeOf(*body.first))) {
    plan = of(*body.first);
    plan.flattened = body.first;
    return;
  }
  if (body.hasLoadedParts() && !body.boundary.empty()) {
    plan.boundary = body.boundary;
    return;
  }
  if (holdsStoredType(body)) {
    const std::size_t place = body.rows.find(kTransferEncoding);
    if (place != HeaderRows::kNone && body.rows[place].isStored) {
      const std::string value = toLowerAscii(body.rows.rawValue(body.rows[place], {}));
      plan.keepsStoredEncoding = value == "8bit" || value == "binary" || (value == "7bit" && !plan.isEightBit);
    }
    // Readers pass over blanks at the end of a line, and with them the end of such a boundary.
    if (const Parameter* stored = body.stored->type.find("boundary");
        stored != nullptr && !stored->value.empty() && trimRight(stored->value).size() == stored->value.size()) {
      plan.boundary = stored->value;
      storedBoundaries_.push_back(&body);
      return;
    }
  }
  plan.boundary = ownBoundary(body);
}

// A stored boundary serves again if no line is one of its delimiters but those that part its body. All are tried at once,
// in one writing, however many messages lie within each other.
void SavePlan::settleStoredBoundaries(Body& top) {
  if (storedBoundaries_.empty()) {
    return;
  }
  BoundaryCounter lines;
  for (const Body* body : storedBoundaries_) {
    lines.add(of(*body).boundary);
  }
  Output output(lines);
  writeTrial(top, *this, output);
  for (Body* body : storedBoundaries_) {
    BodyPlan& plan = plans_.at(body);
    if (lines.linesOf(plan.boundary) != std::size_t{body->childCount} + 1) {
      plan.boundary = ownBoundary(*body);
    }
  }
}

}  // namespace nalvo::mime
