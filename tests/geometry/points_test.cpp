// Points, vectors and the pointer list: what is kept beside the components.
#include "geometry/LYRList.h"
#include "geometry/LYRPoint2d.h"
#include "geometry/LYRPoint3d.h"
#include "geometry/LYRVector.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>

namespace {

std::atomic<unsigned> g_nAllocations{0};

} // namespace

// Inlined without its counterpart, one of these would look mismatched to the compiler.
[[gnu::noinline]] void* operator new(std::size_t uBytes)
{
    ++g_nAllocations;
    if (void* const p = std::malloc(uBytes + 1)) {
        return p;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* p) noexcept
{
    std::free(p);
}

[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

using namespace kestrova;
using testing::ElementsAre;

namespace {

// Components, stored length, flag.
std::vector<double> stateOf(const LYRVector& v)
{
    return {v[0], v[1], v[2], v.magnitude(), v.normalized() ? 1.0 : 0.0};
}

} // namespace

TEST(LYRList, FillsGapsInOrderOrFromTheEnd)
{
    int a[4];
    for (const int nGrowBy : {1000, 0, -5}) {
        LYRList list(1, nGrowBy);
        for (int& r : a) {
            list.addElement(&r);
        }
        EXPECT_TRUE(list.removeElementAt(0)); // 1 2 3
        list.setOrdered(false);
        EXPECT_TRUE(list.removeElementAt(0)); // 3 2
        EXPECT_TRUE(list.elementAt(0) == &a[3] && list.indexOf(&a[2]) == 1 && list.elementAt(2) == nullptr);
        EXPECT_FALSE(list.removeElementAt(2) || list.removeElementAt(-1));
    }
}

TEST(LYRList, GrowsByMoreThanItsStepWhenItIsLarge)
{
    LYRList list(1000, 1000);
    int n = 0;
    const unsigned uBefore = g_nAllocations;
    while (list.addElement(&n) < 1000000) {
    }
    EXPECT_LT(g_nAllocations - uBefore, 50U);
}

TEST(LYRPoints, StrictPredicatesAndSquaredDistances)
{
    const LYRPoint3d a(1, 2, 3);
    EXPECT_FALSE(a.equals(a)) << "off at first";
    LYRPoint3d::setEpsilon(0.3);
    EXPECT_TRUE(a.equals({1, 2, 3.5})) << "0.25 is below 0.3";
    LYRPoint3d::setEpsilon(0.0);
    EXPECT_EQ(LYRPoint3d::volume({11, 22, 33}, {14, 25, 36}, {17, 28, 40}, {10, 20, 30}), -0.5);
    EXPECT_TRUE(LYRPoint3d::collinear({1, 0, 0}, {2, 0, 0}, {0, 1, 0})) << "in one plane with the origin is enough";
    EXPECT_FALSE(LYRPoint3d::collinear({1, 0, 0}, {0, 1, 0}, {0, 0, 1}));
    EXPECT_TRUE(LYRPoint2d::ccw({1, 2}, {1.25, 2}, {1, 2.25}));
    EXPECT_FALSE(LYRPoint2d::ccw({1, 2}, {1.25, 2}, {2, 2}));
    EXPECT_TRUE(LYRPoint2d::inCircle({6, 2}, {4, 6}, {-3, 5}, {1, -2.9}));
    EXPECT_FALSE(LYRPoint2d::inCircle({6, 2}, {4, 6}, {-3, 5}, {1, -3})) << "on the circle is not inside";
}

TEST(LYRVector, ZeroLengthIsReplacedByOneConstructorOnly)
{
    const LYRPoint3d p(2, 4, 6);
    const LYRVector v(3.0, 4.0, 0.0);
    for (const LYRVector& rUnit : {LYRVector(), LYRVector(0.0, 0.0, 0.0), v.minus(v), v.cross(v.plus(v))}) {
        EXPECT_THAT(stateOf(rUnit), ElementsAre(1, 0, 0, 1, 1));
    }
    LYRVector set;
    EXPECT_FALSE(set.set(0, 0, 0));
    for (const LYRVector& rZero : {set, LYRVector(LYRPoint3d()), LYRVector(p, p), LYRVector({}, p, p)}) {
        EXPECT_THAT(stateOf(rZero), ElementsAre(0, 0, 0, 0, 0));
    }
    set.normalize();
    EXPECT_TRUE(std::isnan(set.x()));
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
    EXPECT_EQ(LYRVector(1.0, 2.0, 3.0).dot(LYRVector(10.0, 20.0, 30.0)), 140.0);
}
