// Property tags and types by their published numbers.
#pragma once

#include "nalvo/mapi.h"

namespace nalvo {

inline constexpr ULONG PT_UNSPECIFIED = 0x0000;
inline constexpr ULONG PT_NULL = 0x0001;
inline constexpr ULONG PT_SHORT = 0x0002;
inline constexpr ULONG PT_LONG = 0x0003;
inline constexpr ULONG PT_FLOAT = 0x0004;
inline constexpr ULONG PT_DOUBLE = 0x0005;
inline constexpr ULONG PT_CURRENCY = 0x0006;
inline constexpr ULONG PT_APPTIME = 0x0007;
inline constexpr ULONG PT_ERROR = 0x000A;
inline constexpr ULONG PT_BOOLEAN = 0x000B;
inline constexpr ULONG PT_OBJECT = 0x000D;
inline constexpr ULONG PT_I8 = 0x0014;
inline constexpr ULONG PT_STRING8 = 0x001E;
inline constexpr ULONG PT_UNICODE = 0x001F;
inline constexpr ULONG PT_SYSTIME = 0x0040;
inline constexpr ULONG PT_CLSID = 0x0048;
inline constexpr ULONG PT_BINARY = 0x0102;
inline constexpr ULONG MV_FLAG = 0x1000;
inline constexpr ULONG PT_MV_SHORT = MV_FLAG | PT_SHORT;
inline constexpr ULONG PT_MV_LONG = MV_FLAG | PT_LONG;
inline constexpr ULONG PT_MV_FLOAT = MV_FLAG | PT_FLOAT;
inline constexpr ULONG PT_MV_DOUBLE = MV_FLAG | PT_DOUBLE;
inline constexpr ULONG PT_MV_CURRENCY = MV_FLAG | PT_CURRENCY;
inline constexpr ULONG PT_MV_APPTIME = MV_FLAG | PT_APPTIME;
inline constexpr ULONG PT_MV_I8 = MV_FLAG | PT_I8;
inline constexpr ULONG PT_MV_STRING8 = MV_FLAG | PT_STRING8;
inline constexpr ULONG PT_MV_UNICODE = MV_FLAG | PT_UNICODE;
inline constexpr ULONG PT_MV_SYSTIME = MV_FLAG | PT_SYSTIME;
inline constexpr ULONG PT_MV_CLSID = MV_FLAG | PT_CLSID;
inline constexpr ULONG PT_MV_BINARY = MV_FLAG | PT_BINARY;

constexpr ULONG propTag(ULONG type, ULONG id) { return (id << 16) | type; }
constexpr ULONG propType(ULONG tag) { return tag & 0xFFFFU; }
constexpr ULONG propId(ULONG tag) { return tag >> 16; }
constexpr ULONG changePropType(ULONG tag, ULONG type) { return (tag & 0xFFFF0000U) | type; }
// Identifiers from here up belong to named properties.
inline constexpr ULONG kFirstNamedId = 0x8000;

}  // namespace nalvo
