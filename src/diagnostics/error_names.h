// HRESULT codes and their symbolic names, for the texts of failures.
#pragma once

#include <span>
#include <string_view>

#include "nalvo/com.h"

namespace nalvo {

struct ErrorName {
  std::uint32_t code;
  std::string_view name;
};

// All rows, ordered by code; no code and no name stands twice.
std::span<const ErrorName> errorNames() noexcept;

// The name of a code; empty for one that the table does not hold.
std::string_view errorName(HRESULT hr) noexcept;

}  // namespace nalvo
