#include "diagnostics/logger.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <vector>

#include "diagnostics/format_wide.h"
#include "diagnostics/module_version.h"
#include "platform/com/unknown_impl.h"

namespace nalvo {
namespace {

struct FakeSettings final : IUnknownImpl<ILogSettings> {
  void reserved3() noexcept override {}
  void reserved4() noexcept override {}
  void reserved5() noexcept override {}
  HRESULT getLogLevels(std::int32_t* first, std::int32_t* second) noexcept override {
    *first = level;
    *second = 0;
    return result;
  }

  std::int32_t level = 2;
  HRESULT result = S_OK;
};

struct FakeLog final : IUnknownImpl<ILog> {
  HRESULT writeLog(ULONG level, ULONG category, const char16_t* text) noexcept override {
    EXPECT_EQ(level, 2U);
    EXPECT_EQ(category, 0x2000U);
    entries.emplace_back(text);
    return writeResult;
  }
  HRESULT getSettings(ILogSettings** out) noexcept override {
    *out = succeeded(settingsResult) ? ComPtr<FakeSettings>(settings).detach() : nullptr;
    return settingsResult;
  }

  ComPtr<FakeSettings> settings = makeCom<FakeSettings>();
  HRESULT settingsResult = S_OK;
  HRESULT writeResult = S_OK;
  std::vector<std::u16string> entries;
};

constexpr SourceLocation kPlace{2, "x\\y\\.\\Exports", 120, "mapiToMime"};

// Throws, catches as an export does.
template <typename Exception>
HRESULT report(FakeLog* log, const Exception& exception) {
  try {
    throw exception;
  } catch (...) {
    return reportFailure(log, kPlace);
  }
}

TEST(ReportFailure, WritesOneExactEntry) {
  const auto log = makeCom<FakeLog>();
  EXPECT_EQ(report(log.get(), HResultException(MAPI_E_NOT_FOUND, 2, ".\\A", 5, "f", "caf\xE9")), MAPI_E_NOT_FOUND);
  EXPECT_EQ(report(log.get(), std::runtime_error("odd\n")), E_FAIL);
  EXPECT_EQ(report(log.get(), 42), E_FAIL);
  ASSERT_EQ(log->entries.size(), 3U);
  EXPECT_EQ(log->entries[0],
            u"In .\\Exports:120 (mapiToMime)\n"
            u"Exception of class HResultException: .\\A(5), f:\n0x8004010f MAPI_E_NOT_FOUND: caf\u00E9\n"
            u"Conversion has failed.\n");
  EXPECT_EQ(log->entries[1],
            u"In .\\Exports:120 (mapiToMime)\nException of class std::runtime_error:\nodd\n\nConversion has failed.\n");
  EXPECT_EQ(log->entries[2], u"In .\\Exports:120 (mapiToMime)\nConversion has failed.\n");
}

TEST(ReportFailure, AsksTheLevelAndSurvivesTheLog) {
  struct Case {
    std::string_view why;
    std::int32_t level;
    HRESULT settings, levels, write;
    std::size_t entries;
  };
  static constexpr Case kCases[] = {
      {"errors wanted", 2, S_OK, S_OK, S_OK, 1},       {"errors not wanted", 3, S_OK, S_OK, S_OK, 0},
      {"compared with sign", -1, S_OK, S_OK, S_OK, 1}, {"no settings", 2, E_ACCESSDENIED, S_OK, S_OK, 0},
      {"no levels", 2, S_OK, E_NOTIMPL, S_OK, 0},      {"not written", 2, S_OK, S_OK, E_OUTOFMEMORY, 1},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const auto log = makeCom<FakeLog>();
    log->settings->level = c.level;
    log->settings->result = c.levels;
    log->settingsResult = c.settings;
    log->writeResult = c.write;
    EXPECT_EQ(report(log.get(), HResultException(E_HANDLE, kPlace)), E_HANDLE);
    EXPECT_EQ(log->entries.size(), c.entries);
    log->settings->AddRef();
    EXPECT_EQ(log->settings->Release(), 1U) << "the settings are released on every path";
  }
  EXPECT_EQ(report(nullptr, HResultException(E_HANDLE, kPlace)), E_HANDLE);
}

TEST(Logger, RefusesWhatItCantUse) {
  const auto log = makeCom<FakeLog>();
  log->settingsResult = E_ACCESSDENIED;
  const auto codeOf = [](ILog* given) {
    try {
      const Logger logger(given);
      return S_OK;
    } catch (const HResultException& failure) {
      return failure.getHResult();
    }
  };
  EXPECT_EQ(codeOf(nullptr), E_INVALIDARG);
  EXPECT_EQ(codeOf(log.get()), E_ACCESSDENIED);
}

TEST(LogException, LeavesOutWhatIsNotThere) {
  const auto log = makeCom<FakeLog>();
  EXPECT_EQ(logException(nullptr, nullptr, {2, ".\\Exports", 3, nullptr}, Logger(log.get())), S_OK);
  EXPECT_EQ(log->entries.back(), u"In .\\Exports:3\n");
}

TEST(FormatWide, NeverThrowsForABadFormat) {
  EXPECT_EQ(formatWide(u"%s has %d of 0x%08x %s", {u"caf\u00E9 \U0001F600", -1, 0x80U, "\x80"}),
            u"caf\u00E9 \U0001F600 has -1 of 0x00000080 \u20AC");
  EXPECT_EQ(formatWide(u"%s", {}), u"Internal error: Too few arguments passed: \"%s\"");
  EXPECT_EQ(formatWide(u"x", {1}), u"Internal error: Too many arguments passed: \"x\"");
  EXPECT_EQ(formatWide(u"50%", {}), u"Internal error: Ill-formed format string passed: \"50%\"");
}

TEST(ModuleVersion, KnowsNameAndVersion) {
  const ModuleVersion version;
  ASSERT_EQ(version.getTranslations().size(), 1U);
  const std::uint32_t translation = version.getTranslations()[0];
  EXPECT_FALSE(version.getFileInfoString(u"ProductName", translation).empty());
  EXPECT_TRUE(version.getFileInfoString(u"ProductVersion", translation).find(u'.') != std::u16string::npos);
  EXPECT_THROW((void)version.getFileInfoString(u"ProductName", 0), HResultException);
  EXPECT_THROW((void)version.getFileInfoString(u"Comments", translation), HResultException);
  EXPECT_FALSE(version.getModulePath().empty());
}

}  // namespace
}  // namespace nalvo
