// Recurrence patterns: what they mean, whether a mail tells it, and what is carried of them.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/carried.h"

namespace nalvo::host {

// The numbers of a pattern that tell its dates, without what a writer chooses or what exceptions say beside their times.
// Empty for one that no conversion takes: a damaged one, or that of a task that makes its next one when it is done.
std::vector<std::uint32_t> seriesMeaning(std::string_view bytes, SeriesKind kind);
inline bool isToldSeries(std::string_view bytes, SeriesKind kind) { return !seriesMeaning(bytes, kind).empty(); }

// The tags of patterns of a message that a conversion would fail for.
std::vector<ULONG> untoldSeriesOf(const PropertyBag& bag);

// Carries the bytes of the patterns, which come back to the same series, and for those that aren't told that the item
// repeats.
void planSeries(const PropertyBag& bag, CarriedLayer& layer);

}  // namespace nalvo::host
