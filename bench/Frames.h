// A synthetic rectified pair: a slanted textured plane with a little noise, the same for every run.
#pragma once

#include <opencv2/core.hpp>

namespace bench {

struct Size
{
    int m_nRows;
    int m_nCols;
    int m_nDisparities;
};

struct Frames
{
    cv::Mat m_right;     // 8-bit, the reference
    cv::Mat m_left;      // 8-bit
    cv::Mat m_disparity; // float, pixels, at the right image's pixels
};

/** Disparity runs from a quarter to three quarters of nDisparities, down the rows and across the columns. */
Frames makeFrames(int nRows, int nCols, int nDisparities);

/** A rectified pair of files, brought to a size; its disparities are not known. */
Frames readFrames(int nRows, int nCols, const char* pszLeft, const char* pszRight);

/** What a camera displaced along rows sees of the frames; pixels that none of the reference's covers stay the left
 * ones. */
cv::Mat displacedAlongRows(const Frames& rFrames);

} // namespace bench
