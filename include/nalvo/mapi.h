// The records of MAPI values, in their published layout.
#pragma once

#include "nalvo/com.h"

namespace nalvo {

struct SBinary {
  ULONG cb;
  BYTE* lpb;
};

struct SLongArray {
  ULONG cValues;
  std::int32_t* lpl;
};

struct SShortArray {
  ULONG cValues;
  std::int16_t* lpi;
};

struct SRealArray {
  ULONG cValues;
  float* lpflt;
};

struct SDoubleArray {
  ULONG cValues;
  double* lpdbl;
};

struct SLargeIntegerArray {
  ULONG cValues;
  std::int64_t* lpli;
};

struct SDateTimeArray {
  ULONG cValues;
  FILETIME* lpft;
};

struct SGuidArray {
  ULONG cValues;
  GUID* lpguid;
};

struct SLPSTRArray {
  ULONG cValues;
  char** lppszA;
};

struct SWStringArray {
  ULONG cValues;
  char16_t** lppszW;
};

struct SBinaryArray {
  ULONG cValues;
  SBinary* lpbin;
};

union PropertyValue {
  std::int16_t i;            // PT_SHORT
  std::int32_t l;            // PT_LONG
  ULONG ul;                  // PT_LONG, unsigned
  float flt;                 // PT_FLOAT
  double dbl;                // PT_DOUBLE
  std::uint16_t b;           // PT_BOOLEAN
  std::int64_t cur;          // PT_CURRENCY, in ten-thousandths
  double at;                 // PT_APPTIME, days since 1899-12-30
  FILETIME ft;               // PT_SYSTIME, UTC
  char* lpszA;               // PT_STRING8
  SBinary bin;               // PT_BINARY
  char16_t* lpszW;           // PT_UNICODE, UTF-16
  GUID* lpguid;              // PT_CLSID
  std::int64_t li;           // PT_I8
  SShortArray MVi;           // PT_MV_SHORT
  SLongArray MVl;            // PT_MV_LONG
  SRealArray MVflt;          // PT_MV_FLOAT
  SDoubleArray MVdbl;        // PT_MV_DOUBLE
  SLargeIntegerArray MVcur;  // PT_MV_CURRENCY
  SDoubleArray MVat;         // PT_MV_APPTIME
  SDateTimeArray MVft;       // PT_MV_SYSTIME
  SBinaryArray MVbin;        // PT_MV_BINARY
  SLPSTRArray MVszA;         // PT_MV_STRING8
  SWStringArray MVszW;       // PT_MV_UNICODE
  SGuidArray MVguid;         // PT_MV_CLSID
  SLargeIntegerArray MVli;   // PT_MV_I8
  HRESULT err;               // PT_ERROR
  std::int32_t x;            // PT_NULL, PT_OBJECT
};

struct SPropValue {
  ULONG ulPropTag;
  ULONG dwAlignPad;
  PropertyValue Value;
};
static_assert(sizeof(SBinary) == 16 && sizeof(SPropValue) == 24 && offsetof(SPropValue, Value) == 8);

inline constexpr ULONG MNID_ID = 0;
inline constexpr ULONG MNID_STRING = 1;

// The name of a named property: a set and a number or a text.
struct MAPINAMEID {
  GUID* lpguid;
  ULONG ulKind;  // MNID_ID or MNID_STRING
  union {
    std::int32_t lID;
    char16_t* lpwstrName;
  } Kind;
};
static_assert(sizeof(MAPINAMEID) == 24 && offsetof(MAPINAMEID, Kind) == 16);

}  // namespace nalvo
