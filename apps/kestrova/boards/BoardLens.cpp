#include "boards/BoardLens.h"

#include "basics/Line.h"
#include "boards/SetRefinement.h"
#include "cameras/LensReach.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

constexpr int sk_nRounds = 40; // of dropping a photo
const char* const sk_pszAdvice =
    "photograph the whole board 15 to 20 times: near and far, tilted to each side, and at every edge of the image";

} // namespace

double errorLimit(const std::vector<double>& rErrors)
{
    const double dMiddle = medianOf(rErrors);
    std::vector<double> off;
    for (double dError : rErrors) {
        off.push_back(std::abs(dError - dMiddle));
    }
    return std::max({2.5 * dMiddle, dMiddle + 6.0 * 1.4826 * medianOf(off), 0.1});
}

double rootMeanSquare(const std::vector<double>& rErrors)
{
    double dSum = 0.0;
    for (double dError : rErrors) {
        dSum += dError * dError;
    }
    return std::sqrt(dSum / static_cast<double>(rErrors.size()));
}

AppError tooFewShots(std::size_t uUsed, std::size_t uAll, const std::string& rWhat)
{
    return AppError(
        line("%zu of %zu %s; at least %zu are needed: %s", uUsed, uAll, rWhat.c_str(), sk_uFewestShots, sk_pszAdvice),
        ExitStatus::Unfit);
}

// ---- one lens ----

namespace {

std::size_t nCoefficients(LensChoice eChoice)
{
    return eChoice == LensChoice::Rational ? 8 : eChoice == LensChoice::Plumb ? 5 : 4;
}

} // namespace

const char* lensName(LensChoice eChoice)
{
    static constexpr const char* apszNames[] = {"auto", "plain", "plumb", "rational", "equidistant"};
    return apszNames[static_cast<int>(eChoice)];
}

namespace {

std::vector<View*> usedViews(Shots& rShots, KestrovaCamera eCamera)
{
    std::vector<View*> used;
    for (Shot& rShot : rShots.m_shots) {
        if (View& rView = rShot.at(eCamera); rView.isUsed()) {
            used.push_back(&rView);
        }
    }
    return used;
}

// The lens to begin with: without distortion where its kind is another.
CameraModel begun(const CameraModel& rFrom, LensChoice eChoice)
{
    CameraModel lens = rFrom;
    lens.m_eLens = eChoice == LensChoice::Equidistant ? Lens::Equidistant : Lens::Polynomial;
    if (lens.m_eLens != rFrom.m_eLens) {
        lens.m_adDistortion.clear();
    }
    lens.m_adDistortion.resize(nCoefficients(eChoice));
    return lens;
}

CameraModel plainLens(Shots& rShots, KestrovaCamera eCamera)
{
    std::vector<Corners> corners;
    for (const View* pView : usedViews(rShots, eCamera)) {
        corners.push_back(pView->m_corners);
    }
    const std::vector<std::vector<cv::Point3f>> points(corners.size(), rShots.m_board.points());
    cv::Mat K, distortion;
    cv::calibrateCamera(points, corners, rShots.m_size, K, distortion, cv::noArray(), cv::noArray(),
                        cv::CALIB_FIX_K3 | cv::CALIB_FIX_K2 | cv::CALIB_ZERO_TANGENT_DIST,
                        {cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 30, 1e-6});
    CameraModel lens{rShots.m_size, cv::Matx33d(K), std::vector<double>(4), Lens::Polynomial};
    lens.m_adDistortion[0] = distortion.at<double>(0);
    return lens;
}

std::vector<double> lensErrors(const Shots& rShots, KestrovaCamera eCamera)
{
    std::vector<double> errors;
    for (const Shot& rShot : rShots.m_shots) {
        if (const View& rView = rShot.at(eCamera); rView.isUsed()) {
            errors.push_back(rView.m_dLensError);
        }
    }
    return errors;
}

// A wide lens seen with a wrong focal length is far off, so several are tried; the plane lens is a guess for narrow
// ones.
CameraModel wideLens(Shots& rShots, KestrovaCamera eCamera, const CameraModel* pPlain)
{
    const cv::Size size = rShots.m_size;
    std::vector<double> focals;
    if (pPlain) {
        focals.push_back(pPlain->m_cameraMatrix(0, 0));
    }
    for (const double dTimes : {1.0, 1.5, 2.3, 3.5}) {
        focals.push_back(dTimes * std::max(size.width, size.height) / CV_PI);
    }
    CameraModel best;
    double dBest = 1e300;
    for (const double dFocal : focals) {
        CameraModel lens{size,
                         {dFocal, 0, 0.5 * (size.width - 1), 0, dFocal, 0.5 * (size.height - 1), 0, 0, 1},
                         std::vector<double>(4),
                         Lens::Equidistant};
        try {
            refineLens(lens, rShots, eCamera, 25);
        } catch (const cv::Exception&) {
            continue; // no board has a place before such a lens
        }
        if (const double dError = medianOf(lensErrors(rShots, eCamera)); dError < dBest) {
            dBest = dError;
            best = lens;
        }
        if (dBest < 0.5) { // pixels; a wrong start ends far off
            break;
        }
    }
    if (best.m_size.empty()) {
        throw AppError("--model equidistant: no such lens explains the photos; try --model rational",
                       ExitStatus::Unfit);
    }
    return best;
}

CameraModel startOf(Shots& rShots, KestrovaCamera eCamera, LensChoice eChoice)
{
    const CameraModel plain = plainLens(rShots, eCamera);
    return eChoice == LensChoice::Equidistant ? wideLens(rShots, eCamera, &plain) : begun(plain, eChoice);
}

// ---- which model ----

// Not more shots than fix a lens, spread over all of them.
Shots someShots(const Shots& rShots)
{
    constexpr std::size_t uMost = 18;
    Shots some{rShots.m_board, rShots.m_size, {}};
    const std::size_t uAll = rShots.m_shots.size();
    const std::size_t uTaken = std::min(uAll, uMost);
    for (std::size_t u = 0; u < uTaken; ++u) {
        some.m_shots.push_back(rShots.m_shots[u * uAll / uTaken]);
    }
    return some;
}

// RMS but for the worst tenth: bad photos are still among them.
double trimmedError(std::vector<double> errors)
{
    std::sort(errors.begin(), errors.end());
    errors.resize(errors.size() - errors.size() / 10);
    return rootMeanSquare(errors);
}

// Every third photo is left out of a fit, and its corners are held against the lens that the others give.
double heldOutError(const Shots& rShots, KestrovaCamera eCamera, const CameraModel& rLens)
{
    constexpr std::size_t uParts = 3;
    std::vector<double> errors;
    for (std::size_t uPart = 0; uPart < uParts; ++uPart) {
        Shots others{rShots.m_board, rShots.m_size, {}};
        std::vector<const View*> left;
        std::size_t uUsed = 0;
        for (const Shot& rShot : rShots.m_shots) {
            if (const View& rView = rShot.at(eCamera); rView.isUsed()) {
                if (uUsed++ % uParts == uPart) {
                    left.push_back(&rView);
                } else {
                    others.m_shots.push_back({{eCamera, rView}});
                }
            }
        }
        CameraModel lens = rLens;
        refineLens(lens, others, eCamera, 12);
        for (const View* pView : left) {
            errors.push_back(
                cornerError(lens, rShots.m_board, pView->m_corners, boardPose(lens, rShots.m_board, pView->m_corners)));
        }
    }
    return trimmedError(errors);
}

} // namespace

double LensTrial::error() const
{
    std::vector<double> errors;
    for (const auto& [eCamera, dError] : m_errors) {
        errors.push_back(dError);
    }
    return rootMeanSquare(errors);
}

namespace {

void tryLens(LensTrial& rTrial, Shots& rShots, const LensTrial* pBefore)
{
    try {
        for (const auto& [eCamera, rView] : rShots.m_shots.front()) {
            const bool bWide = rTrial.m_eChoice == LensChoice::Equidistant;
            CameraModel lens = !pBefore ? plainLens(rShots, eCamera)
                               : bWide  ? wideLens(rShots, eCamera, &pBefore->m_lenses.at(eCamera))
                                        : begun(pBefore->m_lenses.at(eCamera), rTrial.m_eChoice);
            refineLens(lens, rShots, eCamera, 40);
            rTrial.m_lenses[eCamera] = lens;
            rTrial.m_errors[eCamera] = heldOutError(rShots, eCamera, lens);
            rTrial.m_bFolds = rTrial.m_bFolds || reachOf(lens).m_bFoldsInside;
        }
        rTrial.m_bFailed = !(rTrial.error() < 1e6);
    } catch (const cv::Exception&) {
        rTrial.m_bFailed = true;
    } catch (const AppError&) {
        rTrial.m_bFailed = true;
    }
}

// Coefficients that the photos do not need are not worth having, and a lens that folds back inside the frame, where no
// board was, only when nothing else comes near.
std::size_t bestOf(const std::vector<LensTrial>& rTrials)
{
    PerCamera<double> least;
    for (const LensTrial& rTrial : rTrials) {
        for (const auto& [eCamera, dError] : rTrial.m_errors) {
            if (!rTrial.m_bFailed && (!least.contains(eCamera) || dError < least.at(eCamera))) {
                least[eCamera] = dError;
            }
        }
    }
    const auto isNear = [&](const LensTrial& rTrial, double dShare) {
        return !rTrial.m_bFailed && std::all_of(least.begin(), least.end(), [&](const auto& rLeast) {
            return dShare * rTrial.m_errors.at(rLeast.first) <= rLeast.second;
        });
    };
    for (const auto& [dShare, bMayFold] : {std::pair(0.95, false), std::pair(0.75, false), std::pair(0.95, true)}) {
        for (std::size_t u = 0; u < rTrials.size(); ++u) {
            if (isNear(rTrials[u], dShare) && (bMayFold || !rTrials[u].m_bFolds)) {
                return u;
            }
        }
    }
    const auto better = [](const LensTrial& rA, const LensTrial& rB) {
        return !rA.m_bFailed && (rB.m_bFailed || rA.error() < rB.error());
    };
    return static_cast<std::size_t>(std::min_element(rTrials.begin(), rTrials.end(), better) - rTrials.begin());
}

} // namespace

LensSelection chooseLens(const Shots& rShots)
{
    Shots some = someShots(rShots);
    LensSelection selection;
    for (const LensChoice eChoice :
         {LensChoice::Plain, LensChoice::Equidistant, LensChoice::Plumb, LensChoice::Rational}) {
        selection.m_trials.push_back({eChoice, {}, {}, false, false});
    }
    LensTrial& rPlain = selection.m_trials[0];
    tryLens(rPlain, some, nullptr);
    if (!rPlain.m_bFailed) {
        for (std::size_t u = 1; u < selection.m_trials.size(); ++u) {
            tryLens(selection.m_trials[u], some, &rPlain);
        }
    }
    selection.m_uBest = bestOf(selection.m_trials);
    if (selection.best().m_bFailed) {
        throw AppError("no lens model explains the photos: tilt the board and move it to the edges", ExitStatus::Unfit);
    }
    return selection;
}

std::string LensSelection::reason() const
{
    std::string text =
        line("lens model: %s, by the corners of photos left out of its fit:", lensName(best().m_eChoice));
    const char* pszBefore = " ";
    for (const LensTrial& rTrial : m_trials) {
        text += pszBefore + (rTrial.m_bFailed ? std::string(lensName(rTrial.m_eChoice)) + " fits none"
                                              : line("%s %.3f px", lensName(rTrial.m_eChoice), rTrial.error()));
        text += rTrial.m_bFolds ? " (folds back)" : "";
        pszBefore = ", ";
    }
    return text + "; the fewest coefficients within a twentieth of the best are taken";
}

// ---- all photos of a camera ----

BoardLens fitBoardLens(Shots& rShots, KestrovaCamera eCamera, LensChoice eChoice, const CameraModel* pStart)
{
    BoardLens fit;
    for (int nRound = 0;; ++nRound) {
        const std::vector<View*> views = usedViews(rShots, eCamera);
        if (views.size() < sk_uFewestShots) {
            throw tooFewShots(views.size(), rShots.m_shots.size(),
                              std::string("photos of the ") + cameraName(eCamera) + " camera can be used");
        }
        if (nRound == 0) {
            fit.m_model = pStart ? *pStart : startOf(rShots, eCamera, eChoice);
        }
        fit.m_dFocalSpread = refineLens(fit.m_model, rShots, eCamera);
        fit.m_adErrors = lensErrors(rShots, eCamera);
        const auto worst = std::max_element(fit.m_adErrors.begin(), fit.m_adErrors.end());
        const double dLimit = errorLimit(fit.m_adErrors);
        if (*worst <= dLimit || nRound == sk_nRounds) {
            return fit;
        }
        views[static_cast<std::size_t>(worst - fit.m_adErrors.begin())]->m_reject =
            line("corners are %.2f px off the lens, others %.2f", *worst, medianOf(fit.m_adErrors));
    }
}

} // namespace kestrova::app
