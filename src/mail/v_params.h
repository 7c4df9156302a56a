// The parameters of one line.
#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace nalvo::mail {

struct Param {
  std::string name;
  std::vector<std::string> values;  // no two alike without case; none for a bare parameter (";HOME"), which is never written
};

// All of them in one block, for most lines have none and a tree has many lines. Views are good until the next change.
class Params {
 public:
  // A name, or one of the values of the parameter whose name came last.
  struct Item {
    bool isName;
    std::string_view text;
  };

  class Iterator {
   public:
    explicit Iterator(std::string_view rest) : rest_(rest) { decode(); }
    const Item& operator*() const { return item_; }
    Iterator& operator++() {
      rest_.remove_prefix(taken_);
      decode();
      return *this;
    }
    bool operator==(std::default_sentinel_t) const { return rest_.empty(); }

   private:
    void decode();

    std::string_view rest_;  // begins with the present item
    std::size_t taken_ = 0;  // how much of it that is
    Item item_{};
  };

  Params() = default;
  explicit Params(const std::vector<Param>& params);
  Params(const Params& other) : Params(other.bytes()) {}
  Params(Params&&) noexcept = default;
  Params& operator=(Params other) noexcept {
    block_.swap(other.block_);
    return *this;
  }
  ~Params() = default;

  Iterator begin() const { return Iterator(bytes()); }
  static std::default_sentinel_t end() { return {}; }
  std::vector<Param> all() const;

 private:
  explicit Params(std::string_view bytes);
  std::string_view bytes() const;

  std::unique_ptr<char[]> block_;  // the number of bytes, and they; null for none
};

}  // namespace nalvo::mail
