// Which vector instructions the stages use: the widest that processor and operating system offer together.
//
// The choice never changes a byte of a result. That is what the SSE2 switch in processor.h is for, and the two know
// nothing of each other: the switch says how many lanes decide a tie, this file how wide the registers are that find
// out. Tests and benchmarks force a narrower set; a pass asks once, on entry.
#pragma once

#include <cstdint>
#include <span>

namespace kestrova {

/** In ascending order of width. Plain stands for the reference code that all others are held to. */
enum class InstructionSet : std::uint8_t
{
    Plain,
    Sse2,
    Avx2,
    Avx512, // F, BW and VL
};

/** Every set that can run here, Plain and Sse2 always among them, the widest last. */
[[nodiscard]] std::span<const InstructionSet> supportedInstructionSets();

/** The set in use: the widest, unless another was forced. */
[[nodiscard]] InstructionSet instructionSet();

/** For the whole process, from the next pass on. False, and nothing changes, for a set that cannot run here. */
bool forceInstructionSet(InstructionSet eSet);

[[nodiscard]] const char* nameOf(InstructionSet eSet);

} // namespace kestrova
