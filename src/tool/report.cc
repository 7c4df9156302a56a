#include "tool/report.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "nalvo_version.h"

namespace nalvo::tool {
namespace {

using Json = nlohmann::ordered_json;

std::string dump(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

const char* wordOf(const Outcome& outcome) {
  return !outcome.error.empty() ? "failed" : outcome.skipped ? "skipped" : outcome.warnings.empty() ? "good" : "warnings";
}

}  // namespace

void Totals::add(const Input& input, const Outcome& outcome) {
  if (!outcome.error.empty()) {
    ++failed;
  } else if (outcome.skipped) {
    ++skipped;
  } else {
    ++(outcome.warnings.empty() ? good : warnings);
  }
  bytes += outcome.skipped ? 0 : input.bytes();
}

std::string Totals::sentence(const char* verb) const {
  std::string text = std::to_string(good + warnings) + " " + verb;
  if (warnings != 0) {
    text += " (" + std::to_string(warnings) + " with warnings)";
  }
  const auto append = [&text](std::size_t count, const char* word) {
    if (count != 0) {
      text += ", " + std::to_string(count) + " " + word;
    }
  };
  append(failed, "failed");
  append(skipped, "skipped");
  append(left, "not begun");
  std::array<char, 64> speed{};
  std::snprintf(speed.data(), speed.size(), " in %.1f s, %.1f MB/s", seconds,
                seconds > 0 ? static_cast<double>(bytes) / 1e6 / seconds : 0.0);
  return text + speed.data();
}

void Report::add(const Input& input, const Outcome& outcome, double seconds) {
  Json row = {{"file", input.name},
              {"class", outcome.messageClass},
              {"bytes", input.bytes()},
              {"outcome", wordOf(outcome)},
              {"seconds", seconds}};
  if (!outcome.target.empty()) {
    row["output"] = outcome.target.string();
  }
  if (!outcome.warnings.empty()) {
    row["warnings"] = outcome.warnings;
  }
  if (!outcome.error.empty()) {
    row["error"] = outcome.error;
  }
  if (outcome.explained + outcome.unexplained != 0) {
    row["explained"] = outcome.explained;
    row["unexplained"] = outcome.unexplained;
  }
  file_.write((first_ ? "{\"nalvo\": " + dump(kVersionText) + ", \"inputs\": [\n" : std::string(",\n")) + dump(row));
  first_ = false;
}

void Report::finish(const Totals& totals) {
  const Json sums = {{"good", totals.good},      {"warnings", totals.warnings}, {"skipped", totals.skipped},
                     {"failed", totals.failed},  {"left", totals.left},         {"bytes", totals.bytes},
                     {"seconds", totals.seconds}};
  file_.write((first_ ? "{\"nalvo\": " + dump(kVersionText) + ", \"inputs\": [" : std::string("\n")) +
              "], \"totals\": " + dump(sums) + "}\n");
  file_.commit(true);
}

}  // namespace nalvo::tool
