// Zones for tests: the machine's, and zones of the library that know what the system's tables say.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "mail/calendar.h"
#include "mail/time_zone.h"

namespace nalvo::mail::testing {

// The machine's zone is another one while the object lives.
class ScopedZone {
 public:
  explicit ScopedZone(const char* name) {
    if (const char* present = std::getenv("TZ")) {
      former_ = present;
    }
    set(name);
  }
  ~ScopedZone() { set(former_ ? former_->c_str() : nullptr); }
  ScopedZone(const ScopedZone&) = delete;
  ScopedZone& operator=(const ScopedZone&) = delete;

 private:
  static void set(const char* name) {
    name != nullptr ? setenv("TZ", name, 1) : unsetenv("TZ");
    tzset();
  }
  std::optional<std::string> former_;
};

inline constexpr const char* kTestZones[] = {"America/New_York", "America/Los_Angeles", "Europe/Prague", "Australia/Sydney",
                                             "Asia/Kolkata",     "America/Sao_Paulo",   "Europe/London"};

// What the system's tables say of the years given, with changes on the full half hour and at least six hours apart.
class SystemZone final : public TimeZone {
 public:
  SystemZone(std::string name, int firstYear, int lastYear) : id_(std::move(name)) {
    const ScopedZone scope(id_.c_str());
    const std::int64_t end = calendar::timegm({lastYear + 1, 1, 2, 0, 0, 0, 0, 0});
    constexpr std::int64_t kStep = 6 * 3600;
    for (std::int64_t at = calendar::timegm({firstYear, 1, 1, 0, 0, 0, 0, 0}) - 86400; at < end; at += kStep) {
      if (changes_.empty()) {
        changes_.emplace_back(at, offsetOfMachine(at));
      }
      if (offsetOfMachine(at) != changes_.back().second) {
        std::int64_t change = at - kStep;
        while (offsetOfMachine(change) == changes_.back().second) {
          change += 1800;
        }
        changes_.emplace_back(change, offsetOfMachine(change));
      }
    }
  }

  static std::shared_ptr<const TimeZone> make(const char* name, int firstYear, int lastYear) {
    return std::make_shared<SystemZone>(name, firstYear, lastYear);
  }

  const std::string& id() const override { return id_; }
  bool isValid() const override { return !changes_.empty(); }
  Duration getOffsetAt(std::int64_t instant) const override {
    const auto next = std::upper_bound(changes_.begin(), changes_.end(), instant,
                                       [](std::int64_t at, const auto& change) { return at < change.first; });
    return Duration(next == changes_.begin() ? next->second : std::prev(next)->second);
  }

 private:
  static std::int64_t offsetOfMachine(std::int64_t at) {
    const std::time_t time = at;
    std::tm local{};
    localtime_r(&time, &local);
    return local.tm_gmtoff;
  }

  std::string id_;
  std::vector<std::pair<std::int64_t, std::int64_t>> changes_;
};

}  // namespace nalvo::mail::testing
