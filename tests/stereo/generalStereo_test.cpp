#include "stereo/generalStereo.h"

#include "kernels/InstructionSet.h"
#include "support/NaiveGeneral.h"
#include "support/frames.h"

#include <limits>

using namespace kestrova;
using namespace support;

namespace {

struct Case
{
    explicit Case(unsigned uSeed, Texture eTexture) : m_random(uSeed)
    {
        r.m_nStereoMaskSize = static_cast<int>(uSeed / 2 % 24) + 1;
        randomSettings(m_random, r);
        r.m_nMinDisparity = std::min(r.m_nMinDisparity, 5);
        r.m_nMaxDisparity = r.m_nMinDisparity + pick(m_random, {1, 2, 3, 8, 13});
        r.m_nDisparityOffset = std::min(r.m_nDisparityOffset, r.m_nMinDisparity);
        r.m_nRows = r.m_nMaxDisparity + r.m_nStereoMaskSize + between(m_random, -2, 20);
        r.m_nCols = r.m_nMaxDisparity + r.m_nStereoMaskSize + between(m_random, -2, 45);
        r.m_eCameraConfiguration = pick(m_random, {KestrovaCfg3CameraL, KestrovaCfg3CameraL, KestrovaCfg2CameraVertical,
                                                   KestrovaCfg2CameraHorizontal});
        r.m_nConfiguredCameraCount = r.m_eCameraConfiguration == KestrovaCfg3CameraL ? pick(m_random, {3, 3, 3, 2}) : 2;
        randomRegions(m_random, r);
        makeFrame(eTexture);
    }

    Case() = default;

    void makeFrame(Texture eTexture)
    {
        const bool bAlongRows = r.m_eCameraConfiguration != KestrovaCfg2CameraHorizontal;
        m_frame = support::makeFrame(m_random, r, eTexture, between(m_random, r.m_nMinDisparity, r.m_nMaxDisparity),
                                     static_cast<std::size_t>(bAlongRows ? r.m_nCols : 1));
    }

    auto correlator()
    {
        return [this](const KestrovaROI& rRegion) {
            return generalStereo(r, rRegion, m_frame.m_aViews, r.m_nConfiguredCameraCount);
        };
    }

    void expectAsNaive(bool bSSE2)
    {
        // Plain makes passes, all others go by rows.
        const auto sets = supportedInstructionSets();
        const InstructionSet& rSet = *sets[m_random() % sets.size()];
        SCOPED_TRACE(rSet.m_pszName);
        forceInstructionSet(rSet);
        expectAsModel(r, bSSE2, NaiveGeneral(r, m_frame.m_aViews, r.m_nConfiguredCameraCount, bSSE2), correlator());
        forceInstructionSet(*sets.back());
    }

    std::mt19937 m_random;
    StereoContext r;
    Frame m_frame;
};

TEST(GeneralStereo, MatchesModelOnRandomFrames)
{
    for (unsigned uSeed = 0; uSeed < 1440 && !HasFatalFailure(); ++uSeed) {
        SCOPED_TRACE(testing::Message() << "seed " << uSeed);
        Case(uSeed, static_cast<Texture>(uSeed / 48 % Textures)).expectAsNaive(uSeed % 2 == 0);
    }
}

// What no frame of a model reaches: numbers that a region, a mask or a stale frame can bring along.
TEST(GeneralStereo, RefusesWithoutATrace)
{
    const int nMost = std::numeric_limits<int>::max(), nLeast = std::numeric_limits<int>::min();
    const KestrovaError eNoRoom = KestrovaErrorInvalidROI;
    const struct
    {
        int nConfiguration, K, nRows, nMask;
        KestrovaROI region;
        KestrovaError eError;
    } aCases[] = {
        {2, 2, 40, 7, {0, 0, nLeast, nLeast}, eNoRoom},       {2, 2, 40, 7, {nLeast, nLeast, nMost, nMost}, eNoRoom},
        {2, 2, 40, 7, {nMost, nMost, nMost, nMost}, eNoRoom}, {2, 2, 40, nMost, {0, 0, 40, 60}, eNoRoom},
        {2, 2, 80, 7, {0, 0, 80, 60}, KestrovaErrorOk}, // images of the resolution before
        {7, 2, 40, 7, {0, 0, 40, 60}, KestrovaErrorUnknown},  {0, 1, 40, 7, {0, 0, 40, 60}, KestrovaErrorUnknown},
    };
    for (const auto& rCase : aCases) {
        Case test;
        test.r.m_nCols = 60;
        test.r.m_nRows = 40;
        test.makeFrame(Noise);
        test.r.m_nRows = rCase.nRows;
        test.r.m_eCameraConfiguration = static_cast<KestrovaCameraConfiguration>(rCase.nConfiguration);
        test.r.m_nStereoMaskSize = rCase.nMask;
        clearDisparityImages(test.r);
        for (const bool b16 : {false, true}) {
            test.r.m_bSubpixelInterpolation = b16;
            EXPECT_EQ(rCase.eError, generalStereo(test.r, rCase.region, test.m_frame.m_aViews, rCase.K));
            expectSame(Bytes::constImage(rCase.nRows, 60, 253), test.r.m_disparityImage);
            expectSame(Words::constImage(rCase.nRows, 60, 0xFFFD), test.r.m_disparityImage16);
        }
    }
}

} // namespace
