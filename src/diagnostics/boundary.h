// Where exceptions become results.
#pragma once

#include <type_traits>

#include "diagnostics/hresult_exception.h"

namespace nalvo {

// The HRESULT of the exception in flight: its own for HResultException, E_OUTOFMEMORY for std::bad_alloc, E_FAIL for the
// rest. To be called inside a catch block; the one place that knows the rule.
HRESULT currentExceptionHResult() noexcept;

// The exception in flight, for a text about it; null if it is none of std::exception. Valid as long as the catch block that
// asks.
const std::exception* currentStdException() noexcept;

// Runs the body of a COM-style method. A body without a value gives S_OK, one with an HRESULT gives that.
template <typename Body>
HRESULT atBoundary(Body&& body) noexcept {
  try {
    if constexpr (std::is_void_v<decltype(body())>) {
      body();
      return S_OK;
    } else {
      return body();
    }
  } catch (...) {
    return currentExceptionHResult();
  }
}

}  // namespace nalvo
