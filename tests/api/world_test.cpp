// The world frame: which transform each function uses, and what an error leaves behind.
#include "support/StereoFrame.h"

#include <array>
#include <bit>
#include <cmath>
#include <fstream>

namespace {

using namespace kestrova::test;

using Point = std::array<float, 3>;
using Elements = std::array<double, 16>;

const Elements sk_identity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
// A quarter turn about z, then (1, 2, 3), all told with a last element of 2; and what is kept of that.
const Elements sk_turned{0, -1, 0, 2, 1, 0, 0, 4, 0, 0, 1, 6, 9, 9, 9, 2};
const Elements sk_kept{0, -1, 0, 1, 1, 0, 0, 2, 0, 0, 1, 3, 0, 0, 0, 1};

class World : public testing::Test
{
protected:
    KestrovaError set(const Elements& r)
    {
        return kestrovaSetKestrovaToWorldTransform(h, std::bit_cast<KestrovaTransform>(r));
    }
    static Elements get(KestrovaContext context)
    {
        KestrovaTransform transform{};
        EXPECT_EQ(kestrovaGetKestrovaToWorldTransform(context, &transform), KestrovaErrorOk);
        return std::bit_cast<Elements>(transform);
    }
    /** Every form in the camera frame and its sibling in the world: without a disparity, which fails, and at 8. */
    std::vector<std::pair<Point, Point>> bothFrames()
    {
        std::vector<std::pair<Point, Point>> points;
        const auto add = [&](auto pfnCamera, auto pfnWorld, auto row, auto disparity) {
            const auto col = static_cast<decltype(row)>(row + 90); // another: rows and columns are not to be exchanged
            Point a{7, 7, 7};
            Point b{7, 7, 7};
            EXPECT_EQ(pfnCamera(h, row, col, disparity, &a[0], &a[1], &a[2]),
                      pfnWorld(h, row, col, disparity, &b[0], &b[1], &b[2]));
            EXPECT_TRUE(disparity == 0 ||
                        (std::abs(a[0] / a[2] * m_fFocal + m_centre[1] - static_cast<float>(col)) < 1e-2F &&
                         std::abs(a[1] / a[2] * m_fFocal + m_centre[0] - static_cast<float>(row)) < 1e-2F))
                << row;
            points.emplace_back(a, b);
        };
        for (const std::uint8_t uc : {std::uint8_t{0}, std::uint8_t{8}}) {
            const float f = uc;
            add(kestrovaRCDFloatToXYZ, kestrovaRCDFloatToWorldXYZ, 20.5F, f);
            add(kestrovaRCDToXYZ, kestrovaRCDToWorldXYZ, 30.5F, f);
            add(kestrovaRCDMappedToXYZ, kestrovaRCDMappedToWorldXYZ, 40, uc);
            add(kestrovaRCD8ToXYZ, kestrovaRCD8ToWorldXYZ, 50, uc);
            add(kestrovaRCD16ToXYZ, kestrovaRCD16ToWorldXYZ, 60, static_cast<std::uint16_t>(256 * uc));
        }
        return points;
    }
    /** Row, column and disparity of a world point. */
    Point back(const Point& r, KestrovaError eExpected = KestrovaErrorOk)
    {
        Point rcd{7, 7, 7};
        EXPECT_EQ(kestrovaWorldXYZToRCD(h, r[0], r[1], r[2], &rcd[0], &rcd[1], &rcd[2]), eExpected);
        return rcd;
    }

    Point centre()
    {
        Point centre{};
        EXPECT_EQ(kestrovaGetImageCenter(h, &centre[0], &centre[1]), KestrovaErrorOk);
        return centre;
    }

    const Handle h = open(Shape::Horizontal);
    const float m_fFocal = got(kestrovaGetFocalLength, h);
    const Point m_centre = centre(); // row, column
};

TEST_F(World, EveryFormGoesThroughTheTransform)
{
    EXPECT_EQ(kestrovaSetDisparityMapping(h, 4, 36), KestrovaErrorOk);
    for (const auto& [camera, world] : bothFrames()) {
        EXPECT_EQ(camera, world);
    }
    EXPECT_EQ(set(sk_turned), KestrovaErrorOk);
    const auto points = bothFrames();
    for (std::size_t i = 0; i < points.size(); ++i) {
        const auto& [camera, world] = points[i];
        const Point wanted = {1 - camera[1], 2 + camera[0], 3 + camera[2]};
        EXPECT_EQ(world, i < 5 ? camera : wanted) << i; // without a point both leave the same
    }
    const Point rcd = back(points[5].second);
    EXPECT_TRUE(std::abs(rcd[0] - 20.5F) < 1e-3F && std::abs(rcd[1] - 110.5F) < 1e-3F && std::abs(rcd[2] - 8) < 1e-4F);
    EXPECT_EQ(back({0, 0, 2.5F}, KestrovaErrorInvalidRequest), (Point{7, 7, 7})) << "behind the camera";
}

TEST_F(World, TransformsAreKeptOrRefused)
{
    EXPECT_EQ(get(h), sk_identity);
    EXPECT_EQ(set(sk_turned), KestrovaErrorOk);
    for (const std::size_t uDiagonal : {0U, 5U, 10U}) {
        Elements flat = sk_identity;
        flat[uDiagonal] = 1e-170; // its square vanishes
        EXPECT_EQ(set(flat), KestrovaErrorInvalidRequest);
        EXPECT_EQ(get(h), sk_kept) << uDiagonal;
    }
    KestrovaContext copy = nullptr;
    EXPECT_EQ(kestrovaCopyContext(h, &copy), KestrovaErrorOk);
    EXPECT_EQ(get(Handle(copy)), sk_identity) << "not inherited";

    // A matrix that stretches goes out as it is and comes back as the rigid motion in it.
    Elements stretched = sk_identity;
    stretched[10] = 4;
    stretched[11] = 1;
    EXPECT_EQ(set(stretched), KestrovaErrorOk);
    const auto [camera, world] = bothFrames()[5];
    EXPECT_EQ(world, (Point{camera[0], camera[1], 4 * camera[2] + 1}));
    EXPECT_NEAR(back(world)[2], 2, 1e-5);
}

TEST_F(World, TransformFilesKeepSixNumbers)
{
    const TempFile file("", ".trans");
    KestrovaTransform read{};
    EXPECT_EQ(kestrovaGetTransformFromFile(file.stem(), &read), KestrovaErrorTransformFileCorrupt);
    Elements written = sk_turned;
    written[10] = 5; // lost, as is the last row
    written[3] = 1.23456789;
    const auto transform = std::bit_cast<KestrovaTransform>(written);
    expectOk({kestrovaWriteTransformToFile(file.stem(), &transform), kestrovaGetTransformFromFile(file.stem(), &read)});
    EXPECT_EQ(file.content(), "Rx\t0.000000\nRy\t-0.000000\nRz\t1.570796\nTx\t1.234568\nTy\t4.000000\nTz\t6.000000\n");
    std::ofstream(file.path()) << "Rx 0 Ry 0 Rz 0 Tx 0 Ty 0 Tz nothing\n";
    EXPECT_EQ(kestrovaGetTransformFromFile(file.stem(), &read), KestrovaErrorTransformFileCorrupt);
    Elements wanted{0, -1, 0, 1.234568, 1, 0, 0, 4, 0, 0, 1, 6, 0, 0, 0, 1};
    for (std::size_t i = 0; i < wanted.size(); ++i) { // the bad file changed nothing
        EXPECT_NEAR(std::bit_cast<Elements>(read)[i], wanted[i], i % 4 == 3 ? 0 : 1e-6) << i;
    }
    for (const std::string& rStem : {std::string("/no such folder/pose"), std::string(194, 'p')}) { // or too long
        EXPECT_EQ(kestrovaWriteTransformToFile(rStem.c_str(), &read), KestrovaErrorTransformFileCorrupt);
    }
}

} // namespace
