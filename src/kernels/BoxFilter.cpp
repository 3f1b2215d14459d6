#include "kernels/BoxFilter.h"

#include "kernels/kernels.h"

#include <algorithm>

namespace kestrova {

void BoxFilter::reset(Image<unsigned short>& rSums, unsigned uMaskRows, unsigned uMaskCols)
{
    m_sums = rSums;
    m_nMaskRows = static_cast<std::int32_t>(std::max(1U, uMaskRows));
    m_nMaskCols = static_cast<std::int32_t>(std::max(1U, uMaskCols));
    m_nRowsAdded = 0;
    const ImageDim ring = {m_nMaskRows + 1, m_sums.nCols()};
    if (m_nMaskRows > 1 && m_rowSums.size() != ring) {
        m_rowSums = Image<unsigned short>(ring);
    }
}

void BoxFilter::sumRow(unsigned short* pOut, const unsigned char* pRow, int nOut, bool bSSE2) const
{
    unsigned uFirst = 0;
    for (int i = 0; i < m_nMaskCols; ++i) {
        uFirst += pRow[i];
    }
    pOut[0] = static_cast<unsigned short>(uFirst);
    box_add_sub16(pOut + 1, uFirst, pRow + m_nMaskCols, pRow, nOut - 1, bSSE2);
}

int BoxFilter::add(const Row<const unsigned char>& rRow, int nCols, bool bSSE2)
{
    const int k = m_nRowsAdded++;
    const int nCompleted = m_nRowsAdded - m_nMaskRows;
    // A box of even size completes one row and one column more than a view cut by half its size on every side has.
    const int nOut = std::min(nCols - m_nMaskCols + 1, m_sums.nCols());
    if (nOut < 1 || m_sums.nRows() <= std::max(nCompleted, 0)) {
        return nCompleted;
    }
    const unsigned char* pRow = &rRow[0];
    if (m_nMaskRows == 1) {
        sumRow(&m_sums[k][0], pRow, nOut, bSSE2);
        return nCompleted;
    }
    const int nRingRows = m_nMaskRows + 1;
    unsigned short* pArriving = &m_rowSums[k % nRingRows][0];
    sumRow(pArriving, pRow, nOut, bSSE2);
    if (k == 0) {
        row_copy16(&m_sums[0][0], pArriving, nOut);
    } else if (k < m_nMaskRows) {
        row_add(&m_sums[0][0], &m_sums[0][0], pArriving, nOut);
    } else {
        box_add_sub16ptr(&m_sums[nCompleted][0], &m_sums[nCompleted - 1][0], pArriving,
                         &m_rowSums[(k + 1) % nRingRows][0], nOut);
    }
    return nCompleted;
}

} // namespace kestrova
