// Point formulas, to the last bit. The expected bits come from a model outside this library that rounds each step to
// single precision by itself; the position is such that both forms and the way back all differ in rounding.
#include "geometry/disparityToPoint.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kestrova;

namespace {

const StereoGeometry sk_geometry{focalLengthInPixels(0.83, 640), 0.1193f, 241.37f, 317.61f};

} // namespace

TEST(DisparityToPoint, EachFormRoundsInItsOwnOrder)
{
    const ImagePosition position{0x1.f64104p+7f, 0x1.da66b4p+8f, 0x1.e4bb0ap+5f};
    CameraPoint point{};
    ImagePosition back{};
    ASSERT_TRUE(pointThroughDepth(sk_geometry, position, &point));
    EXPECT_EQ((std::vector{point.m_fX, point.m_fY, point.m_fZ}),
              (std::vector{0x1.3c1ea8p-2f, 0x1.3acp-6f, 0x1.0bbfc6p+0f}));
    ASSERT_TRUE(pointOfDisparity(sk_geometry, position, &point));
    EXPECT_EQ((std::vector{point.m_fX, point.m_fY, point.m_fZ}),
              (std::vector{0x1.3c1ea6p-2f, 0x1.3abffep-6f, 0x1.0bbfc4p+0f}));
    ASSERT_TRUE(positionOfPoint(sk_geometry, point, &back));
    EXPECT_TRUE(back.m_fRow == position.m_fRow && back.m_fCol == position.m_fCol);
    EXPECT_EQ(back.m_fDisparity, 0x1.e4bb0cp+5f);
}

TEST(DisparityToPoint, NothingAtOrBelowZeroButNaNPasses)
{
    CameraPoint point{};
    EXPECT_FALSE(pointOfDisparity(sk_geometry, {1, 2, -0.0f}, &point));
    EXPECT_FALSE(pointThroughDepth(sk_geometry, {1, 2, -1e-30f}, &point));
    EXPECT_TRUE(pointOfDisparity(sk_geometry, {1, 2, NAN}, &point) && std::isnan(point.m_fZ));
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
    EXPECT_EQ(disparityOf16(0xfeff, 784), 784.0f + 254.99609375f);
}
