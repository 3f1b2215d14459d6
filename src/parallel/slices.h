// How a frame is cut into bands of rows, one per worker, and the regions of interest with it.
#pragma once

#include "context/StereoContext.h"

#include <vector>

namespace kestrova {

/** A run of rows, the end not included. */
struct RowBand
{
    int m_nStart;
    int m_nEnd;
};

/** Bands of equal height from the top; the last one takes the rows that remain. At most one per row. */
[[nodiscard]] std::vector<RowBand> bandsOfFrame(int nRows, unsigned nWorkers);

/** The part of each region that a band works on, in the order of the regions; without regions the whole band. */
[[nodiscard]] std::vector<KestrovaROI> regionsOfBand(const StereoContext& rContext, const RowBand& rBand);

} // namespace kestrova
