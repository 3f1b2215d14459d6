#include "demo/Furrows.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>

namespace kestrova::app {

namespace {

template<typename... Values>
std::string line(const char* pszFormat, Values... values)
{
    char acLine[160];
    std::snprintf(acLine, sizeof acLine, pszFormat, values...);
    return acLine;
}

} // namespace

// ---- measuring ----

double FurrowCurve::amplitude() const
{
    std::complex<double> sum;
    for (std::size_t n = 0; n < sk_nBins; ++n) {
        sum += std::polar(m_adError[n], 2.0 * CV_PI * static_cast<double>(n) / sk_nBins);
    }
    return 2.0 / sk_nBins * std::abs(sum);
}

double FurrowCurve::halfRange() const
{
    const auto [pLow, pHigh] = std::minmax_element(m_adError.begin(), m_adError.end());
    return 0.5 * (*pHigh - *pLow);
}

namespace {

void divide(FurrowCurve& rSums)
{
    for (std::size_t n = 0; n < rSums.m_adError.size(); ++n) {
        rSums.m_adError[n] /= static_cast<double>(std::max(1L, rSums.m_anPixels[n]));
    }
}

} // namespace

FurrowComparison compareFurrows(const DisparityMap& rStandard, const DisparityMap& rEnhanced, const SceneTruth& rTruth)
{
    FurrowComparison curves;
    const auto add = [](FurrowCurve& rCurve, double dTrue, double dError) {
        const auto nBin = static_cast<std::size_t>((dTrue - std::floor(dTrue)) * FurrowCurve::sk_nBins);
        rCurve.m_adError[nBin] += dError;
        ++rCurve.m_anPixels[nBin];
    };
    for (int nRow = 0; nRow < rTruth.m_floor.rows; ++nRow) {
        for (int nCol = 0; nCol < rTruth.m_floor.cols; ++nCol) {
            if (!rTruth.m_floor(nRow, nCol) || rTruth.m_sight(nRow, nCol) != static_cast<int>(Sight::Textured)) {
                continue;
            }
            const double dTrue = rTruth.m_disparity(nRow, nCol);
            const double dStandard = rStandard.m_pixels(nRow, nCol) - dTrue;
            const double dEnhanced = rEnhanced.m_pixels(nRow, nCol) - dTrue;
            if (std::max(std::abs(dStandard), std::abs(dEnhanced)) > 1.0) { // an unknown one is infinite
                continue;
            }
            add(curves.m_standard, dTrue, dStandard);
            add(curves.m_enhanced, dTrue, dEnhanced);
        }
    }
    divide(curves.m_standard);
    divide(curves.m_enhanced);
    return curves;
}

std::string furrowTable(const FurrowComparison& rCurves)
{
    std::string text =
        "\nPeriodic error of 16-bit disparity on the slanted floor: mean of measured less true disparity, "
        "in pixels\n  fraction of the true one   pixels   standard   enhanced\n";
    for (std::size_t n = 0; n < FurrowCurve::sk_nBins; ++n) {
        text += line("  %10.4f to %.4f   %9ld %+10.4f %+10.4f\n", static_cast<double>(n) / FurrowCurve::sk_nBins,
                     static_cast<double>(n + 1) / FurrowCurve::sk_nBins, rCurves.m_standard.m_anPixels[n],
                     rCurves.m_standard.m_adError[n], rCurves.m_enhanced.m_adError[n]);
    }
    const auto both = [&](const char* pszName, double dStandard, double dEnhanced) {
        text += line("  %-32s %10.4f %10.4f   ratio %.2f", pszName, dStandard, dEnhanced, dEnhanced / dStandard);
        return dEnhanced <= 0.5 * dStandard;
    };
    const bool bMet =
        both("amplitude of the first harmonic", rCurves.m_standard.amplitude(), rCurves.m_enhanced.amplitude());
    text += line("   <= 0.50  %s\n", bMet ? "met" : "NOT MET");
    both("half the range of the means", rCurves.m_standard.halfRange(), rCurves.m_enhanced.halfRange());
    return text + "\n";
}

// ---- picture ----

namespace {

// Where values stand on the sheet: fractions of a pixel along it, errors up and down.
struct Axes
{
    cv::Rect m_frame;
    double m_dReach; // errors from -reach to reach

    cv::Point2d at(double dFraction, double dError) const
    {
        return {m_frame.x + dFraction * m_frame.width, m_frame.y + (0.5 - 0.5 * dError / m_dReach) * m_frame.height};
    }
};

void write(cv::Mat3b& rSheet, const std::string& rText, cv::Point2d at, const cv::Scalar& rColour)
{
    cv::putText(rSheet, rText, at, cv::FONT_HERSHEY_SIMPLEX, 0.45, rColour, 1, cv::LINE_AA);
}

const cv::Scalar sk_ink = cv::Scalar::all(30);

void drawAxes(cv::Mat3b& rSheet, const Axes& rAxes)
{
    constexpr int nSteps = 4;
    for (int i = -nSteps; i <= nSteps; ++i) {
        const double dError = rAxes.m_dReach * i / nSteps;
        cv::line(rSheet, rAxes.at(0, dError), rAxes.at(1, dError), cv::Scalar::all(i == 0 ? 120 : 220));
        write(rSheet, line("%+.3f", dError), rAxes.at(0, dError) + cv::Point2d(-60, 4), sk_ink);
    }
    for (int i = 0; i <= nSteps; ++i) {
        const double dFraction = i / static_cast<double>(nSteps);
        cv::line(rSheet, rAxes.at(dFraction, -rAxes.m_dReach), rAxes.at(dFraction, rAxes.m_dReach),
                 cv::Scalar::all(220));
        write(rSheet, line("%.2f", dFraction), rAxes.at(dFraction, -rAxes.m_dReach) + cv::Point2d(-14, 20), sk_ink);
    }
    cv::rectangle(rSheet, rAxes.m_frame, sk_ink);
    write(rSheet, "mean error of disparity, pixels", {14, 22}, sk_ink);
    write(rSheet, "fraction of the true disparity, pixels", rAxes.at(0.25, -rAxes.m_dReach) + cv::Point2d(0, 44),
          sk_ink);
}

void drawCurve(cv::Mat3b& rSheet, const Axes& rAxes, const FurrowCurve& rCurve, const cv::Scalar& rColour)
{
    std::vector<cv::Point> points;
    for (std::size_t n = 0; n < FurrowCurve::sk_nBins; ++n) {
        points.emplace_back(rAxes.at((static_cast<double>(n) + 0.5) / FurrowCurve::sk_nBins, rCurve.m_adError[n]));
        cv::circle(rSheet, points.back(), 3, rColour, cv::FILLED, cv::LINE_AA);
    }
    cv::polylines(rSheet, points, false, rColour, 2, cv::LINE_AA);
}

} // namespace

cv::Mat3b furrowPicture(const FurrowComparison& rCurves)
{
    double dReach = 0.01;
    for (const FurrowCurve* pCurve : {&rCurves.m_standard, &rCurves.m_enhanced}) {
        for (double dError : pCurve->m_adError) {
            dReach = std::max(dReach, std::ceil(std::abs(dError) * 50.0) / 50.0);
        }
    }
    cv::Mat3b sheet(440, 720, cv::Vec3b::all(255));
    const Axes axes{{80, 60, 610, 310}, dReach};
    drawAxes(sheet, axes);
    const cv::Scalar standard(40, 90, 220);
    const cv::Scalar enhanced(150, 110, 20);
    drawCurve(sheet, axes, rCurves.m_standard, standard);
    drawCurve(sheet, axes, rCurves.m_enhanced, enhanced);
    write(sheet, line("standard: amplitude %.3f", rCurves.m_standard.amplitude()), {290, 22}, standard);
    write(sheet, line("enhanced: amplitude %.3f", rCurves.m_enhanced.amplitude()), {290, 44}, enhanced);
    return sheet;
}

} // namespace kestrova::app
