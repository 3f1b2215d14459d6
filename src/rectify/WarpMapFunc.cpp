#include "rectify/WarpMapFunc.h"

namespace kestrova {

namespace {

/** NaN becomes 1: what comes out is turned into pixel indices. */
float clampToUnit(float f)
{
    if (f < 0.0f) {
        return 0.0f;
    }
    return f < 1.0f ? f : 1.0f;
}

} // namespace

WarpMapFunc::WarpMapFunc(const WarpSpline& rRowSpline, const WarpSpline& rColSpline, double dFocalLengthCols,
                         double dFocalLengthRows, double dSourceX, double dSourceY, double dDestinationX,
                         double dDestinationY)
    : m_colSpline(rColSpline), m_rowSpline(rRowSpline), m_dFocalLengthCols(dFocalLengthCols),
      m_dFocalLengthRows(dFocalLengthRows), m_dSourceAdjustmentX(dSourceX), m_dSourceAdjustmentY(dSourceY),
      m_dDestinationAdjustmentX(dDestinationX), m_dDestinationAdjustmentY(dDestinationY)
{}

WarpMapFunc::~WarpMapFunc() = default;

std::unique_ptr<WarpMapFunc> WarpMapFunc::clone() const
{
    return std::make_unique<WarpMapFunc>(m_rowSpline, m_colSpline, m_dFocalLengthCols, m_dFocalLengthRows, 0.0, 0.0,
                                         0.0, 0.0);
}

bool WarpMapFunc::init(const WarpSpline& rRowSpline, const WarpSpline& rColSpline, double dFocalLengthCols,
                       double dFocalLengthRows, double dSourceX, double dSourceY, double dDestinationX,
                       double dDestinationY)
{
    m_colSpline = rColSpline;
    m_rowSpline = rRowSpline;
    m_dFocalLengthCols = dFocalLengthCols;
    m_dFocalLengthRows = dFocalLengthRows;
    return setSourceAdjustment(dSourceX, dSourceY) && setDestinationAdjustment(dDestinationX, dDestinationY);
}

bool WarpMapFunc::setSourceAdjustment(double dX, double dY)
{
    m_dSourceAdjustmentX = dX;
    m_dSourceAdjustmentY = dY;
    return true;
}

bool WarpMapFunc::setDestinationAdjustment(double dX, double dY)
{
    m_dDestinationAdjustmentX = dX;
    m_dDestinationAdjustmentY = dY;
    return true;
}

void WarpMapFunc::getSourceAdjustment(double* pdX, double* pdY) const
{
    *pdX = m_dSourceAdjustmentX;
    *pdY = m_dSourceAdjustmentY;
}

void WarpMapFunc::getDestinationAdjustment(double* pdX, double* pdY) const
{
    *pdX = m_dDestinationAdjustmentX;
    *pdY = m_dDestinationAdjustmentY;
}

void WarpMapFunc::map(float& rRow, float& rCol, float fInRow, float fInCol) const
{
    // Single precision outside the splines, the adjustments included: tables built from a map depend on its last bit.
    const float fA = clampToUnit(fInRow - static_cast<float>(m_dDestinationAdjustmentY));
    const float fB = clampToUnit(fInCol - static_cast<float>(m_dDestinationAdjustmentX));
    rRow = clampToUnit(static_cast<float>(m_rowSpline.at(fA, fB, WarpSpline::Coordinate::Row)) +
                       static_cast<float>(m_dSourceAdjustmentY));
    rCol = clampToUnit(static_cast<float>(m_colSpline.at(fA, fB, WarpSpline::Coordinate::Col)) +
                       static_cast<float>(m_dSourceAdjustmentX));
}

void WarpMapFunc::map(float& rRow, float& rCol, int nOutRows, int nOutCols, float fInRow, float fInCol, int nInRows,
                      int nInCols) const
{
    float fP = 0.0f;
    float fQ = 0.0f;
    map(fP, fQ, (fInRow + 0.5f) / static_cast<float>(nInRows), (fInCol + 0.5f) / static_cast<float>(nInCols));
    rRow = static_cast<float>(nOutRows) * fP - 0.5f;
    rCol = static_cast<float>(nOutCols) * fQ - 0.5f;
}

} // namespace kestrova
