// The entries of the row kernels, and the choice of the form behind them.
#include "kernels/kernels.h"

#include "kernels/InstructionSet.h"

namespace kestrova {

const KernelForm& kernelForm(bool bSSE2)
{
    return instructionSet().m_aRowKernels[bSSE2 ? 1 : 0];
}

namespace {

// Kernels without the bool give the same results in every form.
const KernelForm& anyForm()
{
    return kernelForm(true);
}

} // namespace

void abs_diff(std::uint8_t* pOut, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    anyForm().abs_diff(pOut, pA, pB, n);
}

void acc_abs_diff(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    anyForm().acc_abs_diff(pAcc, pA, pB, n);
}

void acc_abs_diff_over2(std::uint8_t* pAcc, const std::uint8_t* pA, const std::uint8_t* pB, int n)
{
    anyForm().acc_abs_diff_over2(pAcc, pA, pB, n);
}

void row_add(std::uint16_t* pOut, const std::uint16_t* pA, const std::uint16_t* pB, int n)
{
    anyForm().row_add(pOut, pA, pB, n);
}

void row_copy16(std::uint16_t* pOut, const std::uint16_t* pIn, int n)
{
    anyForm().row_copy16(pOut, pIn, n);
}

void box_add_sub16(std::uint16_t* pOut, unsigned uStart, const std::uint8_t* pAdd, const std::uint8_t* pSub, int n,
                   bool bSSE2)
{
    kernelForm(bSSE2).box_add_sub16(pOut, uStart, pAdd, pSub, n);
}

void box_add_sub8ptr(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint8_t* pAdd, const std::uint8_t* pSub,
                     int n)
{
    anyForm().box_add_sub8ptr(pOut, pIn, pAdd, pSub, n);
}

void box_add_sub16ptr(std::uint16_t* pOut, const std::uint16_t* pIn, const std::uint16_t* pAdd,
                      const std::uint16_t* pSub, int n)
{
    anyForm().box_add_sub16ptr(pOut, pIn, pAdd, pSub, n);
}

void box8x4_hfilter(Pixel16x4* pOut, const Pixel8x4* pIn, unsigned n, unsigned w)
{
    anyForm().box8x4_hfilter(pOut, pIn, n, w);
}

void stereo_min(std::uint16_t* pBest, std::uint8_t* pLabel, const std::uint16_t* pScores, std::uint8_t ucNewLabel,
                int n, bool bSSE2)
{
    kernelForm(bSSE2).stereo_min(pBest, pLabel, pScores, ucNewLabel, n);
}

void stereo_min_subpix(std::uint16_t* pBest, std::uint8_t* pLabel, std::uint16_t* pBefore, std::uint16_t* pAfter,
                       const std::uint16_t* pLast, const std::uint16_t* pScores, std::uint8_t ucNewLabel, int n,
                       bool bSSE2)
{
    kernelForm(bSSE2).stereo_min_subpix(pBest, pLabel, pBefore, pAfter, pLast, pScores, ucNewLabel, n);
}

void row_pack_op(std::uint8_t* pDst, int n, const std::uint16_t* pSums, int nScale)
{
    anyForm().row_pack_op(pDst, n, pSums, nScale);
}

void row_scale_op(std::uint16_t* pDst, int n, const std::uint16_t* pSrc, int nScale)
{
    anyForm().row_scale_op(pDst, n, pSrc, nScale);
}

} // namespace kestrova
