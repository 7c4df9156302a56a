// The failure of a text conversion that can't go on.
#pragma once

#include <stdexcept>

namespace nalvo::utils {

class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace nalvo::utils
