#include "mime/boundary.h"

#include <cstdio>  // snprintf

#include "platform/com/guid.h"

namespace nalvo::mime {
namespace {

std::string randomDigits() {
  const GUID id = newGuid();
  char text[33];
  std::snprintf(text, sizeof text, "%08x%04x%04x%02x%02x%02x%02x%02x%02x%02x%02x", id.Data1, id.Data2, id.Data3, id.Data4[0],
                id.Data4[1], id.Data4[2], id.Data4[3], id.Data4[4], id.Data4[5], id.Data4[6], id.Data4[7]);
  return text;
}

}  // namespace

std::string makeBoundary() { return "=_" + randomDigits(); }
std::string makeContentId() { return "<" + randomDigits() + "@nalvo>"; }

}  // namespace nalvo::mime
