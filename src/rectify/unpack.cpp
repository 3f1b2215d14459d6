#include "rectify/unpack.h"

#include <emmintrin.h>

namespace kestrova {

namespace {

constexpr int sk_nBlue = 0;
constexpr int sk_nGreen = 1;
constexpr int sk_nRed = 2;

/** Byte nLane of four pixels, as 32-bit numbers. */
template<int nLane>
__m128i lane4(const unsigned char* pPacked)
{
    const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pPacked));
    return _mm_and_si128(_mm_srli_epi32(pixels, 8 * nLane), _mm_set1_epi32(255));
}

template<int nLane>
void extract8(unsigned char* pDst, const unsigned char* pPacked)
{
    const __m128i words = _mm_packs_epi32(lane4<nLane>(pPacked), lane4<nLane>(pPacked + 16));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(pDst), _mm_packus_epi16(words, words));
}

template<int nLane>
void extract_lane(unsigned char* pDst, int n, const unsigned char* pPacked)
{
    int i = n;
    for (; i >= 8; i -= 8) {
        extract8<nLane>(pDst + i - 8, pPacked + 4 * (i - 8));
    }
    while (i-- > 0) {
        pDst[i] = pPacked[4 * i + nLane];
    }
}

} // namespace

void extract_red(unsigned char* pDst, int n, const unsigned char* pPacked)
{
    extract_lane<sk_nRed>(pDst, n, pPacked);
}

void extract_grn(unsigned char* pDst, int n, const unsigned char* pPacked)
{
    extract_lane<sk_nGreen>(pDst, n, pPacked);
}

void extract_blu(unsigned char* pDst, int n, const unsigned char* pPacked)
{
    extract_lane<sk_nBlue>(pDst, n, pPacked);
}

void extract_rgb(unsigned char* pRed, unsigned char* pGreen, unsigned char* pBlue, int n, const unsigned char* pPacked)
{
    if (n < 8) {
        return;
    }
    // The last group overlaps the one before it where n is no multiple of 8, so that nothing past the row is read.
    for (int nDone = 0; nDone < n; nDone += 8) {
        const int i = nDone + 8 <= n ? nDone : n - 8;
        extract8<sk_nRed>(pRed + i, pPacked + 4 * i);
        extract8<sk_nGreen>(pGreen + i, pPacked + 4 * i);
        extract8<sk_nBlue>(pBlue + i, pPacked + 4 * i);
    }
}

namespace {

const unsigned char* bytes(const Image<Pixel8x4>& rPacked, int nRow)
{
    return &rPacked[nRow][0].m_ucBlue;
}

} // namespace

void unpackRGB(Image<unsigned char>& rRed, Image<unsigned char>& rGreen, Image<unsigned char>& rBlue,
               const Image<Pixel8x4>& rPacked)
{
    for (int nRow = 0; nRow < rRed.nRows(); ++nRow) {
        extract_rgb(&rRed[nRow][0], &rGreen[nRow][0], &rBlue[nRow][0], rRed.nCols(), bytes(rPacked, nRow));
    }
}

void unpack32Bit2Cam(Image<unsigned char>& rRed, Image<unsigned char>& rGreen, const Image<Pixel8x4>& rPacked)
{
    for (int nRow = 0; nRow < rRed.nRows(); ++nRow) {
        extract_red(&rRed[nRow][0], rRed.nCols(), bytes(rPacked, nRow));
        extract_grn(&rGreen[nRow][0], rRed.nCols(), bytes(rPacked, nRow));
    }
}

void unpack32Bit(const bool* pbNeeded, Image<unsigned char>* const* ppPlanes, const Image<Pixel8x4>& rPacked)
{
    static constexpr decltype(&extract_red) sk_aExtract[] = {extract_red, extract_grn, extract_blu};
    for (int nRow = 0; nRow < rPacked.nRows(); ++nRow) {
        for (int nPlane = 0; nPlane < 3; ++nPlane) {
            if (pbNeeded[nPlane]) {
                sk_aExtract[nPlane](&(*ppPlanes[nPlane])[nRow][0], rPacked.nCols(), bytes(rPacked, nRow));
            }
        }
    }
}

} // namespace kestrova
