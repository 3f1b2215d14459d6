// What an x86-64 processor says of itself.
#include "kernels/processor.h"

#include <cpuid.h>

namespace kestrova {

std::uint32_t cpuid_features()
{
    unsigned uEax = 0;
    unsigned uEbx = 0;
    unsigned uEcx = 0;
    unsigned uEdx = 0;
    __get_cpuid(1, &uEax, &uEbx, &uEcx, &uEdx);
    return uEdx;
}

// The built-in asks the operating system too: registers that a task switch does not keep do not count.
bool hasAvx2()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
           __builtin_cpu_supports("bmi2") != 0;
}

bool hasAvx512()
{
    return hasAvx2() && __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
           __builtin_cpu_supports("avx512vl") != 0;
}

} // namespace kestrova
