#include "rectify/boxFilters.h"

#include "kernels/BoxFilter.h"
#include "kernels/kernels.h"
#include "kernels/processor.h"
#include "rectify/ColumnBox.h"
#include "rectify/fixedPoint.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>

namespace kestrova {

namespace {

constexpr unsigned char sk_ucNoEdge = 128;

/** Runs a box over src and hands each finished row of sums to emit(row, sums). One row of sums serves all. */
template<typename Emit>
void forEachBoxRow(const Image<unsigned char>& rSrc, Image<unsigned short> sums, unsigned uMaskRows, unsigned uMaskCols,
                   bool bSSE2, Emit emit)
{
    BoxFilter box;
    box.reset(sums, uMaskRows, uMaskCols);
    for (int nRow = 0; nRow < rSrc.nRows(); ++nRow) {
        const int nDone = box.add(rSrc[nRow], rSrc.nCols(), bSSE2);
        if (nDone >= 0) {
            emit(nDone, &sums[nDone][0]);
        }
    }
}

} // namespace

void boxFilter(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc, unsigned uSize)
{
    if (uSize == 1) {
        rDst.init(rSrc);
        return;
    }
    const auto nScale = static_cast<int>(65536U / (uSize * uSize));
    forEachBoxRow(
        rSrc, Image<unsigned short>::constImage(rDst.size(), 0), uSize, uSize, false,
        [&](int nRow, const unsigned short* pSums) { row_pack_op(&rDst[nRow][0], rDst.nCols(), pSums, nScale); });
}

void boxEdgeFilter(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc, unsigned uMaskRows, unsigned uMaskCols,
                   double dGain)
{
    if (uMaskRows == 1 && uMaskCols == 1) {
        rDst.init(sk_ucNoEdge);
        return;
    }
    const auto nMaskRows = static_cast<int>(uMaskRows);
    const auto nMaskCols = static_cast<int>(uMaskCols);
    const Image<unsigned char> srcInterior(rSrc, rSrc.mask({nMaskRows, nMaskCols}), false);
    // Masks of 23 are scaled down a little; half of 65536 serves all others.
    const double dBase = std::max(uMaskRows, uMaskCols) == 23 ? 30375.936 : 32768.0;
    const int nSumFactor = truncateToInt(dBase * dGain / (static_cast<double>(uMaskRows) * uMaskCols));
    // The centre takes back what the sum of a flat box gives, truncation of the factor included.
    const auto nCentreFactor = static_cast<int>(0U - static_cast<unsigned>(nSumFactor) * uMaskRows * uMaskCols);
    if (const WideRowsForm* const pForm = ColumnBox::formFor(nMaskCols)) {
        ColumnBox box(*pForm, rSrc, nMaskRows, nMaskCols);
        for (int i = 0; i < rSrc.nRows(); ++i) {
            const int nRow = box.addRow();
            if (nRow >= 0) {
                pForm->bandpassSums(&rDst[nRow][0], &srcInterior[nRow][0], nCentreFactor, box.row(rDst.nCols()),
                                    nSumFactor);
            }
        }
        return;
    }
    forEachBoxRow(rSrc, Image<unsigned short>::constImage(rDst.size(), sk_ucNoEdge), uMaskRows, uMaskCols,
                  sse2Enabled(), [&](int nRow, const unsigned short* pSums) {
                      row_bandpass_op(&rDst[nRow][0], rDst.nCols(), &srcInterior[nRow][0], nCentreFactor,
                                      reinterpret_cast<const short*>(pSums), nSumFactor);
                  });
}

void boxEdgeFilter(Image<unsigned char>& rDst, const Image<unsigned char>& rSrc, unsigned uSize, double dGain)
{
    boxEdgeFilter(rDst, rSrc, uSize, uSize, dGain);
}

void edgeImage(Image<unsigned char>& rEdge, const Image<unsigned char>& rRectified, int nMaskSize)
{
    if (nMaskSize > rEdge.nRows() || nMaskSize > rEdge.nCols()) {
        rEdge.init(sk_ucNoEdge);
        return;
    }
    Image<unsigned char> view(rEdge, rEdge.mask({nMaskSize, nMaskSize}), true, sk_ucNoEdge);
    boxEdgeFilter(view, rRectified.region(0, 0, rEdge.size()), static_cast<unsigned>(nMaskSize), 1.0);
}

// ---- row_bandpass_op ----

namespace {

struct BandpassFactors
{
    int m_nCentre;
    int m_nSum;
};

/** Wrapping: factors of a large gain leave 32 bits. */
int mulShift16(int nPixel, int nFactor)
{
    return static_cast<int>(static_cast<unsigned>(nPixel) * static_cast<unsigned>(nFactor)) >> 16;
}

unsigned char bandpass1(unsigned char ucPixel, short nSum, const BandpassFactors& rFactors)
{
    return static_cast<unsigned char>(mulShift16(ucPixel, rFactors.m_nCentre) + mulShift16(nSum, rFactors.m_nSum) -
                                      128);
}

/** Pixels arrive as bytes in the low half; the result fills both halves. */
__m128i bandpass8(__m128i pixels, __m128i sums, const BandpassFactors& rFactors)
{
    const __m128i centre = _mm_set1_epi16(static_cast<short>(rFactors.m_nCentre));
    const __m128i sum = _mm_set1_epi16(static_cast<short>(rFactors.m_nSum));
    const __m128i difference = _mm_add_epi16(_mm_mulhi_epi16(_mm_unpacklo_epi8(pixels, _mm_setzero_si128()), centre),
                                             _mm_mulhi_epi16(sums, sum));
    return _mm_xor_si128(_mm_packs_epi16(difference, difference), _mm_set1_epi8(static_cast<char>(0x80)));
}

} // namespace

void row_bandpass_op(unsigned char* pDst, int n, const unsigned char* pSrc, int nCentreFactor, const short* pSums,
                     int nSumFactor)
{
    const BandpassFactors factors{nCentreFactor, nSumFactor};
    int i = n;
    if (n >= 8) {
        for (; (reinterpret_cast<std::uintptr_t>(pDst + i) & 3) != 0; --i) {
            pDst[i - 1] = bandpass1(pSrc[i - 1], pSums[i - 1], factors);
        }
        for (; i >= 8; i -= 8) { // two groups at once
            const __m128i pixels = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pSrc + i - 8));
            const __m128i sums = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pSums + i - 8));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(pDst + i - 8), bandpass8(pixels, sums, factors));
        }
        if (i >= 4) {
            i -= 4;
            int nFour;
            std::memcpy(&nFour, pSrc + i, 4);
            const __m128i sums = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pSums + i));
            nFour = _mm_cvtsi128_si32(bandpass8(_mm_cvtsi32_si128(nFour), sums, factors));
            std::memcpy(pDst + i, &nFour, 4);
        }
    }
    while (i-- > 0) {
        pDst[i] = bandpass1(pSrc[i], pSums[i], factors);
    }
}

} // namespace kestrova
