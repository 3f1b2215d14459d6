#include "rectify/unpack.h"

#include "kernels/InstructionSet.h"

#include <array>

namespace kestrova {

namespace {

constexpr int sk_nBlue = 0;
constexpr int sk_nGreen = 1;
constexpr int sk_nRed = 2;

void extract(int nLane, unsigned char* pDst, int n, const unsigned char* pPacked)
{
    instructionSet().m_pPixels->extract[nLane](pDst, n, pPacked);
}

} // namespace

void extract_red(unsigned char* pDst, int n, const unsigned char* pPacked)
{
    extract(sk_nRed, pDst, n, pPacked);
}

void extract_grn(unsigned char* pDst, int n, const unsigned char* pPacked)
{
    extract(sk_nGreen, pDst, n, pPacked);
}

void extract_blu(unsigned char* pDst, int n, const unsigned char* pPacked)
{
    extract(sk_nBlue, pDst, n, pPacked);
}

void extract_rgb(unsigned char* pRed, unsigned char* pGreen, unsigned char* pBlue, int n, const unsigned char* pPacked)
{
    instructionSet().m_pPixels->extract_rgb(pRed, pGreen, pBlue, n, pPacked);
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
    const WideRowsForm* const pForm = instructionSet().m_pWideRows;
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
    for (int nLane = 0; nLane < 3; ++nLane) {
        if (rRows.m_apOut[nLane] != nullptr) {
            extract(nLane, rRows.m_apOut[nLane], n, pPacked);
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
