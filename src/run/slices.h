// How a frame is cut into bands of rows, one per worker, and the regions of interest with it.
#pragma once

#include "context/StereoContext.h"

#include <span>
#include <vector>

namespace kestrova {

/** A run of rows, the end not included. */
struct RowBand
{
    int m_nStart;
    int m_nEnd;
};

/** As many bands as workers, but at most one per row. */
[[nodiscard]] int bandsOfFrame(int nRows, unsigned nWorkers);

/** Bands are of equal height from the top; the last one takes the rows that remain. */
[[nodiscard]] RowBand bandOfFrame(int nRows, int nBands, int nBand);

/** Lists of regions, one per band, in storage that is kept when they are made anew. */
class RegionsByBand
{
public:
    void clear();
    /** Gives the band at hand another region; the first band begins by itself. */
    void append(const KestrovaROI& rRegion) { m_regions.push_back(rRegion); }
    void endBand() { m_ends.push_back(m_regions.size()); }

    [[nodiscard]] unsigned bands() const { return static_cast<unsigned>(m_ends.size()); }
    [[nodiscard]] std::span<const KestrovaROI> all() const { return m_regions; }
    /** Empty beyond the bands. */
    [[nodiscard]] std::span<const KestrovaROI> ofBand(unsigned nBand) const;

private:
    std::vector<KestrovaROI> m_regions;
    std::vector<std::size_t> m_ends; // by band, into the regions
};

/** The part of each region that a band works on, in the order of the regions; without regions the whole band. */
void appendRegionsOfBand(RegionsByBand& rRegions, const StereoContext& rContext, const RowBand& rBand);

} // namespace kestrova
