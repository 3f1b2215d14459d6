#include "context/StereoContext.h"
#include "models.h"
#include "preprocess/contextWarpers.h"
#include "rectify/Camera.h"
#include "rectify/GaussWarper3.h"
#include "rectify/SincWarper3.h"

namespace kestrova::test {
namespace {

const Warper* get(Camera& rCamera, int nStride, KernelType eType = KernelNearest, int nRowOffset = 0)
{
    return rCamera.getWarper(3, 4, 6, 8, nStride, nRowOffset, 0, eType, 5);
}

TEST(Camera, KeepsAndFindsMoreWarpersThanItsFirstCapacity)
{
    const auto pCamera = camera();
    std::vector<const Warper*> warpers;
    for (int i = 0; i < 33; ++i) {
        warpers.push_back(get(*pCamera, 8 + i));
    }
    EXPECT_EQ(pCamera->warpers().capacity(), 48);
    for (int i = 0; i < 33; ++i) {
        ASSERT_EQ(get(*pCamera, 8 + i), warpers[static_cast<std::size_t>(i)]);
        ASSERT_EQ(pCamera->currentWarper()->key().m_nStride, 8 + i);
    }
}

TEST(Camera, PicksTheClassByKernelTypeAndRefusesWhatTablesCannotHold)
{
    const auto pCamera = camera();
    const Warper* const pOther = get(*pCamera, 8, static_cast<KernelType>(7), 250);
    EXPECT_NE(dynamic_cast<const BilinearWarper3*>(pOther), nullptr);
    EXPECT_EQ(get(*pCamera, 8, static_cast<KernelType>(-2), -1), pOther) << "a frame must not build it anew each time";
    EXPECT_EQ(dynamic_cast<const Warper3*>(get(*pCamera, 8)), nullptr);
    EXPECT_NE(dynamic_cast<const Warper3*>(get(*pCamera, 9, KernelBilinear)), nullptr);
    EXPECT_NE(dynamic_cast<const SincWarper3*>(get(*pCamera, 8, KernelSinc)), nullptr);
    EXPECT_NE(dynamic_cast<const GaussWarper3*>(get(*pCamera, 8, KernelGauss)), nullptr);
    EXPECT_EQ(get(*pCamera, 0), nullptr);
    EXPECT_EQ(get(*pCamera, 1 << 29), nullptr) << "6 rows of that stride leave 31 bits";
    EXPECT_EQ(pCamera->currentWarper(), nullptr);
    EXPECT_EQ(pCamera->warpers().count(), 5);
    pCamera->deleteWarpMapFuncs();
    EXPECT_EQ(get(*pCamera, 8), nullptr);
}

using Values = std::vector<double>;

/** Forward source, forward destination, inverse source, inverse destination; x and y of each. */
Values mapAdjustments(const Camera& rCamera)
{
    Values v(8);
    rCamera.forwardMap()->getSourceAdjustment(&v[0], &v[1]);
    rCamera.forwardMap()->getDestinationAdjustment(&v[2], &v[3]);
    rCamera.inverseMap()->getSourceAdjustment(&v[4], &v[5]);
    rCamera.inverseMap()->getDestinationAdjustment(&v[6], &v[7]);
    return v;
}

TEST(Camera, AdjustmentsReachBothMapsAndDropTheWarpers)
{
    const auto pCamera = camera();
    get(*pCamera, 8);
    for (const auto& [dX, dY] : {std::pair{1.5, 0.0}, {0.0, -1.0001}, {std::nan(""), 0.0}}) {
        EXPECT_FALSE(pCamera->setRectifiedAdjustment(dX, dY));
        EXPECT_FALSE(pCamera->setRawAdjustment(dX, dY));
    }
    EXPECT_EQ(pCamera->warpers().count(), 1);
    EXPECT_TRUE(pCamera->setRectifiedAdjustment(1.0, -1.0));
    EXPECT_EQ(pCamera->warpers().count(), 0);
    get(*pCamera, 8);
    EXPECT_TRUE(pCamera->setRawAdjustment(0.25, 0.5));
    EXPECT_EQ(pCamera->warpers().count(), 0);
    const Values expected = {0.25, 0.5, 1, -1, 1, -1, 0.25, 0.5};
    EXPECT_EQ(mapAdjustments(*pCamera), expected);

    get(*pCamera, 8);
    Camera copy(*pCamera);
    EXPECT_EQ(mapAdjustments(copy), expected);
    EXPECT_EQ(copy.warpers().count(), 0);
    Camera assigned = *camera(3.0);
    get(assigned, 8);
    assigned = copy;
    EXPECT_EQ(mapAdjustments(assigned), expected);
    EXPECT_EQ(assigned.gain(), 1.0);
    EXPECT_EQ(assigned.warpers().count(), 0);
}

TEST(ContextWarpers, BuildsWhatTheNextFrameReads)
{
    StereoContext context;
    const auto pRight = camera();
    const auto pLeft = camera();
    context.m_eProduct = ProductPemberlow;
    context.m_nCameraCount = 2;
    context.m_nRows = 3;
    context.m_nCols = 4;
    context.m_nSourceRows = 6;
    context.m_nSourceCols = 40;
    context.m_nWarperColOffset = 30;
    context.m_apCameras = {pRight.get(), nullptr, nullptr};
    EXPECT_FALSE(buildWarpers(&context)) << "no left camera";
    context.m_apCameras[1] = pLeft.get();
    for (const bool bLowpass : {true, false, true}) {
        context.m_bLowpass = bLowpass;
        EXPECT_TRUE(buildWarpers(&context));
    }
    for (const int nStride : {64, 256, 40, 160}) { // padded, unpadded, and each for packed pixels
        const WarperKey key{3, 4, 6, 40, nStride, 0, 30, KernelBilinear, 5};
        EXPECT_NE(pLeft->warpers().find(key), nullptr) << nStride;
    }
    EXPECT_EQ(pLeft->warpers().count(), 4);
    context.m_bHasColorCamera = true;
    EXPECT_FALSE(buildWarpers(&context)) << "no colour camera";
    const auto pColor = camera();
    context.m_pColorCamera = pColor.get();
    EXPECT_TRUE(buildWarpers(&context));
    EXPECT_NE(pColor->warpers().find({3, 4, 6, 40, 256, 0, 0, KernelBilinear, 5}), nullptr);
}

} // namespace
} // namespace kestrova::test
