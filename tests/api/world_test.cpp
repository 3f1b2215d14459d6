// The world frame: which transform each function uses, and what an error leaves behind.
#include "kestrova.h"
#include "support/StereoFrame.h"

#include <cmath>
#include <cstring>
#include <fstream>

namespace {

using namespace kestrova::test;

struct Point
{
    float x, y, z;
    friend bool operator==(const Point&, const Point&) = default;
};

const KestrovaTransform sk_identity{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
// A quarter turn about z, then (1, 2, 3), all told with a last element of 2.
const KestrovaTransform sk_turned{{{0, -1, 0, 2}, {1, 0, 0, 4}, {0, 0, 1, 6}, {9, 9, 9, 2}}};

bool same(const KestrovaTransform& rA, const KestrovaTransform& rB, double dTolerance = 0)
{
    for (int i = 0; i < 16; ++i) {
        if (!(std::abs(rA.matrix[i / 4][i % 4] - rB.matrix[i / 4][i % 4]) <= dTolerance)) {
            return false;
        }
    }
    return true;
}

/** Each form in the camera frame and its sibling in the world, at a disparity of its own. */
std::vector<std::pair<Point, Point>> bothFrames(KestrovaContext h)
{
    std::vector<std::pair<Point, Point>> points;
    const auto add = [&](auto pfnCamera, auto pfnWorld, auto position, auto disparity) {
        Point a{7, 7, 7};
        Point b{7, 7, 7};
        EXPECT_EQ(pfnCamera(h, position, position, disparity, &a.x, &a.y, &a.z),
                  pfnWorld(h, position, position, disparity, &b.x, &b.y, &b.z));
        points.emplace_back(a, b);
    };
    for (const int nDisparity : {0, 8}) {
        const auto f = static_cast<float>(nDisparity);
        const auto uc = static_cast<unsigned char>(nDisparity);
        add(kestrovaRCDFloatToXYZ, kestrovaRCDFloatToWorldXYZ, 20.5F, f);
        add(kestrovaRCDToXYZ, kestrovaRCDToWorldXYZ, 30.5F, f);
        add(kestrovaRCDMappedToXYZ, kestrovaRCDMappedToWorldXYZ, 40, uc);
        add(kestrovaRCD8ToXYZ, kestrovaRCD8ToWorldXYZ, 50, uc);
        add(kestrovaRCD16ToXYZ, kestrovaRCD16ToWorldXYZ, 60, static_cast<unsigned short>(256 * nDisparity));
    }
    return points;
}

TEST(World, EveryFormGoesThroughTheTransform)
{
    const Handle handle = open(Shape::Horizontal);
    KestrovaContext h = handle.get();
    EXPECT_EQ(kestrovaSetDisparityMapping(h, 4, 36), KestrovaErrorOk);
    for (const auto& [camera, world] : bothFrames(h)) {
        EXPECT_EQ(camera, world);
    }
    EXPECT_EQ(kestrovaSetKestrovaToWorldTransform(h, sk_turned), KestrovaErrorOk);
    const auto points = bothFrames(h);
    for (std::size_t i = 0; i < points.size(); ++i) {
        const auto& [camera, world] = points[i];
        const Point wanted = {1 - camera.y, 2 + camera.x, 3 + camera.z};
        EXPECT_EQ(world, i < 5 ? camera : wanted) << i; // without a point both leave the same
    }
    float fRow = 0;
    float fCol = 0;
    float fDisparity = 0;
    const Point back = points[5].second;
    EXPECT_EQ(kestrovaWorldXYZToRCD(h, back.x, back.y, back.z, &fRow, &fCol, &fDisparity), KestrovaErrorOk);
    EXPECT_TRUE(std::abs(fRow - 20.5F) < 1e-3F && std::abs(fCol - 20.5F) < 1e-3F && std::abs(fDisparity - 8) < 1e-4F);
    EXPECT_EQ(kestrovaWorldXYZToRCD(h, 0, 0, 2.5F, &fRow, &fCol, &fDisparity), KestrovaErrorInvalidRequest);
    EXPECT_TRUE(std::abs(fDisparity - 8) < 1e-4F) << "the point lies behind the camera";
}

TEST(World, TransformsAreKeptOrRefused)
{
    const Handle handle = open(Shape::Horizontal);
    KestrovaContext h = handle.get();
    KestrovaTransform read{};
    EXPECT_EQ(kestrovaGetKestrovaToWorldTransform(h, &read), KestrovaErrorOk);
    EXPECT_TRUE(same(read, sk_identity));
    KestrovaTransform wanted = sk_turned;
    for (auto& rRow : wanted.matrix) {
        rRow[3] /= 2;
    }
    std::memcpy(wanted.matrix[3], sk_identity.matrix[3], sizeof wanted.matrix[3]);
    EXPECT_EQ(kestrovaSetKestrovaToWorldTransform(h, sk_turned), KestrovaErrorOk);
    for (int nRow = 0; nRow < 3; ++nRow) {
        KestrovaTransform flat = sk_identity;
        flat.matrix[nRow][nRow] = 1e-170; // its square vanishes
        EXPECT_EQ(kestrovaSetKestrovaToWorldTransform(h, flat), KestrovaErrorInvalidRequest);
        EXPECT_EQ(kestrovaGetKestrovaToWorldTransform(h, &read), KestrovaErrorOk);
        EXPECT_TRUE(same(read, wanted)) << nRow;
    }
    // A matrix that stretches goes out as it is and comes back as the rigid motion in it.
    KestrovaTransform stretched = sk_identity;
    stretched.matrix[2][2] = 4;
    stretched.matrix[2][3] = 1;
    EXPECT_EQ(kestrovaSetKestrovaToWorldTransform(h, stretched), KestrovaErrorOk);
    Point p{};
    float fDisparity = 0;
    EXPECT_EQ(kestrovaRCDFloatToWorldXYZ(h, 1, 2, 8, &p.x, &p.y, &p.z), KestrovaErrorOk);
    Point q{};
    EXPECT_EQ(kestrovaRCDFloatToXYZ(h, 1, 2, 8, &q.x, &q.y, &q.z), KestrovaErrorOk);
    EXPECT_EQ(p, (Point{q.x, q.y, static_cast<float>(4.0 * q.z + 1)}));
    EXPECT_EQ(kestrovaWorldXYZToRCD(h, p.x, p.y, p.z, &q.x, &q.y, &fDisparity), KestrovaErrorOk);
    EXPECT_NEAR(fDisparity, 2, 1e-5);

    // A copy does not inherit it; without a context there is none.
    KestrovaContext copy = nullptr;
    EXPECT_EQ(kestrovaCopyContext(h, &copy), KestrovaErrorOk);
    EXPECT_EQ(kestrovaGetKestrovaToWorldTransform(copy, &read), KestrovaErrorOk);
    EXPECT_TRUE(same(read, sk_identity));
    EXPECT_EQ(kestrovaDestroyContext(copy), KestrovaErrorOk);
    EXPECT_EQ(kestrovaGetKestrovaToWorldTransform(nullptr, &read), KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaSetKestrovaToWorldTransform(nullptr, {}), KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaRCD8ToWorldXYZ(nullptr, 1, 2, 8, &p.x, &p.y, &p.z), KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaWorldXYZToRCD(nullptr, 1, 2, 3, &p.x, &p.y, &p.z), KestrovaErrorInvalidContext);
}

TEST(World, TransformFilesKeepSixNumbers)
{
    const TempFile name("");
    const std::string file = std::string(name.path()) + ".trans";
    KestrovaTransform read{};
    EXPECT_EQ(kestrovaGetTransformFromFile(name.path(), &read), KestrovaErrorTransformFileCorrupt);
    KestrovaTransform stretched = sk_turned;
    stretched.matrix[2][2] = 5; // lost, as is the last row
    stretched.matrix[0][3] = 1.23456789;
    EXPECT_EQ(kestrovaWriteTransformToFile(name.path(), &stretched), KestrovaErrorOk);
    EXPECT_EQ(kestrovaGetTransformFromFile(name.path(), &read), KestrovaErrorOk);
    KestrovaTransform wanted = sk_turned;
    std::memcpy(wanted.matrix[3], sk_identity.matrix[3], sizeof wanted.matrix[3]);
    wanted.matrix[0][3] = 1.234568;
    EXPECT_TRUE(same(read, wanted, 1e-6));
    EXPECT_EQ(read.matrix[0][3], 1.234568);
    std::ofstream(file) << "Rx 0 Ry 0 Rz 0 Tx 0 Ty 0 Tz nothing\n";
    EXPECT_EQ(kestrovaGetTransformFromFile(name.path(), &read), KestrovaErrorTransformFileCorrupt);
    EXPECT_EQ(read.matrix[0][3], 1.234568);
    EXPECT_EQ(kestrovaWriteTransformToFile("/no such folder/pose", &read), KestrovaErrorTransformFileCorrupt);
    std::remove(file.c_str());
}

} // namespace
