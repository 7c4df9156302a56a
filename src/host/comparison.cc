#include "host/comparison.h"

namespace nalvo::host {
namespace {

// A value longer than this is told by its beginning.
constexpr std::size_t kShownLength = 200;

}  // namespace

void Comparison::noteSame() {
  ++compared;
  ++same;
}

void Comparison::note(Place place, Difference difference, const Facts& old, const Facts& now) {
  ++compared;
  difference.rule = ruleOf(place, difference, old, now);
  std::vector<Difference>& list = !difference.rule.empty()    ? explained
                                  : difference.before.empty() ? added
                                  : difference.after.empty()  ? lost
                                                              : changed;
  list.push_back(std::move(difference));
}

std::string shownValue(const std::string& value) {
  if (value.size() <= kShownLength) {
    return value;
  }
  std::size_t end = kShownLength;
  while (end > 0 && (static_cast<unsigned char>(value[end]) & 0xC0U) == 0x80U) {
    --end;  // no character is cut
  }
  return value.substr(0, end) + "...";
}

nlohmann::ordered_json toJson(const Comparison& comparison) {
  const auto list = [](const std::vector<Difference>& differences) {
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const Difference& difference : differences) {
      nlohmann::ordered_json entry = {{"where", difference.where}, {"what", difference.what}};
      if (!difference.before.empty()) {
        entry["before"] = shownValue(difference.before);
      }
      if (!difference.after.empty()) {
        entry["after"] = shownValue(difference.after);
      }
      if (!difference.rule.empty()) {
        entry["rule"] = difference.rule;
      }
      array.push_back(std::move(entry));
    }
    return array;
  };
  return {{"compared", comparison.compared},         {"same", comparison.same},
          {"explained", list(comparison.explained)}, {"lost", list(comparison.lost)},
          {"changed", list(comparison.changed)},     {"added", list(comparison.added)}};
}

}  // namespace nalvo::host
