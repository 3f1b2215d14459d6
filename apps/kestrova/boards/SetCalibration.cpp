#include "boards/SetCalibration.h"

#include "basics/AppError.h"
#include "basics/Line.h"
#include "boards/CornerOrder.h"
#include "boards/SetRefinement.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

MountedCamera mount(const Shots& rShots, KestrovaCamera eCamera, const PerCamera<CameraModel>& rLenses)
{
    std::vector<double> turns[3];
    std::vector<double> places[3];
    for (const Shot& rShot : rShots.m_shots) {
        const View& rRight = rShot.at(KestrovaCamRight);
        const View& rOther = rShot.at(eCamera);
        if (!rRight.isUsed() || !rOther.isUsed()) {
            continue;
        }
        const BoardPose right = boardPose(rLenses.at(KestrovaCamRight), rShots.m_board, rRight.m_corners);
        const BoardPose other = boardPose(rLenses.at(eCamera), rShots.m_board, rOther.m_corners);
        const cv::Matx33d R = turnMatrix(right.m_turn) * turnMatrix(other.m_turn).t();
        cv::Vec3d turn;
        cv::Rodrigues(R, turn);
        const cv::Vec3d place = right.m_place - R * other.m_place;
        for (int i = 0; i < 3; ++i) {
            turns[i].push_back(turn[i]);
            places[i].push_back(place[i]);
        }
    }
    return {rLenses.at(eCamera),
            turnMatrix({medianOf(turns[0]), medianOf(turns[1]), medianOf(turns[2])}),
            {medianOf(places[0]), medianOf(places[1]), medianOf(places[2])}};
}

std::vector<Shot*> shotsWith(Shots& rShots, KestrovaCamera eOther)
{
    std::vector<Shot*> both;
    for (Shot& rShot : rShots.m_shots) {
        if (rShot.at(KestrovaCamRight).isUsed() && rShot.at(eOther).isUsed()) {
            both.push_back(&rShot);
        }
    }
    return both;
}

void checkShots(Shots& rShots)
{
    for (const auto& [eCamera, rView] : rShots.m_shots.front()) {
        const std::size_t uBoth = shotsWith(rShots, eCamera).size();
        if (uBoth < sk_uFewestShots) {
            throw tooFewShots(uBoth, rShots.m_shots.size(),
                              eCamera == KestrovaCamRight
                                  ? "photos of the right camera show the whole board"
                                  : std::string("shots show the whole board to the right and the ") +
                                        cameraName(eCamera) + " camera");
        }
    }
}

// Two names, one camera: the board is at the same pixels in both.
void checkTwoCameras(Shots& rShots)
{
    for (const auto& [eCamera, rView] : rShots.m_shots.front()) {
        if (eCamera == KestrovaCamRight) {
            continue;
        }
        std::vector<double> apart;
        for (const Shot* pShot : shotsWith(rShots, eCamera)) {
            double dNearest = 1e9;
            const Corners& rRight = pShot->at(KestrovaCamRight).m_corners;
            for (const Corners& rOrder : turnings(pShot->at(eCamera).m_corners, rShots.m_board.m_inner)) {
                dNearest = std::min(dNearest, cv::norm(rOrder, rRight) / std::sqrt(static_cast<double>(rRight.size())));
            }
            apart.push_back(dNearest);
        }
        if (medianOf(apart) < 1.0) {
            throw AppError(std::string("the photos behind --right and --") + cameraName(eCamera) +
                               " show the board at the same pixels: they are of one camera, so give each its own",
                           ExitStatus::Content);
        }
    }
}

void checkPlaces(const CameraSet& rSet)
{
    for (const auto& [eCamera, rCamera] : rSet) {
        if (eCamera == KestrovaCamRight) {
            continue;
        }
        const bool bTop = eCamera == KestrovaCamTop;
        const double dAlong = rCamera.m_translation[bTop ? 1 : 0];
        const double dAcross = rCamera.m_translation[bTop ? 0 : 1];
        const std::string name = cameraName(eCamera);
        if (cv::norm(rCamera.m_translation) < 0.001) {
            throw AppError("--right and --" + name +
                               ": the two cameras stand within a millimetre of each other; no "
                               "depth comes of that",
                           ExitStatus::Unfit);
        }
        if (std::abs(dAcross) > std::abs(dAlong)) {
            throw AppError("--" + name + ": this camera stands " +
                               (bTop ? "beside the right one, not above it; say --left if it is the left one"
                                     : "above or below the right one, not beside it; say --top if it is above"),
                           ExitStatus::Unfit);
        }
        if (dAlong > 0.0) {
            throw AppError(bTop
                               ? "--top: this camera stands below the right one; swap the photos of --right and --top"
                               : "--left: this camera stands right of the other; swap the photos of --left and --right",
                           ExitStatus::Unfit);
        }
    }
}

// Boards that each camera explains well, and no two cameras together, were not seen at the same instants.
void checkTogether(const Shots& rShots)
{
    std::vector<double> alone, together;
    for (const Shot& rShot : rShots.m_shots) {
        for (const auto& [eCamera, rView] : rShot) {
            if (rView.isUsed() && rView.m_dSetError > 0.0) {
                alone.push_back(rView.m_dLensError);
                together.push_back(rView.m_dSetError);
            }
        }
    }
    if (medianOf(together) > std::max(1.0, 5.0 * medianOf(alone))) {
        throw AppError(
            line("the cameras' photos do not belong together, %.1f px off where each camera alone is %.1f: are "
                 "they paired in the right order, and taken at the same instant?",
                 medianOf(together), medianOf(alone)),
            ExitStatus::Unfit);
    }
}

// Marks the photo that fits worst, if it fits worse than such photos do. In a pair nobody can tell which of the two.
bool dropWorst(Shots& rShots)
{
    std::vector<double> errors;
    View* pWorst = nullptr;
    Shot* pShot = nullptr;
    for (Shot& rShot : rShots.m_shots) {
        for (auto& [eCamera, rView] : rShot) {
            if (rView.isUsed() && rView.m_dSetError > 0.0) {
                errors.push_back(rView.m_dSetError);
                if (!pWorst || rView.m_dSetError > pWorst->m_dSetError) {
                    pWorst = &rView;
                    pShot = &rShot;
                }
            }
        }
    }
    if (!pWorst || pWorst->m_dSetError <= errorLimit(errors)) {
        return false;
    }
    const std::string why = line("does not fit the photo of the other camera, %.2f px off, others %.2f: did the board "
                                 "move between the two?",
                                 pWorst->m_dSetError, medianOf(errors));
    for (auto& [eCamera, rView] : *pShot) {
        if (rView.isUsed() && (&rView == pWorst || pShot->size() == 2)) {
            rView.m_reject = why;
        }
    }
    return true;
}

void tellSetErrors(SetCalibration& rCalibration, Shots& rShots)
{
    for (const auto& [eCamera, rCamera] : rCalibration.m_set) {
        std::vector<double> errors;
        for (const Shot* pShot : shotsWith(rShots, eCamera)) {
            errors.push_back(pShot->at(KestrovaCamRight).m_dSetError);
            errors.push_back(pShot->at(eCamera).m_dSetError);
        }
        if (eCamera != KestrovaCamRight) {
            rCalibration.m_setErrors[eCamera] = rootMeanSquare(errors);
        }
    }
}

} // namespace

SetCalibration calibrateSet(Shots& rShots, LensChoice eChoice)
{
    checkShots(rShots);
    checkTwoCameras(rShots);
    SetCalibration calibration;
    PerCamera<CameraModel> starts;
    if (eChoice == LensChoice::Auto) {
        const LensSelection selection = chooseLens(rShots);
        eChoice = selection.best().m_eChoice;
        starts = selection.best().m_lenses;
        calibration.m_whyThisLens = selection.reason();
    }
    calibration.m_eChoice = eChoice;
    PerCamera<CameraModel> lenses;
    for (const auto& [eCamera, rView] : rShots.m_shots.front()) {
        const auto start = starts.find(eCamera);
        const BoardLens fit = fitBoardLens(rShots, eCamera, eChoice, start == starts.end() ? nullptr : &start->second);
        lenses[eCamera] = fit.m_model;
        calibration.m_lensErrors[eCamera] = rootMeanSquare(fit.m_adErrors);
        calibration.m_focalSpreads[eCamera] = fit.m_dFocalSpread;
    }
    checkShots(rShots);
    orderCorners(rShots, lenses);
    for (const auto& [eCamera, rLens] : lenses) {
        calibration.m_set[eCamera] =
            eCamera == KestrovaCamRight ? MountedCamera{rLens, cv::Matx33d::eye(), {}} : mount(rShots, eCamera, lenses);
    }
    do {
        checkShots(rShots);
        refineSet(calibration.m_set, rShots);
        checkTogether(rShots);
    } while (dropWorst(rShots));
    checkPlaces(calibration.m_set);
    tellSetErrors(calibration, rShots);
    return calibration;
}

} // namespace kestrova::app
