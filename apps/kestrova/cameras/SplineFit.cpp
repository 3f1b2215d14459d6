#include "cameras/SplineFit.h"

#include "cameras/LensReach.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kestrova::app {

namespace {

constexpr int sk_nOrder = 4;

std::vector<double> clampedKnots(int nCoefs)
{
    std::vector<double> knots;
    for (int i = 0; i < nCoefs + sk_nOrder; ++i) {
        knots.push_back(std::clamp((i - sk_nOrder + 1) / static_cast<double>(nCoefs - sk_nOrder + 1), 0.0, 1.0));
    }
    return knots;
}

// The four basis functions that are not zero at t, and the index of the first.
int basisAt(const std::vector<double>& rKnots, int nCoefs, double t, std::array<double, sk_nOrder>& rValues)
{
    const auto first = rKnots.begin() + sk_nOrder;
    const int nSpan = static_cast<int>(std::upper_bound(first, rKnots.begin() + nCoefs, t) - first);
    const double* pKnot = rKnots.data() + nSpan + sk_nOrder - 1; // the knot at the left of t
    rValues = {1.0, 0.0, 0.0, 0.0};
    for (int nDegree = 1; nDegree < sk_nOrder; ++nDegree) {
        double dCarry = 0.0;
        for (int i = 0; i < nDegree; ++i) {
            const double dLeft = pKnot[i + 1 - nDegree];
            const double dShare = rValues[i] / (pKnot[i + 1] - dLeft);
            rValues[i] = dCarry + (pKnot[i + 1] - t) * dShare;
            dCarry = (t - dLeft) * dShare;
        }
        rValues[nDegree] = dCarry;
    }
    return nSpan;
}

} // namespace

double SplineSurface::operator()(double dX, double dY) const
{
    std::array<double, sk_nOrder> adX;
    std::array<double, sk_nOrder> adY;
    const int nX = basisAt(m_adKnotsX, m_nCoefs, dX, adX);
    const int nY = basisAt(m_adKnotsY, m_nCoefs, dY, adY);
    double dSum = 0.0;
    for (int x = 0; x < sk_nOrder; ++x) {
        for (int y = 0; y < sk_nOrder; ++y) {
            dSum += adX[x] * adY[y] * m_adCoefs[static_cast<std::size_t>((nX + x) * m_nCoefs + nY + y)];
        }
    }
    return dSum;
}

cv::Point2d SplineMap::operator()(const cv::Point2d& rPixel, cv::Size from, cv::Size to) const
{
    const double dX = (rPixel.x + 0.5) / from.width;
    const double dY = (rPixel.y + 0.5) / from.height;
    return {m_column(dX, dY) * to.width - 0.5, m_row(dX, dY) * to.height - 0.5};
}

namespace {

// Places along one axis at which a function is sampled: four to a coefficient, and both ends, so that the half pixel
// outside the outermost pixel centres is held too.
std::vector<double> samplePlaces(int nCoefs)
{
    std::vector<double> places{0.0};
    const int nInner = 4 * nCoefs;
    for (int i = 0; i < nInner; ++i) {
        places.push_back((i + 0.5) / nInner);
    }
    places.push_back(1.0);
    return places;
}

// Maps sampled values to coefficients along one axis: the pseudo-inverse of the basis matrix.
cv::Mat1d axisSolver(const std::vector<double>& rKnots, int nCoefs, const std::vector<double>& rPlaces)
{
    cv::Mat1d basis(static_cast<int>(rPlaces.size()), nCoefs, 0.0);
    for (int i = 0; i < basis.rows; ++i) {
        std::array<double, sk_nOrder> adValues;
        const int nFirst = basisAt(rKnots, nCoefs, rPlaces[static_cast<std::size_t>(i)], adValues);
        for (int k = 0; k < sk_nOrder; ++k) {
            basis(i, nFirst + k) = adValues[static_cast<std::size_t>(k)];
        }
    }
    cv::Mat1d solver;
    cv::invert(basis, solver, cv::DECOMP_SVD);
    return solver;
}

} // namespace

SplineMap fitSplineMap(const PixelFunction& rFunction, cv::Size from, cv::Size to, int nCoefs)
{
    const std::vector<double> knots = clampedKnots(nCoefs);
    const std::vector<double> places = samplePlaces(nCoefs);
    const int nPlaces = static_cast<int>(places.size());
    Points pixels;
    for (double dX : places) {
        for (double dY : places) {
            pixels.emplace_back(dX * from.width - 0.5, dY * from.height - 0.5);
        }
    }
    const Points values = rFunction(pixels);

    const cv::Mat1d solver = axisSolver(knots, nCoefs, places);
    const auto surface = [&](auto coordinate) {
        cv::Mat1d samples(nPlaces, nPlaces); // rows run with x, so that the answer has the order of the text
        std::transform(values.begin(), values.end(), samples.begin(), coordinate);
        const cv::Mat coefs = solver * samples * solver.t();
        return SplineSurface{nCoefs, knots, knots, {coefs.begin<double>(), coefs.end<double>()}};
    };
    return {surface([&](const cv::Point2d& rAt) { return (rAt.x + 0.5) / to.width; }),
            surface([&](const cv::Point2d& rAt) { return (rAt.y + 0.5) / to.height; })};
}

SplineMap identitySplineMap()
{
    // With four coefficients an axis the surface is one cubic, and coefficients at thirds make it the straight line.
    SplineMap map;
    map.m_column = map.m_row = {4, clampedKnots(4), clampedKnots(4), {}};
    for (int x = 0; x < 4; ++x) {
        for (int y = 0; y < 4; ++y) {
            map.m_column.m_adCoefs.push_back(x / 3.0);
            map.m_row.m_adCoefs.push_back(y / 3.0);
        }
    }
    return map;
}

namespace {

bool isInside(const cv::Point2d& rPixel, cv::Size size)
{
    return rPixel.x >= 0.0 && rPixel.y >= 0.0 && rPixel.x <= size.width - 1.0 && rPixel.y <= size.height - 1.0;
}

// All of a small image, every second or third pixel and row of a large one.
Points manyPixels(cv::Size size)
{
    const int nStep = std::max(1, (size.width + 320) / 640);
    Points pixels;
    for (int nRow = 0; nRow < size.height; nRow += nStep) {
        for (int nCol = 0; nCol < size.width; nCol += nStep) {
            pixels.emplace_back(nCol, nRow);
        }
    }
    return pixels;
}

// Largest and mean square of differences.
struct Spread
{
    double m_dWorst = 0.0;
    double m_dSquares = 0.0;
    int m_nCount = 0;

    void add(double dError)
    {
        m_dWorst = std::max(m_dWorst, dError);
        m_dSquares += dError * dError;
        ++m_nCount;
    }
    double rms() const { return std::sqrt(m_dSquares / std::max(m_nCount, 1)); }
};

void measureForward(CameraMaps& rMaps, const CameraModel& rCamera, const LensReach& rReach,
                    const cv::Matx33d& rRotation, const RectificationPlan& rPlan)
{
    const Points pixels = manyPixels(rPlan.m_canvas);
    const Points rays = raysOfRectified(rRotation, rPlan, pixels);
    const Points inRaw = projectContinued(rCamera, rReach, rays);
    Spread spread;
    for (std::size_t i = 0; i < inRaw.size(); ++i) {
        if (cv::norm(rays[i]) <= rReach.m_dRay && isInside(inRaw[i], rCamera.m_size)) {
            spread.add(cv::norm(rMaps.m_rawFromRectified(pixels[i], rPlan.m_canvas, rCamera.m_size) - inRaw[i]));
        }
    }
    rMaps.m_dForwardError = spread.m_dWorst;
    rMaps.m_dForwardRms = spread.rms();
}

void measureInverse(CameraMaps& rMaps, const CameraModel& rCamera, const LensReach& rReach,
                    const cv::Matx33d& rRotation, const RectificationPlan& rPlan)
{
    const Points pixels = manyPixels(rCamera.m_size);
    const Points rays = raysContinued(rCamera, rReach, pixels);
    const Points inRectified = rectifiedFromRays(rRotation, rPlan, rays);
    Spread spread;
    Spread roundTrip;
    int nLost = 0;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        if (cv::norm(rays[i]) > rReach.m_dRay) {
            ++nLost;
        } else if (isInside(inRectified[i], rPlan.m_canvas)) {
            const cv::Point2d fitted = rMaps.m_rectifiedFromRaw(pixels[i], rCamera.m_size, rPlan.m_canvas);
            spread.add(cv::norm(fitted - inRectified[i]));
            roundTrip.add(cv::norm(rMaps.m_rawFromRectified(fitted, rPlan.m_canvas, rCamera.m_size) - pixels[i]));
        }
    }
    rMaps.m_dInverseError = spread.m_dWorst;
    rMaps.m_dInverseRms = spread.rms();
    rMaps.m_dRoundTripError = roundTrip.m_dWorst;
    rMaps.m_dLostShare = static_cast<double>(nLost) / static_cast<double>(pixels.size());
}

} // namespace

CameraMaps fitCameraMaps(const CameraModel& rCamera, const cv::Matx33d& rRotation, const RectificationPlan& rPlan,
                         int nCoefs)
{
    const LensReach reach = reachOf(rCamera);
    const PixelFunction toRaw = [&](const Points& rPixels) {
        return projectContinued(rCamera, reach, raysOfRectified(rRotation, rPlan, rPixels));
    };
    const PixelFunction toRectified = [&](const Points& rPixels) {
        return rectifiedFromRays(rRotation, rPlan, raysContinued(rCamera, reach, rPixels));
    };
    CameraMaps maps;
    maps.m_nCoefs = nCoefs;
    maps.m_rawFromRectified = fitSplineMap(toRaw, rPlan.m_canvas, rCamera.m_size, nCoefs);
    maps.m_rectifiedFromRaw = fitSplineMap(toRectified, rCamera.m_size, rPlan.m_canvas, nCoefs);
    measureForward(maps, rCamera, reach, rRotation, rPlan);
    measureInverse(maps, rCamera, reach, rRotation, rPlan);
    return maps;
}

} // namespace kestrova::app
