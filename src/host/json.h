// A message as JSON, for people and for scripts.
#pragma once

#include <nlohmann/json.hpp>

#include "host/memory_objects.h"

namespace nalvo::host {

// {"messageClass", "properties", "recipients", "attachments"}; an attachment that holds a message has it as "message".
//
// Texts are strings, numbers and truth values themselves, 64-bit numbers decimal strings, times
// "YYYY-MM-DDTHH:MM:SS.fffffffZ", GUIDs texts in braces, multiple values arrays, bytes {"base64"}, or {"size", "sha256"}
// above 4096 bytes unless `full`. With `words` a structure in bytes that people can be told of has "words" beside its value.
// Throws the code of a stream that can't be read.
nlohmann::ordered_json toJson(const MemoryMessage& message, bool full, bool words = false);

// One property as in "properties": {"tag", "named", "name", "type", "value"}.
nlohmann::ordered_json toJson(const PropertyBag& bag, ULONG tag, bool full);

}  // namespace nalvo::host
