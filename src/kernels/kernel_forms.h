// What the forms of the row kernels share: which pixels of a row belong to the groups of its body.
//
// Nothing here is inline: a form compiled for a wider processor must not leave code behind that others may link.
#pragma once

#include "kernels/kernels.h"

namespace kestrova {

/** Where a kernel that tells its body apart begins and ends it. */
struct BodyRule
{
    int m_nEntry;     // shorter rows have no body
    int m_nAlignment; // bytes; the body starts where the leading row is so aligned
    int m_nGroup;     // the body is whole groups of so many pixels
};

constexpr BodyRule sk_accAbsDiffBody = {16, 16, 16};
constexpr BodyRule sk_accAbsDiffOver2Body = {8, 8, 8};
constexpr BodyRule sk_stereoMinBodySSE2 = {8, 16, 8};
constexpr BodyRule sk_rowPackBody = {8, 8, 4};

/** Pixels m_nBegin to m_nEnd - 1 of a row; an empty body lies at the row's end. */
struct Body
{
    int m_nBegin;
    int m_nEnd;
};

[[nodiscard]] Body body_of(const std::uint8_t* pLeading, const BodyRule& rRule, int n);
[[nodiscard]] Body body_of(const std::uint16_t* pLeading, const BodyRule& rRule, int n);

// The row kernels of each set, with the results of eight-lane (bSSE2) or of four-lane groups. Those of wider sets take
// the place of narrower ones in a copy, and may be called only where the set runs.
[[nodiscard]] KernelForm plainKernels(bool bSSE2);
[[nodiscard]] KernelForm sse2Kernels(bool bSSE2);
[[nodiscard]] KernelForm avx2Kernels(bool bSSE2);
[[nodiscard]] KernelForm avx512Kernels(bool bSSE2);

// What the wider forms leave to SSE2: the ends of rows.
extern const KernelForm g_mmxForm;
extern const KernelForm g_sse2Form;

/** The step of single pixels: the low 32 bits of the product suffice, since at most bits 16 to 31 are kept. */
[[nodiscard]] std::uint16_t scaled_sum(std::uint16_t uSum, int nScale);

} // namespace kestrova
