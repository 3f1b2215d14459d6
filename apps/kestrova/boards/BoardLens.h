// One camera's lens from its photos of the board, and how many coefficients they are worth.
#pragma once

#include "basics/AppError.h"
#include "boards/BoardFinder.h"

namespace kestrova::app {

enum class LensChoice
{
    Auto,       // the one with the fewest coefficients that explains photos left out of its fit
    Plain,      // k1 k2 p1 p2
    Plumb,      // and k3
    Rational,   // and k4 k5 k6
    Equidistant // for wide lenses
};

struct BoardLens
{
    CameraModel m_model;
    std::vector<double> m_adErrors; // of each view used, pixels RMS
    double m_dFocalSpread = 0.0;    // standard deviation of the focal length, a share of it; 0 where it is not told
};

const char* lensName(LensChoice eChoice); // as --model takes it

/** What became of one model. */
struct LensTrial
{
    LensChoice m_eChoice = LensChoice::Plain;
    PerCamera<CameraModel> m_lenses;
    PerCamera<double> m_errors; // pixels RMS of corners of photos that were left out of the fit
    bool m_bFolds = false;      // inside the frame of some camera
    bool m_bFailed = false;

    double error() const; // of all cameras
};

struct LensSelection
{
    std::vector<LensTrial> m_trials; // from the fewest coefficients to the most
    std::size_t m_uBest = 0;

    const LensTrial& best() const { return m_trials[m_uBest]; }
    std::string reason() const; // a line
};

/** Tries all models on the photos of all cameras. Throws AppError when none explains them. */
LensSelection chooseLens(const Shots& rShots);

/**
 * Marks views that do not fit, one at a time. Throws AppError when too few are left. Begins at the given lens, or
 * finds where to begin.
 */
BoardLens fitBoardLens(Shots& rShots, KestrovaCamera eCamera, LensChoice eChoice, const CameraModel* pStart = nullptr);

inline constexpr std::size_t sk_uFewestShots = 6;

AppError tooFewShots(std::size_t uUsed, std::size_t uAll, const std::string& rWhat);

/** Errors that ordinary photos of the same series do not reach. */
double errorLimit(const std::vector<double>& rErrors);
double rootMeanSquare(const std::vector<double>& rErrors);

} // namespace kestrova::app
