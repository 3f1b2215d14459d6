#include "boards/BoardLens.h"

#include "basics/Line.h"
#include "boards/SetRefinement.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

static constexpr int sk_nRounds = 40; // of dropping a photo
static const cv::TermCriteria sk_until(cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 200, 1e-9);
static const char* const sk_pszAdvice =
    "photograph the whole board 15 to 20 times: near and far, tilted to each side, and at every edge of the image";

double errorLimit(const std::vector<double>& rErrors)
{
    const double dMiddle = medianOf(rErrors);
    std::vector<double> off;
    for (double dError : rErrors)
        off.push_back(std::abs(dError - dMiddle));
    return std::max({2.5 * dMiddle, dMiddle + 6.0 * 1.4826 * medianOf(off), 0.1});
}

double rootMeanSquare(const std::vector<double>& rErrors)
{
    double dSum = 0.0;
    for (double dError : rErrors)
        dSum += dError * dError;
    return std::sqrt(dSum / static_cast<double>(rErrors.size()));
}

AppError tooFewShots(std::size_t uUsed, std::size_t uAll, const std::string& rWhat)
{
    return AppError(
        line("%zu of %zu %s; at least %zu are needed: %s", uUsed, uAll, rWhat.c_str(), sk_uFewestShots, sk_pszAdvice),
        ExitStatus::Unfit);
}

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

static BoardLens fitLens(const std::vector<Corners>& rViews, const Shots& rShots, LensChoice eChoice)
{
    const std::vector<std::vector<cv::Point3f>> points(rViews.size(), rShots.m_board.points());
    cv::Mat K, distortion, spreads;
    std::vector<cv::Mat> turns, places;
    if (eChoice == LensChoice::Equidistant)
        fitEquidistant(points, rViews, rShots.m_size, K, distortion, turns, places);
    else
        cv::calibrateCamera(points, rViews, rShots.m_size, K, distortion, turns, places, spreads, cv::noArray(),
                            cv::noArray(), lensFlags(eChoice), sk_until);
    BoardLens fit;
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
LensChoice chooseLens(Shots& rShots)
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

BoardLens fitBoardLens(Shots& rShots, KestrovaCamera eCamera, LensChoice eChoice)
{
    for (int nRound = 0;; ++nRound) {
        const std::vector<View*> views = usedViews(rShots, eCamera);
        if (views.size() < sk_uFewestShots)
            throw tooFewShots(views.size(), rShots.m_shots.size(),
                              std::string("photos of the ") + cameraName(eCamera) + " camera can be used");
        BoardLens fit = fitLens(cornersOf(views), rShots, eChoice);
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

} // namespace kestrova::app
