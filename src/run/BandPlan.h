// Which rows each band of a run computes: the same work for every thread, and no row from two.
//
// In the two-camera correlator a pixel does not depend on where its region begins or ends. So the regions of all bands
// are laid together and shared out anew, by pixels, among the threads that are asked. Bands as they were cut would not
// do: the rim makes the last one lower, and since the correlator moves the top of a region inside the rim without
// making it lower, the first one would reach into rows of the next. Where regions overlap, the later band counts, as if
// the bands had been done one after the other.
//
// The general correlator keeps a rim in every band and searches what has room below its first row: its bands stay.
#pragma once

#include "context/StereoContext.h"
#include "parallel/slices.h"

#include <vector>

namespace kestrova {

class BandPlan
{
public:
    /** For a run of that context, as it is now, on so many threads. */
    BandPlan(const StereoContext& rContext, unsigned nThreads);

    /** What the worker whose context this is has to correlate. The context has the regions of its band, at least one.
     */
    [[nodiscard]] const std::vector<KestrovaROI>& regionsFor(const StereoContext& rWorkerContext) const;

private:
    std::vector<RowBand> m_bands;
    std::vector<std::vector<KestrovaROI>> m_regions; // by band
};

} // namespace kestrova
