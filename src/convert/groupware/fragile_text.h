// Texts that a calendar, card or note would change.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nalvo::detail {

// With a line feed for each carriage return that stands alone, since an object drops those.
std::string withoutBareReturns(std::string text);
// Whether a calendar, card or note would give back another text than this, CR LF aside. Such a text travels in the
// annotations as well, and the one from there counts as long as the other is what became of it.
bool isFragile(std::string_view text);
// What such a text becomes. A carriage return alone ends a line.
std::string rereadText(std::string_view text);
// The same for categories, of which one may hold a comma: what they become.
std::vector<std::string> rereadCategories(const std::vector<std::string>& categories);

}  // namespace nalvo::detail
