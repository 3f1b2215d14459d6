#include "stereo/twoCameraStereo.h"

#include "api/StereoContext.h"
#include "stereo/InstructionSet.h"
#include "stereo/processor.h"
#include "support/NaiveCorrelator.h"
#include "support/rows.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>

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

void expectAsModel(StereoContext& r, const Pair& rPair, bool bSSE2)
{
    Bytes expected8(r.m_nRows, r.m_nCols);
    Words expected16(r.m_nRows, r.m_nCols);
    expected8.init(r.m_ucSubpixelValidationMapping);
    expected16.init(static_cast<unsigned short>(0xFF00 + r.m_ucSubpixelValidationMapping));
    support::NaiveCorrelator model(r, rPair.m_aViews, bSSE2);
    enableSSE2IfAvailable(bSSE2);
    for (int i = 0; i < r.m_nROICount; ++i) {
        model.run(r.m_aROIs[static_cast<std::size_t>(i)], expected8, expected16);
    }
    for (const InstructionSet eSet : supportedInstructionSets()) {
        ASSERT_TRUE(forceInstructionSet(eSet));
        clearDisparityImages(r);
        for (int i = 0; i < r.m_nROICount; ++i) {
            ASSERT_EQ(KestrovaErrorOk, twoCameraStereo(r, r.m_aROIs[static_cast<std::size_t>(i)], rPair.m_aViews));
        }
        ASSERT_EQ(support::pixelsOf(expected8), support::pixelsOf(r.m_disparityImage)) << bSSE2 << nameOf(eSet);
        ASSERT_EQ(support::pixelsOf(expected16), support::pixelsOf(r.m_disparityImage16)) << bSSE2 << nameOf(eSet);
    }
    enableSSE2IfAvailable(true);
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
        int nRows, nCols, nMax;
        Texture eTexture;
        bool b16, bValidate, bBackForth;
    } aCases[] = {
        {40, 262, 240, Noise, false, false, true},     {40, 262, 240, Noise, false, true, true},
        {40, 262, 240, Noise, true, true, true},       {40, 262, 240, Noise, true, false, true},
        {6, 1283, 9, ShiftedNoise, true, true, false}, {6, 1282, 9, ShiftedNoise, true, true, true},
        {6, 1283, 9, ShiftedNoise, true, false, true},
    };
    for (const auto& rCase : aCases) {
        std::mt19937 random(7);
        StereoContext context;
        context.m_nStereoMaskSize = context.m_nEdgeMaskSize = 3;
        context.m_nRows = rCase.nRows;
        context.m_nCols = rCase.nCols;
        context.m_nMaxDisparity = rCase.nMax;
        context.m_bSubpixelInterpolation = rCase.b16;
        context.m_bTextureValidation = rCase.bValidate;
        context.m_bUniquenessValidation = false;
        context.m_bBackForthValidation = rCase.bBackForth;
        context.m_nROICount = 1;
        context.m_aROIs[0] = {0, 0, context.m_nRows, context.m_nCols};
        const Pair pair = makePair(random, context, rCase.eTexture, 8);
        for (const bool bSSE2 : {false, true}) {
            expectAsModel(context, pair, bSSE2);
            ASSERT_FALSE(HasFatalFailure());
        }
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
    constexpr int sk_nMost = 0x7fffffff;
    const struct
    {
        int nRows, nCols;
        KestrovaROI region;
    } aCases[] = {
        {30, 40, {30, 0, 10, 40}}, {30, 40, {10, 10, 10, -4}}, {30, 40, {sk_nMost, 0, sk_nMost, sk_nMost}},
        {30, 80, {0, 0, 30, 80}},  {60, 80, {29, 39, 31, 41}}, {12, 40, {0, 0, 12, 40}},
    };
    for (const auto& rCase : aCases) {
        context.m_nRows = rCase.nRows;
        context.m_nCols = rCase.nCols;
        for (const bool b16 : {false, true}) {
            context.m_bSubpixelInterpolation = b16;
            clearDisparityImages(context);
            EXPECT_EQ(KestrovaErrorOk, twoCameraStereo(context, rCase.region, pair.m_aViews));
            const std::vector<unsigned char> fill(static_cast<std::size_t>(rCase.nRows * rCase.nCols), 253);
            EXPECT_EQ(fill, support::pixelsOf(context.m_disparityImage));
            EXPECT_EQ(context.m_disparityImage16[rCase.nRows / 2][rCase.nCols / 2], 0xFFFD);
        }
    }
}

// Wide ranges, large masks and flat content, cut into bands that run side by side: each form against the plain one.
class InstructionSets : public testing::TestWithParam<InstructionSet>
{
};

void correlateBands(const StereoContext& rContext, const Pair& rPair, int nThreads)
{
    // From the border on: a band that begins above it would move into the next one.
    const int nBorder = rContext.m_nStereoMaskSize / 2 + rContext.m_nEdgeMaskSize / 2;
    const auto firstOf = [&](int i) { return nBorder + std::max(0, rContext.m_nRows - 2 * nBorder) * i / nThreads; };
    std::vector<std::thread> threads;
    for (int i = 0; i < nThreads; ++i) {
        const KestrovaROI band{firstOf(i), 0, firstOf(i + 1) - firstOf(i), rContext.m_nCols};
        threads.emplace_back([&, band, own = rContext]() mutable { twoCameraStereo(own, band, rPair.m_aViews); });
    }
    for (std::thread& rThread : threads) {
        rThread.join();
    }
}

TEST_P(InstructionSets, GiveTheSameBytes)
{
    if (!forceInstructionSet(GetParam())) {
        GTEST_SKIP() << "not on this processor";
    }
    for (unsigned uSeed = 0; uSeed < 150 && !HasFailure(); ++uSeed) {
        SCOPED_TRACE(testing::Message() << "seed " << uSeed);
        std::mt19937 random(uSeed);
        StereoContext context;
        context.m_nStereoMaskSize = pick(random, {1, 3, 8, 11, 17, 23, 30});
        randomSettings(random, context);
        context.m_nMaxDisparity = context.m_nMinDisparity + pick(random, {31, 63, 64, 127, 159, 239, 253});
        context.m_nCols = context.m_nStereoMaskSize + between(random, 30, 420);
        context.m_nCols += random() % 4 != 0 ? context.m_nMaxDisparity : 0; // too narrow for all lanes, if not
        const auto eTexture = static_cast<Texture>(random() % Textures);
        const Pair pair = makePair(random, context, eTexture, between(random, 0, context.m_nMaxDisparity));
        enableSSE2IfAvailable(random() % 2 == 0);
        std::vector<unsigned char> aBytes[2];
        std::vector<unsigned short> aWords[2];
        for (const int i : {0, 1}) {
            forceInstructionSet(i == 0 ? InstructionSet::Plain : GetParam());
            clearDisparityImages(context);
            correlateBands(context, pair, between(random, 1, 4));
            aBytes[i] = support::pixelsOf(context.m_disparityImage);
            aWords[i] = support::pixelsOf(context.m_disparityImage16);
        }
        EXPECT_EQ(aBytes[0], aBytes[1]);
        EXPECT_EQ(aWords[0], aWords[1]);
    }
    enableSSE2IfAvailable(true);
    forceInstructionSet(supportedInstructionSets().back());
}

INSTANTIATE_TEST_SUITE_P(All, InstructionSets,
                         testing::Values(InstructionSet::Sse2, InstructionSet::Avx2, InstructionSet::Avx512),
                         [](const auto& rInfo) { return nameOf(rInfo.param); });

} // namespace
