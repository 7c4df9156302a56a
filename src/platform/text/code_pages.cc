#include "platform/text/code_pages.h"

#include <algorithm>
#include <charconv>  // from_chars
#include <iterator>
#include <string>
#include <unordered_map>

#include "platform/text/text.h"

namespace nalvo {
namespace {

using Engine = Charset::Engine;
using Shape = Charset::Shape;

// Data of a charset is read in its own page, so that is also its page for Internet text.
constexpr Charset row(CodePage page, std::string_view name, std::string_view converter, CodePage windows, Engine engine,
                      Shape shape) {
  return {page, name, converter, windows, page, engine, shape};
}

// Sorted by page. Where mail says one name and means its bigger brother, the converter is the brother: "gb2312" is read as
// GBK, "shift_jis" with the vendor's rows, "euc-kr" as the unified Hangul code.
constexpr Charset kCharsets[] = {
    row(37, "ibm037", "CP037", 1252, Engine::Iconv, Shape::Ebcdic),
    row(437, "ibm437", "CP437", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(500, "ibm500", "CP500", 1252, Engine::Iconv, Shape::Ebcdic),
    row(708, "asmo-708", "ISO-8859-6", 1256, Engine::Iconv, Shape::AsciiSuperset),
    row(720, "dos-720", "ibm-720", 1256, Engine::Icu, Shape::AsciiSuperset),
    row(737, "ibm737", "CP737", 1253, Engine::Iconv, Shape::AsciiSuperset),
    row(775, "ibm775", "CP775", 1257, Engine::Iconv, Shape::AsciiSuperset),
    row(850, "ibm850", "CP850", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(852, "ibm852", "CP852", 1250, Engine::Iconv, Shape::AsciiSuperset),
    row(855, "ibm855", "CP855", 1251, Engine::Iconv, Shape::AsciiSuperset),
    row(857, "ibm857", "CP857", 1254, Engine::Iconv, Shape::AsciiSuperset),
    row(858, "ibm00858", "CP858", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(860, "ibm860", "CP860", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(861, "ibm861", "CP861", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(862, "dos-862", "CP862", 1255, Engine::Iconv, Shape::AsciiSuperset),
    row(863, "ibm863", "CP863", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(864, "ibm864", "CP864", 1256, Engine::Iconv, Shape::AsciiSuperset),
    row(865, "ibm865", "CP865", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(866, "cp866", "CP866", 1251, Engine::Iconv, Shape::AsciiSuperset),
    row(869, "ibm869", "CP869", 1253, Engine::Iconv, Shape::AsciiSuperset),
    row(870, "ibm870", "CP870", 1250, Engine::Iconv, Shape::Ebcdic),
    row(874, "windows-874", "CP874", 874, Engine::Iconv, Shape::AsciiSuperset),
    row(875, "cp875", "ibm-875", 1253, Engine::Icu, Shape::Ebcdic),
    row(932, "shift_jis", "CP932", 932, Engine::Iconv, Shape::AsciiSuperset),
    row(936, "gb2312", "CP936", 936, Engine::Iconv, Shape::AsciiSuperset),
    row(949, "ks_c_5601-1987", "CP949", 949, Engine::Iconv, Shape::AsciiSuperset),
    row(950, "big5", "CP950", 950, Engine::Iconv, Shape::AsciiSuperset),
    row(951, "big5-hkscs", "BIG5-HKSCS", 950, Engine::Iconv, Shape::AsciiSuperset),
    row(1026, "ibm1026", "ibm-1026", 1254, Engine::Icu, Shape::Ebcdic),
    row(1047, "ibm01047", "CP1047", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1140, "ibm01140", "CP1140", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1141, "ibm01141", "CP1141", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1142, "ibm01142", "CP1142", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1143, "ibm01143", "CP1143", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1144, "ibm01144", "CP1144", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1145, "ibm01145", "CP1145", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1146, "ibm01146", "CP1146", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1147, "ibm01147", "CP1147", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1148, "ibm01148", "CP1148", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1149, "ibm01149", "CP1149", 1252, Engine::Iconv, Shape::Ebcdic),
    row(1200, "utf-16", "UTF-16LE", 1200, Engine::Own, Shape::Wide),
    row(1201, "utf-16be", "UTF-16BE", 1200, Engine::Iconv, Shape::Wide),
    row(1250, "windows-1250", "CP1250", 1250, Engine::Iconv, Shape::AsciiSuperset),
    row(1251, "windows-1251", "CP1251", 1251, Engine::Iconv, Shape::AsciiSuperset),
    row(1252, "windows-1252", "CP1252", 1252, Engine::Own, Shape::AsciiSuperset),
    row(1253, "windows-1253", "CP1253", 1253, Engine::Iconv, Shape::AsciiSuperset),
    row(1254, "windows-1254", "CP1254", 1254, Engine::Iconv, Shape::AsciiSuperset),
    row(1255, "windows-1255", "CP1255", 1255, Engine::Iconv, Shape::AsciiSuperset),
    row(1256, "windows-1256", "CP1256", 1256, Engine::Iconv, Shape::AsciiSuperset),
    row(1257, "windows-1257", "CP1257", 1257, Engine::Iconv, Shape::AsciiSuperset),
    row(1258, "windows-1258", "CP1258", 1258, Engine::Iconv, Shape::AsciiSuperset),
    row(1361, "johab", "JOHAB", 949, Engine::Iconv, Shape::AsciiSuperset),
    row(10000, "macintosh", "macintosh", 1252, Engine::Icu, Shape::AsciiSuperset),
    row(10006, "x-mac-greek", "x-mac-greek", 1253, Engine::Icu, Shape::AsciiSuperset),
    row(10007, "x-mac-cyrillic", "x-mac-cyrillic", 1251, Engine::Icu, Shape::AsciiSuperset),
    row(10017, "x-mac-ukrainian", "MAC-UK", 1251, Engine::Iconv, Shape::AsciiSuperset),
    row(10029, "x-mac-ce", "x-mac-centraleurroman", 1250, Engine::Icu, Shape::AsciiSuperset),
    row(10081, "x-mac-turkish", "x-mac-turkish", 1254, Engine::Icu, Shape::AsciiSuperset),
    row(12000, "utf-32", "UTF-32LE", 1200, Engine::Iconv, Shape::Wide),
    row(12001, "utf-32be", "UTF-32BE", 1200, Engine::Iconv, Shape::Wide),
    row(20127, "us-ascii", "ASCII", 1252, Engine::Own, Shape::AsciiSuperset),
    row(20261, "x-cp20261", "T.61-8BIT", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(20269, "x-cp20269", "ISO_6937", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(20273, "ibm273", "CP273", 1252, Engine::Iconv, Shape::Ebcdic),
    row(20277, "ibm277", "IBM277", 1252, Engine::Iconv, Shape::Ebcdic),
    row(20278, "ibm278", "CP278", 1252, Engine::Iconv, Shape::Ebcdic),
    row(20280, "ibm280", "CP280", 1252, Engine::Iconv, Shape::Ebcdic),
    row(20284, "ibm284", "CP284", 1252, Engine::Iconv, Shape::Ebcdic),
    row(20285, "ibm285", "CP285", 1252, Engine::Iconv, Shape::Ebcdic),
    row(20297, "ibm297", "CP297", 1252, Engine::Iconv, Shape::Ebcdic),
    row(20420, "ibm420", "CP420", 1256, Engine::Iconv, Shape::Ebcdic),
    row(20423, "ibm423", "CP423", 1253, Engine::Iconv, Shape::Ebcdic),
    row(20424, "ibm424", "ibm-424", 1255, Engine::Icu, Shape::Ebcdic),
    row(20866, "koi8-r", "KOI8-R", 1251, Engine::Iconv, Shape::AsciiSuperset),
    row(20871, "ibm871", "CP871", 1252, Engine::Iconv, Shape::Ebcdic),
    row(20880, "ibm880", "CP880", 1251, Engine::Iconv, Shape::Ebcdic),
    row(20905, "ibm905", "CP905", 1254, Engine::Iconv, Shape::Ebcdic),
    row(20932, "x-cp20932", "EUC-JP", 932, Engine::Iconv, Shape::AsciiSuperset),
    row(20936, "x-cp20936", "GBK", 936, Engine::Iconv, Shape::AsciiSuperset),
    row(20949, "x-cp20949", "EUC-KR", 949, Engine::Iconv, Shape::AsciiSuperset),
    row(21025, "cp1025", "CP1025", 1251, Engine::Iconv, Shape::Ebcdic),
    row(21866, "koi8-u", "KOI8-U", 1251, Engine::Iconv, Shape::AsciiSuperset),
    row(28591, "iso-8859-1", "ISO-8859-1", 1252, Engine::Own, Shape::AsciiSuperset),
    row(28592, "iso-8859-2", "ISO-8859-2", 1250, Engine::Iconv, Shape::AsciiSuperset),
    row(28593, "iso-8859-3", "ISO-8859-3", 1254, Engine::Iconv, Shape::AsciiSuperset),
    row(28594, "iso-8859-4", "ISO-8859-4", 1257, Engine::Iconv, Shape::AsciiSuperset),
    row(28595, "iso-8859-5", "ISO-8859-5", 1251, Engine::Iconv, Shape::AsciiSuperset),
    row(28596, "iso-8859-6", "ISO-8859-6", 1256, Engine::Iconv, Shape::AsciiSuperset),
    row(28597, "iso-8859-7", "ISO-8859-7", 1253, Engine::Iconv, Shape::AsciiSuperset),
    row(28598, "iso-8859-8", "ISO-8859-8", 1255, Engine::Iconv, Shape::AsciiSuperset),
    row(28599, "iso-8859-9", "ISO-8859-9", 1254, Engine::Iconv, Shape::AsciiSuperset),
    row(28600, "iso-8859-10", "ISO-8859-10", 1257, Engine::Iconv, Shape::AsciiSuperset),
    row(28601, "iso-8859-11", "ISO-8859-11", 874, Engine::Iconv, Shape::AsciiSuperset),
    row(28603, "iso-8859-13", "ISO-8859-13", 1257, Engine::Iconv, Shape::AsciiSuperset),
    row(28604, "iso-8859-14", "ISO-8859-14", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(28605, "iso-8859-15", "ISO-8859-15", 1252, Engine::Iconv, Shape::AsciiSuperset),
    row(28606, "iso-8859-16", "ISO-8859-16", 1250, Engine::Iconv, Shape::AsciiSuperset),
    row(38598, "iso-8859-8-i", "ISO-8859-8-I", 1255, Engine::Icu, Shape::AsciiSuperset),
    row(50220, "iso-2022-jp", "ISO_2022,locale=ja,version=0", 932, Engine::Icu, Shape::Stateful),
    row(50221, "csISO2022JP", "ISO_2022,locale=ja,version=1", 932, Engine::Icu, Shape::Stateful),
    row(50222, "iso-2022-jp", "JIS7", 932, Engine::Icu, Shape::Stateful),
    row(50225, "iso-2022-kr", "ISO-2022-KR", 949, Engine::Iconv, Shape::Stateful),
    row(50227, "x-cp50227", "ISO-2022-CN", 936, Engine::Iconv, Shape::Stateful),
    row(51932, "euc-jp", "EUC-JP-MS", 932, Engine::Iconv, Shape::AsciiSuperset),
    row(51936, "euc-cn", "GBK", 936, Engine::Iconv, Shape::AsciiSuperset),
    row(51949, "euc-kr", "CP949", 949, Engine::Iconv, Shape::AsciiSuperset),
    row(51950, "euc-tw", "EUC-TW", 950, Engine::Iconv, Shape::AsciiSuperset),
    row(52936, "hz-gb-2312", "HZ", 936, Engine::Icu, Shape::Stateful),
    row(54936, "gb18030", "GB18030", 936, Engine::Iconv, Shape::AsciiSuperset),
    row(65000, "utf-7", "UTF-7", 1200, Engine::Iconv, Shape::Stateful),
    row(65001, "utf-8", "UTF-8", 1200, Engine::Own, Shape::AsciiSuperset),
};
static_assert(std::is_sorted(std::begin(kCharsets), std::end(kCharsets),
                             [](const Charset& a, const Charset& b) { return a.codePage < b.codePage; }));

struct Alias {
  std::string_view name;  // lower case
  CodePage codePage;
};

// Names beside the preferred ones. Those made of a prefix and a number ("cp1251", "x-windows-949") need no row.
constexpr Alias kAliases[] = {
    {"ascii", 20127},
    {"us", 20127},
    {"ansi_x3.4-1968", 20127},
    {"ansi_x3.4-1986", 20127},
    {"ansi_x3.4", 20127},
    {"iso-ir-6", 20127},
    {"iso646-us", 20127},
    {"iso_646.irv:1991", 20127},
    {"cp367", 20127},
    {"ibm367", 20127},
    {"csascii", 20127},
    {"646", 20127},
    {"us_ascii", 20127},
    {"usascii", 20127},
    {"7bit", 20127},
    {"x-us-ascii", 20127},
    {"iso-646-us", 20127},
    {"latin1", 28591},
    {"latin-1", 28591},
    {"l1", 28591},
    {"iso88591", 28591},
    {"8859_1", 28591},
    {"iso8859", 28591},
    {"iso_8859-1:1987", 28591},
    {"iso-ir-100", 28591},
    {"csisolatin1", 28591},
    {"cp819", 28591},
    {"ibm819", 28591},
    {"iso-8859", 28591},
    {"isolatin1", 28591},
    {"iso-latin-1", 28591},
    {"latin2", 28592},
    {"latin-2", 28592},
    {"l2", 28592},
    {"iso-ir-101", 28592},
    {"csisolatin2", 28592},
    {"iso_8859-2:1987", 28592},
    {"latin3", 28593},
    {"l3", 28593},
    {"iso-ir-109", 28593},
    {"csisolatin3", 28593},
    {"latin4", 28594},
    {"l4", 28594},
    {"iso-ir-110", 28594},
    {"csisolatin4", 28594},
    {"cyrillic", 28595},
    {"iso-ir-144", 28595},
    {"csisolatincyrillic", 28595},
    {"arabic", 28596},
    {"iso-ir-127", 28596},
    {"csisolatinarabic", 28596},
    {"ecma-114", 28596},
    {"iso-8859-6-i", 28596},
    {"iso-8859-6-e", 28596},
    {"greek", 28597},
    {"greek8", 28597},
    {"iso-ir-126", 28597},
    {"csisolatingreek", 28597},
    {"elot_928", 28597},
    {"ecma-118", 28597},
    {"sun_eu_greek", 28597},
    {"hebrew", 28598},
    {"iso-ir-138", 28598},
    {"csisolatinhebrew", 28598},
    {"visual", 28598},
    {"iso-8859-8-e", 28598},
    {"csiso88598e", 28598},
    {"logical", 38598},
    {"csiso88598i", 38598},
    {"latin5", 28599},
    {"l5", 28599},
    {"iso-ir-148", 28599},
    {"csisolatin5", 28599},
    {"latin6", 28600},
    {"l6", 28600},
    {"iso-ir-157", 28600},
    {"csisolatin6", 28600},
    {"tis-620", 28601},
    {"tis620", 28601},
    {"tis620.2533", 28601},
    {"iso-ir-166", 28601},
    {"iso-8859-11:2001", 28601},
    {"latin7", 28603},
    {"l7", 28603},
    {"iso-ir-179", 28603},
    {"latin8", 28604},
    {"l8", 28604},
    {"iso-ir-199", 28604},
    {"iso-celtic", 28604},
    {"latin9", 28605},
    {"latin-9", 28605},
    {"l9", 28605},
    {"latin0", 28605},
    {"iso-ir-203", 28605},
    {"csisolatin9", 28605},
    {"latin10", 28606},
    {"l10", 28606},
    {"iso-ir-226", 28606},
    {"ansi", 1252},
    {"x-ansi", 1252},
    {"ms-ansi", 1252},
    {"cp1252", 1252},
    {"winlatin1", 1252},
    {"ms-ee", 1250},
    {"x-cp1250", 1250},
    {"ms-cyrl", 1251},
    {"x-cp1251", 1251},
    {"ms-greek", 1253},
    {"ms-turk", 1254},
    {"ms-hebr", 1255},
    {"ms-arab", 1256},
    {"winbaltrim", 1257},
    {"dos-874", 874},
    {"x-windows-874", 874},
    {"ms874", 874},
    {"x-sjis", 932},
    {"sjis", 932},
    {"shift-jis", 932},
    {"shiftjis", 932},
    {"ms_kanji", 932},
    {"csshiftjis", 932},
    {"windows-31j", 932},
    {"cswindows31j", 932},
    {"ms932", 932},
    {"x-ms-cp932", 932},
    {"x-mac-japanese", 932},
    {"s-jis", 932},
    {"gbk", 936},
    {"x-gbk", 936},
    {"csgb2312", 936},
    {"gb_2312-80", 936},
    {"gb2312-80", 936},
    {"gb-2312", 936},
    {"gb_2312", 936},
    {"chinese", 936},
    {"iso-ir-58", 936},
    {"csiso58gb231280", 936},
    {"ms936", 936},
    {"csgbk", 936},
    {"gb2312.1980-0", 936},
    {"cn-gb", 936},
    {"x-mac-chinesesimp", 936},
    {"ks_c_5601", 949},
    {"ks-c-5601", 949},
    {"ks_c_5601-1989", 949},
    {"ks_c_5601_1987", 949},
    {"ksc5601", 949},
    {"ksc_5601", 949},
    {"ks_c5601", 949},
    {"korean", 949},
    {"iso-ir-149", 949},
    {"csksc56011987", 949},
    {"uhc", 949},
    {"ms949", 949},
    {"x-windows-949", 949},
    {"cseuckr", 51949},
    {"euckr", 51949},
    {"x-mac-korean", 51949},
    {"euc_kr", 51949},
    {"big-5", 950},
    {"cn-big5", 950},
    {"csbig5", 950},
    {"x-x-big5", 950},
    {"big5-eten", 950},
    {"x-mac-chinesetrad", 950},
    {"big5hkscs", 951},
    {"big5_hkscs", 951},
    {"big5-hkscs:2004", 951},
    {"eucjp", 51932},
    {"x-euc", 51932},
    {"x-euc-jp", 51932},
    {"cseucpkdfmtjapanese", 51932},
    {"extended_unix_code_packed_format_for_japanese", 51932},
    {"ujis", 51932},
    {"euc_jp", 51932},
    {"eucjp-win", 51932},
    {"eucjp-ms", 51932},
    {"x-eucjp", 51932},
    {"euccn", 51936},
    {"x-euc-cn", 51936},
    {"gb2312-euc", 51936},
    {"euctw", 51950},
    {"x-euc-tw", 51950},
    {"iso2022jp", 50220},
    {"iso_2022-jp", 50220},
    {"iso2022-jp", 50220},
    {"x-iso-2022-jp", 50220},
    {"jis", 50220},
    {"iso-2022-jp-ms", 50221},
    {"iso-2022-jp-1", 50221},
    {"iso-2022-jp-2", 50221},
    {"iso-2022-jp-3", 50221},
    {"csiso2022jp2", 50221},
    {"cp50221", 50221},
    {"iso2022kr", 50225},
    {"csiso2022kr", 50225},
    {"iso2022-kr", 50225},
    {"iso-2022-cn", 50227},
    {"csiso2022cn", 50227},
    {"iso2022cn", 50227},
    {"iso-2022-cn-ext", 50227},
    {"hz", 52936},
    {"hz-gb2312", 52936},
    {"hz_gb_2312", 52936},
    {"hzgb2312", 52936},
    {"gb-18030", 54936},
    {"csgb18030", 54936},
    {"gb18030-2000", 54936},
    {"gb18030-2005", 54936},
    {"utf7", 65000},
    {"unicode-1-1-utf-7", 65000},
    {"csunicode11utf7", 65000},
    {"unicode-2-0-utf-7", 65000},
    {"x-unicode-2-0-utf-7", 65000},
    {"csutf7", 65000},
    {"utf8", 65001},
    {"unicode-1-1-utf-8", 65001},
    {"unicode-2-0-utf-8", 65001},
    {"x-unicode-2-0-utf-8", 65001},
    {"csutf8", 65001},
    {"utf_8", 65001},
    {"utf-8n", 65001},
    {"x-utf-8", 65001},
    {"utf8mb4", 65001},
    {"unicode-utf-8", 65001},
    {"utf-8-sig", 65001},
    {"utf16", 1200},
    {"utf-16le", 1200},
    {"utf16le", 1200},
    {"ucs-2", 1200},
    {"ucs2", 1200},
    {"ucs-2le", 1200},
    {"unicode", 1200},
    {"iso-10646-ucs-2", 1200},
    {"csunicode", 1200},
    {"utf16be", 1201},
    {"unicodefffe", 1201},
    {"ucs-2be", 1201},
    {"unicodebig", 1201},
    {"utf32", 12000},
    {"utf-32le", 12000},
    {"utf32le", 12000},
    {"ucs-4", 12000},
    {"ucs4", 12000},
    {"iso-10646-ucs-4", 12000},
    {"utf32be", 12001},
    {"ucs-4be", 12001},
    {"koi8r", 20866},
    {"koi", 20866},
    {"koi8", 20866},
    {"cskoi8r", 20866},
    {"koi8_r", 20866},
    {"koi8u", 21866},
    {"koi8-ru", 21866},
    {"koi8_u", 21866},
    {"mac", 10000},
    {"x-mac-roman", 10000},
    {"csmacintosh", 10000},
    {"macroman", 10000},
    {"x-macroman", 10000},
    {"mac-cyrillic", 10007},
    {"maccyrillic", 10007},
    {"x-mac-centraleurroman", 10029},
    {"maccentraleurope", 10029},
    {"mac-uk", 10017},
    {"cspc8codepage437", 437},
    {"437", 437},
    {"cspc850multilingual", 850},
    {"850", 850},
    {"cspcp852", 852},
    {"852", 852},
    {"csibm866", 866},
    {"866", 866},
    {"cspc862latinhebrew", 862},
    {"ccsid00858", 858},
    {"pc-multilingual-850+euro", 858},
    {"ms1361", 1361},
    {"ebcdic-cp-us", 37},
    {"ebcdic-cp-be", 500},
};

// What stands before the number of a page in the names that vendors gave it.
constexpr std::string_view kNumberPrefixes[] = {"windows-", "windows", "cp-",  "cp",       "ibm-",
                                                "ibm",      "ms",      "dos-", "x-cp",     "x-windows-",
                                                "x-ibm",    "win-",    "win",  "codepage", "ccsid"};
// What stands before the part of ISO 8859: "iso8859-15", "ISO_8859-15", "8859-15".
constexpr std::string_view kIsoPrefixes[] = {"iso-8859-", "iso_8859-", "iso8859-",  "iso-8859_",   "iso_8859_", "iso8859_",
                                             "8859-",     "8859_",     "iso 8859-", "x-iso-8859-", "iso-8859"};

using NameMap = std::unordered_map<std::string_view, const Charset*>;

const NameMap& lowerCaseNames() {
  static const NameMap names = [] {
    NameMap map;
    static std::string lowered[std::size(kCharsets)];
    for (std::size_t i = 0; i < std::size(kCharsets); ++i) {
      lowered[i] = toLowerAscii(kCharsets[i].name);
      map.emplace(lowered[i], &kCharsets[i]);
    }
    for (const Alias& alias : kAliases) {
      map.emplace(alias.name, findCodePage(alias.codePage));
    }
    return map;
  }();
  return names;
}

const Charset* lookUp(std::string_view name) {
  const NameMap& names = lowerCaseNames();
  const auto found = names.find(name);
  return found == names.end() ? nullptr : found->second;
}

// The whole of `digits` as a number of at most five digits; 0 for anything else.
unsigned numberOf(std::string_view digits) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return error == std::errc{} && end == digits.data() + digits.size() && digits.size() <= 5 ? value : 0;
}

}  // namespace

const Charset* findCodePage(CodePage codePage) {
  const auto found = std::lower_bound(std::begin(kCharsets), std::end(kCharsets), codePage,
                                      [](const Charset& charset, CodePage page) { return charset.codePage < page; });
  return found != std::end(kCharsets) && found->codePage == codePage ? found : nullptr;
}

const Charset* findCharset(std::string_view nameOrAlias) {
  constexpr std::size_t kLongestName = 64;
  const std::string_view bare = trim(nameOrAlias, " \t\r\n\"'");
  if (bare.empty() || bare.size() > kLongestName) {
    return nullptr;
  }
  const std::string name = toLowerAscii(bare);
  if (const Charset* charset = lookUp(name)) {
    return charset;
  }
  // "iso_8859-5:1988"
  const std::string_view withoutYear = std::string_view(name).substr(0, name.find(':'));
  for (const std::string_view prefix : kIsoPrefixes) {
    if (withoutYear.starts_with(prefix)) {
      const unsigned part = numberOf(withoutYear.substr(prefix.size()));
      if (part >= 1 && part <= 16) {
        return findCodePage(28590 + part);
      }
    }
  }
  for (const std::string_view prefix : kNumberPrefixes) {
    if (withoutYear.starts_with(prefix)) {
      if (const Charset* charset = findCodePage(numberOf(withoutYear.substr(prefix.size())))) {
        return charset;
      }
    }
  }
  return nullptr;
}

ByteOrderMark byteOrderMarkOf(std::string_view text) {
  using namespace std::string_view_literals;
  struct Mark {
    std::string_view bytes;
    CodePage codePage;
  };
  // UTF-32 ahead of UTF-16, whose mark it begins with.
  static constexpr Mark kMarks[] = {{"\xEF\xBB\xBF"sv, kUtf8},
                                    {"\xFF\xFE\0\0"sv, kUtf32},
                                    {"\0\0\xFE\xFF"sv, kUtf32Be},
                                    {"\xFF\xFE"sv, kUtf16},
                                    {"\xFE\xFF"sv, kUtf16Be}};
  for (const Mark& mark : kMarks) {
    if (text.starts_with(mark.bytes)) {
      return {mark.codePage, mark.bytes.size()};
    }
  }
  return {0, 0};
}

}  // namespace nalvo
