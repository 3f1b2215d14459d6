#include "models.h"
#include "rectify/pixelMapping.h"

#include <limits>

namespace kestrova::test {
namespace {

constexpr ImageDim sk_raw{480, 640};
constexpr ImageDim sk_rectified{240, 320};

using Doubles = std::pair<double, double>;

/** A lens of about 12 pixels at the corners of the raw image, seen by a camera that is turned a little. */
Doubles toRaw(double dRow, double dCol)
{
    const double y = 0.75 * (dRow - 0.5);
    const double x = dCol - 0.5;
    const double u = x * 0.97 - y * 0.01;
    const double v = y * 0.97 + x * 0.01;
    const double dLens = 1 - 0.08 * (u * u + v * v);
    return {0.5 + v * dLens / 0.75, 0.5 + u * dLens};
}

Doubles toRectified(double dRow, double dCol)
{
    Doubles point{dRow, dCol};
    for (int i = 0; i < 60; ++i) {
        const auto [dAtRow, dAtCol] = toRaw(point.first, point.second);
        point = {point.first + dRow - dAtRow, point.second + dCol - dAtCol};
    }
    return point;
}

/** A spline that meets a coordinate at its knot averages, by correcting the coefficients until it does. */
WarpSpline splineOf(const Coordinate& rMap)
{
    constexpr int n = 16;
    const std::vector<double> knots = clampedKnots(n);
    const std::vector<double> wanted = surfaceCoefs(rMap, n);
    const std::vector<double> rows = surfaceCoefs([](double dRow, double) { return dRow; }, n);
    const std::vector<double> cols = surfaceCoefs([](double, double dCol) { return dCol; }, n);
    std::vector<double> coefs = wanted;
    for (int nPass = 0; nPass < 30; ++nPass) {
        const WarpSpline spline(knots.data(), knots.data(), coefs.data(), n);
        for (std::size_t i = 0; i < coefs.size(); ++i) {
            coefs[i] += wanted[i] - spline(rows[i], cols[i]);
        }
    }
    return {knots.data(), knots.data(), coefs.data(), n};
}

WarpMapFunc mapOf(Doubles (*pfn)(double, double))
{
    return {splineOf([pfn](double r, double c) { return pfn(r, c).first; }),
            splineOf([pfn](double r, double c) { return pfn(r, c).second; }),
            1,
            1,
            0,
            0,
            0,
            0};
}

bool isIn(const PixelPosition& r, const ImageDim& rSize)
{
    return r.m_fRow >= 0 && r.m_fRow <= static_cast<float>(rSize.m_nRows - 1) && r.m_fCol >= 0 &&
           r.m_fCol <= static_cast<float>(rSize.m_nCols - 1);
}

double distance(const PixelPosition& rA, const PixelPosition& rB)
{
    return std::hypot(double{rA.m_fRow} - rB.m_fRow, double{rA.m_fCol} - rB.m_fCol);
}

TEST(PixelMapping, ComesBackToEveryRawPixelOfTheField)
{
    const WarpMapFunc forward = mapOf(toRaw);
    const WarpMapFunc inverse = mapOf(toRectified);
    const PixelMaps maps{forward, inverse, sk_raw, sk_rectified};
    const int nPixels = sk_raw.m_nRows * sk_raw.m_nCols;
    int nInField = 0;
    double dWorst = 0;
    for (int i = 0; i < nPixels; ++i) {
        const PixelPosition raw{static_cast<float>(i / sk_raw.m_nCols), static_cast<float>(i % sk_raw.m_nCols)};
        const PixelPosition rectified = rectifyPixel(maps, raw);
        PixelPosition back{-1, -1};
        const bool bFound = unrectifyPixel(maps, rectified, &back);
        if (isIn(rectified, sk_rectified)) {
            ASSERT_TRUE(bFound);
            ++nInField;
            dWorst = std::max(dWorst, distance(raw, back));
        }
    }
    std::printf("raw to rectified to raw: %d of %d pixels in the field, worst %.4f pixels\n", nInField, nPixels,
                dWorst);
    EXPECT_GT(nInField, nPixels * 17 / 20);
    EXPECT_LT(dWorst, 0.05);
}

/** Counts evaluations, to see a search that does not end. */
MapFunction counted(const MapFunction& rFunction, long* pnCount)
{
    return [rFunction, pnCount](float fRow, float fCol) {
        ++*pnCount;
        return rFunction(std::clamp(fRow, 0.0F, 1.0F), std::clamp(fCol, 0.0F, 1.0F));
    };
}

constexpr float sk_fNan = std::numeric_limits<float>::quiet_NaN();
constexpr float sk_fInf = std::numeric_limits<float>::infinity();

TEST(PixelMapping, SearchStopsWhereItIsToldTo)
{
    // The raw image shows the rectified one with a margin of a tenth, and here the inverse map may leave the image.
    const auto margin = [](float fRow, float fCol) { return std::pair{1.25F * fRow - 0.125F, 1.25F * fCol - 0.125F}; };
    const auto still = [](float, float) { return std::pair{0.25F, 0.25F}; };
    const auto turned = [](float fRow, float fCol) { return std::pair{1 - fRow, 1 - fCol}; };
    const auto squares = [](float fRow, float fCol) {
        return std::pair{fRow * fRow - 0.2F, fCol * fCol * fCol - 0.2F};
    };
    const struct
    {
        MapFunction inverse;
        PixelPosition wanted;
        bool bFound;
        PixelPosition raw;
        int nPasses;
    } aCases[] = {
        {margin, {-10, 20}, true, {32.3F, 96.3F}, 1}, // a straight map is met at the first step
        {margin, {250, 330}, true, {448.3F, 592.3F}, 1},
        {margin, {-60, 20}, false, {0, 96.3F}, 2}, // off the raw image: pinned to its edge
        {margin, {1e30F, 20}, false, {479, 96.3F}, 1},
        {margin, {sk_fInf, -sk_fInf}, false, {479, 0}, 1},
        {margin, {sk_fNan, 20}, false, {0, 96.3F}, 1},
        {turned, {-0.25F, -0.25F}, true, {479, 639}, 1},
        {still, {-1, -1}, false, {479, 639}, 2}, // nothing to divide by: the coordinate itself is the position
        {squares, {-40, 93}, true, {89.8327F, 504.8088F}, 6}, // step by step, and by how wide the brackets are
        {squares, {-40, 44}, false, {198.7149F, 579.2332F}, 2},
    };
    for (const auto& rCase : aCases) {
        long nCount = 0;
        const FunctionMap map(counted(rCase.inverse, &nCount));
        PixelPosition raw{};
        const auto i = &rCase - aCases;
        EXPECT_EQ(unrectifyPixel({map, map, sk_raw, sk_rectified}, rCase.wanted, &raw), rCase.bFound) << i;
        EXPECT_LT(distance(raw, rCase.raw), 0.001) << i << ": " << raw.m_fRow << ' ' << raw.m_fCol;
        EXPECT_EQ(nCount, 4 * rCase.nPasses) << i;
    }
}

TEST(PixelMapping, EndsForAMillionPointsOfAnyKindOnMapsOfAnyKind)
{
    const MapFunction aMaps[] = {
        [](float fRow, float fCol) {
            return std::pair{0.5F + 0.6F * std::sin(9 * fRow + fCol), fCol * fCol + 0.1F * std::cos(20 * fRow)};
        },
        [](float fRow, float fCol) {
            return std::pair{std::floor(7 * fRow) / 5 - 0.1F, std::floor(900 * fCol) / 900};
        },
        [](float fRow, float fCol) {
            return std::pair{fRow < 0.3F ? sk_fNan : 1.2F * fRow, fCol > 0.9F ? 1e30F : 1 - fCol};
        },
        [](float fRow, float fCol) -> std::pair<float, float> {
            return toRaw(double{fRow} * 1.1 - 0.05, double{fCol} * 1.1 - 0.05);
        },
    };
    const float afOdd[] = {sk_fNan, sk_fInf, std::numeric_limits<float>::max(), 1e20F, 1e-40F, 0, 239, 319};
    const ImageDim aSizes[] = {sk_raw, {1, 640}, {1, 1}, {3, 4}};
    std::mt19937 random(5);
    const auto coordinate = [&]() {
        const unsigned u = static_cast<unsigned>(random());
        const float f = u % 8 == 0 ? afOdd[u / 8 % 8] : static_cast<float>(u >> 8) / 16777216.0F * 480 - 80;
        return u % 16 == 8 ? -f : f;
    };
    long nMost = 0;
    int anFound[2] = {};
    for (const MapFunction& rFunction : aMaps) {
        long nCount = 0;
        const FunctionMap map(counted(rFunction, &nCount));
        for (int i = 0; i < 250000; ++i) {
            const PixelMaps maps{map, map, aSizes[i % 16 < 13 ? 0 : i % 4], sk_rectified};
            const PixelPosition wanted{coordinate(), coordinate()};
            PixelPosition raw{};
            nCount = 0;
            const bool bFound = unrectifyPixel(maps, wanted, &raw);
            nMost = std::max(nMost, nCount);
            if (!isIn(wanted, sk_rectified)) {
                ++anFound[bFound ? 1 : 0];
                ASSERT_TRUE(isIn(raw, maps.m_raw)) << wanted.m_fRow << ' ' << wanted.m_fCol;
                ASSERT_TRUE(!bFound || distance(rectifyPixel(maps, raw), wanted) <= 0.001);
            }
        }
    }
    std::printf("searches: %d found, %d stalled, at most %ld passes\n", anFound[1], anFound[0], nMost / 4);
    EXPECT_LT(nMost, 4 * 1000);
    EXPECT_GT(anFound[1], 1000);
}

} // namespace
} // namespace kestrova::test
