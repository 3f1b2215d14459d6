#include "rectify/pixelMapping.h"

#include "rectify/WarpMapFunc.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kestrova {

PixelPosition rectifyPixel(const PixelMaps& rMaps, const PixelPosition& rRaw)
{
    PixelPosition result{};
    rMaps.m_rInverse.map(result.m_fRow, result.m_fCol, rMaps.m_rectified.m_nRows, rMaps.m_rectified.m_nCols,
                         rRaw.m_fRow, rRaw.m_fCol, rMaps.m_raw.m_nRows, rMaps.m_raw.m_nCols);
    return result;
}

namespace {

/** The limits of one axis of the search, in raw pixels. */
struct Bracket
{
    float m_fLow;
    float m_fHigh;
};

/** Narrows; what float does not hold stops at its ends. */
float narrowed(double d)
{
    constexpr double dMax = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(d, -dMax, dMax));
}

/** Within 0 to fMax; NaN gives 0. */
float clampedEstimate(double d, float fMax)
{
    return d > 0.0 ? static_cast<float>(std::min(d, double{fMax})) : 0.0F;
}

/** How the rectified coordinate runs along a bracket: fLow and fHigh are what its two ends map to. */
struct Secant
{
    double m_dSlope;
    double m_dPosition; // of the wanted coordinate, 0 at the low end and 1 at the high one

    // Without a difference to divide by, the high end's coordinate itself stands for the position; the estimate is
    // clamped after that.
    Secant(const Bracket& rBracket, float fLow, float fHigh, float fWanted)
        : m_dSlope(rBracket.m_fHigh == rBracket.m_fLow
                       ? 1.0
                       : double{fHigh - fLow} / double{rBracket.m_fHigh - rBracket.m_fLow}),
          m_dPosition(fHigh == fLow ? double{fHigh} : double{fWanted - fLow} / double{fHigh - fLow})
    {}
};

float estimate(const Bracket& rBracket, const Secant& rSecant, float fMax)
{
    return clampedEstimate(rBracket.m_fLow + double{rBracket.m_fHigh - rBracket.m_fLow} * rSecant.m_dPosition, fMax);
}

/** Around the corrected estimate, 1.2 corrections to either side. */
Bracket nextBracket(float fEstimate, double dCorrection, float fMax)
{
    const double dCentre = fEstimate + dCorrection;
    const double dHalf = 1.2 * std::fabs(dCorrection);
    return {std::max(narrowed(dCentre - dHalf), 0.0F), std::min(narrowed(dCentre + dHalf), fMax)};
}

// Ends because every pass either returns or comes strictly closer, and positions are finitely many; a NaN never comes
// closer. The correction multiplies by the slope where Newton's step would divide: callers know the estimates that a
// stalled search leaves, so it stays.
bool searchRaw(const PixelMaps& rMaps, const PixelPosition& rWanted, PixelPosition* pRaw)
{
    const auto fMaxRow = static_cast<float>(rMaps.m_raw.m_nRows - 1);
    const auto fMaxCol = static_cast<float>(rMaps.m_raw.m_nCols - 1);
    Bracket rows{0.0F, fMaxRow};
    Bracket cols{0.0F, fMaxCol};
    double dPrevious = std::sqrt(double{fMaxRow} * fMaxRow + double{fMaxCol} * fMaxCol);
    for (;;) {
        const PixelPosition a = rectifyPixel(rMaps, {rows.m_fLow, cols.m_fLow});
        const PixelPosition b = rectifyPixel(rMaps, {rows.m_fLow, cols.m_fHigh});
        const PixelPosition c = rectifyPixel(rMaps, {rows.m_fHigh, cols.m_fLow});
        const Secant alongRows(rows, a.m_fRow, c.m_fRow, rWanted.m_fRow);
        const Secant alongCols(cols, a.m_fCol, b.m_fCol, rWanted.m_fCol);
        *pRaw = {estimate(rows, alongRows, fMaxRow), estimate(cols, alongCols, fMaxCol)};

        const PixelPosition d = rectifyPixel(rMaps, *pRaw);
        const double dRowError = rWanted.m_fRow - d.m_fRow;
        const double dColError = rWanted.m_fCol - d.m_fCol;
        const double dError = std::sqrt(dRowError * dRowError + dColError * dColError);
        if (dError <= 0.001) {
            return true;
        }
        if (!(dError < dPrevious)) {
            return false;
        }
        rows = nextBracket(pRaw->m_fRow, dRowError * alongRows.m_dSlope, fMaxRow);
        cols = nextBracket(pRaw->m_fCol, dColError * alongCols.m_dSlope, fMaxCol);
        dPrevious = dError;
    }
}

bool isInside(const PixelPosition& rPosition, const ImageDim& rSize)
{
    return rPosition.m_fRow >= 0 && rPosition.m_fRow <= static_cast<float>(rSize.m_nRows - 1) &&
           rPosition.m_fCol >= 0 && rPosition.m_fCol <= static_cast<float>(rSize.m_nCols - 1);
}

} // namespace

bool unrectifyPixel(const PixelMaps& rMaps, const PixelPosition& rRectified, PixelPosition* pRaw)
{
    if (!isInside(rRectified, rMaps.m_rectified)) {
        return searchRaw(rMaps, rRectified, pRaw);
    }
    rMaps.m_rForward.map(pRaw->m_fRow, pRaw->m_fCol, rMaps.m_raw.m_nRows, rMaps.m_raw.m_nCols, rRectified.m_fRow,
                         rRectified.m_fCol, rMaps.m_rectified.m_nRows, rMaps.m_rectified.m_nCols);
    return true;
}

} // namespace kestrova
