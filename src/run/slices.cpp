#include "run/slices.h"

#include <algorithm>
#include <cstdint>

namespace kestrova {

int bandsOfFrame(int nRows, unsigned nWorkers)
{
    return static_cast<int>(std::min<std::int64_t>(nWorkers, std::max(nRows, 0)));
}

RowBand bandOfFrame(int nRows, int nBands, int nBand)
{
    const int nHeight = nRows / nBands;
    const int nStart = nBand * nHeight;
    return {nStart, nBand + 1 < nBands ? nStart + nHeight : nRows};
}

void RegionsByBand::clear()
{
    m_regions.clear();
    m_ends.clear();
}

std::span<const KestrovaROI> RegionsByBand::ofBand(unsigned nBand) const
{
    if (nBand >= m_ends.size()) {
        return {};
    }
    const std::size_t uBegin = nBand > 0 ? m_ends[nBand - 1] : 0;
    return all().subspan(uBegin, m_ends[nBand] - uBegin);
}

void appendRegionsOfBand(RegionsByBand& rRegions, const StereoContext& rContext, const RowBand& rBand)
{
    if (rContext.m_nROICount <= 0) {
        rRegions.append({rBand.m_nStart, 0, rBand.m_nEnd - rBand.m_nStart, rContext.m_nCols});
        return;
    }
    for (int nROI = 0; nROI < std::min(rContext.m_nROICount, StereoContext::sk_nMaxROIs); ++nROI) {
        const KestrovaROI& rROI = rContext.m_aROIs[static_cast<std::size_t>(nROI)];
        const std::int64_t nFirst = rROI.m_nRowOffset; // callers write the table freely: no overflow here
        const std::int64_t nEnd = nFirst + rROI.m_nRows;
        // A region that begins above the band and ends below it is left out of it by our decision, although it covers
        // it: a region of the whole frame is worked in the first and in the last band only.
        const bool bBeginsHere = nFirst >= rBand.m_nStart && nFirst < rBand.m_nEnd;
        const bool bEndsHere = nEnd <= rBand.m_nEnd && nEnd > rBand.m_nStart;
        if (!bBeginsHere && !bEndsHere) {
            continue;
        }
        const std::int64_t nTop = std::max<std::int64_t>(nFirst, rBand.m_nStart);
        const std::int64_t nHeight = std::min<std::int64_t>(nEnd, rBand.m_nEnd) - nTop;
        if (nHeight > 0) {
            rRegions.append({static_cast<int>(nTop), rROI.m_nColOffset, static_cast<int>(nHeight), rROI.m_nCols});
        }
    }
}

} // namespace kestrova
