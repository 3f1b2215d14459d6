#include "kernels/InstructionSet.h"

#include <array>
#include <atomic>

namespace kestrova {

namespace {

constexpr std::array sk_aeAll = {InstructionSet::Plain, InstructionSet::Sse2, InstructionSet::Avx2,
                                 InstructionSet::Avx512};

// The built-in asks the operating system too: registers that a task switch does not keep do not count.
InstructionSet widest()
{
    __builtin_cpu_init();
    const bool bAvx2 = __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
                       __builtin_cpu_supports("bmi2") != 0;
    const bool bAvx512 = __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
                         __builtin_cpu_supports("avx512vl") != 0;
    return !bAvx2 ? InstructionSet::Sse2 : bAvx512 ? InstructionSet::Avx512 : InstructionSet::Avx2;
}

std::atomic<InstructionSet>& inUse()
{
    static std::atomic<InstructionSet> eInUse = widest();
    return eInUse;
}

} // namespace

std::span<const InstructionSet> supportedInstructionSets()
{
    static const std::size_t sk_uCount = static_cast<std::size_t>(widest()) + 1;
    return std::span(sk_aeAll).first(sk_uCount);
}

InstructionSet instructionSet()
{
    return inUse().load(std::memory_order_relaxed);
}

bool forceInstructionSet(InstructionSet eSet)
{
    if (eSet > supportedInstructionSets().back()) {
        return false;
    }
    inUse().store(eSet, std::memory_order_relaxed);
    return true;
}

const char* nameOf(InstructionSet eSet)
{
    static constexpr std::array sk_apszNames = {"plain", "sse2", "avx2", "avx512"};
    return sk_apszNames[static_cast<std::size_t>(eSet)];
}

} // namespace kestrova
