// Writes bodies as text, in constant memory.
#pragma once

#include "mime/output.h"
#include "mime/save_plan.h"

namespace nalvo::mime {

// The whole text of a body: rows, empty line, content. For a root that is the message.
void writeBody(Body& body, TextSink& sink);
// The content alone. Multiparts: preamble, parts, delimiters, epilogue.
void writeContent(Body& body, TextSink& sink);
// As writeBody with that plan, but Base64 content is left out: all lines that a boundary may occur in.
void writeTrial(Body& body, const SavePlan& plan, Output& output);
// The rows alone, as they stand: no empty line, X-MAPI and a leading "From " line left out.
void writeRows(const HeaderRows& rows, const HeaderStyle& style, TextSink& sink);

}  // namespace nalvo::mime
