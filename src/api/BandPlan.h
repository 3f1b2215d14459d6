// Which rows each band of a run computes, so that no two threads write the same row.
//
// The two-camera correlator moves the top of a region inside the rim without making it lower, so the first band of a
// frame reaches past its end into rows of the next one. The rows down to there are the first band's alone: others leave
// them out, and what their regions had there it does as well. The image that results is that of the bands as they were
// cut, since a pixel does not depend on where its region begins.
#pragma once

#include "api/StereoContext.h"
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
