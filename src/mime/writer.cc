#include "mime/writer.h"

#include <algorithm>

#include "mime/body_context.h"
#include "mime/header_names.h"
#include "mime/written_header.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

class Writer {
 public:
  Writer(const SavePlan& plan, Output& output, bool skipsBase64 = false)
      : plan_(plan), output_(output), skipsBase64_(skipsBase64) {}

  void run(Body& top, bool withHeader) {
    stack_.push_back({&top, withHeader});
    work();
  }

 private:
  // A body on the way from the top to where the writer is. Messages within stand on the same stack, so depth costs no calls.
  struct Frame {
    Body* body;
    bool withHeader = true;
    bool isOpen = false;
    Body* next = nullptr;  // the child to be written next
  };

  void work() {
    while (!stack_.empty()) {
      Frame& frame = stack_.back();
      if (!frame.isOpen) {
        frame.isOpen = true;
        open(frame);
        continue;
      }
      if (frame.next == nullptr) {
        close(*frame.body);
        stack_.pop_back();
        continue;
      }
      Body& child = *frame.next;
      frame.next = child.next;
      writeDelimiter(*frame.body, child);
      stack_.push_back({&child});
    }
  }

  // Writes the start of a body. The frame may move.
  void open(Frame& frame) {
    Body& body = *frame.body;
    if (frame.withHeader) {
      writeHead(body);
    }
    const BodyPlan& plan = plan_.of(body);
    if (const SpanContent* span = body.span()) {
      if (!span->span.empty()) {
        output_.copy(*body.rows.source(), span->span);
      }
    } else if (plan.flattened != nullptr) {
      writeStream(*plan.flattened);
    } else if (body.stream() != nullptr) {
      writeStream(body);
    } else if (body.embedded() != nullptr) {
      stack_.push_back({&embeddedRoot(body)});
    } else if (body.isMultipart()) {
      if (body.hasLoadedParts() && body.childCount > 0 && !body.spans.preamble.empty()) {
        output_.copy(*body.rows.source(), body.spans.preamble);
      }
      frame.next = body.first;
    }
  }

  void writeHead(const Body& body) {
    if (body.isLoaded && body.isRoot() && !body.spans.leading.empty()) {
      output_.copy(*body.rows.source(), body.spans.leading);
    }
    writeHeader(body, plan_.of(body), output_);
    const bool isAsLoaded = body.isLoaded && (body.span() != nullptr || body.hasLoadedParts());
    if (isAsLoaded && !body.spans.separator.empty()) {
      output_.copy(*body.rows.source(), body.spans.separator);
      return;
    }
    if (isAsLoaded && body.rows.isIntact()) {
      return;  // There never was an empty line.
    }
    const std::string_view lineEnd = headerStyle(body).lineEnd;
    if (!output_.isAtLineStart()) {
      output_.write(lineEnd);
    }
    output_.write(lineEnd);
  }

  void writeStream(const Body& body) {
    const StreamContent& stream = *body.stream();
    const BodyPlan& plan = plan_.of(body);
    if (skipsBase64_ && plan.encoding == IET_BASE64) {
      return;
    }
    FilterChain chain = outgoingChain(stream, plan);
    chain.run(*stream.source, {0, stream.source->size()}, [&](std::string_view piece) { output_.write(piece); });
    stream.source->release();
  }

  void writeDelimiter(const Body& parent, const Body& child) {
    const Span& span = child.spans.delimiter;
    if (child.isLoaded && child.delimiterOwner == parent.handle && parent.hasLoadedParts() &&
        output_.continues(*parent.rows.source(), span.offset)) {
      output_.copy(*parent.rows.source(), span);
      return;
    }
    const bool hasPreamble = parent.hasLoadedParts() && !parent.spans.preamble.empty();
    writeLine(parent, child.previous != nullptr || hasPreamble, "");
  }

  // A delimiter of our own; what is in front of it ends without the line end.
  void writeLine(const Body& parent, bool needsLineEnd, std::string_view tail) {
    const std::string_view lineEnd = parent.rows.lineEnd();
    std::string line;
    if (needsLineEnd) {
      line += lineEnd;
    }
    line += "--";
    line += plan_.of(parent).boundary;
    line += tail;
    line += lineEnd;
    output_.write(line);
  }

  void close(const Body& body) {
    if (!body.isMultipart() || plan_.of(body).flattened != nullptr) {
      return;
    }
    if (body.hasLoadedParts()) {
      Source& source = *body.rows.source();
      const Span closing = body.spans.closing;
      if (output_.continues(source, closing.offset)) {
        output_.copy(source, closing);
        return;
      }
      if (!closing.empty() && body.childCount > 0) {
        closeAnew(body, source, closing);
        return;
      }
    }
    if (body.childCount > 0 || !body.isRoot()) {
      writeLine(body, body.childCount > 0, "--");
    }
  }

  // The last delimiter behind a part that is not the one it stood behind; the epilogue stays.
  void closeAnew(const Body& body, Source& source, Span closing) {
    const std::string start = source.text({closing.offset, std::min<std::uint64_t>(closing.length, 2)});
    const std::size_t lineEnd = start.starts_with("\r\n") ? 2 : start.starts_with("\n") ? 1 : 0;
    output_.write(body.rows.lineEnd());
    output_.copy(source, {closing.offset + lineEnd, closing.length - lineEnd});
  }

  const SavePlan& plan_;
  Output& output_;
  bool skipsBase64_;
  std::vector<Frame> stack_;
};

void write(Body& body, bool withHeader, TextSink& sink) {
  Output output(sink);
  if (isUntouched(body)) {
    const BodySpans& spans = body.spans;
    const std::uint64_t start = !withHeader     ? spans.content.offset
                                : body.isRoot() ? spans.leading.offset
                                                : spans.header.offset;
    output.copy(*body.rows.source(), {start, spans.content.end() - start});
  } else {
    const SavePlan plan(body);
    Writer(plan, output).run(body, withHeader);
  }
  output.flush();
}

}  // namespace

void writeBody(Body& body, TextSink& sink) { write(body, true, sink); }
void writeContent(Body& body, TextSink& sink) { write(body, false, sink); }

void writeTrial(Body& body, const SavePlan& plan, Output& output) {
  Writer(plan, output, true).run(body, true);
  output.flush();
}

void writeRows(const HeaderRows& rows, const HeaderStyle& style, TextSink& sink) {
  Output output(sink);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const HeaderRow& row = rows[i];
    if (row.isPlaceholder() || equalsIgnoreCase(row.name, kXMapi) || (row.name.empty() && i == 0)) {
      continue;
    }
    if (row.isLoaded()) {
      output.copy(*rows.source(), row.span);
    } else {
      output.write(writeRow(row.name, *row.own, style));
    }
    if (!output.isAtLineStart()) {
      output.write(style.lineEnd);
    }
  }
  output.flush();
}

}  // namespace nalvo::mime
