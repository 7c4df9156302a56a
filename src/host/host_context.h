// What the objects of the reference caller share: counts of what lives, and a plan of failures for tests.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/com/hresult.h"

namespace nalvo::host {

// Makes the n-th call into the caller's objects fail. One plan serves one run on one thread at a time.
class FaultPlan {
 public:
  // The `n`-th call from now, counted from 1, answers `code`; 0 means that none does.
  void failAt(std::uint64_t n, HRESULT code) {
    failAt_ = n;
    code_ = code;
    calls_ = 0;
    hit_.clear();
  }
  // To be asked at the start of every call; `name` is that of the operation, as "IMimeFlags::isHidden".
  HRESULT onCall(const char* name) noexcept {
    if (++calls_ != failAt_) {
      return S_OK;
    }
    hit_ = name;
    return code_;
  }
  std::uint64_t calls() const { return calls_; }
  // The operation that failed; empty if the plan was never reached.
  const std::string& hit() const { return hit_; }

 private:
  std::uint64_t failAt_ = 0;
  std::uint64_t calls_ = 0;
  HRESULT code_ = S_OK;
  std::string hit_;
};

struct HostContext {
  std::atomic<std::int64_t> liveObjects{0};
  std::atomic<std::int64_t> openBuffers{0};
  FaultPlan plan;
};
using HostContextPtr = std::shared_ptr<HostContext>;

// An object that is counted while it lives.
class Counted {
 public:
  explicit Counted(HostContextPtr context) : context_(std::move(context)) { ++context_->liveObjects; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  const HostContextPtr& context() const { return context_; }

 protected:
  ~Counted() { --context_->liveObjects; }
  HRESULT called(const char* name) const noexcept { return context_->plan.onCall(name); }

 private:
  HostContextPtr context_;
};

}  // namespace nalvo::host
