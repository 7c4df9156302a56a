// The words that steer a conversion. A bit means one thing in each direction, so each direction has a type of its own; the
// exports make it from the caller's word and nothing behind them sees the word itself.
#pragma once

#include <concepts>

#include "nalvo/com.h"

namespace nalvo {

enum class ToMimeFlags : DWORD {
  Normal = 0x0000,
  ForSend = 0x0001,
  ToAttachment = 0x0002,
  NoMimeStream = 0x0004,
  JustChanged = 0x0008,    // counts only when it is the whole word
  EmbedAsNormal = 0x4000,  // an item that is part of another one, as if it stood for itself
  InsideMapi = 0x8000,
};

enum class ToMapiFlags : DWORD {
  Normal = 0x0000,
  NoAttachment = 0x0001,
  FromAttachment = 0x0002,
  WithoutBody = 0x0004,
  JustFlags = 0x0008,
  EmbedAsNormal = 0x4000,
  InsideMapi = 0x8000,
};

// Parts of a conversion to MIME.
enum class Converted : DWORD { Nothing = 0, Flags = 1, Body = 2, Annotations = 4, All = 7 };

template <typename T>
concept FlagWord = std::same_as<T, ToMimeFlags> || std::same_as<T, ToMapiFlags> || std::same_as<T, Converted>;

template <FlagWord T>
constexpr T operator|(T a, T b) {
  return static_cast<T>(static_cast<DWORD>(a) | static_cast<DWORD>(b));
}
template <FlagWord T>
constexpr T& operator|=(T& a, T b) {
  return a = a | b;
}
// True if `word` holds any bit of `bits`.
template <FlagWord T>
constexpr bool hasAny(T word, T bits) {
  return (static_cast<DWORD>(word) & static_cast<DWORD>(bits)) != 0;
}

}  // namespace nalvo
