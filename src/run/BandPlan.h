// Which rows each band of a run computes: how the frame is cut, and how the work is shared out over the bands.
//
// In the two-camera correlator a pixel does not depend on where its region begins or ends. So the regions of all bands
// are laid together and shared out anew, by pixels, among the bands that have any. Bands as they were cut would not
// do: the rim makes the last one lower, and since the correlator moves the top of a region inside the rim without
// making it lower, the first one would reach into rows of the next. Where regions overlap, the later band counts, as if
// the bands had been done one after the other.
//
// The general correlator keeps a rim in every band and searches what has room below its first row: its bands stay.
#pragma once

#include "context/StereoContext.h"
#include "run/slices.h"

#include <cstdint>
#include <span>
#include <vector>

namespace kestrova {

/** Kept from run to run: once frames are settled, making it anew allocates nothing. */
class BandPlan
{
public:
    /** Makes it the plan of that context, as it is now, on so many threads. */
    void make(const StereoContext& rContext, unsigned nWorkers);

    /** How many bands the frame was cut into: fewer than workers when it has fewer rows. */
    [[nodiscard]] unsigned bands() const { return m_cut.bands(); }
    /** The regions of interest in a band of the frame, as it was cut; none in bands beyond the rows. */
    [[nodiscard]] std::span<const KestrovaROI> regionsAsCut(unsigned nBand) const { return m_cut.ofBand(nBand); }
    /** What a band that has regions correlates: the same work for every band, and no row from two. */
    [[nodiscard]] std::span<const KestrovaROI> regionsOf(unsigned nBand) const
    {
        return (m_bSharedOut ? m_shares : m_cut).ofBand(nBand);
    }

private:
    void placeRegions(const StereoContext& rContext);
    void shareOut(const StereoContext& rContext);

    RegionsByBand m_cut;
    RegionsByBand m_shares;
    bool m_bSharedOut = false;
    std::vector<KestrovaROI> m_placed;  // of all bands, where the correlator puts them
    std::vector<std::int64_t> m_pixels; // of a row over the one above
};

} // namespace kestrova
