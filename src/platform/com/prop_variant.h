// The typed value of a MIME header.
#pragma once

#include "nalvo/com.h"

namespace nalvo {

enum VarType : std::uint16_t {
  VT_EMPTY = 0,
  VT_I4 = 3,
  VT_UI4 = 19,
  VT_LPSTR = 30,
  VT_LPWSTR = 31,
  VT_FILETIME = 64,
};

// A text that a call gives out comes from taskAlloc; ScopedPropVariant frees it.
struct PROPVARIANT {
  VarType vt;
  union {
    std::int32_t lVal;
    std::uint32_t ulVal;
    FILETIME filetime;
    char* pszVal;
    char16_t* pwszVal;
  };
};

// Frees the text it holds, if any, at the end of the scope.
class ScopedPropVariant : public PROPVARIANT {
 public:
  explicit ScopedPropVariant(VarType type = VT_EMPTY) : PROPVARIANT{type, {0}} { pszVal = nullptr; }
  ~ScopedPropVariant() {
    if (vt == VT_LPSTR || vt == VT_LPWSTR) {
      taskFree(pszVal);
    }
  }
  ScopedPropVariant(const ScopedPropVariant&) = delete;
  ScopedPropVariant& operator=(const ScopedPropVariant&) = delete;
};

}  // namespace nalvo
