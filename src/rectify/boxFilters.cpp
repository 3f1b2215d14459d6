#include "rectify/boxFilters.h"

#include "kernels/BoxFilter.h"
#include "kernels/InstructionSet.h"
#include "kernels/kernels.h"
#include "kernels/processor.h"
#include "rectify/ColumnBox.h"
#include "rectify/fixedPoint.h"

#include <algorithm>

namespace kestrova {

namespace {

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
        rDst.init(sk_ucEdgeZero);
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
    forEachBoxRow(rSrc, Image<unsigned short>::constImage(rDst.size(), sk_ucEdgeZero), uMaskRows, uMaskCols,
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
        rEdge.init(sk_ucEdgeZero);
        return;
    }
    Image<unsigned char> view(rEdge, rEdge.mask({nMaskSize, nMaskSize}), true, sk_ucEdgeZero);
    boxEdgeFilter(view, rRectified.region(0, 0, rEdge.size()), static_cast<unsigned>(nMaskSize), 1.0);
}

void row_bandpass_op(unsigned char* pDst, int n, const unsigned char* pSrc, int nCentreFactor, const short* pSums,
                     int nSumFactor)
{
    instructionSet().m_pPixels->row_bandpass_op(pDst, n, pSrc, nCentreFactor, pSums, nSumFactor);
}

} // namespace kestrova
