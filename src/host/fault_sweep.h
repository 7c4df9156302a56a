// Fails every call into the caller's objects once, one run each.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/host_context.h"

namespace nalvo::host {

struct SweepResult {
  // The calls whose failure the run did not tell, in order.
  std::vector<std::string> swallowed;
  // What must not be: another code than the call's own, objects or buffers that are left.
  std::vector<std::string> complaints;
  std::uint64_t runs = 0;
};

// `run` sets up its objects in the context, calls `arm`, converts, and lets go of everything before it returns the result of
// the conversion. It is repeated with the 1st, 2nd, 3rd call behind `arm` failing until no call is reached.
SweepResult faultSweep(const std::function<HRESULT(const HostContextPtr& context, const std::function<void()>& arm)>& run);

}  // namespace nalvo::host
