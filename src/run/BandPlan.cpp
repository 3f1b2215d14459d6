#include "run/BandPlan.h"

#include <algorithm>

namespace kestrova {

namespace {

/** Height of the rim that the two-camera correlator keeps regions out of. */
int rimOf(const StereoContext& rContext)
{
    const int nRim = rContext.m_nStereoMaskSize / 2 + (rContext.m_bEdgeCorrelation ? rContext.m_nEdgeMaskSize / 2 : 0);
    return std::min(nRim, rContext.m_nRows); // masks have no upper limit
}

/** Regions at the rows where that correlator puts them; those that end up with no row are left out. */
std::vector<KestrovaROI> placedRegions(const StereoContext& rContext, const std::vector<KestrovaROI>& rRegions)
{
    const int nRim = rimOf(rContext);
    std::vector<KestrovaROI> placed;
    for (KestrovaROI region : rRegions) {
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

/** Joins a region to the last one of the list if it begins inside it or where it ends, at the same columns. */
void append(std::vector<KestrovaROI>& rRegions, const KestrovaROI& rRegion)
{
    if (!rRegions.empty()) {
        KestrovaROI& rLast = rRegions.back();
        if (rLast.m_nColOffset == rRegion.m_nColOffset && rLast.m_nCols == rRegion.m_nCols &&
            rLast.m_nRowOffset <= rRegion.m_nRowOffset && endOf(rLast) >= rRegion.m_nRowOffset) {
            rLast.m_nRows = std::max(endOf(rLast), endOf(rRegion)) - rLast.m_nRowOffset;
            return;
        }
    }
    rRegions.push_back(rRegion);
}

int colsInside(const StereoContext& rContext, const KestrovaROI& rRegion)
{
    const std::int64_t nEnd =
        std::min<std::int64_t>(rContext.m_nCols, std::int64_t{rRegion.m_nColOffset} + rRegion.m_nCols);
    return static_cast<int>(std::max<std::int64_t>(nEnd - std::max(rRegion.m_nColOffset, 0), 0));
}

/** As many runs of rows as shares, one below the other, with the same number of pixels of the regions in each. */
std::vector<RowBand> rowsOfShares(const StereoContext& rContext, const std::vector<KestrovaROI>& rRegions, int nShares)
{
    std::vector<std::int64_t> pixels(static_cast<std::size_t>(rContext.m_nRows) + 1); // of a row over the one above
    std::int64_t nTotal = 0;
    for (const KestrovaROI& rRegion : rRegions) {
        const int nCols = colsInside(rContext, rRegion);
        pixels[static_cast<std::size_t>(rRegion.m_nRowOffset)] += nCols;
        pixels[static_cast<std::size_t>(endOf(rRegion))] -= nCols;
        nTotal += std::int64_t{nCols} * rRegion.m_nRows;
    }
    std::vector<RowBand> shares;
    std::int64_t nAbove = 0; // pixels above the row
    std::int64_t nOfRow = 0;
    int nRow = 0;
    for (int nShare = 1; nShare <= nShares; ++nShare) {
        const int nStart = nRow;
        for (; nRow < rContext.m_nRows && (nShare == nShares || nAbove * nShares < nTotal * nShare); ++nRow) {
            nOfRow += pixels[static_cast<std::size_t>(nRow)];
            nAbove += nOfRow;
        }
        shares.push_back({nStart, nRow});
    }
    return shares;
}

std::vector<KestrovaROI> regionsInside(const std::vector<KestrovaROI>& rRegions, const RowBand& rRows)
{
    std::vector<KestrovaROI> inside;
    for (KestrovaROI region : rRegions) {
        const int nEnd = std::min(endOf(region), rRows.m_nEnd);
        region.m_nRowOffset = std::max(region.m_nRowOffset, rRows.m_nStart);
        region.m_nRows = nEnd - region.m_nRowOffset;
        if (region.m_nRows > 0) {
            inside.push_back(region);
        }
    }
    return inside;
}

} // namespace

BandPlan::BandPlan(const StereoContext& rContext, unsigned nThreads)
    : m_bands(bandsOfFrame(rContext.m_nRows, nThreads)), m_regions(m_bands.size())
{
    std::vector<std::size_t> asked; // bands with regions, though none of their rows may be left
    std::vector<KestrovaROI> all;
    for (std::size_t nBand = 0; nBand < m_bands.size(); ++nBand) {
        m_regions[nBand] = regionsOfBand(rContext, m_bands[nBand]);
        if (!m_regions[nBand].empty()) {
            asked.push_back(nBand);
        }
    }
    if (asked.empty() || rContext.m_eCameraConfiguration != KestrovaCfg2CameraHorizontal) {
        return;
    }
    for (const std::size_t nBand : asked) {
        for (const KestrovaROI& rRegion : placedRegions(rContext, m_regions[nBand])) {
            append(all, rRegion);
        }
    }
    const std::vector<RowBand> shares = rowsOfShares(rContext, all, static_cast<int>(asked.size()));
    for (std::size_t nShare = 0; nShare < asked.size(); ++nShare) {
        m_regions[asked[nShare]] = regionsInside(all, shares[nShare]);
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
