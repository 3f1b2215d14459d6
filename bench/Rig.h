// A handle on a horizontal pair, through the public interface, with a mild lens in its maps or none.
#pragma once

#include "kestrova.h"

#include <opencv2/core.hpp>

#include <memory>

namespace bench {

struct ContextDeleter
{
    void operator()(KestrovaContextHandle* pContext) const { kestrovaDestroyContext(pContext); }
};
using Context = std::unique_ptr<KestrovaContextHandle, ContextDeleter>;

/** Ends the program with the call's text unless it succeeded. */
void check(KestrovaError error, const char* pszCall);

/** One thread, disparities 0 to nDisparities - 1, window 11 unless changed. */
Context makeContext(int nRows, int nCols, int nDisparities, double dRadialDistortion);

/** The raw frame of a pair: right on red, left on green. The images must outlive it. */
KestrovaInput makeInput(const cv::Mat& rRight, const cv::Mat& rLeft);

/** Where a lens of that strength takes a point, in fractions of rows and columns. */
struct Point
{
    double m_dRow;
    double m_dCol;
};
Point distort(double dRow, double dCol, double dStrength);

/** A map for cv::remap of the same kind as the rig's, without fractions if it is for the nearest pixel. */
void remapTables(cv::Size size, cv::Size raw, double dRadialDistortion, bool bNearest, cv::Mat& rFixed,
                 cv::Mat& rFractions);

/** What a camera with that lens sees of a rectified image. */
cv::Mat rawFrame(const cv::Mat& rRectified, cv::Size raw, double dRadialDistortion);

} // namespace bench
