// Where a destination pixel samples the source: the step that all warper builds share.
#pragma once

#include "rectify/WarpMapFunc.h"
#include "rectify/Warper.h"

#include <algorithm>
#include <cmath>

namespace kestrova {

/** A position in the source, in pixels. */
struct SourcePoint
{
    float m_fRow;
    float m_fCol;
};

/** Offsets outside 0 to 99 count as 0. */
inline int subpixelOffset(int nHundredths)
{
    return nHundredths >= 0 && nHundredths <= 99 ? nHundredths : 0;
}

/** Limits a position to 0 to fMax; NaN gives 0, since a table entry must never leave the source. */
inline float clampPosition(float fPosition, float fMax)
{
    return fPosition > 0 ? std::min(fPosition, fMax) : 0.0F;
}

/**
 * The last position on an axis of nSize pixels whose neighbour is still a pixel; negative on an axis of one pixel. From
 * 2050 pixels on, single precision would round the difference up to the last pixel itself.
 */
inline float lastBlendPosition(int nSize)
{
    const auto fSize = static_cast<float>(nSize);
    return std::min(fSize - 1.0001F, std::nextafter(fSize - 1.0F, 0.0F));
}

/** Calls fill(row, col, point) for every destination pixel, row by row: the splines cache the values of a row. */
template<typename Fill>
void sampleDestination(const WarpMapFunc& rMap, const WarperKey& rKey, SourcePoint limit, Fill fill)
{
    const float fRowShift = static_cast<float>(rKey.m_nSubpixelRowOffset) / 100.0F;
    const float fColShift = static_cast<float>(rKey.m_nSubpixelColOffset) / 100.0F;
    for (int nRow = 0; nRow < rKey.m_nDestinationRows; ++nRow) {
        for (int nCol = 0; nCol < rKey.m_nDestinationCols; ++nCol) {
            SourcePoint point{};
            rMap.map(point.m_fRow, point.m_fCol, rKey.m_nSourceRows, rKey.m_nSourceCols,
                     static_cast<float>(nRow) - fRowShift, static_cast<float>(nCol) - fColShift,
                     rKey.m_nDestinationRows, rKey.m_nDestinationCols);
            fill(nRow, nCol,
                 SourcePoint{clampPosition(point.m_fRow, limit.m_fRow), clampPosition(point.m_fCol, limit.m_fCol)});
        }
    }
}

} // namespace kestrova
