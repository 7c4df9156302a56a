// The plain text that a store answers for an item which has none of its own.
#pragma once

#include <optional>
#include <string>

#include "host/memory_objects.h"

namespace nalvo::host {

// A text that is longer is not looked through.
inline constexpr std::uint64_t kLargestBody = 16U << 20;

// The text of the RTF, or of the HTML if that says nothing. No value for a message that has a PR_BODY, for notes, posts and
// reports, which need none, and where there is no text at all. Throws the code of a stream.
std::optional<std::u16string> workedOutBody(const MemoryMessage& message);

// What a reader sees of the RTF, as far as it can be read; about kLargestBody units at most. Throws likewise.
std::u16string textOfRtf(const PropertyRecord& compressed);

}  // namespace nalvo::host
