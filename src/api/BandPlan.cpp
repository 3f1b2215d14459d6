#include "api/BandPlan.h"

#include <algorithm>

namespace kestrova {

namespace {

/** Height of the rim that the correlator of this configuration keeps regions out of. */
int rimOf(const StereoContext& rContext)
{
    if (rContext.m_eCameraConfiguration != KestrovaCfg2CameraHorizontal) {
        return 0;
    }
    const int nRim = rContext.m_nStereoMaskSize / 2 + (rContext.m_bEdgeCorrelation ? rContext.m_nEdgeMaskSize / 2 : 0);
    return std::min(nRim, rContext.m_nRows); // masks have no upper limit
}

/** The regions of a band at the rows where the correlator puts them; those that end up with no row are left out. */
std::vector<KestrovaROI> placedRegions(const StereoContext& rContext, const RowBand& rBand)
{
    const int nRim = rimOf(rContext);
    std::vector<KestrovaROI> placed;
    for (KestrovaROI region : regionsOfBand(rContext, rBand)) {
        region.m_nRowOffset = std::max(region.m_nRowOffset, nRim);
        region.m_nRows = std::min(region.m_nRows, rContext.m_nRows - nRim - region.m_nRowOffset);
        if (region.m_nRows > 0) {
            placed.push_back(region);
        }
    }
    return placed;
}

int endOf(const KestrovaROI& rRegion)
{
    return rRegion.m_nRowOffset + rRegion.m_nRows;
}

bool covers(const KestrovaROI& rOuter, const KestrovaROI& rInner)
{
    return rOuter.m_nColOffset == rInner.m_nColOffset && rOuter.m_nCols == rInner.m_nCols &&
           rOuter.m_nRowOffset <= rInner.m_nRowOffset && endOf(rOuter) >= endOf(rInner);
}

void appendUncovered(std::vector<KestrovaROI>& rRegions, const KestrovaROI& rRegion)
{
    const auto isCovered = [&](const KestrovaROI& rOther) { return covers(rOther, rRegion); };
    if (rRegion.m_nRows > 0 && std::none_of(rRegions.begin(), rRegions.end(), isCovered)) {
        rRegions.push_back(rRegion);
    }
}

/** Cuts a list at a row: what lies below it stays, what lies above goes to another list. */
void moveRowsAbove(int nRow, std::vector<KestrovaROI>& rFrom, std::vector<KestrovaROI>& rTo)
{
    for (KestrovaROI& rRegion : rFrom) {
        KestrovaROI above = rRegion;
        above.m_nRows = std::min(endOf(rRegion), nRow) - rRegion.m_nRowOffset;
        appendUncovered(rTo, above);
        const int nCut = std::max(above.m_nRows, 0);
        rRegion.m_nRowOffset += nCut;
        rRegion.m_nRows -= nCut;
    }
    std::erase_if(rFrom, [](const KestrovaROI& rRegion) { return rRegion.m_nRows <= 0; });
}

} // namespace

BandPlan::BandPlan(const StereoContext& rContext, unsigned nThreads) : m_bands(bandsOfFrame(rContext.m_nRows, nThreads))
{
    std::vector<KestrovaROI>* pFirst = nullptr; // the first band that reaches past its end
    int nFirstBandEnd = 0;                      // rows above this one are its own
    for (const RowBand& rBand : m_bands) {
        m_regions.push_back(placedRegions(rContext, rBand));
    }
    for (std::size_t nBand = 0; nBand < m_bands.size(); ++nBand) {
        for (const KestrovaROI& rRegion : m_regions[nBand]) {
            if (endOf(rRegion) > m_bands[nBand].m_nEnd) {
                pFirst = pFirst != nullptr ? pFirst : &m_regions[nBand];
                nFirstBandEnd = std::max(nFirstBandEnd, endOf(rRegion));
            }
        }
    }
    for (std::vector<KestrovaROI>& rRegions : m_regions) {
        if (pFirst != nullptr && &rRegions != pFirst) {
            moveRowsAbove(nFirstBandEnd, rRegions, *pFirst);
        }
    }
}

const std::vector<KestrovaROI>& BandPlan::regionsFor(const StereoContext& rWorkerContext) const
{
    // A band's regions begin inside it, whichever worker has it.
    const int nRow = rWorkerContext.m_aROIs[0].m_nRowOffset;
    const auto iNext = std::upper_bound(m_bands.begin(), m_bands.end(), nRow,
                                        [](int nValue, const RowBand& rBand) { return nValue < rBand.m_nStart; });
    return m_regions[static_cast<std::size_t>(iNext - m_bands.begin() - 1)];
}

} // namespace kestrova
