// Recurrence patterns that no calendar text tells: damaged ones, and those of tasks that make their next one when they are
// done.
#pragma once

#include <string_view>
#include <vector>

#include "host/carried.h"

namespace nalvo::host {

enum class SeriesKind : std::uint8_t { Appointment, Task };

// Whether a conversion of an item takes the pattern.
bool isToldSeries(std::string_view bytes, SeriesKind kind);

// The tags of patterns of a message that a conversion would fail for.
std::vector<ULONG> untoldSeriesOf(const PropertyBag& bag);

// Carries such patterns, and that the item repeats.
void planUntoldSeries(const PropertyBag& bag, CarriedLayer& layer);

}  // namespace nalvo::host
