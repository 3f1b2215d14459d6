// Single rows of pixels in straight code: what every pixel becomes.
#include "kernels/PixelForm.h"
#include "kernels/wide/bandpass_pixel.h"
#include "kernels/wide/surface_pixels.h"

#include <algorithm>

namespace kestrova {

namespace {

template<typename T>
void surfaceBits_plain(SurfaceBits* pOut, const T* pRow, const T* pUp, int nBegin, int nEnd, const SurfaceRange<T>& r)
{
    std::fill_n(pOut, surfaceWords(nEnd - nBegin), SurfaceBits{});
    putPixels(pOut, pRow, pUp, nBegin, nBegin, nEnd, r);
}

/** A pixel of a group: it sees the low 16 bits of the factors, and stops at both ends. */
std::uint8_t bandpassStopping(std::uint8_t ucPixel, std::int16_t nSum, const BandpassFactors& rFactors)
{
    const int nCentre = ucPixel * static_cast<std::int16_t>(rFactors.m_nCentre) >> 16;
    const int nSurround = nSum * static_cast<std::int16_t>(rFactors.m_nSum) >> 16;
    const int nDifference = static_cast<std::int16_t>(nCentre + nSurround);
    return static_cast<std::uint8_t>(std::clamp(nDifference, -128, 127) + sk_ucEdgeZero);
}

void row_bandpass_op_plain(std::uint8_t* pDst, int n, const std::uint8_t* pSrc, int nCentreFactor,
                           const std::int16_t* pSums, int nSumFactor)
{
    const BandpassFactors factors{nCentreFactor, nSumFactor};
    const bool bGroups = n >= 8;
    const int nEnd = bGroups ? n - static_cast<int>(reinterpret_cast<std::uintptr_t>(pDst + n) & 3) : n;
    const int nBegin = bGroups ? nEnd % 4 : nEnd;
    for (int i = 0; i < n; ++i) {
        pDst[i] = (i >= nBegin && i < nEnd ? bandpassStopping : bandpass1)(pSrc[i], pSums[i], factors);
    }
}

template<int nLane>
void extract_plain(std::uint8_t* pDst, int n, const std::uint8_t* pPacked)
{
    for (int i = 0; i < n; ++i) {
        pDst[i] = pPacked[4 * i + nLane];
    }
}

void extract_rgb_plain(std::uint8_t* pRed, std::uint8_t* pGreen, std::uint8_t* pBlue, int n,
                       const std::uint8_t* pPacked)
{
    if (n < 8) {
        return;
    }
    extract_plain<0>(pBlue, n, pPacked);
    extract_plain<1>(pGreen, n, pPacked);
    extract_plain<2>(pRed, n, pPacked);
}

} // namespace

constinit const PixelForm g_pixelsPlain = {surfaceBits_plain<std::uint8_t>,
                                           surfaceBits_plain<std::uint16_t>,
                                           nullptr,
                                           row_bandpass_op_plain,
                                           {extract_plain<0>, extract_plain<1>, extract_plain<2>},
                                           extract_rgb_plain};

} // namespace kestrova
