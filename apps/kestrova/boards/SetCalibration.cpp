#include "boards/SetCalibration.h"

#include "basics/AppError.h"
#include "basics/Line.h"
#include "boards/SetRefinement.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <cmath>
#include <optional>

namespace kestrova::app {

static constexpr int sk_nRounds = 40; // of dropping a photo
static const cv::TermCriteria sk_until(cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 200, 1e-9);
static const char* const sk_pszAdvice =
    "photograph the whole board 15 to 20 times: near and far, tilted to each side, and at every edge of the image";

// Errors that ordinary photos of the same series do not reach.
static double errorLimit(const std::vector<double>& rErrors)
{
    const double dMiddle = medianOf(rErrors);
    std::vector<double> off;
    for (double dError : rErrors)
        off.push_back(std::abs(dError - dMiddle));
    return std::max({2.5 * dMiddle, dMiddle + 6.0 * 1.4826 * medianOf(off), 0.1});
}

static double rootMeanSquare(const std::vector<double>& rErrors)
{
    double dSum = 0.0;
    for (double dError : rErrors)
        dSum += dError * dError;
    return std::sqrt(dSum / static_cast<double>(rErrors.size()));
}

static AppError tooFew(std::size_t uUsed, std::size_t uAll, const std::string& rWhat)
{
    return AppError(
        line("%zu of %zu %s; at least %zu are needed: %s", uUsed, uAll, rWhat.c_str(), sk_uFewestShots, sk_pszAdvice),
        ExitStatus::Unfit);
}

// ---- one lens ----

struct LensFit
{
    CameraModel m_model;
    std::vector<double> m_adErrors; // a view
    double m_dFocalSpread = 0.0;
};

static int lensFlags(LensChoice eChoice)
{
    if (eChoice == LensChoice::Equidistant)
        return cv::fisheye::CALIB_RECOMPUTE_EXTRINSIC | cv::fisheye::CALIB_FIX_SKEW;
    return eChoice == LensChoice::Plain      ? cv::CALIB_FIX_K3
           : eChoice == LensChoice::Rational ? cv::CALIB_RATIONAL_MODEL
                                             : 0;
}

static std::size_t nCoefficients(LensChoice eChoice)
{
    return eChoice == LensChoice::Rational ? 8 : eChoice == LensChoice::Plumb ? 5 : 4;
}

static CameraModel modelOf(cv::Size size, const cv::Mat& rK, const cv::Mat& rDistortion, LensChoice eChoice)
{
    const Lens eLens = eChoice == LensChoice::Equidistant ? Lens::Equidistant : Lens::Polynomial;
    std::vector<double> distortion;
    for (std::size_t u = 0; u < std::min(rDistortion.total(), nCoefficients(eChoice)); ++u)
        distortion.push_back(rDistortion.at<double>(static_cast<int>(u)));
    return {size, cv::Matx33d(rK), distortion, eLens};
}

static double viewError(const CameraModel& rModel, const std::vector<cv::Point3f>& rPoints, const Corners& rCorners,
                        const cv::Mat& rTurn, const cv::Mat& rPlace)
{
    Corners seen;
    if (rModel.m_eLens == Lens::Equidistant)
        cv::fisheye::projectPoints(rPoints, seen, rTurn, rPlace, rModel.m_K, rModel.m_adDistortion);
    else
        cv::projectPoints(rPoints, rTurn, rPlace, rModel.m_K, rModel.m_adDistortion, seen);
    return cv::norm(seen, rCorners) / std::sqrt(static_cast<double>(seen.size()));
}

// The finder of equidistant lenses needs a focal length that is about right, and gives up with an exception without.
static void fitEquidistant(const std::vector<std::vector<cv::Point3f>>& rPoints, const std::vector<Corners>& rViews,
                           cv::Size size, cv::Mat& rK, cv::Mat& rDistortion, std::vector<cv::Mat>& rTurns,
                           std::vector<cv::Mat>& rPlaces)
{
    double dBest = 1e300;
    for (const double dTimes : {1.0, 1.5, 2.3, 3.5}) {
        const double dFocal = dTimes * std::max(size.width, size.height) / CV_PI;
        cv::Mat K(cv::Matx33d(dFocal, 0, size.width / 2.0, 0, dFocal, size.height / 2.0, 0, 0, 1));
        cv::Mat distortion = cv::Mat1d::zeros(4, 1);
        std::vector<cv::Mat> turns, places;
        try {
            const double dError =
                cv::fisheye::calibrate(rPoints, rViews, size, K, distortion, turns, places,
                                       lensFlags(LensChoice::Equidistant) | cv::fisheye::CALIB_USE_INTRINSIC_GUESS,
                                       {cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 60, 1e-8});
            if (dError < dBest) {
                dBest = dError;
                rK = K;
                rDistortion = distortion;
                rTurns = turns;
                rPlaces = places;
            }
            if (dBest < 1.0) // pixels; a wrong start ends far off
                return;
        } catch (const cv::Exception&) {
        }
    }
    if (dBest == 1e300)
        throw AppError("--model equidistant: no such lens explains the photos; try --model rational",
                       ExitStatus::Unfit);
}

static LensFit fitLens(const std::vector<Corners>& rViews, const Shots& rShots, LensChoice eChoice)
{
    const std::vector<std::vector<cv::Point3f>> points(rViews.size(), rShots.m_board.points());
    cv::Mat K, distortion, spreads;
    std::vector<cv::Mat> turns, places;
    if (eChoice == LensChoice::Equidistant)
        fitEquidistant(points, rViews, rShots.m_size, K, distortion, turns, places);
    else
        cv::calibrateCamera(points, rViews, rShots.m_size, K, distortion, turns, places, spreads, cv::noArray(),
                            cv::noArray(), lensFlags(eChoice), sk_until);
    LensFit fit;
    fit.m_model = modelOf(rShots.m_size, K, distortion, eChoice);
    for (std::size_t u = 0; u < rViews.size(); ++u)
        fit.m_adErrors.push_back(viewError(fit.m_model, points[u], rViews[u], turns[u], places[u]));
    if (!spreads.empty())
        fit.m_dFocalSpread = spreads.at<double>(0) / fit.m_model.m_K(0, 0);
    return fit;
}

static std::vector<View*> usedViews(Shots& rShots, KestrovaCamera eCamera)
{
    std::vector<View*> used;
    for (Shot& rShot : rShots.m_shots)
        if (View& rView = rShot.at(eCamera); rView.isUsed())
            used.push_back(&rView);
    return used;
}

static std::vector<Corners> cornersOf(const std::vector<View*>& rViews)
{
    std::vector<Corners> corners;
    for (const View* pView : rViews)
        corners.push_back(pView->m_corners);
    return corners;
}

// Coefficients that the photos do not need run wild where no board was. Medians, as bad photos are still among them.
static LensChoice chooseLens(Shots& rShots)
{
    constexpr double dWorthwhile = 0.95;
    const auto errorsOf = [&](LensChoice eChoice) {
        std::vector<double> errors;
        for (const auto& [eCamera, rView] : rShots.m_shots.front())
            errors.push_back(medianOf(fitLens(cornersOf(usedViews(rShots, eCamera)), rShots, eChoice).m_adErrors));
        return errors;
    };
    LensChoice eBest = LensChoice::Plain;
    std::vector<double> best = errorsOf(eBest);
    for (const LensChoice eNext : {LensChoice::Plumb, LensChoice::Rational}) {
        const std::vector<double> next = errorsOf(eNext);
        bool bBetter = false;
        for (std::size_t u = 0; u < next.size(); ++u)
            bBetter = bBetter || next[u] < dWorthwhile * best[u];
        if (!bBetter)
            break;
        eBest = eNext;
        best = next;
    }
    return eBest;
}

static LensFit fitLensWithoutBadViews(Shots& rShots, KestrovaCamera eCamera, LensChoice eChoice)
{
    for (int nRound = 0;; ++nRound) {
        const std::vector<View*> views = usedViews(rShots, eCamera);
        if (views.size() < sk_uFewestShots)
            throw tooFew(views.size(), rShots.m_shots.size(),
                         std::string("photos of the ") + cameraName(eCamera) + " camera can be used");
        LensFit fit = fitLens(cornersOf(views), rShots, eChoice);
        for (std::size_t u = 0; u < views.size(); ++u)
            views[u]->m_dLensError = fit.m_adErrors[u];
        const auto worst = std::max_element(fit.m_adErrors.begin(), fit.m_adErrors.end());
        const double dLimit = errorLimit(fit.m_adErrors);
        if (*worst <= dLimit || nRound == sk_nRounds)
            return fit;
        views[static_cast<std::size_t>(worst - fit.m_adErrors.begin())]->m_reject =
            line("corners are %.2f px off the lens, others %.2f", *worst, medianOf(fit.m_adErrors));
    }
}

// ---- order of corners ----

static cv::Matx33d boardTurn(const CameraModel& rLens, const Board& rBoard, const Corners& rCorners)
{
    return turnMatrix(boardPose(rLens, rBoard, rCorners).m_turn);
}

static double angleBetween(const cv::Matx33d& rA, const cv::Matx33d& rB)
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

static cv::Matx33d agreedTurn(const std::vector<Choices>& rShots)
{
    cv::Matx33d best = cv::Matx33d::eye();
    double dLeast = 1e9;
    for (const Choices& rProposer : rShots)
        for (const cv::Matx33d& rTurn : rProposer.m_turns) {
            double dCost = 0.01 * angleBetween(rTurn, cv::Matx33d::eye()); // cameras stand upright, all else equal
            for (const Choices& rShot : rShots) // a bad shot costs no more than half a radian
                dCost += std::min(angleBetween(rShot.m_turns[rShot.nearest(rTurn)], rTurn), 0.5);
            if (dCost < dLeast) {
                dLeast = dCost;
                best = rTurn;
            }
        }
    return best;
}

void orderCorners(Shots& rShots, const PerCamera<CameraModel>& rLenses)
{
    for (const auto& [eCamera, rLens] : rLenses) {
        if (eCamera == KestrovaCamRight)
            continue;
        std::vector<Choices> choices;
        for (Shot& rShot : rShots.m_shots) {
            const View& rRight = rShot.at(KestrovaCamRight);
            View& rOther = rShot.at(eCamera);
            if (!rRight.isUsed() || !rOther.isUsed())
                continue;
            const cv::Matx33d right = boardTurn(rLenses.at(KestrovaCamRight), rShots.m_board, rRight.m_corners);
            choices.push_back({&rOther, turnings(rOther.m_corners, rShots.m_board.m_inner), {}});
            Choices& rChoices = choices.back();
            for (const Corners& rOrder : rChoices.m_orders)
                rChoices.m_turns.push_back(right * boardTurn(rLens, rShots.m_board, rOrder).t());
        }
        const cv::Matx33d agreed = agreedTurn(choices);
        for (Choices& rShot : choices)
            rShot.m_pView->m_corners = rShot.m_orders[rShot.nearest(agreed)];
    }
}

// ---- places of the cameras ----

static MountedCamera mount(const Shots& rShots, KestrovaCamera eCamera, const PerCamera<CameraModel>& rLenses)
{
    std::vector<double> turns[3];
    std::vector<double> places[3];
    for (const Shot& rShot : rShots.m_shots) {
        const View& rRight = rShot.at(KestrovaCamRight);
        const View& rOther = rShot.at(eCamera);
        if (!rRight.isUsed() || !rOther.isUsed())
            continue;
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

static std::vector<Shot*> shotsWith(Shots& rShots, KestrovaCamera eOther)
{
    std::vector<Shot*> both;
    for (Shot& rShot : rShots.m_shots)
        if (rShot.at(KestrovaCamRight).isUsed() && rShot.at(eOther).isUsed())
            both.push_back(&rShot);
    return both;
}

static void checkShots(Shots& rShots)
{
    for (const auto& [eCamera, rView] : rShots.m_shots.front()) {
        const std::size_t uBoth = shotsWith(rShots, eCamera).size();
        if (uBoth < sk_uFewestShots)
            throw tooFew(uBoth, rShots.m_shots.size(),
                         eCamera == KestrovaCamRight ? "photos of the right camera show the whole board"
                                                     : std::string("shots show the whole board to the right and the ") +
                                                           cameraName(eCamera) + " camera");
    }
}

// Two names, one camera: the board is at the same pixels in both.
static void checkTwoCameras(Shots& rShots)
{
    for (const auto& [eCamera, rView] : rShots.m_shots.front()) {
        if (eCamera == KestrovaCamRight)
            continue;
        std::vector<double> apart;
        for (const Shot* pShot : shotsWith(rShots, eCamera)) {
            double dNearest = 1e9;
            const Corners& rRight = pShot->at(KestrovaCamRight).m_corners;
            for (const Corners& rOrder : turnings(pShot->at(eCamera).m_corners, rShots.m_board.m_inner))
                dNearest = std::min(dNearest, cv::norm(rOrder, rRight) / std::sqrt(static_cast<double>(rRight.size())));
            apart.push_back(dNearest);
        }
        if (medianOf(apart) < 1.0)
            throw AppError(std::string("the photos behind --right and --") + cameraName(eCamera) +
                               " show the board at the same pixels: they are of one camera, so give each its own",
                           ExitStatus::Content);
    }
}

static void checkPlaces(const CameraSet& rSet)
{
    for (const auto& [eCamera, rCamera] : rSet) {
        if (eCamera == KestrovaCamRight)
            continue;
        const bool bTop = eCamera == KestrovaCamTop;
        const double dAlong = rCamera.m_T[bTop ? 1 : 0];
        const double dAcross = rCamera.m_T[bTop ? 0 : 1];
        const std::string name = cameraName(eCamera);
        if (cv::norm(rCamera.m_T) < 0.001)
            throw AppError("--right and --" + name +
                               ": the two cameras stand within a millimetre of each other; no "
                               "depth comes of that",
                           ExitStatus::Unfit);
        if (std::abs(dAcross) > std::abs(dAlong))
            throw AppError("--" + name + ": this camera stands " +
                               (bTop ? "beside the right one, not above it; say --left if it is the left one"
                                     : "above or below the right one, not beside it; say --top if it is above"),
                           ExitStatus::Unfit);
        if (dAlong > 0.0)
            throw AppError(bTop
                               ? "--top: this camera stands below the right one; swap the photos of --right and --top"
                               : "--left: this camera stands right of the other; swap the photos of --left and --right",
                           ExitStatus::Unfit);
    }
}

// Boards that each camera explains well, and no two cameras together, were not seen at the same instants.
static void checkTogether(const Shots& rShots)
{
    std::vector<double> alone, together;
    for (const Shot& rShot : rShots.m_shots)
        for (const auto& [eCamera, rView] : rShot)
            if (rView.isUsed() && rView.m_dSetError > 0.0) {
                alone.push_back(rView.m_dLensError);
                together.push_back(rView.m_dSetError);
            }
    if (medianOf(together) > std::max(1.0, 5.0 * medianOf(alone)))
        throw AppError(
            line("the cameras' photos do not belong together, %.1f px off where each camera alone is %.1f: are "
                 "they paired in the right order, and taken at the same instant?",
                 medianOf(together), medianOf(alone)),
            ExitStatus::Unfit);
}

// Marks the photo that fits worst, if it fits worse than such photos do. In a pair nobody can tell which of the two.
static bool dropWorst(Shots& rShots)
{
    std::vector<double> errors;
    View* pWorst = nullptr;
    Shot* pShot = nullptr;
    for (Shot& rShot : rShots.m_shots)
        for (auto& [eCamera, rView] : rShot)
            if (rView.isUsed() && rView.m_dSetError > 0.0) {
                errors.push_back(rView.m_dSetError);
                if (!pWorst || rView.m_dSetError > pWorst->m_dSetError) {
                    pWorst = &rView;
                    pShot = &rShot;
                }
            }
    if (!pWorst || pWorst->m_dSetError <= errorLimit(errors))
        return false;
    const std::string why = line("does not fit the photo of the other camera, %.2f px off, others %.2f: did the board "
                                 "move between the two?",
                                 pWorst->m_dSetError, medianOf(errors));
    for (auto& [eCamera, rView] : *pShot)
        if (rView.isUsed() && (&rView == pWorst || pShot->size() == 2))
            rView.m_reject = why;
    return true;
}

static void tellSetErrors(SetCalibration& rCalibration, Shots& rShots)
{
    for (const auto& [eCamera, rCamera] : rCalibration.m_set) {
        std::vector<double> errors;
        for (const Shot* pShot : shotsWith(rShots, eCamera)) {
            errors.push_back(pShot->at(KestrovaCamRight).m_dSetError);
            errors.push_back(pShot->at(eCamera).m_dSetError);
        }
        if (eCamera != KestrovaCamRight)
            rCalibration.m_setErrors[eCamera] = rootMeanSquare(errors);
    }
}

SetCalibration calibrateSet(Shots& rShots, LensChoice eChoice)
{
    checkShots(rShots);
    checkTwoCameras(rShots);
    SetCalibration calibration;
    if (eChoice == LensChoice::Auto)
        eChoice = chooseLens(rShots);
    calibration.m_eChoice = eChoice;
    PerCamera<CameraModel> lenses;
    for (const auto& [eCamera, rView] : rShots.m_shots.front()) {
        const LensFit fit = fitLensWithoutBadViews(rShots, eCamera, eChoice);
        lenses[eCamera] = fit.m_model;
        calibration.m_lensErrors[eCamera] = rootMeanSquare(fit.m_adErrors);
        calibration.m_focalSpreads[eCamera] = fit.m_dFocalSpread;
    }
    checkShots(rShots);
    orderCorners(rShots, lenses);
    for (const auto& [eCamera, rLens] : lenses)
        calibration.m_set[eCamera] =
            eCamera == KestrovaCamRight ? MountedCamera{rLens, cv::Matx33d::eye(), {}} : mount(rShots, eCamera, lenses);
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
