// The stop for a broken internal invariant.
#pragma once

namespace nalvo {

// Ends the process through the system's crash handling, from a thread with a stack of its own, unless the condition holds.
void crashUnless(bool condition) noexcept;

}  // namespace nalvo
