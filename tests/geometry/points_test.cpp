// Points, vectors and the pointer list: closed forms, and the oddities that the toolkit leans on.
#include "geometry/LYRList.h"
#include "geometry/LYRPoint2d.h"
#include "geometry/LYRPoint3d.h"
#include "geometry/LYRVector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

using namespace kestrova;
using testing::ElementsAre;

namespace {

// Components, stored length, flag.
std::vector<double> stateOf(const LYRVector& v)
{
    return {v[0], v[1], v[2], v.magnitude(), v.normalized() ? 1.0 : 0.0};
}

} // namespace

TEST(LYRPoint3d, EqualityComparesTheSquareAndIsOffAtFirst)
{
    const LYRPoint3d a(1, 2, 3);
    const LYRPoint3d b(1, 2, 3.5);
    EXPECT_FALSE(a.equals(a));
    LYRPoint3d::setEpsilon(0.3);
    EXPECT_TRUE(a.equals(a) && a.equals(b)) << "0.25 is below 0.3";
    LYRPoint3d::setEpsilon(0.25);
    EXPECT_FALSE(a.equals(b));
    LYRPoint3d::setEpsilon(0.0);
    EXPECT_EQ(LYRPoint2d::getEpsilon(), 0.0000001) << "each class has its own";
}

TEST(LYRPoint3d, VolumesDistancesAndMoves)
{
    const LYRPoint3d o;
    const LYRPoint3d x(1, 0, 0);
    const LYRPoint3d y(0, 1, 0);
    const LYRPoint3d z(0, 0, 1);
    EXPECT_EQ(LYRPoint3d::volume(x, y, z, o), 1.0 / 6.0);
    EXPECT_EQ(LYRPoint3d::volume(y, x, z, o), -1.0 / 6.0);
    EXPECT_EQ(LYRPoint3d::volume({11, 22, 33}, {14, 25, 36}, {17, 28, 40}, {10, 20, 30}), -0.5);
    EXPECT_TRUE(LYRPoint3d::collinear(x, {2, 0, 0}, y)) << "coplanar with the origin is enough";
    EXPECT_FALSE(LYRPoint3d::collinear(x, y, z));
    EXPECT_EQ(LYRPoint3d(1, 2, 3).distance({3, 5, 9}), 7.0);
    LYRPoint3d moved = -LYRPoint3d(1, 2, 3);
    moved.add(LYRVector(10.0, 20.0, 30.0));
    EXPECT_TRUE(moved[0] == 9 && moved[1] == 18 && moved[2] == 27);
    const LYRColourPoint3d grey(1, 2, 3, 0.25);
    const LYRColourPoint3d colour(moved, 0.1, 0.2, 0.3);
    EXPECT_TRUE(grey.red() == 0.25 && grey.green() == 0.25 && grey.blue() == 0.25 && grey.z() == 3);
    EXPECT_TRUE(colour.y() == 18 && colour.red() == 0.1 && colour.green() == 0.2 && colour.blue() == 0.3);
}

TEST(LYRPoint2d, PredicatesAreStrict)
{
    const LYRPoint2d a(1, 2);
    const LYRPoint2d b(1.25, 2);
    const LYRPoint2d c(1, 2.25);
    EXPECT_TRUE(a == a && a == LYRPoint2d(1.0003, 2) && a != LYRPoint2d(1, 2.0004));
    EXPECT_EQ(LYRPoint2d::triangleArea(a, b, c), 0.0625) << "twice the area";
    EXPECT_TRUE(LYRPoint2d::ccw(a, b, c));
    EXPECT_FALSE(LYRPoint2d::ccw(a, c, b));
    EXPECT_FALSE(LYRPoint2d::ccw(a, b, {2, 2}));
    const auto inside = [](double y) { return LYRPoint2d::inCircle({6, 2}, {4, 6}, {-3, 5}, {1, y}); };
    EXPECT_TRUE(inside(-2.9));
    EXPECT_FALSE(inside(-3) || inside(-3.1)) << "on the circle is not inside";
}

TEST(LYRVector, ZeroLengthIsReplacedByOneConstructorOnly)
{
    const LYRPoint3d o;
    const LYRPoint3d p(2, 4, 6);
    const std::vector<double> unit{1, 0, 0, 1, 1};
    const LYRVector v(3.0, 4.0, 0.0);
    EXPECT_EQ(stateOf(LYRVector()), unit);
    EXPECT_EQ(stateOf(LYRVector(0.0, 0.0, 0.0)), unit);
    EXPECT_EQ(stateOf(v.minus(v)), unit);
    EXPECT_EQ(stateOf(v.cross(v.plus(v))), unit);
    const std::vector<double> zero{0, 0, 0, 0, 0};
    EXPECT_EQ(stateOf(LYRVector(o)), zero);
    EXPECT_EQ(stateOf(LYRVector(p, p)), zero);
    EXPECT_EQ(stateOf(LYRVector(LYRPoint2d(1, 1), LYRPoint2d(1, 1))), zero);
    EXPECT_EQ(stateOf(LYRVector(o, p, p)), zero);
    LYRVector set;
    EXPECT_FALSE(set.set(0, 0, 0));
    EXPECT_EQ(stateOf(set), zero);
    set.normalize();
    EXPECT_TRUE(std::isnan(set.x()));
    EXPECT_TRUE(set.set(0, -1, 0));
}

TEST(LYRVector, LengthIsKeptByEveryOperation)
{
    LYRVector v(3.0, 4.0, 0.0);
    EXPECT_THAT(stateOf(v), ElementsAre(3, 4, 0, 5, 0));
    v.normalize();
    v.normalize();
    EXPECT_THAT(stateOf(v), ElementsAre(0.6, 0.8, 0, 1, 1));
    v.multiplyBy(-2);
    EXPECT_THAT(stateOf(v), ElementsAre(-1.2, -1.6, 0, -2, 0));
    v.normalize();
    EXPECT_THAT(stateOf(v), ElementsAre(0.6, 0.8, 0, 1, 1)) << "divided by the negative stored length";
    v.multiplyBy(2);
    v.setMag();
    EXPECT_EQ(v.magnitude(), 2.0);

    const LYRPoint3d a(1, 1, 1);
    const LYRPoint3d b(3, 1, 1);
    const LYRPoint3d c(1, 1, 4);
    EXPECT_THAT(stateOf(LYRVector(a, b, c)), ElementsAre(0, -6, 0, 6, 0));
    EXPECT_THAT(stateOf(LYRVector(a, b).cross(LYRVector(a, c))), ElementsAre(0, -6, 0, 6, 0));
    EXPECT_THAT(stateOf(LYRVector(LYRPoint2d(1, 2), LYRPoint2d(1, 3))), ElementsAre(0, 1, 0, 1, 1));
    EXPECT_EQ(LYRVector::dot(a, b, LYRPoint3d(4, 9, 9)), 6.0);
    EXPECT_EQ(LYRVector(1.0, 2.0, 3.0).dot(LYRVector(10.0, 20.0, 30.0)), 140.0);
    EXPECT_EQ(LYRVector::dot(LYRPoint2d(1, 1), LYRPoint2d(2, 3), LYRPoint2d(4, 5)), 11.0);
    EXPECT_EQ(LYRVector(7.0, 8.0, 9.0).pointEquiv().y(), 8.0);
}

TEST(LYRList, AddsFindsAndRemoves)
{
    int a[5];
    for (const auto& [nCapacity, nGrowBy] : {std::pair(1000, 1000), {1, 1}, {1, 0}, {2, -5}, {0, 0}}) {
        LYRList list(nCapacity, nGrowBy);
        EXPECT_EQ(list.addElement(nullptr), -1);
        for (int i = 0; i < 5; ++i) {
            ASSERT_EQ(list.addElement(&a[i]), i);
        }
        const auto order = [&list, &a] {
            std::vector<int> all;
            for (int i = 0; i < list.size(); ++i) {
                all.push_back(static_cast<int>(static_cast<int*>(list.elementAt(i)) - a));
            }
            return all;
        };
        EXPECT_TRUE(list.removeElementAt(1));
        EXPECT_THAT(order(), ElementsAre(0, 2, 3, 4));
        list.setOrdered(false);
        EXPECT_TRUE(list.removeElementAt(0));
        EXPECT_THAT(order(), ElementsAre(4, 2, 3));
        EXPECT_TRUE(list.removeElementAt(2));
        EXPECT_FALSE(list.removeElementAt(2) || list.removeElementAt(-1));
        EXPECT_EQ(list.elementAt(2), nullptr);
        EXPECT_EQ(list.elementAt(-1), nullptr);
        EXPECT_EQ(list.indexOf(&a[2]), 1);
        EXPECT_EQ(list.indexOf(&a[3]), -1);
        list.trim();
        list.addElement(&a[2]);
        EXPECT_EQ(list.indexOf(&a[2]), 1) << "the first of two";
        list.empty();
        EXPECT_EQ(list.elementAt(0), nullptr);
        EXPECT_EQ(list.addElement(&a[0]), 0);
    }
}
