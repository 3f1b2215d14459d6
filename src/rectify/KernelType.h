// The resampling kernels of rectification.
#pragma once

#include <cstdint>

namespace kestrova {

/** Picks the class of a warper. Values outside the list are legal and mean the plain bilinear warper. */
enum KernelType : std::int32_t
{
    KernelNearest = 0,
    KernelBilinear = 1, // three tables, fused with the lowpass
    KernelSinc = 2,
    KernelGauss = 3,
};

} // namespace kestrova
