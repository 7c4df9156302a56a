// Values of properties as people read them.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace nalvo::tool {

using Json = nlohmann::ordered_json;

// "976 bytes", "12.3 kB", "1.1 MB"; a kB is 1,000 bytes.
std::string sizeWords(std::uint64_t bytes);
// The local time of a time as host::toJson writes it: "Mon 2 Mar 2020 10:00:00 CET"; the text itself where the machine knows
// none.
std::string timeWords(const std::string& utc);
// "appointment" for "IPM.Appointment"; empty for a class of somebody's own.
std::string_view kindOf(std::string_view messageClass);

// A name that is published, else the name as annotations have it, else the tag.
std::string nameOf(const Json& property);
// One property of host::toJson. Numbers that have names bring them along, times are local ones, bytes are told by their
// number and beginning. With `full` nothing is left out, and times are as they are stored.
std::string valueWords(const Json& property, bool full);

// The value of the property that is called `name`, as a text; empty when it is not there.
std::string textOf(const Json& properties, std::string_view name);

}  // namespace nalvo::tool
