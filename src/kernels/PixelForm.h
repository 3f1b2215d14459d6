// Rows of single pixels whose forms do not depend on lanes: bits of surfaces, the bilinear blend, the band-pass of edge
// images, channels of packed pixels. See surface_bits.h, rectify/boxFilters.h and rectify/unpack.h for the entries.
#pragma once

#include "kernels/surface_bits.h"

#include <cstdint>

namespace kestrova {

/** Destination pixels of a bilinear warp, whose neighbours in the source lie side by side. */
struct BlendRow
{
    const std::uint8_t* m_pSrc;
    int m_nRowStep;                     // to the neighbour below; 0 for a source of one row
    const std::int32_t* m_pEntries;     // source index of each pixel's upper left neighbour
    const std::uint8_t* m_pRowFraction; // in 128ths
    const std::uint8_t* m_pColFraction;
};

/** One way to work on such rows. Results are those of the plain one. */
struct PixelForm
{
    template<typename T>
    using SurfaceBitsRow = void(SurfaceBits* pOut, const T* pRow, const T* pUp, int nBegin, int nEnd,
                                const SurfaceRange<T>& rRange);

    SurfaceBitsRow<std::uint8_t>* surfaceBits8;
    SurfaceBitsRow<std::uint16_t>* surfaceBits16;
    /** Blends pixels from the first on and returns how many; the caller does the rest. May be null. */
    int (*blend)(std::uint8_t* pDst, const BlendRow& rRow, int n);
    void (*row_bandpass_op)(std::uint8_t* pDst, int n, const std::uint8_t* pSrc, int nCentreFactor,
                            const std::int16_t* pSums, int nSumFactor);
    /** By channel in memory order: blue, green, red. */
    void (*extract[3])(std::uint8_t* pDst, int n, const std::uint8_t* pPacked);
    void (*extract_rgb)(std::uint8_t* pRed, std::uint8_t* pGreen, std::uint8_t* pBlue, int n,
                        const std::uint8_t* pPacked);
};

extern const PixelForm g_pixelsPlain;
extern const PixelForm g_pixelsSse2;

} // namespace kestrova
