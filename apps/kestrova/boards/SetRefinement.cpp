#include "boards/SetRefinement.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

cv::Matx33d turnMatrix(const cv::Vec3d& rTurn)
{
    cv::Matx33d R;
    cv::Rodrigues(rTurn, R);
    return R;
}

static cv::Vec3d turnVector(const cv::Matx33d& rTurn)
{
    cv::Vec3d turn;
    cv::Rodrigues(rTurn, turn);
    return turn;
}

BoardPose boardPose(const CameraModel& rLens, const Board& rBoard, const Corners& rCorners)
{
    const Points rays = raysOfPixels(rLens, Points(rCorners.begin(), rCorners.end()));
    BoardPose pose;
    cv::solvePnP(rBoard.points(), rays, cv::Matx33d::eye(), cv::noArray(), pose.m_turn, pose.m_place);
    return pose;
}

// The unknowns stand in one row of numbers: for each camera its lens and, but for the right one, its place; then the
// board of each shot, seen from the right camera.
class Adjustment
{
public:
    Adjustment(const CameraSet& rSet, Shots& rShots);

    void solve();
    CameraSet set() const;
    void tellErrors();

private:
    struct Block // one photo
    {
        View* m_pView;
        KestrovaCamera m_eCamera;
        int m_nPose; // first unknown of its board
    };
    static constexpr int sk_nPose = 6;

    int nLens(KestrovaCamera eCamera) const
    {
        return 4 + static_cast<int>(m_start.at(eCamera).m_model.m_adDistortion.size());
    }
    CameraModel lensOf(KestrovaCamera eCamera, const std::vector<double>& rX) const;
    BoardPose poseAt(const std::vector<double>& rX, int nFirst) const;
    std::vector<int> unknownsOf(const Block& rBlock) const;
    cv::Mat1d misses(const Block& rBlock, const std::vector<double>& rX) const;
    double cost(const std::vector<double>& rX) const;
    double weight(double dError) const { return std::min(1.0, m_dUsual / std::max(dError, 1e-12)); }
    void equations(cv::Mat1d& rA, cv::Mat1d& rB) const;

    CameraSet m_start;
    std::vector<cv::Point3d> m_points;
    PerCamera<int> m_firstOfCamera;
    std::vector<Block> m_blocks;
    std::vector<double> m_x;
    double m_dUsual = 1.0; // pixels RMS of a photo beyond which it pulls less
};

Adjustment::Adjustment(const CameraSet& rSet, Shots& rShots) : m_start(rSet)
{
    for (const cv::Point3f& rPoint : rShots.m_board.points())
        m_points.emplace_back(rPoint);
    const auto add = [&](const cv::Vec3d& rV) { m_x.insert(m_x.end(), rV.val, rV.val + 3); };
    for (const auto& [eCamera, rCamera] : rSet) {
        m_firstOfCamera[eCamera] = static_cast<int>(m_x.size());
        const cv::Matx33d& K = rCamera.m_model.m_K;
        m_x.insert(m_x.end(), {K(0, 0), K(1, 1), K(0, 2), K(1, 2)});
        m_x.insert(m_x.end(), rCamera.m_model.m_adDistortion.begin(), rCamera.m_model.m_adDistortion.end());
        if (eCamera != KestrovaCamRight) {
            add(turnVector(rCamera.m_R.t()));
            add(-(rCamera.m_R.t() * rCamera.m_T));
        }
    }
    std::vector<double> usual;
    for (Shot& rShot : rShots.m_shots) {
        const auto nUsed = std::count_if(rShot.begin(), rShot.end(), [](const auto& r) { return r.second.isUsed(); });
        View& rRight = rShot.at(KestrovaCamRight);
        if (!rRight.isUsed() || nUsed < 2)
            continue;
        const int nPose = static_cast<int>(m_x.size());
        const BoardPose pose = boardPose(rSet.at(KestrovaCamRight).m_model, rShots.m_board, rRight.m_corners);
        add(pose.m_turn);
        add(pose.m_place);
        for (auto& [eCamera, rView] : rShot)
            if (rView.isUsed()) {
                m_blocks.push_back({&rView, eCamera, nPose});
                usual.push_back(rView.m_dLensError);
            }
    }
    m_dUsual = std::max(3.0 * medianOf(usual), 1e-3);
}

CameraModel Adjustment::lensOf(KestrovaCamera eCamera, const std::vector<double>& rX) const
{
    CameraModel lens = m_start.at(eCamera).m_model;
    const double* pX = rX.data() + m_firstOfCamera.at(eCamera);
    lens.m_K = {pX[0], 0, pX[2], 0, pX[1], pX[3], 0, 0, 1};
    std::copy_n(pX + 4, lens.m_adDistortion.size(), lens.m_adDistortion.begin());
    return lens;
}

BoardPose Adjustment::poseAt(const std::vector<double>& rX, int nFirst) const
{
    const double* pX = rX.data() + nFirst;
    return {{pX[0], pX[1], pX[2]}, {pX[3], pX[4], pX[5]}};
}

std::vector<int> Adjustment::unknownsOf(const Block& rBlock) const
{
    std::vector<int> unknowns;
    const int nOfCamera = nLens(rBlock.m_eCamera) + (rBlock.m_eCamera == KestrovaCamRight ? 0 : sk_nPose);
    for (int i = 0; i < nOfCamera; ++i)
        unknowns.push_back(m_firstOfCamera.at(rBlock.m_eCamera) + i);
    for (int i = 0; i < sk_nPose; ++i)
        unknowns.push_back(rBlock.m_nPose + i);
    return unknowns;
}

cv::Mat1d Adjustment::misses(const Block& rBlock, const std::vector<double>& rX) const
{
    BoardPose pose = poseAt(rX, rBlock.m_nPose);
    if (rBlock.m_eCamera != KestrovaCamRight) {
        const BoardPose mounted = poseAt(rX, m_firstOfCamera.at(rBlock.m_eCamera) + nLens(rBlock.m_eCamera));
        const cv::Matx33d R = turnMatrix(mounted.m_turn);
        pose = {turnVector(R * turnMatrix(pose.m_turn)), R * pose.m_place + mounted.m_place};
    }
    const CameraModel lens = lensOf(rBlock.m_eCamera, rX);
    Points seen;
    if (lens.m_eLens == Lens::Equidistant)
        cv::fisheye::projectPoints(m_points, seen, pose.m_turn, pose.m_place, lens.m_K, lens.m_adDistortion);
    else
        cv::projectPoints(m_points, pose.m_turn, pose.m_place, lens.m_K, lens.m_adDistortion, seen);
    cv::Mat1d off(static_cast<int>(2 * seen.size()), 1);
    for (std::size_t u = 0; u < seen.size(); ++u) {
        off(static_cast<int>(2 * u)) = seen[u].x - rBlock.m_pView->m_corners[u].x;
        off(static_cast<int>(2 * u + 1)) = seen[u].y - rBlock.m_pView->m_corners[u].y;
    }
    return off;
}

static double errorOf(const cv::Mat1d& rMisses)
{
    return cv::norm(rMisses) / std::sqrt(rMisses.rows / 2.0);
}

// Square within the usual error of a photo, a straight line beyond it.
double Adjustment::cost(const std::vector<double>& rX) const
{
    double dSum = 0.0;
    for (const Block& rBlock : m_blocks) {
        const double dError = errorOf(misses(rBlock, rX));
        dSum += dError <= m_dUsual ? dError * dError : m_dUsual * (2.0 * dError - m_dUsual);
    }
    return std::isfinite(dSum) ? dSum : 1e300;
}

void Adjustment::equations(cv::Mat1d& rA, cv::Mat1d& rB) const
{
    rA = cv::Mat1d::zeros(static_cast<int>(m_x.size()), static_cast<int>(m_x.size()));
    rB = cv::Mat1d::zeros(static_cast<int>(m_x.size()), 1);
    std::vector<double> x = m_x;
    for (const Block& rBlock : m_blocks) {
        const std::vector<int> unknowns = unknownsOf(rBlock);
        const cv::Mat1d off = misses(rBlock, x);
        cv::Mat1d slopes(off.rows, static_cast<int>(unknowns.size()));
        for (int i = 0; i < slopes.cols; ++i) {
            double& rValue = x[static_cast<std::size_t>(unknowns[static_cast<std::size_t>(i)])];
            const double dKept = rValue;
            const double dStep = 1e-6 * std::max(1.0, std::abs(dKept));
            rValue = dKept + dStep;
            const cv::Mat1d above = misses(rBlock, x);
            rValue = dKept - dStep;
            cv::Mat1d(((above - misses(rBlock, x)) / (2.0 * dStep))).copyTo(slopes.col(i));
            rValue = dKept;
        }
        const double dWeight = weight(errorOf(off));
        const cv::Mat1d A(slopes.t() * slopes * dWeight);
        const cv::Mat1d b(slopes.t() * off * dWeight);
        for (int i = 0; i < slopes.cols; ++i) {
            const int nRow = unknowns[static_cast<std::size_t>(i)];
            rB(nRow) -= b(i);
            for (int k = 0; k < slopes.cols; ++k)
                rA(nRow, unknowns[static_cast<std::size_t>(k)]) += A(i, k);
        }
    }
}

// Damped least squares: steps that make it worse are taken back and shortened.
void Adjustment::solve()
{
    double dDamping = 1e-3;
    double dCost = cost(m_x);
    for (int nRound = 0; nRound < 60 && dDamping < 1e10; ++nRound) {
        cv::Mat1d A, b;
        equations(A, b);
        const double dBefore = dCost;
        for (; dDamping < 1e10; dDamping *= 10.0) {
            cv::Mat1d damped = A.clone();
            for (int i = 0; i < A.rows; ++i)
                damped(i, i) += dDamping * A(i, i) + 1e-12;
            cv::Mat1d step;
            std::vector<double> moved = m_x;
            if (!cv::solve(damped, b, step, cv::DECOMP_CHOLESKY))
                continue;
            for (std::size_t u = 0; u < moved.size(); ++u)
                moved[u] += step(static_cast<int>(u));
            if (const double dNow = cost(moved); dNow < dCost) {
                m_x = std::move(moved);
                dCost = dNow;
                dDamping /= 10.0;
                break;
            }
        }
        if (dBefore - dCost < 1e-9 * dBefore)
            return;
    }
}

CameraSet Adjustment::set() const
{
    CameraSet set = m_start;
    for (auto& [eCamera, rCamera] : set) {
        rCamera.m_model = lensOf(eCamera, m_x);
        if (eCamera == KestrovaCamRight)
            continue;
        const BoardPose mounted = poseAt(m_x, m_firstOfCamera.at(eCamera) + nLens(eCamera));
        rCamera.m_R = turnMatrix(mounted.m_turn).t();
        rCamera.m_T = -(rCamera.m_R * mounted.m_place);
    }
    return set;
}

void Adjustment::tellErrors()
{
    for (const Block& rBlock : m_blocks)
        rBlock.m_pView->m_dSetError = errorOf(misses(rBlock, m_x));
}

void refineSet(CameraSet& rSet, Shots& rShots)
{
    Adjustment adjustment(rSet, rShots);
    adjustment.solve();
    adjustment.tellErrors();
    rSet = adjustment.set();
}

} // namespace kestrova::app
