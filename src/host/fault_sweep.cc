#include "host/fault_sweep.h"

namespace nalvo::host {
namespace {

// A code that nothing in the system tests by name.
constexpr HRESULT kFault = makeHResult(0x80040116);
// A run that makes more calls than this does not end by itself.
constexpr std::uint64_t kMostCalls = 100'000;

}  // namespace

SweepResult faultSweep(const std::function<HRESULT(const HostContextPtr&, const std::function<void()>&)>& run) {
  SweepResult result;
  for (std::uint64_t n = 1; n <= kMostCalls; ++n) {
    const auto context = std::make_shared<HostContext>();
    const HRESULT hr = run(context, [&] { context->plan.failAt(n, kFault); });
    ++result.runs;
    const std::string call = "call " + std::to_string(n) + " (" + context->plan.hit() + ")";
    if (context->liveObjects != 0 || context->openBuffers != 0) {
      result.complaints.push_back(call + ": " + std::to_string(context->liveObjects) + " objects and " +
                                  std::to_string(context->openBuffers) + " buffers are left");
    }
    if (context->plan.hit().empty()) {
      if (failed(hr)) {
        result.complaints.push_back("the run fails by itself with " + std::to_string(hr));
      }
      return result;
    }
    if (succeeded(hr)) {
      result.swallowed.push_back(context->plan.hit());
    } else if (hr != kFault) {
      result.complaints.push_back(call + ": another code came out: " + std::to_string(hr));
    }
  }
  result.complaints.push_back("the calls do not end");
  return result;
}

}  // namespace nalvo::host
