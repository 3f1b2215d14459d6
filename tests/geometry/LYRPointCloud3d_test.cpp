// Point clouds: ownership, centres, files.
#include "geometry/LYRPointCloud3d.h"

#include "support/CalibrationText.h"

#include <cmath>

using namespace kestrova;

namespace {

constexpr int sk_nVRML = 100; // instead of a point type

/** Coordinates, colour, extras: all eight numbers of a loaded point. */
std::vector<double> numbersOf(const LYRPointCloud3d& rCloud, int nIndex)
{
    const auto& p = static_cast<const LYRExtraPoint3d&>(*rCloud.elementAt(nIndex));
    return {p.x(), p.y(), p.z(), p.red() * 255, p.green() * 255, p.blue() * 255, p.m_adExtra[0], p.m_adExtra[1]};
}

/** The cloud in a file, which is gone afterwards. */
std::string saved(LYRPointCloud3d& rCloud, int nPointType)
{
    const test::TempFile file;
    rCloud.setPointType(static_cast<enum_POINTTYPES>(nPointType));
    EXPECT_TRUE(nPointType == sk_nVRML ? rCloud.saveVRML(file.path()) : rCloud.save(file.path()));
    return file.content();
}

} // namespace

TEST(LYRPointCloud3d, OwnsPointsOnlyWhenTold)
{
    LYRPoint3d aKept[] = {{1, 2, 3}, {5, 4, 3}, {0, 0, 9}};
    LYRPointCloud3d borrowed(0, 1);
    borrowed.setOwnership(false);
    for (LYRPoint3d& rPoint : aKept) {
        borrowed.insertPoint(&rPoint);
    }
    EXPECT_FALSE(!borrowed.deleteElementAt(1) || borrowed.deleteElementAt(2) || borrowed.deleteElementAt(-1));
    EXPECT_TRUE(borrowed.insertPoint(nullptr) == -1 && borrowed.size() == 2 && borrowed.indexOf(&aKept[2]) == 1);
    borrowed.empty();
    EXPECT_EQ(aKept[1].x(), 5);
    LYRPointCloud3d owner; // the sanitizer looks for what is left
    owner.insertPoint(new LYRColourPoint3d(2, 2, 2, 0.5));
    owner.insertPoint(new LYRExtraPoint3d(3, 3, 3, 0.5));
    EXPECT_TRUE(owner.deleteElementAt(0) && owner.size() == 1);
}

TEST(LYRPointCloud3d, TheCentreIsThatOfInsertionUntilAskedAgain)
{
    LYRPointCloud3d cloud;
    LYRPoint3d center;
    cloud.getCenterOfMass(center);
    EXPECT_TRUE(std::isnan(center.x()));
    for (const double d : {1.0, 2.0, 6.0, 7.0}) {
        cloud.insertPoint(new LYRPoint3d(d, 2 * d, -d));
    }
    cloud.deleteElementAt(3);
    cloud.center(); // by 4, the mean of all four
    EXPECT_TRUE(cloud.elementAt(0)->x() == -3 && cloud.elementAt(0)->z() == 3);
    cloud.center();
    EXPECT_EQ(cloud.elementAt(0)->y(), -6) << "the origin now";
    cloud.recenter();
    EXPECT_EQ(cloud.elementAt(2)->z(), -3);
    cloud.normalize();
    EXPECT_TRUE(cloud.elementAt(2)->x() == 0.5 && cloud.elementAt(2)->y() == 1);
    cloud.scale(0);
    cloud.normalize();
    EXPECT_TRUE(std::isnan(cloud.elementAt(0)->x()));
    cloud.empty();
    cloud.insertPoint(new LYRPoint3d(5, 6, 7));
    cloud.center();
    EXPECT_EQ(cloud.elementAt(0)->x(), 0) << "the first point is the centre";
}

TEST(CloudFile, LinesBecomePoints)
{
    const std::tuple<std::string, int, int, std::vector<double>> aCases[] = {
        {"", 0, 1, {}},
        {"x y z\n1 2\n\n1 2 x 4\n", 0, 1, {}},
        {"point\n1 2 3\n", 1, 0, {1, 2, 3, 0, 0, 0, 0, 0}},
        {"1 2 3 51\n", 1, 2, {1, 2, 3, 51, 51, 51, 0, 0}},
        {"1 2 3 51 9\n", 1, 2, {1, 2, 3, 51, 51, 51, 0, 0}},
        {"1 2 3 51 102 204 9\n", 1, 2, {1, 2, 3, 51, 102, 204, 0, 0}},
        {"1 2 3 51 102 204 9 8", 1, 3, {1, 2, 3, 51, 102, 204, 9, 8}},
        {"1 2 3 51 102 204 9 8\n4 5 6\nx\n", 2, 0, {4, 5, 6, 0, 0, 0, 0, 0}},           // the last line tells
        {"1 2 3" + std::string(505, ' ') + " 4 5 6\n", 2, 0, {4, 5, 6, 0, 0, 0, 0, 0}}, // too long: in two
        {std::string(5000, '\0') + "1 2 3\n4 5 6\n", 1, 0, {4, 5, 6, 0, 0, 0, 0, 0}},
        {"1e9999 -1e9999 1e-9999\n", 1, 0, {HUGE_VAL, -HUGE_VAL, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto& [text, nSize, nType, last] : aCases) {
        LYRPointCloud3d cloud;
        cloud.insertPoint(new LYRPoint3d(9, 9, 9));
        cloud.setPointType(POINTTYPE_EXTRA);
        EXPECT_TRUE(cloud.load(test::TempFile(text).path()));
        ASSERT_TRUE(cloud.size() == nSize && cloud.pointType() == nType) << text;
        EXPECT_TRUE(nSize == 0 || numbersOf(cloud, nSize - 1) == last) << text;
        cloud.indexPoints();
        EXPECT_NE(saved(cloud, 3), "x") << "whatever was read can be written as any type";
    }
    LYRPointCloud3d gone;
    gone.insertPoint(new LYRPoint3d(9, 9, 9));
    for (const char* const pszNoFile : {"/no such file", "/dev/zero", "/dev"}) {
        EXPECT_FALSE(gone.load(pszNoFile)) << pszNoFile;
    }
    EXPECT_FALSE(gone.save("/no such folder/c") || gone.saveVRML("/no such folder/c"));
    EXPECT_EQ(gone.size(), 0);
}

TEST(CloudFile, SavingIsNotTheMirrorOfLoading)
{
    LYRPointCloud3d cloud;
    auto* pPoint = new LYRExtraPoint3d(1.25, -2.0, 3e-7, 0.5, 1.0, -1.0);
    pPoint->m_adExtra[0] = 51;
    pPoint->m_adExtra[1] = 7.5;
    cloud.insertPoint(pPoint);
    const std::tuple<int, std::string, int, double> aCases[] = {{-1, "255", 2, 255},
                                                                {1, "51.000000 7.500000", 2, 51},
                                                                {2, "127 255 -255", 2, 127},
                                                                {3, "127 255 -255 51.000000 7.500000", 3, 127}};
    for (const auto& [nType, tail, nTypeBack, dRedBack] : aCases) {
        const std::string text = saved(cloud, nType);
        EXPECT_EQ(text, "1.250000 -2.000000 0.000000 " + tail + "\n");
        LYRPointCloud3d back;
        EXPECT_TRUE(back.load(test::TempFile(text).path()));
        EXPECT_TRUE(back.pointType() == nTypeBack && numbersOf(back, 0)[3] == dRedBack) << nType;
        EXPECT_EQ(numbersOf(back, 0)[7], nType == 3 ? 7.5 : 0);
    }
    EXPECT_EQ(saved(cloud, sk_nVRML), "#VRML V1.0 ascii\nMaterial {diffuseColor 0 1 0 }\nSeparator {\n"
                                      "   Translation { translation 1.250000 -2.000000 0.000000 }\n"
                                      "   Cube { width 0.005 height 0.005 depth 0.005 }\n}\n");
}
