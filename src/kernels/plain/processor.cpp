// The feature word where there is no x86-64 processor to ask.
#include "kernels/processor.h"

namespace kestrova {

// The plain forms give the results of MMX, of SSE and of SSE2. Offering all three keeps the results, and what the
// switches do to them, the same as on every other machine.
std::uint32_t cpuid_features()
{
    return 1U << 23 | 1U << 25 | 1U << 26;
}

} // namespace kestrova
