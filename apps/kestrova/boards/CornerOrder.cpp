#include "boards/CornerOrder.h"

#include "boards/SetRefinement.h"

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

cv::Matx33d boardTurn(const CameraModel& rLens, const Board& rBoard, const Corners& rCorners)
{
    return turnMatrix(boardPose(rLens, rBoard, rCorners).m_turn);
}

double angleBetween(const cv::Matx33d& rA, const cv::Matx33d& rB)
{
    return std::acos(std::clamp((cv::trace(rA.t() * rB) - 1.0) / 2.0, -1.0, 1.0));
}

// Turns between the two cameras that a shot allows, one for each way to read the board.
struct Choices
{
    View* m_pView;
    std::vector<Corners> m_orders;
    std::vector<cv::Matx33d> m_turns;

    std::size_t nearest(const cv::Matx33d& rTurn) const
    {
        const auto best = std::min_element(m_turns.begin(), m_turns.end(), [&](const auto& rA, const auto& rB) {
            return angleBetween(rA, rTurn) < angleBetween(rB, rTurn);
        });
        return static_cast<std::size_t>(best - m_turns.begin());
    }
};

cv::Matx33d agreedTurn(const std::vector<Choices>& rShots)
{
    cv::Matx33d best = cv::Matx33d::eye();
    double dLeast = 1e9;
    for (const Choices& rProposer : rShots) {
        for (const cv::Matx33d& rTurn : rProposer.m_turns) {
            double dCost = 0.01 * angleBetween(rTurn, cv::Matx33d::eye()); // cameras stand upright, all else equal
            for (const Choices& rShot : rShots) { // a bad shot costs no more than half a radian
                dCost += std::min(angleBetween(rShot.m_turns[rShot.nearest(rTurn)], rTurn), 0.5);
            }
            if (dCost < dLeast) {
                dLeast = dCost;
                best = rTurn;
            }
        }
    }
    return best;
}

} // namespace

void orderCorners(Shots& rShots, const PerCamera<CameraModel>& rLenses)
{
    for (const auto& [eCamera, rLens] : rLenses) {
        if (eCamera == KestrovaCamRight) {
            continue;
        }
        std::vector<Choices> choices;
        for (Shot& rShot : rShots.m_shots) {
            const View& rRight = rShot.at(KestrovaCamRight);
            View& rOther = rShot.at(eCamera);
            if (!rRight.isUsed() || !rOther.isUsed()) {
                continue;
            }
            const cv::Matx33d right = boardTurn(rLenses.at(KestrovaCamRight), rShots.m_board, rRight.m_corners);
            choices.push_back({&rOther, turnings(rOther.m_corners, rShots.m_board.m_inner), {}});
            Choices& rChoices = choices.back();
            for (const Corners& rOrder : rChoices.m_orders) {
                rChoices.m_turns.push_back(right * boardTurn(rLens, rShots.m_board, rOrder).t());
            }
        }
        const cv::Matx33d agreed = agreedTurn(choices);
        for (Choices& rShot : choices) {
            rShot.m_pView->m_corners = rShot.m_orders[rShot.nearest(agreed)];
        }
    }
}

} // namespace kestrova::app
