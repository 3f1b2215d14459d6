#include "api/StereoContext.h"
#include "models.h"
#include "rectify/Camera.h"
#include "rectify/Warper3.h"
#include "rectify/contextWarpers.h"

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
    for (int nStride = 8; nStride < 8 + 33; ++nStride) {
        ASSERT_EQ(pCamera->warpers().capacity(), (nStride - 8 + 15) / 16 * 16 + (nStride == 8 ? 16 : 0)) << nStride;
        warpers.push_back(get(*pCamera, nStride));
    }
    EXPECT_EQ(pCamera->warpers().capacity(), 48);
    for (int i = 0; i < 33; ++i) {
        const auto* const pWarper = warpers[static_cast<std::size_t>(i)];
        ASSERT_EQ(get(*pCamera, 8 + i), pWarper);
        ASSERT_EQ(pCamera->currentWarper(), pWarper);
        ASSERT_EQ(pWarper->key().m_nStride, 8 + i);
    }
}

TEST(Camera, EachOfTheNineParametersMakesAWarperOfItsOwn)
{
    const auto pCamera = camera();
    const int anBase[9] = {6, 8, 12, 16, 20, 10, 20, KernelNearest, 3};
    std::vector<const Warper*> warpers;
    for (int nChanged = 0; nChanged <= 9; ++nChanged) {
        int a[9];
        std::copy_n(anBase, 9, a);
        if (nChanged < 9) {
            ++a[nChanged];
        }
        warpers.push_back(
            pCamera->getWarper(a[0], a[1], a[2], a[3], a[4], a[5], a[6], static_cast<KernelType>(a[7]), a[8]));
        ASSERT_NE(warpers.back(), nullptr);
        ASSERT_EQ(std::count(warpers.begin(), warpers.end(), warpers.back()), 1) << nChanged;
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
    EXPECT_EQ(get(*pCamera, 8, KernelSinc), nullptr);
    EXPECT_EQ(get(*pCamera, 8, KernelGauss), nullptr);
    EXPECT_EQ(pCamera->currentWarper(), nullptr);
    EXPECT_EQ(get(*pCamera, 0), nullptr);
    EXPECT_EQ(get(*pCamera, 1 << 29), nullptr) << "6 rows of that stride leave 31 bits";
    EXPECT_EQ(pCamera->warpers().count(), 3);
    pCamera->deleteWarpMapFuncs();
    EXPECT_EQ(get(*pCamera, 8), nullptr);
}

using Values =
    std::vector<double>; // forward source, forward destination, inverse source, inverse destination, x y each

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
    EXPECT_EQ(mapAdjustments(*pCamera), Values(8, 0.0));
    EXPECT_TRUE(pCamera->setRectifiedAdjustment(1.0, -1.0));
    EXPECT_EQ(pCamera->warpers().count(), 0);
    EXPECT_EQ(pCamera->currentWarper(), nullptr);
    EXPECT_NE(get(*pCamera, 8), nullptr);
    EXPECT_TRUE(pCamera->setRawAdjustment(0.25, 0.5));
    EXPECT_EQ(pCamera->warpers().count(), 0);
    const Values expected = {0.25, 0.5, 1, -1, 1, -1, 0.25, 0.5};
    EXPECT_EQ(mapAdjustments(*pCamera), expected);

    get(*pCamera, 8);
    Camera copy(*pCamera);
    EXPECT_EQ(mapAdjustments(copy), expected);
    EXPECT_EQ(copy.warpers().count(), 0);
    EXPECT_NE(get(copy, 8), get(*pCamera, 8));
    Camera assigned = *camera(3.0);
    get(assigned, 8);
    assigned = copy;
    EXPECT_EQ(mapAdjustments(assigned), expected);
    EXPECT_EQ(assigned.gain(), 1.0);
    EXPECT_EQ(assigned.warpers().count(), 0);
    double dX = 0;
    double dY = 0;
    assigned.getRawAdjustment(&dX, &dY);
    EXPECT_EQ(std::pair(dX, dY), std::pair(0.25, 0.5));
    assigned.getRectifiedAdjustment(&dX, &dY);
    EXPECT_EQ(std::pair(dX, dY), std::pair(1.0, -1.0));
}

TEST(ContextWarpers, FurrowShiftMovesTheRightAxisOfTheRightCamera)
{
    struct Shift
    {
        StereoProduct eProduct;
        int nCamera;
        KestrovaCamera eCamera;
        int nBase, nFurrow, nRow, nCol;
    };
    const Shift aShifts[] = {
        {ProductHalvorine, 0, KestrovaCamRight, 10, 50, 10, 10}, {ProductHalvorine, 1, KestrovaCamTop, 10, 50, 60, 10},
        {ProductHalvorine, 2, KestrovaCamLeft, 10, 50, 10, 60},  {ProductPemberlow, 1, KestrovaCamLeft, 49, 50, 49, 99},
        {ProductPemberlow, 1, KestrovaCamLeft, 50, 50, 50, 0},   {ProductTandrell, 1, KestrovaCamTop, 60, 50, 0, 60},
    };
    for (const Shift& rShift : aShifts) {
        StereoContext context;
        context.m_eProduct = rShift.eProduct;
        context.m_nWarperRowOffset = context.m_nWarperColOffset = rShift.nBase;
        context.m_nFurrowOffset = rShift.nFurrow;
        for (const bool bFurrow : {false, true}) {
            context.m_bIsFurrowContext = bFurrow;
            const auto expected = bFurrow ? std::pair(rShift.nRow, rShift.nCol) : std::pair(rShift.nBase, rShift.nBase);
            std::pair<int, int> bySlot;
            std::pair<int, int> byName;
            getWarperOffsets(&context, rShift.nCamera, &bySlot.first, &bySlot.second);
            getWarperOffsets(&context, rShift.eCamera, &byName.first, &byName.second);
            EXPECT_EQ(bySlot, expected) << rShift.eProduct << rShift.nCamera << rShift.nBase;
            EXPECT_EQ(byName, expected) << rShift.eProduct << rShift.nCamera << rShift.nBase;
        }
    }
}

TEST(ContextWarpers, BuildsWhatTheNextFrameReads)
{
    StereoContext context;
    const auto pRight = camera();
    const auto pLeft = camera();
    const auto pColor = camera();
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
    context.m_bHasColorCamera = true;
    EXPECT_FALSE(buildWarpers(&context)) << "no colour camera";
    context.m_pColorCamera = pColor.get();
    EXPECT_TRUE(buildWarpers(&context));
    context.m_bLowpass = false;
    EXPECT_TRUE(buildWarpers(&context));
    for (const auto* const pCamera : {pLeft.get(), pColor.get()}) {
        for (const int nStride : {64, 256, 40, 160}) { // padded, unpadded, and each for packed pixels
            EXPECT_NE(
                pCamera->warpers().find({3, 4, 6, 40, nStride, 0, pCamera == pColor.get() ? 0 : 30, KernelBilinear, 5}),
                nullptr)
                << nStride;
        }
        EXPECT_EQ(pCamera->warpers().count(), 4);
    }
    EXPECT_TRUE(buildWarpers(&context));
    EXPECT_EQ(pLeft->warpers().count(), 4);
    context.m_eKernelType = KernelSinc;
    EXPECT_FALSE(buildWarpers(&context));
}

} // namespace
} // namespace kestrova::test
