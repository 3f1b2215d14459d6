#include "stereo/generalStereo.h"

#include "api/StereoContext.h"
#include "stereo/processor.h"
#include "stereo/twoCameraStereo.h"
#include "support/NaiveGeneral.h"
#include "support/allocations.h"
#include "support/rows.h"

#include <gtest/gtest.h>

#include <random>

using namespace kestrova;

namespace {

using Bytes = Image<unsigned char>;

template<std::size_t N>
int pick(std::mt19937& rRandom, const int (&aValues)[N])
{
    return aValues[rRandom() % N];
}

int between(std::mt19937& rRandom, int nLow, int nHigh)
{
    return nLow + static_cast<int>(rRandom() % static_cast<unsigned>(nHigh - nLow + 1));
}

enum Texture
{
    Noise,
    Shifted, // matches at one disparity, with a little noise for the fractions
    Faint,   // ties everywhere, texture next to none
    BlackAndWhite,
    Textures
};

/** Images of a frame in memory without any slack, so that the sanitizer finds a read past a last row. */
struct Frame
{
    Frame(std::mt19937& rRandom, const StereoContext& r, int eTexture, int nShift)
    {
        const auto uCols = static_cast<std::size_t>(r.m_nCols);
        for (std::vector<unsigned char>& rPixels : m_aPixels) {
            rPixels.resize(static_cast<std::size_t>(r.m_nRows) * uCols);
            for (unsigned char& rPixel : rPixels) {
                const auto u = static_cast<unsigned>(rRandom());
                rPixel = static_cast<unsigned char>(eTexture == Faint           ? 127 + u % 3
                                                    : eTexture == BlackAndWhite ? (u % 5 == 0 ? 0 : 255)
                                                                                : u);
            }
        }
        // Camera 1 sees rows displaced, or columns in the horizontal pair; camera 2 sees columns.
        const std::size_t auSteps[] = {0, r.m_eCameraConfiguration == KestrovaCfg2CameraHorizontal ? 1 : uCols, 1};
        for (std::size_t u = 1; eTexture == Shifted && u < 3; ++u) {
            const std::size_t uStep = auSteps[u] * static_cast<std::size_t>(nShift);
            for (std::size_t i = uStep; i < m_aPixels[u].size(); ++i) {
                m_aPixels[u][i] = static_cast<unsigned char>((m_aPixels[0][i - uStep] * 3 + m_aPixels[u][i]) / 4);
            }
        }
        for (int i = 0; i < 3; ++i) {
            m_aViews[i] = Bytes(r.m_nRows, r.m_nCols, m_aPixels[i].data());
        }
    }

    std::vector<unsigned char> m_aPixels[3];
    Bytes m_aViews[3];
};

void randomSettings(std::mt19937& rRandom, StereoContext& r)
{
    r.m_eCameraConfiguration = static_cast<KestrovaCameraConfiguration>(pick(
        rRandom, {KestrovaCfg3CameraL, KestrovaCfg3CameraL, KestrovaCfg2CameraVertical, KestrovaCfg2CameraHorizontal}));
    r.m_nConfiguredCameraCount = r.m_eCameraConfiguration == KestrovaCfg3CameraL ? pick(rRandom, {3, 3, 3, 2}) : 2;
    r.m_bEdgeCorrelation = rRandom() % 4 != 0;
    r.m_bSubpixelInterpolation = rRandom() % 2 == 0;
    r.m_nMinDisparity = pick(rRandom, {0, 0, 1, 5});
    r.m_nMaxDisparity = r.m_nMinDisparity + pick(rRandom, {1, 2, 3, 8, 13});
    r.m_nDisparityOffset = std::min(r.m_nMinDisparity, pick(rRandom, {0, 0, 1, 5}));
    r.m_nRows = r.m_nMaxDisparity + r.m_nStereoMaskSize + between(rRandom, -2, 30);
    r.m_nCols = r.m_nMaxDisparity + r.m_nStereoMaskSize + between(rRandom, -2, 50);
    r.m_bDisparityMappingOn = rRandom() % 4 == 0;
    r.m_nDisparityMappingMin = pick(rRandom, {0, 10});
    r.m_nDisparityMappingMax = pick(rRandom, {32, 255});
    r.m_bTextureValidation = rRandom() % 2 == 0;
    r.m_dTextureValidationThreshold = pick(rRandom, {0, 5, 37, 400, 1280}) / 10.0;
    r.m_bUniquenessValidation = rRandom() % 2 == 0;
    r.m_dUniquenessValidationThreshold = pick(rRandom, {0, 3, 5, 9, 25, 100}) / 10.0;
    r.m_ucSubpixelValidationMapping = static_cast<std::uint8_t>(pick(rRandom, {253, 253, 4}));
    // The whole frame, or regions that overlap, lie partly or wholly outside, or leave little room.
    r.m_nROICount = pick(rRandom, {1, 1, 2, 3});
    for (int i = 0; i < r.m_nROICount; ++i) {
        r.m_aROIs[static_cast<std::size_t>(i)] = {between(rRandom, -4, r.m_nRows / 2), between(rRandom, -4, r.m_nCols),
                                                  between(rRandom, 0, r.m_nRows), between(rRandom, 1, r.m_nCols)};
    }
    if (rRandom() % 2 == 0) {
        r.m_aROIs[0] = {0, 0, r.m_nRows, r.m_nCols};
    }
}

/** Both in one run: every region has the model's result, and the frame its bytes. Returns the last result. */
KestrovaError expectAsModel(StereoContext& r, const Frame& rFrame, bool bSSE2)
{
    const int K = r.m_nConfiguredCameraCount;
    Bytes expected8(r.m_nRows, r.m_nCols);
    Image<unsigned short> expected16(r.m_nRows, r.m_nCols);
    expected8.init(r.m_ucSubpixelValidationMapping);
    expected16.init(static_cast<unsigned short>(0xFF00 + r.m_ucSubpixelValidationMapping));
    clearDisparityImages(r);
    enableSSE2IfAvailable(bSSE2);
    support::NaiveGeneral model(r, rFrame.m_aViews, K, bSSE2);
    KestrovaError eResult = KestrovaErrorOk;
    for (int i = 0; i < r.m_nROICount; ++i) {
        const KestrovaROI& rRegion = r.m_aROIs[static_cast<std::size_t>(i)];
        const KestrovaError eExpected = model.run(rRegion, expected8, expected16);
        eResult = generalStereo(r, rRegion, rFrame.m_aViews, K);
        EXPECT_EQ(eExpected, eResult) << "region " << i;
    }
    enableSSE2IfAvailable(true);
    EXPECT_EQ(support::pixelsOf(expected8), support::pixelsOf(r.m_disparityImage));
    EXPECT_EQ(support::pixelsOf(expected16), support::pixelsOf(r.m_disparityImage16));
    return eResult;
}

TEST(GeneralStereo, MatchesModelOnRandomFrames)
{
    int anResults[32] = {};
    for (unsigned uSeed = 0; uSeed < 1600; ++uSeed) {
        std::mt19937 random(uSeed);
        StereoContext context;
        context.m_nStereoMaskSize = static_cast<int>(uSeed / 2 % 24) + 1;
        randomSettings(random, context);
        const int nShift = between(random, context.m_nMinDisparity, context.m_nMaxDisparity);
        const Frame frame(random, context, static_cast<int>(random() % Textures), nShift);
        SCOPED_TRACE(testing::Message() << "seed " << uSeed);
        ++anResults[expectAsModel(context, frame, uSeed % 2 == 0)];
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(anResults[KestrovaErrorOk], 1000);
    EXPECT_GT(anResults[KestrovaErrorInvalidROI], 100);
}

// The end of the offset and of the byte: labels up to 240, and rows of more than one vector of saturating groups.
TEST(GeneralStereo, MatchesModelAtTheHighestDisparities)
{
    for (const bool b16 : {false, true}) {
        std::mt19937 random(3);
        StereoContext context;
        context.m_nRows = context.m_nCols = 275;
        context.m_nMinDisparity = 242;
        context.m_nMaxDisparity = 250;
        context.m_nDisparityOffset = 10;
        context.m_nConfiguredCameraCount = 3;
        context.m_bSubpixelInterpolation = b16;
        context.m_nROICount = 1;
        context.m_aROIs[0] = {0, 0, 275, 275};
        const Frame frame(random, context, Shifted, 246);
        EXPECT_EQ(KestrovaErrorOk, expectAsModel(context, frame, b16));
    }
}

// Bands that the range limit does not reach give the bytes of the whole frame.
TEST(GeneralStereo, BandsGiveTheBytesOfTheWholeFrame)
{
    for (unsigned uSeed = 0; uSeed < 24; ++uSeed) {
        std::mt19937 random(uSeed);
        StereoContext r;
        r.m_nStereoMaskSize = pick(random, {1, 5, 6, 17});
        randomSettings(random, r);
        r.m_nRows = 4 * (r.m_nMaxDisparity + r.m_nStereoMaskSize + between(random, 1, 5));
        const Frame frame(random, r, Shifted, r.m_nMinDisparity + 1);
        std::vector<unsigned char> whole8;
        std::vector<unsigned short> whole16;
        for (int nBands = 1; nBands <= 4; ++nBands) {
            clearDisparityImages(r);
            for (int nBand = 0, nRow = 0; nBand < nBands; ++nBand) {
                const int nEnd = nBand == nBands - 1 ? r.m_nRows : nRow + r.m_nRows / nBands;
                generalStereo(r, {nRow, 0, nEnd - nRow, r.m_nCols}, frame.m_aViews, r.m_nConfiguredCameraCount);
                nRow = nEnd;
            }
            if (nBands == 1) {
                whole8 = support::pixelsOf(r.m_disparityImage);
                whole16 = support::pixelsOf(r.m_disparityImage16);
            }
            ASSERT_EQ(whole8, support::pixelsOf(r.m_disparityImage)) << "seed " << uSeed << " bands " << nBands;
            ASSERT_EQ(whole16, support::pixelsOf(r.m_disparityImage16)) << "seed " << uSeed << " bands " << nBands;
        }
    }
}

// What is refused writes nothing, and what the numbers of a region can do does no harm.
TEST(GeneralStereo, RefusesWhatHasNoRoom)
{
    const int nMost = std::numeric_limits<int>::max(), nLeast = std::numeric_limits<int>::min();
    const auto eOther = static_cast<KestrovaCameraConfiguration>(7);
    const struct
    {
        KestrovaCameraConfiguration eConfiguration;
        int K, nRows, nMask, nMin;
        KestrovaROI region;
        KestrovaError eError;
    } aCases[] = {
        {KestrovaCfg3CameraL, 3, 40, 7, 0, {35, 0, 5, 60}, KestrovaErrorInvalidROI}, // range below 0
        {KestrovaCfg3CameraL, 3, 40, 7, 5, {30, 0, 10, 60}, KestrovaErrorOk},        // range below its minimum
        {KestrovaCfg3CameraL, 3, 40, 7, 0, {0, 0, 3, 60}, KestrovaErrorInvalidROI},  // a band no higher than its rim
        {KestrovaCfg2CameraVertical, 2, 40, 7, 0, {0, 60, 40, 9}, KestrovaErrorInvalidROI},
        {KestrovaCfg2CameraVertical, 2, 40, 7, 0, {0, 0, nLeast, nLeast}, KestrovaErrorInvalidROI},
        {KestrovaCfg2CameraVertical, 2, 40, 7, 0, {nLeast, nLeast, nMost, nMost}, KestrovaErrorInvalidROI},
        {KestrovaCfg2CameraVertical, 2, 40, 7, 0, {nMost, nMost, nMost, nMost}, KestrovaErrorInvalidROI},
        {KestrovaCfg2CameraVertical, 2, 40, nMost, 0, {0, 0, 40, 60}, KestrovaErrorInvalidROI},
        {KestrovaCfg2CameraVertical, 2, 80, 7, 0, {0, 0, 80, 60}, KestrovaErrorOk}, // images of the resolution before
        {eOther, 2, 40, 7, 0, {0, 0, 40, 60}, KestrovaErrorUnknown},
        {KestrovaCfg3CameraL, 1, 40, 7, 0, {0, 0, 40, 60}, KestrovaErrorUnknown},
    };
    std::mt19937 random(1);
    for (const auto& rCase : aCases) {
        StereoContext context;
        context.m_nCols = 60;
        context.m_nRows = 40;
        const Frame frame(random, context, Noise, 0);
        context.m_nRows = rCase.nRows;
        context.m_eCameraConfiguration = rCase.eConfiguration;
        context.m_nStereoMaskSize = rCase.nMask;
        context.m_nMinDisparity = rCase.nMin;
        clearDisparityImages(context);
        for (const bool b16 : {false, true}) {
            context.m_bSubpixelInterpolation = b16;
            EXPECT_EQ(rCase.eError, generalStereo(context, rCase.region, frame.m_aViews, rCase.K));
            for (const unsigned short u : support::pixelsOf(context.m_disparityImage16)) {
                ASSERT_EQ(0xFFFD, u) << "case " << &rCase - aCases;
            }
            for (const unsigned char uc : support::pixelsOf(context.m_disparityImage)) {
                ASSERT_EQ(0xFD, uc) << "case " << &rCase - aCases;
            }
        }
    }
}

// Working memory is taken once for a call, not for a row or for a disparity.
TEST(GeneralStereo, AllocatesAsOftenForAnyFrame)
{
    for (const bool b16 : {false, true}) {
        std::vector<unsigned long> counts;
        for (const int nSize : {60, 90}) {
            for (const int nMax : {4, 28}) {
                std::mt19937 random(1);
                StereoContext context;
                context.m_nRows = context.m_nCols = nSize;
                context.m_nMaxDisparity = nMax;
                context.m_bSubpixelInterpolation = b16;
                const Frame frame(random, context, Noise, 0);
                clearDisparityImages(context);
                const unsigned long nBefore = support::allocations();
                EXPECT_EQ(KestrovaErrorOk, generalStereo(context, {0, 0, nSize, nSize}, frame.m_aViews, 3));
                counts.push_back(support::allocations() - nBefore);
            }
        }
        EXPECT_EQ(std::vector<unsigned long>(4, counts[0]), counts);
        EXPECT_GT(counts[0], 0u);
    }
}

} // namespace
