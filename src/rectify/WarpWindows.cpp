#include "rectify/WarpWindows.h"

#include "rectify/Warper.h"

#include <algorithm>
#include <span>

namespace kestrova {

namespace {

constexpr int sk_nWideBytes = 2 * sk_nWindowBytes;
constexpr int sk_nWindowRows = 3;

/** The window over source rows nTop to nTop + 2, pushed back into the source where it would leave it. */
std::int64_t windowBase(std::span<const int> positions, const WarperKey& rKey, int nTop)
{
    int nLeft = rKey.m_nStride;
    for (const int nPosition : positions) {
        nLeft = std::min(nLeft, nPosition % rKey.m_nStride);
    }
    const std::int64_t nStride = rKey.m_nStride;
    const std::int64_t nPixels = (rKey.m_nSourceRows - 1) * nStride + rKey.m_nSourceCols;
    return std::min(nTop * nStride + nLeft, nPixels - sk_nWideBytes - (sk_nWindowRows - 1) * nStride);
}

/** Fills the pixels' places in the first two rows of a window. The furthest along a row; too far if they do not fit. */
std::int64_t fillIndices(std::span<const int> positions, std::int64_t nBase, int nStride, unsigned char* pIndices)
{
    std::int64_t nFurthest = 0;
    for (std::size_t u = 0; u < positions.size(); ++u) {
        const std::int64_t nFromBase = positions[u] - nBase;
        const bool bLower = nFromBase >= nStride;
        const std::int64_t nIndex = bLower ? nFromBase - nStride : nFromBase;
        pIndices[u] = static_cast<unsigned char>(nIndex | (bLower ? sk_uLowerRow : 0));
        nFurthest = std::max(nFurthest, nIndex < 0 ? sk_nWideBytes : nIndex);
    }
    return nFurthest;
}

/** The window for these pixels as WindowRow has it, with their indices. */
int findWindow(std::span<const int> positions, const WarperKey& rKey, unsigned char* pIndices)
{
    const int nTop = *std::min_element(positions.begin(), positions.end()) / rKey.m_nStride;
    // At the bottom of the source a window begins a row higher, so that its third row exists.
    for (const int nFirst : {nTop, nTop - 1}) {
        const std::int64_t nBase = windowBase(positions, rKey, nFirst);
        if (nBase >= 0) {
            // The right neighbour lies in the window as well.
            const std::int64_t nPixels = fillIndices(positions, nBase, rKey.m_nStride, pIndices) + 2;
            if (nPixels <= sk_nWideBytes) {
                return static_cast<int>(nPixels <= sk_nWindowBytes ? nBase : ~nBase);
            }
        }
    }
    return sk_nNoWindow;
}

} // namespace

void WarpWindows::build(const Image<int>& rPositions, const WarperKey& rKey)
{
    const int nGroups = rPositions.nCols() / sk_nWindow;
    if (rKey.m_nSourceRows < sk_nWindowRows || rKey.m_nSourceCols < 2 || nGroups == 0) {
        return; // the blend of an axis of one pixel has no neighbours; see Warper3
    }
    m_bases = Image<int>(rPositions.nRows(), nGroups);
    m_indices = Image<unsigned char>(rPositions.size());
    for (int nRow = 0; nRow < rPositions.nRows(); ++nRow) {
        for (int nGroup = 0; nGroup < nGroups; ++nGroup) {
            const int nCol = nGroup * sk_nWindow;
            m_bases[nRow][nGroup] = findWindow({&rPositions[nRow][nCol], sk_nWindow}, rKey, &m_indices[nRow][nCol]);
        }
    }
}

} // namespace kestrova
