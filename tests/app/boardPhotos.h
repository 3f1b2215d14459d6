// Photos of a board by known cameras, of any shape and lens, so that a calibration can be held against the truth.
#pragma once

#include "boards/Board.h"
#include "boards/SetRefinement.h"
#include "cameras/CameraModel.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

namespace kestrova::app {

// The board's turn and place in the camera's own frame, from those in the right camera's.
inline BoardPose seenFrom(const MountedCamera& rCamera, const BoardPose& rPose)
{
    cv::Vec3d turn;
    cv::Rodrigues(rCamera.m_rotation.t() * turnMatrix(rPose.m_turn), turn);
    return {turn, rCamera.m_rotation.t() * (rPose.m_place - rCamera.m_translation)};
}

// Pixels of points of the board, in squares from its first corner; none when one is beside or behind the camera.
inline Points boardPixels(const MountedCamera& rCamera, const BoardPose& rPose, const Points& rSquares, double dSquare)
{
    const BoardPose pose = seenFrom(rCamera, rPose);
    Points rays;
    for (const cv::Point2d& rPoint : rSquares) {
        const cv::Vec3d at = turnMatrix(pose.m_turn) * (dSquare * cv::Vec3d(rPoint.x, rPoint.y, 0)) + pose.m_place;
        if (!(at[2] > 0.05 * cv::norm(at))) {
            return {};
        }
        rays.emplace_back(at[0] / at[2], at[1] / at[2]);
    }
    return projectRays(rCamera.m_model, rays);
}

// The rim of the board's paper, in squares.
inline Points paperRim(cv::Size inner)
{
    Points rim;
    for (double d = 0.0; d < 1.0; d += 0.1) {
        const double dX = -2.0 + d * (inner.width + 3);
        const double dY = -2.0 + d * (inner.height + 3);
        rim.insert(rim.end(), {{dX, -2.0},
                               {inner.width + 1.0, dY},
                               {inner.width + 1.0 - (dX + 2.0), inner.height + 1.0},
                               {-2.0, inner.height + 1.0 - (dY + 2.0)}});
    }
    return rim;
}

inline bool seesBoard(const MountedCamera& rCamera, const BoardPose& rPose, const Board& rBoard)
{
    const Points rim = boardPixels(rCamera, rPose, paperRim(rBoard.m_inner), rBoard.m_dSquare);
    const cv::Rect2d frame({0, 0}, cv::Size2d(rCamera.m_model.m_size));
    return !rim.empty() && std::all_of(rim.begin(), rim.end(), [&](const auto& r) { return frame.contains(r); });
}

// Boards all over the frames, near and far, tilted, and whole in the eyes of every camera.
inline std::vector<BoardPose> posesAcross(const CameraSet& rSet, const Board& rBoard, int nPoses, int nSeed = 7)
{
    const CameraModel& rRight = rSet.at(KestrovaCamRight).m_model;
    const cv::Vec3d middle(0.5 * (rBoard.m_inner.width - 1), 0.5 * (rBoard.m_inner.height - 1), 0);
    const double dAcross = rBoard.m_dSquare * cv::norm(middle) * 2.0;
    std::vector<BoardPose> poses;
    cv::RNG rng(static_cast<std::uint64_t>(nSeed));
    for (int nTry = 0; static_cast<int>(poses.size()) < nPoses && nTry < 100000; ++nTry) {
        const cv::Point2d aim(rng.uniform(0.0, 1.0) * rRight.m_size.width,
                              rng.uniform(0.0, 1.0) * rRight.m_size.height);
        const cv::Point2d ray = raysOfPixels(rRight, {aim})[0];
        const cv::Vec3d towards = cv::normalize(cv::Vec3d(ray.x, ray.y, 1.0));
        const double dPixels = rng.uniform(0.35, 0.75) * std::min(rRight.m_size.width, rRight.m_size.height);
        cv::Vec3d axis = cv::Vec3d(0, 0, 1).cross(towards); // faces the camera, then tilted
        if (cv::norm(axis) > 0.0) {
            axis *= std::acos(towards[2]) / cv::norm(axis);
        }
        const cv::Vec3d tilt(rng.uniform(-0.55, 0.55), rng.uniform(-0.55, 0.55), rng.uniform(-0.4, 0.4));
        const cv::Matx33d R = turnMatrix(axis) * turnMatrix(tilt);
        cv::Vec3d turn;
        cv::Rodrigues(R, turn);
        const double dDistance = rRight.m_cameraMatrix(0, 0) * dAcross / dPixels;
        const BoardPose pose{turn, dDistance * towards - R * (middle * rBoard.m_dSquare)};
        if (std::all_of(rSet.begin(), rSet.end(), [&](const auto& r) { return seesBoard(r.second, pose, rBoard); })) {
            poses.push_back(pose);
        }
    }
    return poses;
}

// Rays of the pixels of a camera, `nFine` to each side of a pixel. Large frames take every sixteenth and what is
// between.
inline cv::Mat2d raysOfFrame(const CameraModel& rCamera, int nFine)
{
    const cv::Size size = rCamera.m_size;
    const int nStep = size.area() > 1'000'000 ? 16 : 1;
    const int nRim = nStep == 1 ? 0 : 2;
    const cv::Size coarse(size.width / nStep + 2 * nRim, size.height / nStep + 2 * nRim);
    const cv::Size grid = nStep == 1 ? size * nFine : coarse;
    const double dStep = nStep == 1 ? 1.0 / nFine : nStep;
    Points pixels;
    for (int i = 0; i < grid.area(); ++i) {
        pixels.emplace_back((i % grid.width - nRim + 0.5) * dStep - 0.5, (i / grid.width - nRim + 0.5) * dStep - 0.5);
    }
    const Points rays = raysOfPixels(rCamera, pixels);
    const cv::Mat2d known = cv::Mat2d(rays.size() ? cv::Mat(rays, true) : cv::Mat()).reshape(2, grid.height);
    if (nStep == 1) {
        return known;
    }
    cv::Mat2d all;
    cv::resize(known, all, grid * nStep * nFine, 0, 0, cv::INTER_LINEAR);
    return all(cv::Rect({nRim * nStep * nFine, nRim * nStep * nFine}, size * nFine)).clone();
}

// What a camera sees of the board: white paper, black squares, dim grey around.
class BoardPhotographer
{
public:
    explicit BoardPhotographer(const MountedCamera& rCamera)
        : m_camera(rCamera), m_nFine(rCamera.m_model.m_size.area() > 1'000'000 ? 2 : 3),
          m_rays(raysOfFrame(rCamera.m_model, m_nFine))
    {}

    cv::Mat1b operator()(const BoardPose& rPose, const Board& rBoard) const
    {
        const BoardPose pose = seenFrom(m_camera, rPose);
        const cv::Matx33d R = turnMatrix(pose.m_turn);
        const cv::Matx33d toBoard = cv::Matx33d(R(0, 0), R(0, 1), pose.m_place[0], R(1, 0), R(1, 1), pose.m_place[1],
                                                R(2, 0), R(2, 1), pose.m_place[2])
                                        .inv();
        cv::Mat1b fine(m_rays.size());
        for (int nRow = 0; nRow < fine.rows; ++nRow) {
            for (int nCol = 0; nCol < fine.cols; ++nCol) {
                const cv::Vec2d& rRay = m_rays(nRow, nCol);
                const cv::Vec3d at = toBoard * cv::Vec3d(rRay[0], rRay[1], 1.0);
                fine(nRow, nCol) = shade(at[0] / at[2] / rBoard.m_dSquare, at[1] / at[2] / rBoard.m_dSquare,
                                         at[2] > 0.0, rBoard.m_inner);
            }
        }
        cv::Mat1b image;
        cv::resize(fine, image, m_camera.m_model.m_size, 0, 0, cv::INTER_AREA);
        return image;
    }

private:
    static unsigned char shade(double dX, double dY, bool bAhead, cv::Size inner)
    {
        const bool bPaper = bAhead && dX >= -2.0 && dY >= -2.0 && dX < inner.width + 1.0 && dY < inner.height + 1.0;
        if (!bPaper) {
            return 110;
        }
        const int nCol = static_cast<int>(std::floor(dX)) + 1;
        const int nRow = static_cast<int>(std::floor(dY)) + 1;
        const bool bBoard = nCol >= 0 && nRow >= 0 && nCol <= inner.width && nRow <= inner.height;
        return bBoard && (nCol + nRow) % 2 == 0 ? 25 : 220;
    }

    MountedCamera m_camera;
    int m_nFine;
    cv::Mat2d m_rays;
};

// Two cameras that are not alike, 60 mm apart, a degree turned, their centres beside the middle. Focal length and
// centre go with the larger side of the frame.
inline CameraSet knownPair(cv::Size size, Lens eLens, const std::vector<double>& rDistortion, double dFocal)
{
    const double d = std::max(size.width, size.height);
    const auto camera = [&](double dTimes, double dX, double dY) {
        const cv::Matx33d K(dTimes * dFocal * d, 0, 0.5 * (size.width - 1) + dX * d, 0, dTimes * 1.002 * dFocal * d,
                            0.5 * (size.height - 1) + dY * d, 0, 0, 1);
        return CameraModel{size, K, rDistortion, eLens};
    };
    cv::Matx33d R;
    cv::Rodrigues(cv::Vec3d(0.014, -0.018, 0.012), R);
    return {{KestrovaCamRight, {camera(1.0, 0.008, -0.006), cv::Matx33d::eye(), {}}},
            {KestrovaCamLeft, {camera(0.98, -0.01, 0.005), R, {-0.06, 0.0008, -0.0006}}}};
}

} // namespace kestrova::app
