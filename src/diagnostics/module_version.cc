#include "diagnostics/module_version.h"

#include <dlfcn.h>

#include "diagnostics/hresult_exception.h"
#include "nalvo_version.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\ModuleVersion"};

constexpr std::uint32_t ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;

// English of the United States, UTF-16.
constexpr std::uint32_t kTranslation = 0x04B00409;

struct Entry {
  std::u16string_view name;
  std::u16string_view text;
};

constexpr Entry kEntries[] = {
    {u"ProductName", kProductName},
    {u"ProductVersion", kProductVersion},
};

}  // namespace

std::string ModuleVersion::getModulePath() const {
  Dl_info info{};
  if (::dladdr(&kTranslation, &info) == 0 || info.dli_fname == nullptr) {
    throwHResult(hresultFromWin32(ERROR_RESOURCE_TYPE_NOT_FOUND), kSource.at("ModuleVersion::getModulePath"));
  }
  return info.dli_fname;
}

std::vector<std::uint32_t> ModuleVersion::getTranslations() const { return {kTranslation}; }

std::u16string ModuleVersion::getFileInfoString(std::u16string_view name, std::uint32_t translation) const {
  for (const Entry& entry : kEntries) {
    if (translation == kTranslation && entry.name == name) {
      return std::u16string(entry.text);
    }
  }
  throwHResult(hresultFromWin32(ERROR_RESOURCE_TYPE_NOT_FOUND), kSource.at("ModuleVersion::getFileInfoString"));
}

}  // namespace nalvo
