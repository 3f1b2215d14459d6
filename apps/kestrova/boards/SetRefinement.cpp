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

namespace {

cv::Vec3d turnVector(const cv::Matx33d& rTurn)
{
    cv::Vec3d turn;
    cv::Rodrigues(rTurn, turn);
    return turn;
}

Points project(const CameraModel& rLens, const std::vector<cv::Point3d>& rPoints, const BoardPose& rPose)
{
    Points seen;
    if (rLens.m_eLens == Lens::Equidistant) {
        cv::fisheye::projectPoints(rPoints, seen, rPose.m_turn, rPose.m_place, rLens.m_cameraMatrix,
                                   rLens.m_adDistortion);
    } else {
        cv::projectPoints(rPoints, rPose.m_turn, rPose.m_place, rLens.m_cameraMatrix, rLens.m_adDistortion, seen);
    }
    return seen;
}

std::vector<cv::Point3d> pointsOf(const Board& rBoard)
{
    const std::vector<cv::Point3f> points = rBoard.points();
    return {points.begin(), points.end()};
}

cv::Mat1d missesOf(const Points& rSeen, const Corners& rCorners)
{
    cv::Mat1d off(static_cast<int>(2 * rSeen.size()), 1);
    for (std::size_t u = 0; u < rSeen.size(); ++u) {
        off(static_cast<int>(2 * u)) = rSeen[u].x - rCorners[u].x;
        off(static_cast<int>(2 * u + 1)) = rSeen[u].y - rCorners[u].y;
    }
    return off;
}

double errorOf(const cv::Mat1d& rMisses)
{
    return cv::norm(rMisses) / std::sqrt(rMisses.rows / 2.0);
}

} // namespace

double cornerError(const CameraModel& rLens, const Board& rBoard, const Corners& rCorners, const BoardPose& rPose)
{
    return errorOf(missesOf(project(rLens, pointsOf(rBoard), rPose), rCorners));
}

namespace {

// From the plane z = 1, where corners near a right angle to the axis are far out and would outweigh all others.
BoardPose poseFromRays(const CameraModel& rLens, const Board& rBoard, const Corners& rCorners)
{
    constexpr double dFar = 6.0;
    const Points rays = raysOfPixels(rLens, Points(rCorners.begin(), rCorners.end()));
    const std::vector<cv::Point3f> points = rBoard.points();
    std::vector<cv::Point3f> nearPoints;
    Points nearRays;
    for (std::size_t u = 0; u < rays.size(); ++u) {
        if (cv::norm(rays[u]) < dFar) {
            nearPoints.push_back(points[u]);
            nearRays.push_back(rays[u]);
        }
    }
    BoardPose pose;
    const bool bEnough = 3 * nearRays.size() > 2 * rays.size();
    cv::solvePnP(bEnough ? nearPoints : points, bEnough ? nearRays : rays, cv::Matx33d::eye(), cv::noArray(),
                 pose.m_turn, pose.m_place);
    return pose;
}

} // namespace

BoardPose boardPose(const CameraModel& rLens, const Board& rBoard, const Corners& rCorners)
{
    const std::vector<cv::Point3d> points = pointsOf(rBoard);
    BoardPose pose = poseFromRays(rLens, rBoard, rCorners);
    cv::Mat1d off = missesOf(project(rLens, points, pose), rCorners);
    for (int nRound = 0; nRound < 6; ++nRound) {
        cv::Mat1d slopes(off.rows, 6);
        for (int i = 0; i < 6; ++i) {
            constexpr double dStep = 1e-6;
            BoardPose moved = pose;
            (i < 3 ? moved.m_turn[i] : moved.m_place[i - 3]) += dStep;
            cv::Mat1d((missesOf(project(rLens, points, moved), rCorners) - off) / dStep).copyTo(slopes.col(i));
        }
        cv::Mat1d step;
        cv::solve(slopes, -off, step, cv::DECOMP_QR);
        BoardPose next = pose;
        for (int i = 0; i < 6; ++i) {
            (i < 3 ? next.m_turn[i] : next.m_place[i - 3]) += step(i);
        }
        const cv::Mat1d nextOff = missesOf(project(rLens, points, next), rCorners);
        if (!(cv::norm(nextOff) < (1.0 - 1e-6) * cv::norm(off))) {
            break;
        }
        pose = next;
        off = nextOff;
    }
    return pose;
}

namespace {

// The unknowns stand in one row of numbers: for each camera its lens and, but for the right one, its place; then the
// board of each shot, seen from the right camera.
class Adjustment
{
public:
    Adjustment(const CameraSet& rSet, Shots& rShots);

    void solve(int nMostRounds = 60);
    CameraSet set() const;
    void tellErrors(double View::*pError) const;
    double focalSpread() const; // of the right camera

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
    void holdSmall();

    CameraSet m_start;
    std::vector<cv::Point3d> m_points;
    PerCamera<int> m_firstOfCamera;
    std::vector<Block> m_blocks;
    std::vector<double> m_unknowns;
    std::vector<double> m_hold; // of each unknown: what its square costs, in square pixels of corners
    double m_dUsual = 1.0;      // pixels RMS of a photo beyond which it pulls less
};

Adjustment::Adjustment(const CameraSet& rSet, Shots& rShots) : m_start(rSet)
{
    for (const cv::Point3f& rPoint : rShots.m_board.points()) {
        m_points.emplace_back(rPoint);
    }
    const auto add = [&](const cv::Vec3d& rV) { m_unknowns.insert(m_unknowns.end(), rV.val, rV.val + 3); };
    for (const auto& [eCamera, rCamera] : rSet) {
        m_firstOfCamera[eCamera] = static_cast<int>(m_unknowns.size());
        const cv::Matx33d& K = rCamera.m_model.m_cameraMatrix;
        m_unknowns.insert(m_unknowns.end(), {K(0, 0), K(1, 1), K(0, 2), K(1, 2)});
        m_unknowns.insert(m_unknowns.end(), rCamera.m_model.m_adDistortion.begin(),
                          rCamera.m_model.m_adDistortion.end());
        if (eCamera != KestrovaCamRight) {
            add(turnVector(rCamera.m_rotation.t()));
            add(-(rCamera.m_rotation.t() * rCamera.m_translation));
        }
    }
    std::vector<double> usual;
    for (Shot& rShot : rShots.m_shots) {
        const auto nUsed = std::count_if(rShot.begin(), rShot.end(), [](const auto& r) { return r.second.isUsed(); });
        View& rRight = rShot.at(KestrovaCamRight);
        if (!rRight.isUsed() || (rSet.size() > 1 && nUsed < 2)) {
            continue;
        }
        const int nPose = static_cast<int>(m_unknowns.size());
        const BoardPose pose = boardPose(rSet.at(KestrovaCamRight).m_model, rShots.m_board, rRight.m_corners);
        add(pose.m_turn);
        add(pose.m_place);
        for (auto& [eCamera, rView] : rShot) {
            if (rView.isUsed()) {
                m_blocks.push_back({&rView, eCamera, nPose});
                usual.push_back(rView.m_dLensError);
            }
        }
    }
    m_dUsual = rSet.size() > 1 ? std::max(3.0 * medianOf(usual), 1e-3) : 1e9;
    holdSmall();
}

// A coefficient that moves the corner of the frame by its distance from the centre costs as much as one corner that is
// a tenth of a pixel off: nothing beside what the photos say about coefficients that they fix.
void Adjustment::holdSmall()
{
    constexpr double dCost = 1;
    static constexpr int anPowers[] = {1, 2, 0, 0, 3, 1, 2, 3}; // of the squared radius; 0 for tangential terms
    m_hold.assign(m_unknowns.size(), 0.0);
    for (const auto& [eCamera, rCamera] : m_start) {
        const CameraModel& rLens = rCamera.m_model;
        const double dRadius = 0.5 * std::hypot(rLens.m_size.width / rLens.m_cameraMatrix(0, 0),
                                                rLens.m_size.height / rLens.m_cameraMatrix(1, 1));
        for (std::size_t u = 0; u < rLens.m_adDistortion.size(); ++u) {
            const int nPower = rLens.m_eLens == Lens::Equidistant ? static_cast<int>(u) + 1 : u < 8 ? anPowers[u] : 0;
            if (nPower > 0) {
                m_hold[static_cast<std::size_t>(m_firstOfCamera.at(eCamera)) + 4 + u] =
                    dCost * std::pow(dRadius, 4 * nPower);
            }
        }
    }
}

CameraModel Adjustment::lensOf(KestrovaCamera eCamera, const std::vector<double>& rX) const
{
    CameraModel lens = m_start.at(eCamera).m_model;
    const double* pX = rX.data() + m_firstOfCamera.at(eCamera);
    lens.m_cameraMatrix = {pX[0], 0, pX[2], 0, pX[1], pX[3], 0, 0, 1};
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
    for (int i = 0; i < nOfCamera; ++i) {
        unknowns.push_back(m_firstOfCamera.at(rBlock.m_eCamera) + i);
    }
    for (int i = 0; i < sk_nPose; ++i) {
        unknowns.push_back(rBlock.m_nPose + i);
    }
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
    return missesOf(project(lensOf(rBlock.m_eCamera, rX), m_points, pose), rBlock.m_pView->m_corners);
}

// Square within the usual error of a photo, a straight line beyond it.
double Adjustment::cost(const std::vector<double>& rX) const
{
    double dSum = 0.0;
    for (const Block& rBlock : m_blocks) {
        const double dError = errorOf(misses(rBlock, rX));
        dSum += dError <= m_dUsual ? dError * dError : m_dUsual * (2.0 * dError - m_dUsual);
    }
    for (std::size_t u = 0; u < rX.size(); ++u) {
        dSum += m_hold[u] * rX[u] * rX[u] / static_cast<double>(m_points.size());
    }
    return std::isfinite(dSum) ? dSum : 1e300;
}

void Adjustment::equations(cv::Mat1d& rA, cv::Mat1d& rB) const
{
    rA = cv::Mat1d::zeros(static_cast<int>(m_unknowns.size()), static_cast<int>(m_unknowns.size()));
    rB = cv::Mat1d::zeros(static_cast<int>(m_unknowns.size()), 1);
    std::vector<double> x = m_unknowns;
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
            for (int k = 0; k < slopes.cols; ++k) {
                rA(nRow, unknowns[static_cast<std::size_t>(k)]) += A(i, k);
            }
        }
    }
    for (int i = 0; i < rA.rows; ++i) {
        rA(i, i) += m_hold[static_cast<std::size_t>(i)];
        rB(i) -= m_hold[static_cast<std::size_t>(i)] * m_unknowns[static_cast<std::size_t>(i)];
    }
}

// Damped least squares: steps that make it worse are taken back and shortened.
void Adjustment::solve(int nMostRounds)
{
    double dDamping = 1e-3;
    double dCost = cost(m_unknowns);
    for (int nRound = 0; nRound < nMostRounds && dDamping < 1e10; ++nRound) {
        cv::Mat1d A, b;
        equations(A, b);
        const double dBefore = dCost;
        for (; dDamping < 1e10; dDamping *= 10.0) {
            cv::Mat1d damped = A.clone();
            for (int i = 0; i < A.rows; ++i) {
                damped(i, i) += dDamping * A(i, i) + 1e-12;
            }
            cv::Mat1d step;
            std::vector<double> moved = m_unknowns;
            if (!cv::solve(damped, b, step, cv::DECOMP_CHOLESKY)) {
                continue;
            }
            for (std::size_t u = 0; u < moved.size(); ++u) {
                moved[u] += step(static_cast<int>(u));
            }
            if (const double dNow = cost(moved); dNow < dCost) {
                m_unknowns = std::move(moved);
                dCost = dNow;
                dDamping /= 10.0;
                break;
            }
        }
        if (dBefore - dCost < 1e-9 * dBefore) {
            return;
        }
    }
}

CameraSet Adjustment::set() const
{
    CameraSet set = m_start;
    for (auto& [eCamera, rCamera] : set) {
        rCamera.m_model = lensOf(eCamera, m_unknowns);
        if (eCamera == KestrovaCamRight) {
            continue;
        }
        const BoardPose mounted = poseAt(m_unknowns, m_firstOfCamera.at(eCamera) + nLens(eCamera));
        rCamera.m_rotation = turnMatrix(mounted.m_turn).t();
        rCamera.m_translation = -(rCamera.m_rotation * mounted.m_place);
    }
    return set;
}

void Adjustment::tellErrors(double View::*pError) const
{
    for (const Block& rBlock : m_blocks) {
        rBlock.m_pView->*pError = errorOf(misses(rBlock, m_unknowns));
    }
}

double Adjustment::focalSpread() const
{
    cv::Mat1d A, b, inverse;
    equations(A, b);
    const double dOpen =
        2.0 * static_cast<double>(m_blocks.size() * m_points.size()) - static_cast<double>(m_unknowns.size());
    if (dOpen <= 0.0 || cv::invert(A, inverse, cv::DECOMP_CHOLESKY) == 0.0) {
        return 0.0;
    }
    const int nFocal = m_firstOfCamera.at(KestrovaCamRight);
    const double dSquares = cost(m_unknowns) * static_cast<double>(m_points.size());
    return std::sqrt(inverse(nFocal, nFocal) * dSquares / dOpen) / m_unknowns[static_cast<std::size_t>(nFocal)];
}

} // namespace

void refineSet(CameraSet& rSet, Shots& rShots)
{
    Adjustment adjustment(rSet, rShots);
    adjustment.solve();
    adjustment.tellErrors(&View::m_dSetError);
    rSet = adjustment.set();
}

double refineLens(CameraModel& rLens, Shots& rShots, KestrovaCamera eCamera, int nMostRounds)
{
    Shots alone{rShots.m_board, rShots.m_size, {}};
    for (const Shot& rShot : rShots.m_shots) {
        alone.m_shots.push_back({{KestrovaCamRight, rShot.at(eCamera)}});
    }
    Adjustment adjustment({{KestrovaCamRight, {rLens, cv::Matx33d::eye(), {}}}}, alone);
    adjustment.solve(nMostRounds);
    adjustment.tellErrors(&View::m_dLensError);
    rLens = adjustment.set().at(KestrovaCamRight).m_model;
    for (std::size_t u = 0; u < alone.m_shots.size(); ++u) {
        rShots.m_shots[u].at(eCamera).m_dLensError = alone.m_shots[u].at(KestrovaCamRight).m_dLensError;
    }
    return adjustment.focalSpread();
}

} // namespace kestrova::app
