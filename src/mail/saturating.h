// 64-bit arithmetic that stops at the ends, for numbers out of texts. The lowest number stands for "null" in this library
// and is never a result.
#pragma once

#include <cstdint>
#include <limits>

namespace nalvo::mail::saturating {

inline constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
inline constexpr std::int64_t kLowest = -kHighest;

constexpr std::int64_t add(std::int64_t a, std::int64_t b) {
  std::int64_t sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) {
    return b > 0 ? kHighest : kLowest;
  }
  return sum < kLowest ? kLowest : sum;
}

constexpr std::int64_t negate(std::int64_t a) { return a < kLowest ? kHighest : -a; }

constexpr std::int64_t multiply(std::int64_t a, std::int64_t b) {
  std::int64_t product = 0;
  if (__builtin_mul_overflow(a, b, &product)) {
    return (a > 0) == (b > 0) ? kHighest : kLowest;
  }
  return product < kLowest ? kLowest : product;
}

}  // namespace nalvo::mail::saturating
