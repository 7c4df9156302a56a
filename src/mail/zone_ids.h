// What the ids of zones say that name no zone of the tables.
#pragma once

#include <optional>
#include <string_view>

#include "mail/duration.h"

namespace nalvo::mail {

// "(UTC-05:00) Eastern Time (US and Canada)", "(GMT+10.00)", "UTC+01:00": how far east of Greenwich, and the name behind it.
struct OffsetId {
  Duration offset;
  std::string_view name;  // of the id; may be empty
};

// No value for an id of another form.
std::optional<OffsetId> readOffsetId(std::string_view id);

// Whether two lists of places ("Athens, Bucharest", "Sarajevo/Warsaw") share one, without regard to case.
bool sharePlace(std::string_view a, std::string_view b);

}  // namespace nalvo::mail
