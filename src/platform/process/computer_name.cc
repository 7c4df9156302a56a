#include "platform/process/computer_name.h"

#include <unistd.h>

#include <array>
#include <climits>

namespace nalvo {
namespace {

// Empty: what the machine says.
std::string& fixedName() {
  static std::string name;
  return name;
}

}  // namespace

std::string computerName() {
  if (!fixedName().empty()) {
    return fixedName();
  }
  std::array<char, HOST_NAME_MAX + 1> name{};
  if (gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') {
    return "localhost";
  }
  return name.data();
}

ScopedComputerName::ScopedComputerName(std::string name) { fixedName() = std::move(name); }
ScopedComputerName::~ScopedComputerName() { fixedName().clear(); }

}  // namespace nalvo
