// A message as one HTML file.
#pragma once

#include <string>

#include "host/memory_objects.h"
#include "tool/value_words.h"

namespace nalvo::tool {

// A page that needs nothing beside it and loads nothing: what a person would see of the message, and in a second tab all
// of its properties. `json` is the message of host::toJson. A message that can't be made a mail is shown with its text.
std::string messagePage(host::MemoryMessage* message, const Json& json);

}  // namespace nalvo::tool
