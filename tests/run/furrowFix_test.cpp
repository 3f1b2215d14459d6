// The second context of Enhanced quality and the averaging of both results. Whole runs are with the tests of the api.
#include "run/furrowFix.h"

#include "api/MultiContext.h"
#include "rectify/Camera.h"
#include "support/StereoFrame.h"

#include <numeric>

using namespace kestrova;
using namespace kestrova::test;

TEST(FurrowFix, AveragesWhatBothPassesFound)
{
    const std::uint16_t aCases[][3] = {
        // main, furrow, result
        {1000, 1128, 1000},       {1000, 1000, 936},       {1000, 0xFF05, 0xFF05}, {0xFF00, 1000, 0xFF00},
        {0xFFFD, 0xFFFC, 0xFFFD}, {0xFEFF, 0xFEFF, 65215}, {100, 27, 0},           {0, 0, 0xFFC0},
    };
    for (const auto& rCase : aCases) {
        StereoContext main;
        StereoContext furrow;
        unsigned short ausPixels[] = {rCase[0], rCase[1]};
        main.m_disparityImage16 = Image<unsigned short>(1, 1, &ausPixels[0]);
        furrow.m_disparityImage16 = Image<unsigned short>(1, 1, &ausPixels[1]);
        EXPECT_EQ(furrowFixCombineDisparityImages(&main, &furrow), KestrovaErrorOk);
        EXPECT_TRUE(ausPixels[0] == rCase[2] && ausPixels[1] == rCase[1]) << rCase[0] << ' ' << rCase[1];
    }
}

TEST(FurrowFix, WalksThroughGapsAndRefusesWhatDoesNotFit)
{
    std::vector<unsigned short> lent(6 * 12);
    for (const int nDistance : {12, 16}) { // of the main image
        StereoContext main;
        StereoContext furrow;
        main.m_disparityImage16 =
            nDistance == 12 ? Image<unsigned short>(6, 12, lent.data()) : Image<unsigned short>(6, 12);
        furrow.m_disparityImage16 = Image<unsigned short>(6, 12);
        unsigned short* const pMain = main.m_disparityImage16.data();
        std::iota(pMain, pMain + 6 * nDistance, 1000);
        std::iota(furrow.m_disparityImage16.data(), furrow.m_disparityImage16.data() + 6 * 16, 1328);
        EXPECT_EQ(furrowFixCombineDisparityImages(&main, &furrow), KestrovaErrorOk);
        for (int i = 0; i < 6 * nDistance; ++i) {
            EXPECT_EQ(pMain[i], 1000 + i + (i < 6 * 12 ? 100 : 0)) << nDistance << ' ' << i;
        }
        furrow.m_bDoStereo = false;
        EXPECT_EQ(furrowFixCombineDisparityImages(&main, &furrow), KestrovaErrorInvalidRequest);
        furrow.m_bDoStereo = true;
        furrow.m_disparityImage16 = Image<unsigned short>(6, 8);
        EXPECT_EQ(furrowFixCombineDisparityImages(&main, &furrow), KestrovaErrorInvalidRequest);
        main.m_bSubpixelInterpolation = false;
        EXPECT_EQ(furrowFixCombineDisparityImages(&main, &furrow), KestrovaErrorInvalidSetting);
    }
    EXPECT_EQ(syncFurrowFixContext(nullptr), KestrovaErrorInvalidContext);
}

TEST(FurrowFix, PreparingBuildsTheWarpersOfBothPasses)
{
    const auto built = [](const StereoContext& r) {
        return std::accumulate(r.m_apCameras.begin(), r.m_apCameras.begin() + r.m_nCameraCount, 0,
                               [](int n, const Camera* pCamera) { return n + pCamera->warpers().count(); });
    };
    for (const Shape eShape : {Shape::Horizontal, Shape::Vertical, Shape::L}) {
        for (const KestrovaStereoQuality eQuality : {KestrovaStereoStandard, KestrovaStereoEnhanced}) {
            const Handle c = open(eShape);
            const StereoContext& rContext = *getActiveContext(c);
            expectOk({kestrovaSetStereoQuality(c, eQuality), kestrovaSetResolutionAndPrepare(c, 30, 40, 60, 80)});
            const int nPrepared = built(rContext);
            StereoFrame frame(60, 80, 5, 0, eShape);
            KestrovaInput input = frame.planes();
            expectOk({kestrovaPreprocess(c, &input)});
            EXPECT_EQ(built(rContext), nPrepared) << static_cast<int>(eShape) << ' ' << eQuality;
        }
    }
}

TEST(FurrowFix, SecondContextSharesTheRightCameraAndFollowsTheSettings)
{
    for (const Shape eShape : {Shape::Horizontal, Shape::Vertical, Shape::L}) {
        const Handle c = open(eShape);
        StereoContext& rMain = *getActiveContext(c);
        StereoFrame frame(60, 80, 5, 0, eShape);
        KestrovaInput input = frame.planes();
        expectOk({kestrovaSetResolution(c, 60, 80), kestrovaPreprocess(c, &input), kestrovaStereo(c),
                  kestrovaSetStereoQuality(c, static_cast<KestrovaStereoQuality>(7))});
        EXPECT_EQ(rMain.m_pFurrowContext, nullptr) << "Standard makes none";
        expectOk({kestrovaSetStereoQuality(c, KestrovaStereoEnhanced), kestrovaSetStereoMask(c, 5)});
        ASSERT_NE(rMain.m_pFurrowContext, nullptr);
        StereoContext& rFurrow = *rMain.m_pFurrowContext;
        EXPECT_TRUE(rFurrow.m_pCalibration == rMain.m_pCalibration && rFurrow.m_pFurrowContext == nullptr);

        // Off, each of the two leaves the second context alone.
        for (const auto pfnSwitch : {kestrovaSetDoStereo, kestrovaSetSubpixelInterpolation}) {
            expectOk({pfnSwitch(c, 0), kestrovaPreprocess(c, &input), pfnSwitch(c, 1)});
            EXPECT_TRUE(rFurrow.m_nStereoMaskSize == 7 && rFurrow.m_edgeImages[1].nRows() == 0);
        }
        expectOk({kestrovaSetResolution(c, 30, 40), kestrovaPreprocess(c, &input)}); // new images for the main context
        EXPECT_TRUE(rFurrow.m_nStereoMaskSize == 5 && rFurrow.m_nRows == 30 && rFurrow.m_nFurrowOffset == 50);
        EXPECT_TRUE(rMain.m_nFurrowOffset == 0 && !rMain.m_bIsFurrowContext && rFurrow.m_bIsFurrowContext);
        for (int nCamera = 0; nCamera < rMain.m_nCameraCount; ++nCamera) {
            EXPECT_EQ(rFurrow.m_rectifiedImages[nCamera].overlap(rMain.m_rectifiedImages[nCamera]), nCamera == 0);
            EXPECT_EQ(rFurrow.m_edgeImages[nCamera].overlap(rMain.m_edgeImages[nCamera]), nCamera == 0);
            EXPECT_EQ(rFurrow.m_edgeImages[nCamera].nRows(), 30);
        }
        rFurrow.m_nSerialNumber = 1;
        EXPECT_EQ(syncFurrowFixContext(&rMain), KestrovaErrorInvalidContext) << "another device";
    }
}
