// Names of charsets as calendar, card and mail text gives them. Names compare without case.
#pragma once

#include <string>
#include <string_view>

#include "platform/text/code_pages.h"

namespace nalvo::utils {

inline constexpr std::string_view kUtf8Charset = "utf-8";
inline constexpr std::string_view kUtf7ImapCharset = "utf-7-imap";
// What text without a known charset is read as.
inline constexpr std::string_view kFallbackCharset = "cp1252";

// The charsets that the library knows by a name of its own; all of them are supported.
inline constexpr std::string_view kCharsetNames[] = {
    "iso-8859-1", "iso-8859-2",  "iso-8859-3",  "iso-8859-4",  "iso-8859-5",  "iso-8859-6",  "iso-8859-7", "iso-8859-8",
    "iso-8859-9", "iso-8859-10", "iso-8859-13", "iso-8859-14", "iso-8859-15", "iso-8859-16", "cp1250",     "cp1251",
    "cp1252",     "cp1253",      "cp1254",      "cp1255",      "cp1256",      "cp1257",      "euc-jp",     "euc-cn",
    "euc-kr",     "iso-2022-jp", "iso-2022-cn", "iso-2022-kr", "shift_jis",   "utf-7",       "utf-7-imap", "utf-8",
    "utf-16",     "utf-32",      "ucs-2",       "ucs-2le",     "ucs-2be",     "ucs-4",       "ucs-4le",    "ucs-4be"};

// "utf-7-imap" and "utf-7m": the modified UTF-7 of mailbox names.
bool isUtf7Imap(std::string_view name);

bool isCharsetSupported(std::string_view name);

// The platform's row for a name that is not repaired, UTF-16 for UTF-7-IMAP; null for one that isn't supported.
const Charset* charsetFor(std::string_view name);

// Whether a byte of 0x5C may be no backslash but part of another character, as in Shift_JIS.
bool mayHideBackslash(std::string_view name);

// Repairs a name: what senders call by too small a name gets the bigger charset ("us-ascii" and "iso-8859-1" are read as
// "cp1252", "gb2312" as "gb18030"), "windows-N" that is not supported becomes "cpN", any other unknown name "cp1252".
// Returns whether `out` differs from `name`.
bool normalizeCharsetName(std::string_view name, std::string& out);

}  // namespace nalvo::utils
