#include "mail/zone_tables.h"

#include "mail/zone_abbreviations_table.h"
#include "mail/zone_display_names_table.h"
#include "mail/zone_preferred_names_table.h"
#include "mail/zone_tz_names_table.h"

namespace nalvo::mail {

std::span<const ZoneAbbreviation> zoneAbbreviations() { return detail::kAbbreviations; }
std::span<const ZoneRecord> zonesByDisplayName() { return detail::kDisplayNames; }
std::span<const ZoneRecord> zonesByTzName() { return detail::kTzNames; }
std::span<const std::string_view> preferredZoneNames() { return detail::kPreferredNames; }

}  // namespace nalvo::mail
