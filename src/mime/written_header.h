// The header of a body as it is written.
#pragma once

#include "mime/output.h"
#include "mime/save_plan.h"

namespace nalvo::mime {

// Writes the rows of `body`. Type, transfer encoding and MIME-Version of a content that was made here are filled in by
// `plan`; all other rows go out in their order, and rows that nobody touched byte for byte.
void writeHeader(const Body& body, const BodyPlan& plan, Output& output);

}  // namespace nalvo::mime
