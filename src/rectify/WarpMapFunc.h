// A map from the coordinates of one image to those of another: two splines and four adjustments.
//
// The destination is the image whose coordinate the caller holds, the source the one that is looked up, as a warp fills
// a destination from a source. Splines are normalised, so one map serves every resolution. Any number of threads may
// map at once, as long as none changes an adjustment.
#pragma once

#include "rectify/WarpSpline.h"

#include <memory>

namespace kestrova {

class WarpMapFunc
{
public:
    /** Copies both splines. The focal lengths are kept and not used; adjustments are in normalised units. */
    WarpMapFunc(const WarpSpline& rRowSpline, const WarpSpline& rColSpline, double dFocalLengthCols,
                double dFocalLengthRows, double dSourceX, double dSourceY, double dDestinationX, double dDestinationY);
    WarpMapFunc(const WarpMapFunc&) = delete;
    WarpMapFunc& operator=(const WarpMapFunc&) = delete;

    /** The same splines and focal lengths; the adjustments of a clone are 0. */
    [[nodiscard]] virtual std::unique_ptr<WarpMapFunc> clone() const;
    virtual ~WarpMapFunc();
    /** Normalised to normalised. The result lies within 0 to 1 whatever goes in, NaN included. */
    virtual void map(float& rRow, float& rCol, float fInRow, float fInCol) const;

    /** Pixels of an image of in-size to pixels of one of out-size: within -0.5 to size - 0.5. */
    void map(float& rRow, float& rCol, int nOutRows, int nOutCols, float fInRow, float fInCol, int nInRows,
             int nInCols) const;

    /** As construction, on this object. Always true. */
    bool init(const WarpSpline& rRowSpline, const WarpSpline& rColSpline, double dFocalLengthCols,
              double dFocalLengthRows, double dSourceX, double dSourceY, double dDestinationX, double dDestinationY);

    /** Added to the output; always true. */
    bool setSourceAdjustment(double dX, double dY);
    /** Subtracted from the input; always true. */
    bool setDestinationAdjustment(double dX, double dY);
    void getSourceAdjustment(double* pdX, double* pdY) const;
    void getDestinationAdjustment(double* pdX, double* pdY) const;

private:
    WarpSpline m_colSpline; // gives the column of the output
    WarpSpline m_rowSpline;
    double m_dFocalLengthCols;
    double m_dFocalLengthRows;
    double m_dSourceAdjustmentX;
    double m_dSourceAdjustmentY;
    double m_dDestinationAdjustmentX;
    double m_dDestinationAdjustmentY;
};

} // namespace kestrova
