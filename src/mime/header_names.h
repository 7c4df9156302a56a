// The names of headers and how they are compared.
#pragma once

#include <string_view>

#include "mime/mime.h"

namespace nalvo::mime {

// What a caller's HeaderName names.
struct ParsedName {
  std::string_view header;     // "Content-Type"
  std::string_view parameter;  // "charset"; empty for the whole row
  bool isFileName = false;     // "att:filename": both file name parameters; the other two fields are empty
};

// Throws E_INVALIDARG for a null name and for a number without a header.
ParsedName parseName(HeaderName name);

// The length of the name at the start of a line that can be a row, else 0.
std::size_t rowNameBytes(std::string_view line);

// Rows that belong to the content of a body and move with it: Content-Type, Content-ID and their kin.
bool isContentRow(std::string_view name);
// The kind of addresses that a row holds, as an AddressKind; 0 for any other row.
DWORD addressKindOf(std::string_view name);
// The name of the row that holds a kind of addresses; empty for a bit without a row.
std::string_view addressRowName(DWORD kind);
// The kinds of addresses, in the order of their bits.
inline constexpr DWORD kAddressKinds[] = {
    IAT_FROM, IAT_SENDER, IAT_TO, IAT_CC, IAT_BCC, IAT_REPLYTO, IAT_RETURNRECEIPT, IAT_DISPOSITION_NOTIFICATION};

inline constexpr std::string_view kContentType = "Content-Type";
inline constexpr std::string_view kContentDisposition = "Content-Disposition";
inline constexpr std::string_view kContentLanguage = "Content-Language";
inline constexpr std::string_view kContentId = "Content-ID";
inline constexpr std::string_view kTransferEncoding = "Content-Transfer-Encoding";
inline constexpr std::string_view kMimeVersion = "MIME-Version";
inline constexpr std::string_view kXMapi = "X-MAPI";

}  // namespace nalvo::mime
