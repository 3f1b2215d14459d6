// Do the rows of two rectified images agree? Told from anything with detail that both show; no board needed.
//
// Corners of the right image are looked for in the other one, wherever they may be in a few rows, the disparity range
// apart. This is the one measure of row agreement, for check, for run and for its report.
#pragma once

#include "session/RowVerdict.h"

#include <opencv2/core.hpp>

#include <optional>

namespace kestrova::app {

/** One thing, seen in both images, to a few hundredths of a pixel. */
struct Detail
{
    cv::Point2d m_right;
    cv::Point2d m_other;
    double m_dRightGrey = 0.0; // mean around it
    double m_dOtherGrey = 0.0;
};
using Details = std::vector<Detail>;

/**
 * For a top camera hand over both images transposed. The mask, which may be empty, is of the right image. Rectified
 * details lie few rows apart, those of raw images many.
 */
Details findDetails(const cv::Mat1b& rRight, const cv::Mat1b& rOther, const cv::Mat1b& rMask,
                    std::optional<int> rows = {});

inline constexpr int sk_nFewestDetails = 20;

struct PairCheck
{
    RowErrors m_rows;                  // of the details that agree with the others
    double m_dMiddle = 0.0;            // median of the differences with their sign: the other image stands lower
    int m_nStrays = 0;                 // details left out, wrong matches most likely
    double m_dBehind = 0.0;            // share of details at negative disparity, where nothing real can be
    double m_dGain = 0.0;              // mean grey of the details, right over other
    std::vector<double> m_disparities; // of the details that agree

    bool isEnough() const { return m_rows.m_nCount >= sk_nFewestDetails; }

    /** Told where there are too few details. */
    Verdict verdict() const { return isEnough() ? rowVerdict(m_rows.m_dRms) : Verdict::Told; }
    const char* verdictText() const;
};

/** Of one frame, or of several together. */
PairCheck judgeDetails(const Details& rDetails);

/** The part of a region that is not too near to its rim to be looked for details. */
cv::Mat1b wellInside(const cv::Mat1b& rRegion);

} // namespace kestrova::app
