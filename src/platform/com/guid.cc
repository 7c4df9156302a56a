#include "platform/com/guid.h"

#include <sys/random.h>

#include <cerrno>
#include <utility>

namespace nalvo {
namespace {

thread_local std::function<GUID()> source;

GUID randomGuid() noexcept {
  GUID guid{};
  std::size_t done = 0;
  auto* bytes = reinterpret_cast<unsigned char*>(&guid);
  while (done < sizeof guid) {
    const ssize_t got = getrandom(bytes + done, sizeof guid - done, 0);
    if (got < 0) {
      if (errno == EINTR) {
        continue;
      }
      return GUID{};
    }
    done += static_cast<std::size_t>(got);
  }
  guid.Data3 = static_cast<std::uint16_t>((guid.Data3 & 0x0FFFU) | 0x4000U);
  guid.Data4[0] = static_cast<std::uint8_t>((guid.Data4[0] & 0x3FU) | 0x80U);
  return guid;
}

}  // namespace

GUID newGuid() noexcept { return source ? source() : randomGuid(); }

ScopedGuidSource::ScopedGuidSource(std::function<GUID()> newSource) { source = std::move(newSource); }
ScopedGuidSource::~ScopedGuidSource() { source = nullptr; }

}  // namespace nalvo
