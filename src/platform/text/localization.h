// The texts that the system puts into messages and pages.
#pragma once

#include <string_view>

namespace nalvo::Localization {

// The text of a number; empty for a number without one.
std::u16string_view getString(unsigned number);

}  // namespace nalvo::Localization
