// The version block of the library.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nalvo {

class ModuleVersion {
 public:
  // The file of the library or program that holds this code.
  std::string getModulePath() const;
  // Language in the low 16 bits, code page in the high ones.
  std::vector<std::uint32_t> getTranslations() const;
  // "ProductName", "ProductVersion". Throws the HRESULT of ERROR_RESOURCE_TYPE_NOT_FOUND for what the block lacks.
  std::u16string getFileInfoString(std::u16string_view name, std::uint32_t translation) const;
};

}  // namespace nalvo
