#include "boards/OpenCvComparison.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace kestrova::app {

PerCamera<cv::Mat1b> rectifiedShot(StereoSession& rSession, const Shot& rShot)
{
    PerCamera<cv::Mat1b> frames;
    for (const auto& [eCamera, rView] : rShot) {
        frames[eCamera] = readPhoto(rView.m_file);
    }
    rSession.preprocess(frames, FrameForm::Planes);
    for (auto& [eCamera, rFrame] : frames) {
        rFrame = rSession.image(KestrovaImgRectified, eCamera);
    }
    return frames;
}

namespace {

using Maps = std::array<cv::Mat, 2>;

PerCamera<Maps> polynomialMaps(const Rig& rRig, double dAlpha, KestrovaCamera eOther)
{
    const MountedCamera& rOther = rRig.m_set.at(eOther);
    const CameraModel& rRight = rRig.m_set.at(KestrovaCamRight).m_model;
    cv::Mat otherR, rightR, otherP, rightP, Q;
    const cv::Size canvas = rRig.m_plan.m_canvas;
    cv::stereoRectify(rOther.m_model.m_cameraMatrix, rOther.m_model.m_adDistortion, rRight.m_cameraMatrix,
                      rRight.m_adDistortion, rRight.m_size, rOther.m_rotation, rOther.m_translation, otherR, rightR,
                      otherP, rightP, Q, cv::CALIB_ZERO_DISPARITY, dAlpha, canvas);
    PerCamera<Maps> maps;
    const auto make = [&](KestrovaCamera eCamera, const CameraModel& rModel, const cv::Mat& rR, const cv::Mat& rP) {
        Maps& rMaps = maps[eCamera];
        cv::initUndistortRectifyMap(rModel.m_cameraMatrix, rModel.m_adDistortion, rR, rP, canvas, CV_32F, rMaps[0],
                                    rMaps[1]);
    };
    make(KestrovaCamRight, rRight, rightR, rightP);
    make(eOther, rOther.m_model, otherR, otherP);
    return maps;
}

// The rotations are OpenCV's. The view is ours: its own choice of focal length for wide lenses shows another scale, in
// which pixels of error would not compare.
PerCamera<Maps> equidistantMaps(const Rig& rRig, KestrovaCamera eOther)
{
    const MountedCamera& rOther = rRig.m_set.at(eOther);
    const CameraModel& rRight = rRig.m_set.at(KestrovaCamRight).m_model;
    const RectificationPlan& rPlan = rRig.m_plan;
    cv::Mat otherR, rightR, otherP, rightP, Q;
    cv::fisheye::stereoRectify(rOther.m_model.m_cameraMatrix, rOther.m_model.m_adDistortion, rRight.m_cameraMatrix,
                               rRight.m_adDistortion, rRight.m_size, cv::Mat(rOther.m_rotation),
                               cv::Mat(rOther.m_translation), otherR, rightR, otherP, rightP, Q,
                               cv::CALIB_ZERO_DISPARITY, rPlan.m_canvas);
    const cv::Matx33d P(rPlan.m_dFocal, 0, rPlan.m_centre.x, 0, rPlan.m_dFocal, rPlan.m_centre.y, 0, 0, 1);
    PerCamera<Maps> maps;
    const auto make = [&](KestrovaCamera eCamera, const CameraModel& rModel, const cv::Mat& rR) {
        Maps& rMaps = maps[eCamera];
        cv::fisheye::initUndistortRectifyMap(rModel.m_cameraMatrix, rModel.m_adDistortion, rR, P, rPlan.m_canvas,
                                             CV_32F, rMaps[0], rMaps[1]);
    };
    make(KestrovaCamRight, rRight, rightR);
    make(eOther, rOther.m_model, otherR);
    return maps;
}

PerCamera<Maps> mapsByOpenCv(const Rig& rRig, double dAlpha, KestrovaCamera eOther)
{
    return rRig.m_set.at(KestrovaCamRight).m_model.m_eLens == Lens::Equidistant ? equidistantMaps(rRig, eOther)
                                                                                : polynomialMaps(rRig, dAlpha, eOther);
}

// Row differences of the corners in one order, or nothing when a board is not found again.
std::vector<double> differences(const PerCamera<cv::Mat1b>& rImages, KestrovaCamera eOther, cv::Size inner)
{
    const auto right = findBoard(rImages.at(KestrovaCamRight), inner);
    const auto other = findBoard(rImages.at(eOther), inner);
    if (!right || !other) {
        return {};
    }
    const bool bTop = eOther == KestrovaCamTop;
    std::vector<double> best;
    double dBest = 1e300;
    for (const Corners& rOrder : turnings(*other, inner)) {
        std::vector<double> rows;
        for (std::size_t u = 0; u < rOrder.size(); ++u) {
            rows.push_back(double(bTop ? rOrder[u].x - (*right)[u].x : rOrder[u].y - (*right)[u].y));
        }
        if (const double dRms = rowErrors(rows).m_dRms; dRms < dBest) {
            dBest = dRms;
            best = std::move(rows);
        }
    }
    return best;
}

} // namespace

RectifierComparison compareRectifiers(StereoSession& rSession, const Shots& rShots, const Rig& rRig, double dAlpha,
                                      KestrovaCamera eOther)
{
    const PerCamera<Maps> maps = mapsByOpenCv(rRig, dAlpha, eOther);
    RectifierComparison comparison;
    std::vector<double> ours, theirs;
    for (const Shot& rShot : rShots.m_shots) {
        if (!isUsed(rShot)) {
            continue;
        }
        PerCamera<cv::Mat1b> byOpenCv;
        for (const auto& [eCamera, rMaps] : maps) {
            cv::remap(readPhoto(rShot.at(eCamera).m_file), byOpenCv[eCamera], rMaps[0], rMaps[1], cv::INTER_LINEAR);
        }
        const auto first = differences(rectifiedShot(rSession, rShot), eOther, rShots.m_board.m_inner);
        const auto second = differences(byOpenCv, eOther, rShots.m_board.m_inner);
        if (first.empty() || second.empty()) {
            continue;
        }
        ++comparison.m_nShots;
        ours.insert(ours.end(), first.begin(), first.end());
        theirs.insert(theirs.end(), second.begin(), second.end());
    }
    comparison.m_ours = rowErrors(std::move(ours));
    comparison.m_theirs = rowErrors(std::move(theirs));
    return comparison;
}

} // namespace kestrova::app
