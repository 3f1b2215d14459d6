// One camera's lens from its photos of the board, and how many coefficients they are worth.
#pragma once

#include "basics/AppError.h"
#include "boards/BoardFinder.h"

namespace kestrova::app {

enum class LensChoice
{
    Auto,       // the fewest of the polynomial ones that explain the photos
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

/// The fewest polynomial coefficients that explain the photos of all cameras.
LensChoice chooseLens(Shots& rShots);

/// Marks views that do not fit, one at a time. Throws AppError when too few are left.
BoardLens fitBoardLens(Shots& rShots, KestrovaCamera eCamera, LensChoice eChoice);

inline constexpr std::size_t sk_uFewestShots = 6;

AppError tooFewShots(std::size_t uUsed, std::size_t uAll, const std::string& rWhat);

/// Errors that ordinary photos of the same series do not reach.
double errorLimit(const std::vector<double>& rErrors);
double rootMeanSquare(const std::vector<double>& rErrors);

} // namespace kestrova::app
