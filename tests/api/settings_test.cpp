// Every setting through its setter and getter: defaults, edges of the range, what is refused.
#include "support/StereoFrame.h"

#include <cmath>
#include <functional>
#include <limits>

namespace {

using namespace kestrova::test;

struct Write
{
    double a, b; // given; a setting of one value ignores the second
    bool bAccepted;
    double aRead, bRead; // read back when accepted
};

/** A setting of one or two values, all widened to double. */
struct Setting
{
    const char* pszName;
    std::function<KestrovaError(KestrovaContext, double, double)> set;
    std::function<KestrovaError(KestrovaContext, double*, double*)> get;
    std::pair<double, double> initial;
    std::vector<Write> writes;
};

Write yes(double a, double b = 0)
{
    return {a, b, true, a, b};
}
Write no(double a, double b = 0)
{
    return {a, b, false, 0, 0};
}
Write reads(double a, double aRead)
{
    return {a, 0, true, aRead, 0};
}

template<class In, class Out>
Setting single(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, In),
               KestrovaError (*pfnGet)(KestrovaContext, Out*), double dInitial, const std::vector<Write>& rWrites)
{
    const auto get = [=](KestrovaContext c, double* a, double*) {
        Out value = static_cast<Out>(*a);
        const KestrovaError eError = pfnGet(c, &value);
        *a = static_cast<double>(value);
        return eError;
    };
    return {pszName,
            [=](KestrovaContext c, double a, double) { return pfnSet(c, static_cast<In>(a)); },
            get,
            {dInitial, 0},
            rWrites};
}

/** A switch, or with codes a byte. */
template<class Out>
Setting single(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, int),
               KestrovaError (*pfnGet)(KestrovaContext, Out*), double dInitial)
{
    const bool bCode = sizeof(Out) == 1;
    return single(pszName, pfnSet, pfnGet, dInitial,
                  bCode ? std::vector{yes(0), reads(-1, 255), reads(263, 7)}
                        : std::vector{yes(0), yes(1), reads(256, 1), reads(-1, 1), yes(dInitial == 0)});
}

template<class Out>
Setting pair(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, int, int),
             KestrovaError (*pfnGet)(KestrovaContext, Out*, Out*), std::pair<double, double> initial,
             const std::vector<Write>& rWrites)
{
    const auto set = [=](KestrovaContext c, double a, double b) {
        return pfnSet(c, static_cast<int>(a), static_cast<int>(b));
    };
    const auto get = [=](KestrovaContext c, double* a, double* b) {
        Out aValues[] = {static_cast<Out>(*a), static_cast<Out>(*b)};
        const KestrovaError eError = pfnGet(c, &aValues[0], &aValues[1]);
        *a = aValues[0];
        *b = aValues[1];
        return eError;
    };
    return {pszName, set, get, initial, rWrites};
}

#define BOTH(name) #name, kestrovaSet##name, kestrovaGet##name // spelt once, so that the two cannot differ

const Setting sk_aSettings[] = {
    // clang-format off
    single(BOTH(EdgeCorrelation), true), single(BOTH(DoStereo), true),
    single(BOTH(SubpixelInterpolation), true), single(BOTH(DisparityMappingOn), false),
    single(BOTH(Lowpass), true), single(BOTH(Rectify), true),
    single(BOTH(TextureValidation), true), single(BOTH(UniquenessValidation), true),
    single(BOTH(BackForthValidation), false), single(BOTH(SurfaceValidation), true),
    single(BOTH(StrictSubpixelValidation), false), single(BOTH(TextureValidationMapping), 255),
    single(BOTH(UniquenessValidationMapping), 254), single(BOTH(BackForthValidationMapping), 251),
    single(BOTH(SurfaceValidationMapping), 252), single(BOTH(SubpixelValidationMapping), 253),
    // clang-format on
    single(BOTH(TextureValidationThreshold), 0.5, {yes(0), yes(128), no(128.5), no(-0.5), no(std::nan(""))}),
    single(BOTH(UniquenessValidationThreshold), 0.5, {yes(0), yes(10), no(10.5), no(-0.5), no(std::nan(""))}),
    single(BOTH(SurfaceValidationDifference), 1, {yes(0), yes(1000), no(-0.5), no(std::nan(""))}),
    single(BOTH(SurfaceValidationSize), 200, {yes(0), yes(1000000), no(-1)}),
    single(BOTH(EdgeMask), 7, {yes(3), yes(5), yes(11), no(1), no(4), no(13), no(-3)}),
    single(BOTH(StereoMask), 7, {yes(1), yes(13), yes(23), no(0), no(2), no(25), no(-1)}),
    single(BOTH(RectImgQuality), 1, {yes(0), yes(2), yes(3), reads(9, 1)}),
    single(BOTH(StereoQuality), 0, {yes(1), yes(1), reads(7, 0), yes(1)}),
    pair(BOTH(Disparity), {0, 32},
         {yes(0, 240), yes(73, 313), no(73, 314), no(0, 241), no(5, 5), no(-1, 5),
          no(std::numeric_limits<int>::min(), std::numeric_limits<int>::max())}),
    pair(BOTH(DisparityMapping), {0, 32}, {yes(0, 255), {256, 300, true, 0, 44}, no(5, 5), no(10, 266)}),
    pair(BOTH(Resolution), {240, 320}, {yes(480, 640), yes(3, 4), no(240, 321), no(0, 0), no(-3, -4)}),
    pair(BOTH(SourceResolution), {0, 0}, {yes(480, 640), no(240, 321), no(0, 0), no(-3, -4)}),
};

#undef BOTH

TEST(Settings, KeepWhatTheyAcceptAndOnlyThat)
{
    for (const Setting& rSetting : sk_aSettings) {
        const Handle handle = open(Shape::Horizontal);
        double a = 1;
        double b = 0;
        const auto expectRead = [&](double aExpected, double bExpected, const char* pszWhen) {
            EXPECT_EQ(rSetting.get(handle, &a, &b), KestrovaErrorOk);
            EXPECT_EQ(std::pair(a, b), std::pair(aExpected, bExpected)) << rSetting.pszName << pszWhen;
        };
        expectRead(rSetting.initial.first, rSetting.initial.second, " at first");
        for (const Write& rWrite : rSetting.writes) {
            const double aOld = a;
            const double bOld = b;
            EXPECT_EQ(rSetting.set(handle, rWrite.a, rWrite.b),
                      rWrite.bAccepted ? KestrovaErrorOk : KestrovaErrorInvalidSetting)
                << rSetting.pszName << ' ' << rWrite.a << ' ' << rWrite.b;
            expectRead(rWrite.bAccepted ? rWrite.aRead : aOld, rWrite.bAccepted ? rWrite.bRead : bOld,
                       " after a write");
        }
        for (const Setting& rOther : sk_aSettings) { // no two share a field
            a = b = 0;
            EXPECT_EQ(rOther.get(handle, &a, &b), KestrovaErrorOk);
            EXPECT_TRUE(&rOther == &rSetting || std::pair(a, b) == rOther.initial)
                << rSetting.pszName << rOther.pszName;
        }
        // A handle without an active context comes before a value out of range, and leaves the outputs.
        EXPECT_EQ(rSetting.set(nullptr, -77, -77), KestrovaErrorInvalidContext) << rSetting.pszName;
        a = b = 1;
        EXPECT_EQ(rSetting.get(nullptr, &a, &b), KestrovaErrorInvalidContext) << rSetting.pszName;
        EXPECT_EQ(std::pair(a, b), std::pair(1.0, 1.0)) << rSetting.pszName;
    }
}

TEST(Settings, AdjustmentsBelongToACameraOfTheProduct)
{
    const std::pair<Shape, std::array<int, 5>> aSets[] = {{Shape::L, {0, 0, 1, 2, -1}}, // slots by camera
                                                          {Shape::Horizontal, {0, 0, -1, 1, -1}},
                                                          {Shape::Vertical, {0, 0, 1, -1, -1}}};
    for (const auto& [eShape, slots] : aSets) {
        CalibrationText text(eShape);
        for (CameraText& rCamera : text.cameras) {
            rCamera.extra = "RectFactor 0 0.5\nRawFactor 0." + std::to_string(rCamera.nId) + " 1\n";
        }
        const Handle c = openText(text.text());
        double x = 7;
        double y = 7;
        for (std::size_t n = 0; n < slots.size(); ++n) {
            const auto eCamera = static_cast<KestrovaCamera>(n);
            const auto eExpected = slots[n] >= 0 ? KestrovaErrorOk : KestrovaErrorInvalidCamera;
            EXPECT_EQ(kestrovaGetRawAdjustment(c, eCamera, &x, &y), eExpected);
            EXPECT_TRUE(slots[n] < 0 || (x == slots[n] / 10.0 && y == 1)) << x;
            EXPECT_EQ(kestrovaGetRectAdjustment(c, eCamera, &x, &y), eExpected);
            EXPECT_TRUE(slots[n] < 0 || (x == 0 && y == 0.5));
        }
        for (const auto& [set, get] : {std::pair{&kestrovaSetRectAdjustment, &kestrovaGetRectAdjustment},
                                       {&kestrovaSetRawAdjustment, &kestrovaGetRawAdjustment}}) {
            expectOk({set(c, KestrovaCamRight, 1.0, -1.0)});
            EXPECT_EQ(set(c, KestrovaCamReference, 1.5, 0), KestrovaErrorInvalidRequest);
            EXPECT_EQ(set(c, KestrovaCamColor, 9, 9), KestrovaErrorInvalidCamera); // before the values are looked at
            EXPECT_EQ(set(nullptr, KestrovaCamRight, 9, 9), KestrovaErrorInvalidContext);
            expectOk({get(c, KestrovaCamReference, &x, &y)});
            EXPECT_TRUE(x == 1.0 && y == -1.0);
        }
    }
}

TEST(Settings, PrepareRegionsAnyMaskAndRanges)
{
    const Handle c = open(Shape::Horizontal);
    KestrovaROI* pROIs = nullptr;
    int nMost = 0;
    EXPECT_EQ(kestrovaSetResolutionAndPrepare(nullptr, 30, 41, 60, 80), KestrovaErrorInvalidContext);
    EXPECT_EQ(kestrovaGetROIs(nullptr, &pROIs, &nMost), KestrovaErrorInvalidContext);
    expectOk({kestrovaSetResolutionAndPrepare(c, 30, 40, 60, 80), kestrovaSetRectImgQuality(c, KestrovaRectEnhanced1),
              kestrovaSetResolutionAndPrepare(c, 30, 40, 60, 80), kestrovaGetROIs(c, &pROIs, &nMost),
              kestrovaSetNumberOfROIs(c, 100), kestrovaSetAnyStereoMask(c, 24), kestrovaSetResolution(c, 1200, 1600),
              kestrovaSetDisparity(c, 800, 1024)});
    EXPECT_TRUE(nMost == 100 && got(kestrovaGetStereoMask, c) == 24 && got(kestrovaGetDisparityOffset, c) == 784);
    pROIs[99] = {1, 2, 3, 4};
    for (const KestrovaError eError :
         {kestrovaSetResolutionAndPrepare(c, 30, 41, 60, 80), kestrovaSetResolutionAndPrepare(c, 30, 40, 60, 81),
          kestrovaSetNumberOfROIs(c, 101), kestrovaSetNumberOfROIs(c, -1), kestrovaSetAnyStereoMask(c, 0),
          kestrovaSetDisparity(c, 800, 1025)}) {
        EXPECT_EQ(eError, KestrovaErrorInvalidSetting);
    }
    for (const Shape eShape : {Shape::Vertical, Shape::L}) { // the window needs rows too
        const Handle other = open(eShape);
        expectOk({kestrovaSetDisparity(other, 0, 233)});
        EXPECT_EQ(kestrovaSetDisparity(other, 0, 234), KestrovaErrorInvalidSetting);
    }
}

} // namespace
