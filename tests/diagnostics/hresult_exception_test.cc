#include "diagnostics/hresult_exception.h"

#include <gtest/gtest.h>

#include <new>
#include <set>
#include <stdexcept>

#include "diagnostics/boundary.h"
#include "diagnostics/error_names.h"

namespace nalvo {
namespace {

TEST(ErrorNames, HoldEveryCodeAndNameOnce) {
  std::set<std::uint32_t> codes;
  std::set<std::string_view> names;
  int own = 0;
  for (const ErrorName& row : errorNames()) {
    codes.insert(row.code);
    names.insert(row.name);
    own += row.name.starts_with("ZIRB_") ? 1 : 0;
  }
  EXPECT_EQ(errorNames().size(), 214U);
  EXPECT_EQ(codes.size(), 214U);
  EXPECT_EQ(names.size(), 214U);
  EXPECT_EQ(own, 39);
}

TEST(HresultText, GivesTheCodeAndTheNameIfThereIsOne) {
  struct Case {
    std::uint32_t code;
    std::string_view text;
  };
  static constexpr Case kCases[] = {
      {0x00000000, "0x00000000 S_OK"},
      {0x12345678, "0x12345678"},
      {0x80004005, "0x80004005 E_FAIL"},
      {0x8007000E, "0x8007000e E_OUTOFMEMORY"},
      {0x800706BE, "0x800706be RPC_S_CALL_FAILED"},
      {0x8001011D, "0x8001011d RPC_E_INVALID_OBJREF"},
      {0xC00000FD, "0xc00000fd EXCEPTION_STACK_OVERFLOW"},
      {0xC00002C9, "0xc00002c9 STATUS_REG_NAT_CONSUMPTION"},
      {0x80040102, "0x80040102 MAPI_E_NO_SUPPORT"},
      {0x00040380, "0x00040380 MAPI_W_ERRORS_RETURNED"},
      {0x80040700, "0x80040700 MAPI_E_AMBIGUOUS_RECIP"},
      {0x80030070, "0x80030070 STG_E_MEDIUMFULL"},
      {0x80030112, "0x80030112 STG_E_NOTSIMPLEFORMAT"},
      {0x00030206, "0x00030206 STG_S_CANNOTCONSOLIDATE"},
      {0x0004200B, "0x0004200b ZIRB_W_EMPTY_STORES_LIST"},
      {0x80043001, "0x80043001 ZIRB_E_NO_MAILBOX"},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(hresultText(makeHResult(c.code)), c.text);
  }
}

TEST(ShortFileName, KeepsTheLastTwoComponents) {
  struct Case {
    const char* path;
    std::string_view text;
  };
  static constexpr Case kCases[] = {
      {".\\Logger", ".\\Logger"}, {"a\\b\\c\\d", "c\\d"},     {"a\\b\\c", "b\\c"}, {"file", "file"},
      {"\\file", "\\file"},       {"\\a\\file", "\\a\\file"}, {"a\\\\f", "\\f"},   {"", ""},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(shortFileName(c.path), c.text) << c.path;
  }
}

TEST(HResultException, CarriesItsWholeText) {
  struct Case {
    std::string_view why;
    const char* file;
    const char* function;
    const char* text;
    std::string_view what;
  };
  static constexpr Case kCases[] = {
      {"all there", "x\\y\\Coder", "Coder::decodeQP", "more",
       "Exception of class HResultException: y\\Coder(968), Coder::decodeQP:\n0x80030070 STG_E_MEDIUMFULL: more"},
      {"no text", ".\\Coder", "f", nullptr,
       "Exception of class HResultException: .\\Coder(968), f:\n0x80030070 STG_E_MEDIUMFULL"},
      {"an empty text", ".\\Coder", "f", "",
       "Exception of class HResultException: .\\Coder(968), f:\n0x80030070 STG_E_MEDIUMFULL"},
      {"no place", nullptr, nullptr, nullptr,
       "Exception of class HResultException: <unknown file>(968), <no function>:\n0x80030070 STG_E_MEDIUMFULL"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const HResultException failure(STG_E_MEDIUMFULL, 2, c.file, 968, c.function, c.text);
    const HResultException copy = failure;
    EXPECT_EQ(copy.what(), c.what);
    EXPECT_EQ(copy.getHResult(), STG_E_MEDIUMFULL);
  }
}

TEST(CheckHResult, LetsWarningsPass) {
  constexpr SourceFile kSource{".\\Test"};
  for (const HRESULT hr : {S_OK, S_FALSE, MAPI_W_ERRORS_RETURNED}) {
    EXPECT_NO_THROW(checkHResult(hr, kSource.at("f")));
  }
  EXPECT_THROW(checkHResult(E_FAIL, kSource.at("f")), HResultException);
}

TEST(NoBodyError, NamesTheClass) {
  const HResultException failure = NoBodyError("IPM.100%s").at({2, ".\\Test", 7, "f"});
  EXPECT_EQ(failure.getHResult(), MAPI_E_NO_SUPPORT);
  EXPECT_STREQ(failure.what(),
               "Exception of class HResultException: .\\Test(7), f:\n"
               "0x80040102 MAPI_E_NO_SUPPORT: Can't convert IPM.100%s without body!");
}

TEST(AtBoundary, TurnsEachExceptionIntoItsCode) {
  EXPECT_EQ(atBoundary([] {}), S_OK);
  EXPECT_EQ(atBoundary([] { return S_FALSE; }), S_FALSE);
  EXPECT_EQ(atBoundary([] { throwHResult(MAPI_E_NOT_FOUND, {2, nullptr, 0, nullptr}); }), MAPI_E_NOT_FOUND);
  EXPECT_EQ(atBoundary([] { throw std::bad_alloc(); }), E_OUTOFMEMORY);
  EXPECT_EQ(atBoundary([] { throw std::runtime_error("x"); }), E_FAIL);
  EXPECT_EQ(atBoundary([] { throw 1; }), E_FAIL);
}

}  // namespace
}  // namespace nalvo
