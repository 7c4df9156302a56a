// Text from one code page to another, stream to stream.
#pragma once

#include <cstdint>
#include <memory>

#include "nalvo/com.h"

namespace nalvo {

class StreamConvertor {
 public:
  // The shared object; it lives while somebody holds it. Safe from any thread, as are its operations.
  static std::shared_ptr<StreamConvertor> instance();

  // Converts what lies behind the source's position, with UTF-16 (1200) as the pivot. A character that the target lacks, or
  // that can't be read, becomes "?", or U+FFFD where the target is Unicode. Nothing is kept from call to call.
  //
  // Throws E_INVALIDARG for a null stream, E_FAIL for a code page that is not known, and the code of a stream call that
  // failed.
  void streamToStream(std::uint32_t fromCodePage, std::uint32_t toCodePage, IStream* source, IStream* destination) const;

 private:
  StreamConvertor() = default;
};

}  // namespace nalvo
