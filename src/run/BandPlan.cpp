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

/** The region at the rows where that correlator puts it; it may end up with no row. */
KestrovaROI placed(const StereoContext& rContext, KestrovaROI region)
{
    const int nRim = rimOf(rContext);
    region.m_nRowOffset = std::max(region.m_nRowOffset, nRim);
    region.m_nRows = std::min(region.m_nRows, rContext.m_nRows - nRim - region.m_nRowOffset);
    return region;
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

/** Walks down the rows, one share after the other, each with the same number of pixels of the regions. */
class ShareCutter
{
public:
    ShareCutter(std::span<const std::int64_t> pixels, std::int64_t nTotal, int nShares)
        : m_pixels(pixels), m_nTotal(nTotal), m_nRows(static_cast<int>(pixels.size()) - 1), m_nShares(nShares)
    {}

    RowBand next()
    {
        ++m_nShare;
        const int nStart = m_nRow;
        for (; m_nRow < m_nRows && (m_nShare == m_nShares || m_nAbove * m_nShares < m_nTotal * m_nShare); ++m_nRow) {
            m_nOfRow += m_pixels[static_cast<std::size_t>(m_nRow)];
            m_nAbove += m_nOfRow;
        }
        return {nStart, m_nRow};
    }

private:
    std::span<const std::int64_t> m_pixels; // of a row over the one above, and one behind the last
    std::int64_t m_nTotal;
    std::int64_t m_nAbove = 0; // pixels above the row
    std::int64_t m_nOfRow = 0;
    int m_nRows;
    int m_nRow = 0;
    int m_nShares;
    int m_nShare = 0;
};

void appendInside(RegionsByBand& rShares, std::span<const KestrovaROI> regions, const RowBand& rRows)
{
    for (KestrovaROI region : regions) {
        const int nEnd = std::min(endOf(region), rRows.m_nEnd);
        region.m_nRowOffset = std::max(region.m_nRowOffset, rRows.m_nStart);
        region.m_nRows = nEnd - region.m_nRowOffset;
        if (region.m_nRows > 0) {
            rShares.append(region);
        }
    }
}

} // namespace

void BandPlan::make(const StereoContext& rContext, unsigned nWorkers)
{
    m_cut.clear();
    const int nBands = bandsOfFrame(rContext.m_nRows, nWorkers);
    for (int nBand = 0; nBand < nBands; ++nBand) {
        appendRegionsOfBand(m_cut, rContext, bandOfFrame(rContext.m_nRows, nBands, nBand));
        m_cut.endBand();
    }
    m_bSharedOut = rContext.m_eCameraConfiguration == KestrovaCfg2CameraHorizontal;
    if (m_bSharedOut) {
        placeRegions(rContext);
        shareOut(rContext);
    }
}

void BandPlan::placeRegions(const StereoContext& rContext)
{
    m_placed.clear();
    for (const KestrovaROI& rRegion : m_cut.all()) {
        const KestrovaROI region = placed(rContext, rRegion);
        if (region.m_nRows > 0) {
            append(m_placed, region);
        }
    }
}

void BandPlan::shareOut(const StereoContext& rContext)
{
    m_pixels.assign(static_cast<std::size_t>(std::max(rContext.m_nRows, 0)) + 1, 0);
    std::int64_t nTotal = 0;
    for (const KestrovaROI& rRegion : m_placed) {
        const int nCols = colsInside(rContext, rRegion);
        m_pixels[static_cast<std::size_t>(rRegion.m_nRowOffset)] += nCols;
        m_pixels[static_cast<std::size_t>(endOf(rRegion))] -= nCols;
        nTotal += std::int64_t{nCols} * rRegion.m_nRows;
    }
    int nShares = 0; // bands with regions, though none of their rows may be left
    for (unsigned nBand = 0; nBand < m_cut.bands(); ++nBand) {
        nShares += m_cut.ofBand(nBand).empty() ? 0 : 1;
    }
    ShareCutter cutter(m_pixels, nTotal, nShares);
    m_shares.clear();
    for (unsigned nBand = 0; nBand < m_cut.bands(); ++nBand) {
        if (!m_cut.ofBand(nBand).empty()) {
            appendInside(m_shares, m_placed, cutter.next());
        }
        m_shares.endBand();
    }
}

} // namespace kestrova
