// The name of this machine.
#pragma once

#include <string>

namespace nalvo {

// "localhost" if the machine does not tell.
std::string computerName();

// Makes computerName answer `name` while the object lives. For tests, one at a time.
class ScopedComputerName {
 public:
  explicit ScopedComputerName(std::string name);
  ~ScopedComputerName();
  ScopedComputerName(const ScopedComputerName&) = delete;
  ScopedComputerName& operator=(const ScopedComputerName&) = delete;
};

}  // namespace nalvo
