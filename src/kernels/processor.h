// What the processor offers, and the process-wide switches that take it away again.
//
// The switches are meant to be thrown before stereo work starts. A pass reads sse2Enabled() once on entry and hands
// the bool down; nothing asks inside a row. Only the SSE2 switch decides which kernels run: the other two exist for
// programs that query them.
#pragma once

#include <cstdint>

namespace kestrova {

/** The feature word: EDX of cpuid leaf 1; elsewhere than on x86-64 that of a processor with MMX, SSE and SSE2. */
[[nodiscard]] std::uint32_t cpuid_features();

// Whether the wider forms run here; only where there are any.
[[nodiscard]] bool hasAvx2();
[[nodiscard]] bool hasAvx512();

[[nodiscard]] bool mmxAvailable();
[[nodiscard]] bool sseAvailable();
[[nodiscard]] bool sse2Available();

/** The switch; the first call that finds it undecided sets it to what the processor offers. */
[[nodiscard]] bool mmxEnabled();
[[nodiscard]] bool sseEnabled();
[[nodiscard]] bool sse2Enabled();

/** False switches off; true switches on if the processor can. Either way the switch is decided from then on. */
void enableMMXIfAvailable(bool bEnable);
void enableSSEIfAvailable(bool bEnable);
void enableSSE2IfAvailable(bool bEnable);

[[nodiscard]] bool isMMX();
[[nodiscard]] bool isSSE();
[[nodiscard]] bool isSSE2();

} // namespace kestrova
