#include "outputs/LeftView.h"

#include "outputs/DisparityCodes.h"
#include "outputs/TruthComparison.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kestrova::app {

namespace {

// For each column the disparity of the farther of the next ones with a disparity, to either side; 0 in an empty row.
std::vector<float> fartherNeighbours(const cv::Mat1f& rRow)
{
    const auto nCols = static_cast<std::size_t>(rRow.cols);
    std::vector<float> neighbours(nCols, std::numeric_limits<float>::infinity());
    const auto sweep = [&](bool bForward) {
        float fLast = std::numeric_limits<float>::infinity();
        for (std::size_t n = 0; n < nCols; ++n) {
            const std::size_t nCol = bForward ? n : nCols - 1 - n;
            if (const float fHere = rRow(0, static_cast<int>(nCol)); std::isfinite(fHere)) {
                fLast = fHere;
            }
            neighbours[nCol] = std::min(neighbours[nCol], fLast);
        }
    };
    sweep(true);
    sweep(false);
    if (!neighbours.empty() && !std::isfinite(neighbours.front())) {
        std::fill(neighbours.begin(), neighbours.end(), 0.0f);
    }
    return neighbours;
}

// Where disparity rises by one step between two neighbours of the right image, a slope, nothing goes to the column
// between their places. They tell the disparity there, in 256ths as all others are. A rejected pixel between them would
// have kept them one column further apart.
void closeSlopes(cv::Mat1f row)
{
    const cv::Mat1f before = row.clone();
    for (int nCol = 1; nCol + 1 < row.cols; ++nCol) {
        const float fFirst = before(0, nCol - 1);
        const float fSecond = before(0, nCol + 1);
        if (!std::isfinite(before(0, nCol)) && std::isfinite(fFirst) && std::isfinite(fSecond) &&
            std::lround(fSecond) == std::lround(fFirst) + 1) {
            row(0, nCol) = std::round(128.0f * (fFirst + fSecond)) / 256.0f;
        }
    }
}

} // namespace

DisparityMap mapFromLeft(const DisparityMap& rRightView)
{
    DisparityMap left{toLeftView(rRightView.m_pixels), cv::Mat1b(rRightView.m_reject.size(), uchar(0))};
    for (int nRow = 0; nRow < left.m_pixels.rows; ++nRow) {
        closeSlopes(left.m_pixels.row(nRow));
        const std::vector<float> neighbours = fartherNeighbours(left.m_pixels.row(nRow));
        for (int nCol = 0; nCol < left.m_pixels.cols; ++nCol) {
            if (std::isfinite(left.m_pixels(nRow, nCol))) {
                continue;
            }
            const long nFrom = nCol - std::lround(neighbours[static_cast<std::size_t>(nCol)]);
            Reject eReject = Reject::Outside;
            if (nFrom >= 0 && nFrom < left.m_pixels.cols) {
                eReject = static_cast<Reject>(rRightView.m_reject(nRow, static_cast<int>(nFrom)));
            }
            left.m_reject(nRow, nCol) = static_cast<unsigned char>(eReject == Reject::None ? Reject::Hidden : eReject);
        }
    }
    return left;
}

StereoResult seenFromLeft(StereoResult result, const RejectCodes& rCodes)
{
    result.m_bSeenFromLeft = true;
    result.m_map16 = mapFromLeft(result.m_map16);
    result.m_disparity16 = nativeCodes(result.m_map16, result.m_nOffset, rCodes);
    for (CloudPoint& rPoint : result.m_cloud) {
        rPoint.m_position.x += result.m_optics.m_fBaseline; // the left camera stands at -B of the right one's x axis
    }
    return result;
}

} // namespace kestrova::app
