#include "platform/com/guid.h"

#include <sys/random.h>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <utility>

namespace nalvo {
namespace {

struct Source {
  std::atomic<bool> overridden{false};  // asked first, so that conversions share no lock
  std::mutex mutex;
  std::function<GUID()> override;
};

Source& source() {
  static Source instance;
  return instance;
}

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

GUID newGuid() noexcept {
  Source& shared = source();
  if (!shared.overridden.load(std::memory_order_acquire)) {
    return randomGuid();
  }
  const std::scoped_lock lock(shared.mutex);
  return shared.override ? shared.override() : randomGuid();
}

ScopedGuidSource::ScopedGuidSource(std::function<GUID()> newSource) {
  const std::scoped_lock lock(source().mutex);
  source().override = std::move(newSource);
  source().overridden = true;
}

ScopedGuidSource::~ScopedGuidSource() {
  const std::scoped_lock lock(source().mutex);
  source().override = nullptr;
  source().overridden = false;
}

}  // namespace nalvo
