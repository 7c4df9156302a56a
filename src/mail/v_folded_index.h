// Finds items of a growing sequence by their names, without regard to case.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/text/text.h"

namespace nalvo::mail {

// Few names are compared one by one; when there are many, a hash keeps the cost of each search the same. The items have a
// `name`, and no two are alike.
class FoldedIndex {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  FoldedIndex() = default;
  FoldedIndex(const FoldedIndex& other)
      : positions_(other.positions_ == nullptr ? nullptr : std::make_unique<Positions>(*other.positions_)) {}
  FoldedIndex(FoldedIndex&&) noexcept = default;
  FoldedIndex& operator=(FoldedIndex other) noexcept {
    positions_.swap(other.positions_);
    return *this;
  }
  ~FoldedIndex() = default;

  template <typename Items>
  std::size_t find(std::string_view name, const Items& items) const {
    if (items.size() > kFew) {
      const auto found = positions_->find(toLowerAscii(name));
      return found == positions_->end() ? kNone : found->second;
    }
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (equalsIgnoreCase(items[i].name, name)) {
        return i;
      }
    }
    return kNone;
  }

  // An item was appended.
  template <typename Items>
  void appended(const Items& items) {
    if (items.size() > kFew) {
      addFrom(items, items.size() == kFew + 1 ? 0 : items.size() - 1);
    }
  }

  // An item in the midst went.
  template <typename Items>
  void renew(const Items& items) {
    positions_.reset();
    if (items.size() > kFew) {
      addFrom(items, 0);
    }
  }

 private:
  static constexpr std::size_t kFew = 24;
  using Positions = std::unordered_map<std::string, std::size_t>;

  template <typename Items>
  void addFrom(const Items& items, std::size_t first) {
    if (first == 0) {
      positions_ = std::make_unique<Positions>();
    }
    for (std::size_t i = first; i < items.size(); ++i) {
      positions_->emplace(toLowerAscii(items[i].name), i);
    }
  }

  std::unique_ptr<Positions> positions_;  // null while there are few: a tree has many of these
};

}  // namespace nalvo::mail
