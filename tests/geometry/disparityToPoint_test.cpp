// Point formulas, to the last bit. The expected bits come from a model outside this library that rounds each step to
// single precision by itself; the three positions are such that both forms and the way back all differ in rounding.
#include "geometry/disparityToPoint.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace kestrova;

namespace {

const StereoGeometry sk_geometry{focalLengthInPixels(0.83, 640), 0.1193f, 241.37f, 317.61f};

} // namespace

TEST(DisparityToPoint, EachFormRoundsInItsOwnOrder)
{
    struct Case
    {
        ImagePosition position;
        CameraPoint direct, throughDepth;
        ImagePosition back;
    };
    const Case aCases[] = {
        {{0x1.f64104p+7f, 0x1.da66b4p+8f, 0x1.e4bb0ap+5f},
         {0x1.3c1ea6p-2f, 0x1.3abffep-6f, 0x1.0bbfc4p+0f},
         {0x1.3c1ea8p-2f, 0x1.3acp-6f, 0x1.0bbfc6p+0f},
         {0x1.f64104p+7f, 0x1.da66b4p+8f, 0x1.e4bb0cp+5f}},
        {{0x1.56a1d6p+8f, 0x1.0e3d7p+7f, 0x1.2bb734p+6f},
         {-0x1.29878cp-2f, 0x1.4a317ap-3f, 0x1.b107f4p-1f},
         {-0x1.29878ep-2f, 0x1.4a317cp-3f, 0x1.b107f6p-1f},
         {0x1.56a1d6p+8f, 0x1.0e3d72p+7f, 0x1.2bb734p+6f}},
        {{0x1.58d9f8p+8f, 0x1.a79f0ep+7f, 0x1.3d5d36p+6f},
         {-0x1.45cda6p-3f, 0x1.3eaa5ep-3f, 0x1.98f34ep-1f},
         {-0x1.45cda8p-3f, 0x1.3eaa6p-3f, 0x1.98f35p-1f},
         {0x1.58d9f8p+8f, 0x1.a79f0ep+7f, 0x1.3d5d38p+6f}},
    };
    for (const Case& c : aCases) {
        CameraPoint point{};
        ImagePosition position{};
        ASSERT_TRUE(pointThroughDepth(sk_geometry, c.position, &point));
        EXPECT_TRUE(point.m_fX == c.throughDepth.m_fX && point.m_fY == c.throughDepth.m_fY);
        EXPECT_EQ(point.m_fZ, c.throughDepth.m_fZ);
        ASSERT_TRUE(pointOfDisparity(sk_geometry, c.position, &point));
        EXPECT_TRUE(point.m_fX == c.direct.m_fX && point.m_fY == c.direct.m_fY && point.m_fZ == c.direct.m_fZ);
        ASSERT_TRUE(positionOfPoint(sk_geometry, point, &position));
        EXPECT_TRUE(position.m_fRow == c.back.m_fRow && position.m_fCol == c.back.m_fCol);
        EXPECT_EQ(position.m_fDisparity, c.back.m_fDisparity);
    }
}

TEST(DisparityToPoint, NothingAtOrBelowZeroButNaNPasses)
{
    CameraPoint point{7, 7, 7};
    ImagePosition position{7, 7, 7};
    for (const float fNothing : {0.0f, -0.0f, -1e-30f, -INFINITY}) {
        EXPECT_FALSE(pointOfDisparity(sk_geometry, {1, 2, fNothing}, &point));
        EXPECT_FALSE(pointThroughDepth(sk_geometry, {1, 2, fNothing}, &point));
        EXPECT_FALSE(positionOfPoint(sk_geometry, {1, 2, fNothing}, &position));
    }
    EXPECT_TRUE(point.m_fX == 7 && point.m_fY == 7 && point.m_fZ == 7 && position.m_fDisparity == 7);
    EXPECT_TRUE(pointOfDisparity(sk_geometry, {1, 2, NAN}, &point));
    EXPECT_TRUE(std::isnan(point.m_fZ));
    EXPECT_TRUE(positionOfPoint(sk_geometry, {1, 2, NAN}, &position));
}

TEST(DisparityToPoint, StoredValuesTurnIntoPixels)
{
    const float aUnmapped[][6] = {{0, 32, 0, 32, 17.0f, 17.0f},
                                  {3, 100, 7, 250, 99.25f, 0x1.3e97b4p+5f},
                                  {800, 1024, 0, 255, 131.0f, 0x1.c9898ap+9f},
                                  {10, 42, 16, 80, 5.0f, 4.5f}};
    for (const auto& a : aUnmapped) {
        const DisparityMapping mapping{static_cast<int>(a[0]), static_cast<int>(a[1]), static_cast<std::uint8_t>(a[2]),
                                       static_cast<std::uint8_t>(a[3])};
        EXPECT_EQ(unmapDisparity(mapping, a[4]), a[5]);
    }
    EXPECT_EQ(disparityOf8(255, 784), 1039.0f);
    EXPECT_EQ(disparityOf16(0x0100, 0), disparityOf8(1, 0));
    EXPECT_EQ(disparityOf16(0xff00, 0), 255.0f);
    EXPECT_EQ(disparityOf16(0xfeff, 784), 784.0f + 254.99609375f);
}
