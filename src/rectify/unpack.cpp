#include "rectify/unpack.h"

#include "kernels/WideRows.h"

#include <array>
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

/** By lane, blue first; null where a channel is not wanted. */
using Planes = std::array<Image<unsigned char>*, 3>;

template<typename Plain>
void unpackRows(const Planes& rPlanes, int nRows, int nCols, const Image<Pixel8x4>& rPacked, Plain plain)
{
    const WideRowsForm* const pForm = wideRows(instructionSet());
    const bool bWide = pForm != nullptr && pForm->m_nExtractLeast > 0 && nCols >= pForm->m_nExtractLeast;
    for (int nRow = 0; nRow < nRows; ++nRow) {
        ChannelRows rows{};
        for (std::size_t u = 0; u < 3; ++u) {
            rows.m_apOut[u] = rPlanes[u] == nullptr ? nullptr : &(*rPlanes[u])[nRow][0];
        }
        if (bWide) {
            pForm->extract(rows, nCols, bytes(rPacked, nRow));
        } else {
            plain(rows, nCols, bytes(rPacked, nRow));
        }
    }
}

/** Rows of any width. */
void extract_wanted(const ChannelRows& rRows, int n, const unsigned char* pPacked)
{
    static constexpr decltype(&extract_red) sk_aExtract[] = {extract_blu, extract_grn, extract_red};
    for (int nLane = 0; nLane < 3; ++nLane) {
        if (rRows.m_apOut[nLane] != nullptr) {
            sk_aExtract[nLane](rRows.m_apOut[nLane], n, pPacked);
        }
    }
}

} // namespace

void unpackRGB(Image<unsigned char>& rRed, Image<unsigned char>& rGreen, Image<unsigned char>& rBlue,
               const Image<Pixel8x4>& rPacked)
{
    unpackRows({&rBlue, &rGreen, &rRed}, rRed.nRows(), rRed.nCols(), rPacked,
               [](const ChannelRows& r, int n, const unsigned char* pPacked) {
                   extract_rgb(r.m_apOut[sk_nRed], r.m_apOut[sk_nGreen], r.m_apOut[sk_nBlue], n, pPacked);
               });
}

void unpack32Bit2Cam(Image<unsigned char>& rRed, Image<unsigned char>& rGreen, const Image<Pixel8x4>& rPacked)
{
    unpackRows({nullptr, &rGreen, &rRed}, rRed.nRows(), rRed.nCols(), rPacked, extract_wanted);
}

void unpack32Bit(const bool* pbNeeded, Image<unsigned char>* const* ppPlanes, const Image<Pixel8x4>& rPacked)
{
    Planes planes{};
    for (std::size_t u = 0; u < 3; ++u) {
        planes[2 - u] = pbNeeded[u] ? ppPlanes[u] : nullptr;
    }
    unpackRows(planes, rPacked.nRows(), rPacked.nCols(), rPacked, extract_wanted);
}

} // namespace kestrova
