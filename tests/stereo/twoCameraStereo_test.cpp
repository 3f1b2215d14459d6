#include "stereo/twoCameraStereo.h"

#include "api/StereoContext.h"
#include "stereo/processor.h"
#include "support/NaiveCorrelator.h"
#include "support/rows.h"

#include <gtest/gtest.h>

#include <limits>
#include <ostream>
#include <random>

namespace kestrova {

static std::ostream& operator<<(std::ostream& rStream, const StereoContext& r)
{
    rStream << r.m_nRows << "x" << r.m_nCols << " mask " << r.m_nStereoMaskSize << " edge " << r.m_bEdgeCorrelation
            << " range " << r.m_nMinDisparity << ".." << r.m_nMaxDisparity << " 16-bit " << r.m_bSubpixelInterpolation
            << " texture " << r.m_bTextureValidation << "/" << r.m_dTextureValidationThreshold << " uniqueness "
            << r.m_bUniquenessValidation << "/" << r.m_dUniquenessValidationThreshold << " back-forth "
            << r.m_bBackForthValidation << " regions";
    for (int i = 0; i < r.m_nROICount; ++i) {
        const KestrovaROI& rROI = r.m_aROIs[static_cast<std::size_t>(i)];
        rStream << " " << rROI.m_nRowOffset << "," << rROI.m_nColOffset << "+" << rROI.m_nRows << "x" << rROI.m_nCols;
    }
    return rStream;
}

} // namespace kestrova

using namespace kestrova;

namespace {

using Bytes = Image<unsigned char>;
using Words = Image<unsigned short>;

/** The pair of images, in memory without any slack, so that a read past a last row is found by the sanitizer. */
struct Pair
{
    std::vector<unsigned char> m_aPixels[2];
    Bytes m_aViews[2];
};

// Noise, faint noise (ties everywhere, next to no texture), and black on white against white on black, whose sums
// wrap in large masks. Shifted, the second image is the first with a little noise for the fractions.
enum Texture : unsigned
{
    Noise,
    Faint,
    BlackAndWhite,
    ShiftedNoise,
    ShiftedFaint,
    Textures
};

Pair makePair(std::mt19937& rRandom, const StereoContext& r, Texture eTexture, int nShift)
{
    Pair pair;
    for (unsigned i = 0; i < 2; ++i) {
        pair.m_aPixels[i].resize(static_cast<std::size_t>(r.m_nRows) * static_cast<std::size_t>(r.m_nCols));
        std::generate(pair.m_aPixels[i].begin(), pair.m_aPixels[i].end(), [&] {
            const auto u = static_cast<unsigned>(rRandom());
            const unsigned uPixel = eTexture % 3 == Faint       ? 127 + u % 3
                                    : eTexture == BlackAndWhite ? (u % 16 == 0) != (i == 0) ? 255U : 0U
                                                                : u;
            return static_cast<unsigned char>(uPixel);
        });
        pair.m_aViews[i] = Bytes(r.m_nRows, r.m_nCols, pair.m_aPixels[i].data());
    }
    for (auto i = static_cast<std::size_t>(nShift); eTexture >= ShiftedNoise && i < pair.m_aPixels[1].size(); ++i) {
        const int nPixel = pair.m_aPixels[0][i - static_cast<std::size_t>(nShift)];
        pair.m_aPixels[1][i] = static_cast<unsigned char>((nPixel * 3 + pair.m_aPixels[1][i] + 2) / 4);
    }
    return pair;
}

void runRegions(StereoContext& r, const Pair& rPair)
{
    clearDisparityImages(r);
    for (int i = 0; i < r.m_nROICount; ++i) {
        ASSERT_EQ(KestrovaErrorOk, twoCameraStereo(r, r.m_aROIs[static_cast<std::size_t>(i)], rPair.m_aViews));
    }
}

template<typename T>
void expectSame(const Image<T>& rExpected, const Image<T>& rActual)
{
    const auto expected = support::pixelsOf(rExpected), actual = support::pixelsOf(rActual);
    const auto nAt = std::mismatch(expected.begin(), expected.end(), actual.begin()).first - expected.begin();
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(nAt))
        << "at " << nAt / rExpected.nCols() << "," << nAt % rExpected.nCols() << " expected "
        << +expected[static_cast<std::size_t>(nAt)] << " got " << +actual[static_cast<std::size_t>(nAt)];
}

void expectAsModel(StereoContext& r, const Pair& rPair, bool bSSE2)
{
    SCOPED_TRACE(testing::Message() << (bSSE2 ? "sse2 " : "mmx ") << r);
    Bytes expected8(r.m_nRows, r.m_nCols);
    Words expected16(r.m_nRows, r.m_nCols);
    expected8.init(r.m_ucSubpixelValidationMapping);
    expected16.init(static_cast<unsigned short>(0xFF00 + r.m_ucSubpixelValidationMapping));
    support::NaiveCorrelator model(r, rPair.m_aViews, bSSE2);
    for (int i = 0; i < r.m_nROICount; ++i) {
        model.run(r.m_aROIs[static_cast<std::size_t>(i)], expected8, expected16);
    }
    enableSSE2IfAvailable(bSSE2);
    runRegions(r, rPair);
    enableSSE2IfAvailable(true);
    expectSame(expected8, r.m_disparityImage);
    expectSame(expected16, r.m_disparityImage16);
}

template<typename T, std::size_t N>
T pick(std::mt19937& rRandom, const T (&aValues)[N])
{
    return aValues[rRandom() % N];
}

int between(std::mt19937& rRandom, int nLow, int nHigh)
{
    return nLow + static_cast<int>(rRandom() % static_cast<unsigned>(nHigh - nLow + 1));
}

void randomSettings(std::mt19937& rRandom, StereoContext& r)
{
    r.m_bEdgeCorrelation = rRandom() % 4 != 0;
    r.m_nEdgeMaskSize = pick(rRandom, {3, 7});
    r.m_nMinDisparity = pick(rRandom, {0, 0, 1, 5, 13});
    r.m_nMaxDisparity = r.m_nMinDisparity + pick(rRandom, {1, 2, 3, 4, 6, 7, 8, 14, 15, 16, 23, 32, 39});
    r.m_nDisparityOffset = pick(rRandom, {0, 0, 3, 30});
    r.m_nCols = r.m_nMaxDisparity + r.m_nStereoMaskSize + between(rRandom, 0, 35);
    r.m_nRows = r.m_nStereoMaskSize + between(rRandom, 4, 24);
    r.m_bDisparityMappingOn = rRandom() % 4 == 0;
    r.m_nDisparityMappingMin = pick(rRandom, {0, 10});
    r.m_nDisparityMappingMax = pick(rRandom, {32, 255});
    r.m_dTextureValidationThreshold = pick(rRandom, {0.0, 0.5, 3.7, 40.0, 128.0});
    r.m_dUniquenessValidationThreshold = pick(rRandom, {0.0, 0.3, 0.5, 0.9, 2.5, 10.0});
    for (bool* pSwitch : {&r.m_bSubpixelInterpolation, &r.m_bTextureValidation, &r.m_bUniquenessValidation,
                          &r.m_bBackForthValidation}) {
        *pSwitch = rRandom() % 2 == 0;
    }
    // The usual codes, or anything: below the labels, among them, between them and the codes.
    const bool bUsual = rRandom() % 3 != 0;
    for (std::uint8_t* pCode : {&r.m_ucTextureValidationMapping, &r.m_ucUniquenessValidationMapping,
                                &r.m_ucBackForthValidationMapping, &r.m_ucSubpixelValidationMapping}) {
        *pCode = bUsual ? *pCode : static_cast<std::uint8_t>(pick(rRandom, {0, 3, 17, 200, 240, 241, 249, 250, 255}));
    }
}

// The whole frame, or a few regions that may lie partly or wholly outside, overlap, or leave little to search.
void randomRegions(std::mt19937& rRandom, StereoContext& r)
{
    r.m_nROICount = pick(rRandom, {1, 1, 2, 3});
    for (int i = 0; i < r.m_nROICount; ++i) {
        r.m_aROIs[static_cast<std::size_t>(i)] = {between(rRandom, -3, r.m_nRows), between(rRandom, -3, r.m_nCols),
                                                  between(rRandom, 0, r.m_nRows), between(rRandom, 1, r.m_nCols)};
    }
    if (rRandom() % 2 == 0) {
        r.m_aROIs[0] = {0, 0, r.m_nRows, r.m_nCols};
    }
}

TEST(TwoCameraStereo, MatchesModelOnRandomFrames)
{
    for (unsigned uSeed = 0; uSeed < 2000 && !HasFatalFailure(); ++uSeed) {
        SCOPED_TRACE(testing::Message() << "seed " << uSeed);
        std::mt19937 random(uSeed);
        StereoContext context;
        // The odd masks from 1 to 23 by turns, and then an even one.
        context.m_nStereoMaskSize = uSeed % 13 == 12 ? pick(random, {2, 6, 16}) : static_cast<int>(uSeed % 13) * 2 + 1;
        randomSettings(random, context);
        randomRegions(random, context);
        const auto eTexture = static_cast<Texture>(random() % Textures);
        const int nShift = between(random, context.m_nMinDisparity, context.m_nMaxDisparity);
        expectAsModel(context, makePair(random, context, eTexture, nShift), uSeed % 2 == 0);
    }
}

// Where something of its own happens: the widest range, and rows around the bound of the validated 16-bit form.
TEST(TwoCameraStereo, MatchesModelAtItsLimits)
{
    const struct
    {
        int nRows, nCols, nMin, nMax, nOffset;
        Texture eTexture;
        bool b16, bValidate, bBackForth;
    } aCases[] = {
        {40, 262, 0, 240, 0, Noise, false, false, true},
        {40, 262, 0, 240, 0, Noise, false, true, true},
        {40, 262, 0, 240, 0, Noise, true, true, true},
        {40, 262, 0, 240, 0, Noise, true, false, true},
        {9, 360, 100, 340, 100, ShiftedNoise, true, false, true},
        {6, 1283, 0, 9, 0, ShiftedNoise, true, true, false},
        {6, 1282, 0, 9, 0, ShiftedNoise, true, true, true},
        {6, 1283, 0, 9, 0, ShiftedNoise, true, false, true},
    };
    for (const auto& rCase : aCases) {
        std::mt19937 random(7);
        StereoContext context;
        context.m_nStereoMaskSize = context.m_nEdgeMaskSize = 3;
        context.m_nRows = rCase.nRows;
        context.m_nCols = rCase.nCols;
        context.m_nMinDisparity = rCase.nMin;
        context.m_nMaxDisparity = rCase.nMax;
        context.m_nDisparityOffset = rCase.nOffset;
        context.m_bSubpixelInterpolation = rCase.b16;
        context.m_bTextureValidation = rCase.bValidate;
        context.m_bUniquenessValidation = false;
        context.m_bBackForthValidation = rCase.bBackForth;
        context.m_nROICount = 1;
        context.m_aROIs[0] = {0, 0, context.m_nRows, context.m_nCols};
        const Pair pair = makePair(random, context, rCase.eTexture, rCase.nMin + 8);
        for (const bool bSSE2 : {false, true}) {
            expectAsModel(context, pair, bSSE2);
            ASSERT_FALSE(HasFatalFailure());
        }
    }
}

// A window sum does not know in which band its rows were added.
TEST(TwoCameraStereo, BandsGiveTheBytesOfTheWholeFrame)
{
    for (unsigned uSeed = 0; uSeed < 24; ++uSeed) {
        std::mt19937 random(1000 + uSeed);
        StereoContext context;
        context.m_nStereoMaskSize = pick(random, {1, 5, 7, 19});
        randomSettings(random, context);
        context.m_nRows += 24;
        const Pair pair = makePair(random, context, ShiftedNoise, context.m_nMinDisparity);
        Bytes whole8;
        Words whole16;
        for (int nBands = 1; nBands <= 4; ++nBands) {
            const int nHeight = context.m_nRows / nBands;
            context.m_nROICount = nBands;
            for (int i = 0; i < nBands; ++i) {
                const int nRows = i == nBands - 1 ? context.m_nRows - i * nHeight : nHeight;
                context.m_aROIs[static_cast<std::size_t>(i)] = {i * nHeight, 0, nRows, context.m_nCols};
            }
            context.m_disparityImage = Bytes();
            context.m_disparityImage16 = Words();
            runRegions(context, pair);
            whole8 = nBands == 1 ? context.m_disparityImage : whole8;
            whole16 = nBands == 1 ? context.m_disparityImage16 : whole16;
            SCOPED_TRACE(testing::Message() << context);
            expectSame(whole8, context.m_disparityImage);
            expectSame(whole16, context.m_disparityImage16);
        }
    }
}

TEST(TwoCameraStereo, ClearResizesAndFillsBothImages)
{
    StereoContext context;
    for (const ImageDim dim : {ImageDim{3, 5}, ImageDim{6, 4}}) {
        context.m_nRows = dim.m_nRows;
        context.m_nCols = dim.m_nCols;
        context.m_ucSubpixelValidationMapping = static_cast<std::uint8_t>(200 + dim.m_nRows);
        clearDisparityImages(context);
        expectSame(Bytes::constImage(dim, static_cast<unsigned char>(200 + dim.m_nRows)), context.m_disparityImage);
        expectSame(Words::constImage(dim, static_cast<unsigned short>(0xFFC8 + dim.m_nRows)),
                   context.m_disparityImage16);
    }
}

// Regions without room, and images that a changed resolution has left behind: nothing is read, nothing is written.
TEST(TwoCameraStereo, LeavesTheFillWhereThereIsNoRoom)
{
    std::mt19937 random(3);
    StereoContext context;
    context.m_nRows = 30;
    context.m_nCols = 40;
    const Pair pair = makePair(random, context, Noise, 0);
    const int nMost = std::numeric_limits<int>::max();
    const struct
    {
        int nRows, nCols;
        KestrovaROI region;
    } aCases[] = {
        {30, 40, {30, 0, 10, 40}},  {30, 40, {0, 40, 30, 10}},          {30, 40, {10, 10, 0, 10}},
        {30, 40, {10, 10, 10, -4}}, {30, 40, {nMost, 0, nMost, nMost}}, {60, 40, {0, 0, 60, 40}},
        {30, 80, {0, 0, 30, 80}},   {60, 80, {29, 39, 31, 41}},         {12, 40, {0, 0, 12, 40}},
    };
    for (const auto& rCase : aCases) {
        context.m_nRows = rCase.nRows;
        context.m_nCols = rCase.nCols;
        for (const bool b16 : {false, true}) {
            context.m_bSubpixelInterpolation = b16;
            clearDisparityImages(context);
            EXPECT_EQ(KestrovaErrorOk, twoCameraStereo(context, rCase.region, pair.m_aViews));
            expectSame(Bytes::constImage(rCase.nRows, rCase.nCols, 253), context.m_disparityImage);
            expectSame(Words::constImage(rCase.nRows, rCase.nCols, 0xFFFD), context.m_disparityImage16);
        }
    }
}

} // namespace
