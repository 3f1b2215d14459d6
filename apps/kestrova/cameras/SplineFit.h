// Least-squares fit of the spline maps that a calibration text carries.
//
// A map is two cubic tensor-product surfaces over the unit square, one for the column and one for the row, on clamped
// uniform knots. Pixel p of an axis of length N stands at (p + 0.5) / N, so one fit serves every resolution.
#pragma once

#include "cameras/RectificationPlan.h"

#include <algorithm>
#include <functional>

namespace kestrova::app {

struct SplineSurface
{
    int m_nCoefs = 0;               // per axis
    std::vector<double> m_adKnotsX; // m_nCoefs + 4, along the columns
    std::vector<double> m_adKnotsY;
    std::vector<double> m_adCoefs; // column-direction index times m_nCoefs + row-direction index, the order of the text

    /** Outside 0 to 1 the outermost polynomial pieces go on. */
    double operator()(double dX, double dY) const;
};

struct SplineMap
{
    SplineSurface m_column;
    SplineSurface m_row;

    /** Pixel of an image of size `from` to pixel of an image of size `to`. Not clamped to the image. */
    cv::Point2d operator()(const cv::Point2d& rPixel, cv::Size from, cv::Size to) const;
};

using PixelFunction = std::function<Points(const Points&)>;

/**
 * Fits a function from pixels of one image to pixels of another. 24 coefficients an axis hold ordinary lenses to a few
 * thousandths of a pixel.
 */
SplineMap fitSplineMap(const PixelFunction& rFunction, cv::Size from, cv::Size to, int nCoefs = 24);

/** The map that leaves every pixel where it is. */
SplineMap identitySplineMap();

/** Both directions of one camera, with the largest errors in pixels, within the reach of the lens model. */
struct CameraMaps
{
    SplineMap m_rawFromRectified;
    SplineMap m_rectifiedFromRaw;
    double m_dForwardError = 0.0;   // over rectified pixels that come from inside the raw frame
    double m_dInverseError = 0.0;   // over raw pixels that land inside the rectified image
    double m_dRoundTripError = 0.0; // raw to rectified to raw, over the same pixels
    double m_dForwardRms = 0.0;
    double m_dInverseRms = 0.0;
    double m_dLostShare = 0.0; // of the raw pixels: beyond the reach of the lens model
    int m_nCoefs = 0;

    double worstRms() const { return std::max(m_dForwardRms, m_dInverseRms); }
    double largestError() const { return std::max({m_dForwardError, m_dInverseError, m_dRoundTripError}); }
};

CameraMaps fitCameraMaps(const CameraModel& rCamera, const cv::Matx33d& rRotation, const RectificationPlan& rPlan,
                         int nCoefs = 24);

} // namespace kestrova::app
