// Calendars and cards as the mails that would carry them.
#pragma once

#include <string>
#include <vector>

#include "nalvo/com.h"

namespace nalvo::tool {

// A mail for each item: a card; an event, task or journal entry with its exceptions and the zones of its calendar. Items
// that stand outside a calendar are taken as if they stood in one. A card's groups ("item1.EMAIL") are taken apart, and the
// labels that came with them go into its note. Throws the stream's HRESULT.
std::vector<std::string> wrapObjects(IStream* text);

}  // namespace nalvo::tool
