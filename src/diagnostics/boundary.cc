#include "diagnostics/boundary.h"

#include <new>

namespace nalvo {

HRESULT currentExceptionHResult() noexcept {
  try {
    throw;
  } catch (const HResultException& failure) {
    return failure.getHResult();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_FAIL;
  }
}

const std::exception* currentStdException() noexcept {
  try {
    throw;
  } catch (const std::exception& exception) {
    return &exception;
  } catch (...) {
    return nullptr;
  }
}

}  // namespace nalvo
