#include "stereo/twoCameraStereo.h"

#include "context/StereoContext.h"
#include "kernels/InstructionSet.h"
#include "kernels/processor.h"
#include "support/NaiveCorrelator.h"
#include "support/frames.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <utility>

using namespace kestrova;
using namespace support;

namespace {

/** Calls the correlator on a frame, region by region. */
auto correlator(StereoContext& r, const Frame& rFrame)
{
    return [&](const KestrovaROI& rRegion) { return twoCameraStereo(r, rRegion, rFrame.m_aViews); };
}

void expectAsNaive(StereoContext& r, const Frame& rFrame, bool bSSE2)
{
    expectAsModel(r, bSSE2, support::NaiveCorrelator(r, rFrame.m_aViews, bSSE2), correlator(r, rFrame));
}

TEST(TwoCameraStereo, MatchesModelOnRandomFrames)
{
    const auto sets = supportedInstructionSets(); // by turns
    for (unsigned uSeed = 0; uSeed < 2000 && !HasFatalFailure(); ++uSeed) {
        const InstructionSet& rSet = *sets[uSeed / 2 % sets.size()];
        forceInstructionSet(rSet);
        SCOPED_TRACE(testing::Message() << "seed " << uSeed << " " << rSet.m_pszName);
        std::mt19937 random(uSeed);
        StereoContext context;
        // The odd masks from 1 to 23 by turns, and then an even one.
        context.m_nStereoMaskSize = uSeed % 13 == 12 ? pick(random, {2, 6, 16}) : static_cast<int>(uSeed % 13) * 2 + 1;
        randomSettings(random, context);
        randomRegions(random, context);
        const auto eTexture = static_cast<Texture>(random() % Textures);
        const int nShift = between(random, context.m_nMinDisparity, context.m_nMaxDisparity);
        expectAsNaive(context, makeFrame(random, context, eTexture, nShift), uSeed % 2 == 0);
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
        SCOPED_TRACE(&rCase - aCases);
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
        const Frame frame = makeFrame(random, context, rCase.eTexture, 8);
        for (const InstructionSet* pSet : supportedInstructionSets()) {
            forceInstructionSet(*pSet);
            for (const bool bSSE2 : {false, true}) {
                expectAsNaive(context, frame, bSSE2);
                ASSERT_FALSE(HasFatalFailure()) << pSet->m_pszName;
            }
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
    const Frame frame = makeFrame(random, context, Noise, 0);
    const int nMost = std::numeric_limits<int>::max();
    const struct
    {
        int nRows, nCols;
        KestrovaROI region;
    } aCases[] = {
        {30, 40, {30, 0, 10, 40}}, {30, 40, {10, 10, 10, -4}}, {30, 40, {nMost, 0, nMost, nMost}},
        {30, 80, {0, 0, 30, 80}},  {60, 80, {29, 39, 31, 41}}, {12, 40, {0, 0, 12, 40}},
    };
    for (const auto& rCase : aCases) {
        context.m_nRows = rCase.nRows;
        context.m_nCols = rCase.nCols;
        for (const bool b16 : {false, true}) {
            context.m_bSubpixelInterpolation = b16;
            clearDisparityImages(context);
            EXPECT_EQ(KestrovaErrorOk, twoCameraStereo(context, rCase.region, frame.m_aViews));
            expectSame(Bytes::constImage(rCase.nRows, rCase.nCols, 253), context.m_disparityImage);
            expectSame(Words::constImage(rCase.nRows, rCase.nCols, 0xFFFD), context.m_disparityImage16);
        }
    }
}

// Wide ranges, large masks and flat content, cut into bands that run side by side: each form against the plain one.
class InstructionSets : public testing::TestWithParam<const InstructionSet*>
{
};

void correlateBands(const StereoContext& rContext, const Frame& rFrame, int nThreads)
{
    // From the border on: a band that begins above it would move into the next one.
    const int nBorder = rContext.m_nStereoMaskSize / 2 + rContext.m_nEdgeMaskSize / 2;
    const auto firstOf = [&](int i) { return nBorder + std::max(0, rContext.m_nRows - 2 * nBorder) * i / nThreads; };
    std::vector<std::thread> threads;
    for (int i = 0; i < nThreads; ++i) {
        const KestrovaROI band{firstOf(i), 0, firstOf(i + 1) - firstOf(i), rContext.m_nCols};
        threads.emplace_back([&, band, own = rContext]() mutable { twoCameraStereo(own, band, rFrame.m_aViews); });
    }
    for (std::thread& rThread : threads) {
        rThread.join();
    }
}

TEST_P(InstructionSets, GiveTheSameBytes)
{
    for (unsigned uSeed = 0; uSeed < 150 && !HasFailure(); ++uSeed) {
        SCOPED_TRACE(testing::Message() << "seed " << uSeed);
        std::mt19937 random(uSeed);
        StereoContext context;
        context.m_nStereoMaskSize = pick(random, {1, 3, 8, 11, 17, 23, 30});
        randomSettings(random, context);
        context.m_nMaxDisparity = context.m_nMinDisparity + pick(random, {0, 31, 63, 64, 127, 159, 239, 253});
        context.m_nCols = context.m_nStereoMaskSize + between(random, 30, 420);
        context.m_nCols += random() % 4 != 0 ? context.m_nMaxDisparity : 0; // too narrow for all lanes, if not
        const auto eTexture = static_cast<Texture>(random() % Textures);
        const Frame frame = makeFrame(random, context, eTexture, between(random, 0, context.m_nMaxDisparity));
        enableSSE2IfAvailable(random() % 2 == 0);
        Bytes aBytes[2];
        Words aWords[2];
        for (const int i : {0, 1}) {
            forceInstructionSet(i == 0 ? *supportedInstructionSets().front() : *GetParam());
            clearDisparityImages(context);
            correlateBands(context, frame, between(random, 1, 4));
            aBytes[i] = std::exchange(context.m_disparityImage, Bytes());
            aWords[i] = std::exchange(context.m_disparityImage16, Words());
        }
        expectSame(aBytes[0], aBytes[1]);
        expectSame(aWords[0], aWords[1]);
    }
    enableSSE2IfAvailable(true);
    forceInstructionSet(*supportedInstructionSets().back());
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(InstructionSets);
INSTANTIATE_TEST_SUITE_P(All, InstructionSets, testing::ValuesIn(supportedInstructionSets().subspan(1)),
                         [](const auto& rInfo) { return rInfo.param->m_pszName; });

} // namespace
