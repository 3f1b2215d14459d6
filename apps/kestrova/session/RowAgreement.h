// Do matching details of two images stand in the same row? Measured in the pictures themselves, without a calibration.
//
// Corners of the right image are looked for in the left one, rows included. In a well rectified pair they differ by a
// small fraction of a row; in raw frames by many rows.
#pragma once

#include <opencv2/core.hpp>

#include <vector>

namespace kestrova::app {

struct RowAgreement
{
    int m_nPoints = 0;        // details found again
    double m_dMeanRows = 0.0; // mean of the differences, signs dropped
    double m_dWorst5th = 0.0; // 95 of 100 differ by less
};

struct SearchReach
{
    int m_nFirstColumn = 0; // of the left image relative to the right one
    int m_nLastColumn = 64;
    int m_nRows = 4; // up and down
};

/** A detail of the right image, found again in the left one. */
struct FoundDetail
{
    cv::Point m_right;
    cv::Point m_left;     // to the nearest pixel
    double m_dRows = 0.0; // by how many rows it stands lower in the left image
};
std::vector<FoundDetail> findCorners(const cv::Mat1b& rRight, const cv::Mat1b& rLeft, const SearchReach& rReach,
                                     const cv::Mat1b& rMask);

/** The mask says which pixels of the right image may be used (not 0); an empty one allows all. */
RowAgreement measureRows(const cv::Mat1b& rRight, const cv::Mat1b& rLeft, const SearchReach& rReach,
                         const cv::Mat1b& rMask);

} // namespace kestrova::app
