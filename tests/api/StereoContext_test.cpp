// The context of one camera set: rules of its setters, and what copies share, copy and leave behind.
#include "api/StereoContext.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

using namespace kestrova;

namespace {

// A context with something of its own in every group of fields.
std::unique_ptr<StereoContext> makeContext()
{
    auto pContext = std::make_unique<StereoContext>();
    pContext->m_pCalibration->m_productName = "Halvorine";
    pContext->m_pCalibration->m_calibrationLines = {"Version 3.0"};
    pContext->m_nSerialNumber = 77;
    pContext->m_dBaseline = 0.12;
    pContext->m_anCameraOfChannel = {0, 2, 1};
    pContext->m_nStereoMaskSize = 11;
    pContext->m_eKernelType = KernelSinc;
    pContext->m_aROIs[99] = {1, 2, 3, 4};
    pContext->m_bEnhancedStereo = true;
    pContext->m_rawImages[2] = Image<unsigned char>(2, 2);
    pContext->m_rawImages[2].init(5);
    pContext->m_disparityImage16 = Image<unsigned short>(3, 4);
    pContext->m_cameraToWorld.setTransX(9);
    pContext->m_skewingTransform.setRotZ(1);
    pContext->savePreprocessParameters();
    return pContext;
}

} // namespace

TEST(StereoContext, DisparityRangeFollowsConfigurationWindowAndByte)
{
    struct Case
    {
        KestrovaCameraConfiguration eConfiguration;
        int nRows, nCols, nMin, nMax;
        bool bAccepted;
        int nOffset;
    };
    const Case aCases[] = {
        {KestrovaCfg2CameraHorizontal, 240, 320, 0, 240, true, 0},
        {KestrovaCfg2CameraHorizontal, 240, 320, 10, 251, false, 0},
        {KestrovaCfg2CameraHorizontal, 240, 320, 100, 313, true, 73},
        {KestrovaCfg2CameraHorizontal, 240, 320, 100, 314, false, 0},
        {KestrovaCfg2CameraVertical, 240, 320, 0, 233, true, 0},
        {KestrovaCfg2CameraVertical, 240, 320, 0, 234, false, 0},
        {KestrovaCfg3CameraL, 240, 320, 0, 233, true, 0},
        {KestrovaCfg3CameraL, 240, 320, 0, 234, false, 0},
        {KestrovaCfg3CameraL, 300, 200, 0, 194, false, 0},
        {KestrovaCfg2CameraHorizontal, 1200, 1600, 800, 1024, true, 784},
        {KestrovaCfg2CameraHorizontal, 1200, 1600, 800, 1025, false, 0},
        {KestrovaCfg2CameraHorizontal, 240, 320, -1, 32, false, 0},
        {KestrovaCfg2CameraHorizontal, 240, 320, 32, 32, false, 0},
        {KestrovaCfg2CameraHorizontal, 240, 320, 0, 0x7fffffff, false, 0},
    };
    for (const Case& c : aCases) {
        SCOPED_TRACE(testing::Message() << c.eConfiguration << ": " << c.nMin << " to " << c.nMax << ", " << c.nCols);
        StereoContext context;
        context.m_eCameraConfiguration = c.eConfiguration;
        context.m_nRows = c.nRows;
        context.m_nCols = c.nCols;
        EXPECT_EQ(context.setDisparityRange(c.nMin, c.nMax), c.bAccepted);
        EXPECT_EQ(context.m_nMinDisparity, c.bAccepted ? c.nMin : 0);
        EXPECT_EQ(context.m_nMaxDisparity, c.bAccepted ? c.nMax : 32);
        EXPECT_EQ(context.m_nDisparityOffset, c.nOffset);
    }
}

TEST(StereoContext, ResolutionIsFourByThreeAndMovesTheImageCentre)
{
    StereoContext context;
    EXPECT_EQ(context.m_dImageCenterRow, 240.0) << "before the first resolution";
    context.m_dImageCenterColFactor = 0.25;
    const int aRefused[][2] = {{240, 321}, {0, 0}, {-3, -4}, {0x60000000, 0x80000000 - 1}};
    for (const auto& rSize : aRefused) {
        EXPECT_FALSE(context.setResolution(rSize[0], rSize[1]));
        EXPECT_FALSE(context.setSourceResolution(rSize[0], rSize[1]));
    }
    EXPECT_TRUE(context.m_nCols == 320 && context.m_nSourceCols == 0 && context.m_dImageCenterCol == 320.0);
    EXPECT_TRUE(context.setSourceResolution(3, 4));
    EXPECT_TRUE(context.setResolution(480, 640));
    EXPECT_TRUE(context.m_nRows == 480 && context.m_nCols == 640 && context.m_nSourceRows == 3);
    EXPECT_EQ(context.m_dImageCenterRow, 239.5);
    EXPECT_EQ(context.m_dImageCenterCol, 159.5);
}

TEST(StereoContext, ConfigurationDependsOnTheProduct)
{
    const char* apszAccepted[] = {"yyyy", "nyny", "nnyn", "nyny"}; // by product, then configuration
    for (int nProduct = 0; nProduct < 4; ++nProduct) {
        StereoContext context;
        context.m_eProduct = static_cast<StereoProduct>(nProduct);
        EXPECT_EQ(context.getRightCameraIndex(), nProduct < 3 ? 0 : -1);
        EXPECT_EQ(context.setCameraConfiguration(static_cast<KestrovaCameraConfiguration>(4)),
                  KestrovaErrorInvalidParameter);
        for (int nConfiguration = 0; nConfiguration < 4; ++nConfiguration) {
            SCOPED_TRACE(testing::Message() << "product " << nProduct << " configuration " << nConfiguration);
            context.m_nConfiguredCameraCount = -1;
            const bool bAccepted = apszAccepted[nProduct][nConfiguration] == 'y';
            EXPECT_EQ(context.setCameraConfiguration(static_cast<KestrovaCameraConfiguration>(nConfiguration)),
                      bAccepted ? KestrovaErrorOk : KestrovaErrorInvalidRequest);
            EXPECT_EQ(context.m_nConfiguredCameraCount, !bAccepted ? -1 : nConfiguration == 0 ? 3 : 2);
            EXPECT_TRUE(!bAccepted || context.m_eCameraConfiguration == nConfiguration);
        }
    }
}

TEST(StereoContext, QualityAndKernelConvertBothWays)
{
    for (int nQuality = 0; nQuality < 4; ++nQuality) {
        KernelType eType{};
        int nSize = 0;
        KestrovaRectImgQuality eBack{};
        StereoContext::imageQualityToKernelParms(static_cast<KestrovaRectImgQuality>(nQuality), &eType, &nSize);
        StereoContext::kernelParmsToImageQuality(eType, nSize, &eBack);
        EXPECT_EQ(eBack, nQuality);
    }
    const int aOneWay[][3] = {{1, 5, 1}, {2, 5, 3}, {2, 9, 3}, {2, 3, 2}, {3, 2, 1}, {-1, 0, 1}, {0, 9, 0}};
    for (const auto& rCase : aOneWay) {
        KestrovaRectImgQuality eQuality{};
        StereoContext::kernelParmsToImageQuality(static_cast<KernelType>(rCase[0]), rCase[1], &eQuality);
        EXPECT_EQ(eQuality, rCase[2]) << rCase[0] << ", " << rCase[1];
    }
    KernelType eType{};
    int nSize = 0;
    StereoContext::imageQualityToKernelParms(static_cast<KestrovaRectImgQuality>(77), &eType, &nSize);
    EXPECT_TRUE(eType == KernelBilinear && nSize == 2);
}

TEST(StereoContext, CopiesSharePixelsAndCalibrationAndLeaveTheRestBehind)
{
    auto pSource = makeContext();
    const std::weak_ptr<CalibrationGroup> pGroup = pSource->m_pCalibration;
    StereoContext copy(*pSource);
    StereoContext assigned;
    assigned.m_cameraToWorld.setTransX(3);
    assigned.savePreprocessParameters();
    assigned = *pSource;
    StereoContext& rSelf = assigned;
    assigned = rSelf;
    for (StereoContext* p : {&copy, &assigned}) {
        EXPECT_TRUE(p->m_rawImages[2].overlap(pSource->m_rawImages[2]));
        EXPECT_TRUE(p->m_disparityImage16.overlap(pSource->m_disparityImage16));
        EXPECT_EQ(p->productName(), pSource->productName()) << "the same pointer";
        EXPECT_TRUE(p->m_nStereoMaskSize == 11 && p->m_eKernelType == KernelSinc && p->m_bEnhancedStereo);
        EXPECT_TRUE(p->m_aROIs[99].m_nCols == 4 && p->m_dBaseline == 0.12 && p->m_anCameraOfChannel[1] == 2);
        EXPECT_TRUE(p->m_skewingTransform.rZ() == 0 && p->m_unskewingTransform.elementAt(2, 2) == 1);
        EXPECT_NE(p->m_preprocessSnapshot.m_eSavedKernelType, KernelSinc);
    }
    EXPECT_EQ(copy.m_cameraToWorld.elementAt(0, 3), 0.0);
    EXPECT_EQ(assigned.m_cameraToWorld.elementAt(0, 3), 3.0) << "assignment leaves the target's own";

    pSource.reset();
    EXPECT_EQ(copy.m_rawImages[2][1][1], 5);
    EXPECT_EQ(copy.m_pCalibration->m_calibrationLines.front(), "Version 3.0");
    copy.freeSharedResources();
    EXPECT_STREQ(copy.productName(), "");
    EXPECT_STREQ(assigned.productName(), "Halvorine");
    assigned.freeSharedResources();
    EXPECT_TRUE(pGroup.expired()) << "the last sharer frees";
}

TEST(StereoContext, AssignmentMakesAssignsOrDropsTheFurrowContext)
{
    auto pSource = makeContext();
    pSource->m_pFurrowContext = std::make_unique<StereoContext>(*pSource);
    pSource->m_pFurrowContext->m_nFurrowOffset = 50;
    StereoContext target;
    target = *pSource;
    const StereoContext* pMade = target.m_pFurrowContext.get();
    ASSERT_TRUE(pMade != nullptr && pMade != pSource->m_pFurrowContext.get());
    EXPECT_EQ(pMade->m_nFurrowOffset, 50);
    pSource->m_pFurrowContext->m_nFurrowOffset = 25;
    target = *pSource;
    EXPECT_TRUE(target.m_pFurrowContext.get() == pMade && pMade->m_nFurrowOffset == 25) << "kept and assigned to";
    target = StereoContext();
    EXPECT_EQ(target.m_pFurrowContext, nullptr);
}

TEST(StereoContext, PartialCopiesTakeTheirGroupOnly)
{
    const auto pSource = makeContext();
    pSource->m_dImageCenterRow = 1.5;
    StereoContext fixed;
    fixed.copyFixedContextInfo(*pSource);
    EXPECT_EQ(fixed.m_pCalibration, pSource->m_pCalibration);
    EXPECT_TRUE(fixed.m_nSerialNumber == 77 && fixed.m_dBaseline == 0.12 && fixed.m_anCameraOfChannel[1] == 2);
    EXPECT_TRUE(fixed.m_nStereoMaskSize == 7 && fixed.m_dImageCenterRow == 240.0 && !fixed.m_bEnhancedStereo);

    StereoContext settings;
    EXPECT_TRUE(settings.copyDeviceFreeStereoSettings(*pSource));
    EXPECT_TRUE(settings.m_nStereoMaskSize == 11 && settings.m_eKernelType == KernelSinc);
    EXPECT_TRUE(settings.m_dImageCenterRow == 240.0 && !settings.m_bEnhancedStereo && settings.m_nSerialNumber == 0);

    StereoContext stranger;
    EXPECT_FALSE(stranger.copyStereoSettings(*pSource));
    EXPECT_EQ(stranger.m_nStereoMaskSize, 7);
    EXPECT_TRUE(fixed.copyStereoSettings(*pSource)) << "the same loaded text";
    EXPECT_TRUE(fixed.m_nStereoMaskSize == 11 && fixed.m_dImageCenterRow == 1.5 && !fixed.m_bEnhancedStereo);
    fixed.m_nSerialNumber = 78;
    EXPECT_FALSE(fixed.copyStereoSettings(*pSource));
}

TEST(StereoContext, SixteenBitImageOnlyWhenSettingsProduceIt)
{
    struct Case
    {
        int nType, nCamera;
        bool bDoStereo, bSubpixel, bGiven;
    };
    const Case aCases[] = {{0, 0, true, true, true},  {0, 1, true, true, true},   {0, 2, true, true, false},
                           {1, 0, true, true, false}, {0, 0, false, true, false}, {0, 0, true, false, false}};
    for (const Case& c : aCases) {
        const auto pContext = makeContext();
        pContext->m_bDoStereo = c.bDoStereo;
        pContext->m_bSubpixelInterpolation = c.bSubpixel;
        KestrovaImage16 image{-1, -1, -1, nullptr};
        EXPECT_EQ(pContext->getImage16(static_cast<KestrovaImage16Type>(c.nType),
                                       static_cast<KestrovaCamera>(c.nCamera), &image),
                  c.bGiven);
        EXPECT_EQ(image.nrows, c.bGiven ? 3 : -1);
        EXPECT_EQ(image.rowinc, c.bGiven ? 32 : -1) << "bytes";
        EXPECT_EQ(image.data, c.bGiven ? pContext->m_disparityImage16.data() : nullptr);
    }
    KestrovaImage16 empty{};
    EXPECT_TRUE(StereoContext().getImage16(KestrovaImg16Disparity, KestrovaCamReference, &empty));
    EXPECT_TRUE(empty.nrows == 0 && empty.rowinc == 0 && empty.data == nullptr);
}
