// Single pixels of surfaceBits.
#pragma once

#include "kernels/surface_bits.h"

#include <cstdlib>

namespace kestrova {
namespace {

template<typename T>
SurfaceBits bitsOf(const T* pPixel, const T* pUp, bool bFirst, const SurfaceRange<T>& r)
{
    const int nValue = *pPixel;
    const bool bValid = r.m_min <= nValue && nValue <= r.m_max;
    const auto isClose = [&](const T* p) { return bValid && std::abs(nValue - *p) <= r.m_nThreshold ? 1U : 0U; };
    return {bValid ? 1U : 0U, bFirst ? 0U : isClose(pPixel - 1), isClose(pUp)};
}

void put(SurfaceBits& rWord, const SurfaceBits& rBits, int nShift)
{
    rWord.m_uValid |= rBits.m_uValid << nShift;
    rWord.m_uLeft |= rBits.m_uLeft << nShift;
    rWord.m_uUp |= rBits.m_uUp << nShift;
}

// Pixels nFirst to nEnd - 1 of a row that begins at nBegin.
template<typename T>
void putPixels(SurfaceBits* pOut, const T* pRow, const T* pUp, int nBegin, int nFirst, int nEnd,
               const SurfaceRange<T>& r)
{
    for (int i = nFirst; i < nEnd; ++i) {
        put(pOut[(i - nBegin) / 64], bitsOf(pRow + i, pUp + i, i == 0, r), (i - nBegin) % 64);
    }
}

} // namespace
} // namespace kestrova
