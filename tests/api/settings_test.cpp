// Every setting through its setter and getter: defaults, edges of the range, what is refused.
#include "kestrova.h"
#include "support/StereoFrame.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>

namespace {

using kestrova::test::Handle;
using kestrova::test::open;
using kestrova::test::Shape;

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
    return {pszName,
            [=](KestrovaContext c, double a, double) { return pfnSet(c, static_cast<In>(a)); },
            [=](KestrovaContext c, double* a, double*) {
                Out value = static_cast<Out>(*a);
                const KestrovaError eError = pfnGet(c, &value);
                *a = static_cast<double>(value);
                return eError;
            },
            {dInitial, 0},
            rWrites};
}

Setting onOff(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, int),
              KestrovaError (*pfnGet)(KestrovaContext, int*), bool bInitial)
{
    return single(pszName, pfnSet, pfnGet, bInitial, {yes(0), yes(1), reads(256, 1), reads(-1, 1), yes(!bInitial)});
}

Setting code(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, int),
             KestrovaError (*pfnGet)(KestrovaContext, uint8_t*), int nInitial)
{
    return single(pszName, pfnSet, pfnGet, nInitial, {yes(0), reads(-1, 255), reads(263, 7)});
}

template<class Out>
Setting pair(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, int, int),
             KestrovaError (*pfnGet)(KestrovaContext, Out*, Out*), std::pair<double, double> initial,
             const std::vector<Write>& rWrites)
{
    return {pszName,
            [=](KestrovaContext c, double a, double b) { return pfnSet(c, static_cast<int>(a), static_cast<int>(b)); },
            [=](KestrovaContext c, double* a, double* b) {
                Out first = static_cast<Out>(*a);
                Out second = static_cast<Out>(*b);
                const KestrovaError eError = pfnGet(c, &first, &second);
                *a = first;
                *b = second;
                return eError;
            },
            initial, rWrites};
}

KestrovaError setQuality(KestrovaContext context, int n)
{
    return kestrovaSetRectImgQuality(context, static_cast<KestrovaRectImgQuality>(n));
}

KestrovaError setStereoQuality(KestrovaContext context, int n)
{
    return kestrovaSetStereoQuality(context, static_cast<KestrovaStereoQuality>(n));
}

#define BOTH(name) #name, kestrovaSet##name, kestrovaGet##name // spelt once, so that the two cannot differ

const Setting sk_aSettings[] = {
    onOff(BOTH(EdgeCorrelation), true),
    onOff(BOTH(DoStereo), true),
    onOff(BOTH(SubpixelInterpolation), true),
    onOff(BOTH(DisparityMappingOn), false),
    onOff(BOTH(Lowpass), true),
    onOff(BOTH(Rectify), true),
    onOff(BOTH(TextureValidation), true),
    onOff(BOTH(UniquenessValidation), true),
    onOff(BOTH(BackForthValidation), false),
    onOff(BOTH(SurfaceValidation), true),
    onOff(BOTH(StrictSubpixelValidation), false),
    code(BOTH(TextureValidationMapping), 255),
    code(BOTH(UniquenessValidationMapping), 254),
    code(BOTH(BackForthValidationMapping), 251),
    code(BOTH(SurfaceValidationMapping), 252),
    code(BOTH(SubpixelValidationMapping), 253),
    single(BOTH(TextureValidationThreshold), 0.5, {yes(0), yes(128), no(128.5), no(-0.5), no(std::nan(""))}),
    single(BOTH(UniquenessValidationThreshold), 0.5, {yes(0), yes(10), no(10.5), no(-0.5), no(std::nan(""))}),
    single(BOTH(SurfaceValidationDifference), 1, {yes(0), yes(1000), no(-0.5), no(std::nan(""))}),
    single(BOTH(SurfaceValidationSize), 200, {yes(0), yes(1000000), no(-1)}),
    single(BOTH(EdgeMask), 7, {yes(3), yes(5), yes(11), no(1), no(4), no(13), no(-3)}),
    single(BOTH(StereoMask), 7, {yes(1), yes(13), yes(23), no(0), no(2), no(25), no(-1)}),
    single("RectImgQuality", setQuality, kestrovaGetRectImgQuality, 1, {yes(0), yes(2), yes(3), reads(9, 1)}),
    single("StereoQuality", setStereoQuality, kestrovaGetStereoQuality, 0, {yes(1), yes(1), reads(7, 0), yes(1)}),
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
            EXPECT_EQ(rSetting.get(handle.get(), &a, &b), KestrovaErrorOk);
            EXPECT_EQ(std::pair(a, b), std::pair(aExpected, bExpected)) << rSetting.pszName << pszWhen;
        };
        expectRead(rSetting.initial.first, rSetting.initial.second, " at first");
        for (const Write& rWrite : rSetting.writes) {
            const double aOld = a;
            const double bOld = b;
            EXPECT_EQ(rSetting.set(handle.get(), rWrite.a, rWrite.b),
                      rWrite.bAccepted ? KestrovaErrorOk : KestrovaErrorInvalidSetting)
                << rSetting.pszName << ' ' << rWrite.a << ' ' << rWrite.b;
            expectRead(rWrite.bAccepted ? rWrite.aRead : aOld, rWrite.bAccepted ? rWrite.bRead : bOld,
                       " after a write");
        }
        for (const Setting& rOther : sk_aSettings) { // no two share a field
            a = b = 0;
            EXPECT_EQ(rOther.get(handle.get(), &a, &b), KestrovaErrorOk);
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
    const Handle handle = open(Shape::Horizontal);
    for (const auto& [set, get] : {std::pair{&kestrovaSetRectAdjustment, &kestrovaGetRectAdjustment},
                                   {&kestrovaSetRawAdjustment, &kestrovaGetRawAdjustment}}) {
        double x = 7;
        double y = 7;
        EXPECT_EQ(get(handle.get(), KestrovaCamRight, &x, &y), KestrovaErrorOk);
        EXPECT_TRUE(x == 0 && y == 0) << "setting the other side left this one alone";
        EXPECT_EQ(set(handle.get(), KestrovaCamRight, 1.0, -1.0), KestrovaErrorOk);
        EXPECT_EQ(set(handle.get(), KestrovaCamLeft, 0.25, 0.5), KestrovaErrorOk);
        EXPECT_EQ(set(handle.get(), KestrovaCamReference, 1.5, 0), KestrovaErrorInvalidRequest);
        EXPECT_EQ(get(handle.get(), KestrovaCamReference, &x, &y), KestrovaErrorOk);
        EXPECT_TRUE(x == 1.0 && y == -1.0);
        for (const KestrovaCamera eNone : {KestrovaCamTop, KestrovaCamColor}) { // before the values are looked at
            EXPECT_EQ(set(handle.get(), eNone, 9, 9), KestrovaErrorInvalidCamera);
            EXPECT_EQ(get(handle.get(), eNone, &x, &y), KestrovaErrorInvalidCamera);
        }
        EXPECT_EQ(set(nullptr, KestrovaCamRight, 9, 9), KestrovaErrorInvalidContext);
    }
}

TEST(Settings, PrepareRegionsAndAnyMask)
{
    const Handle handle = open(Shape::Horizontal);
    KestrovaContext c = handle.get();
    EXPECT_EQ(kestrovaSetResolutionAndPrepare(c, 30, 40, 60, 80), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetResolutionAndPrepare(c, 30, 41, 60, 80), KestrovaErrorInvalidSetting);
    EXPECT_EQ(kestrovaSetResolutionAndPrepare(c, 30, 40, 60, 81), KestrovaErrorInvalidSetting);
    EXPECT_EQ(kestrovaSetRectImgQuality(c, KestrovaRectEnhanced1), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetResolutionAndPrepare(c, 30, 40, 60, 80), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetResolutionAndPrepare(nullptr, 30, 41, 60, 80), KestrovaErrorInvalidContext);

    KestrovaROI* pROIs = nullptr;
    int nValue = 0;
    EXPECT_EQ(kestrovaGetROIs(c, &pROIs, &nValue), KestrovaErrorOk);
    EXPECT_EQ(nValue, 100);
    pROIs[99] = {1, 2, 3, 4};
    EXPECT_EQ(kestrovaSetNumberOfROIs(c, 100), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetNumberOfROIs(c, 101), KestrovaErrorInvalidSetting);
    EXPECT_EQ(kestrovaSetNumberOfROIs(c, -1), KestrovaErrorInvalidSetting);
    EXPECT_EQ(kestrovaGetROIs(nullptr, &pROIs, &nValue), KestrovaErrorInvalidContext);

    EXPECT_EQ(kestrovaSetAnyStereoMask(c, 24), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetAnyStereoMask(c, 0), KestrovaErrorInvalidSetting);
    EXPECT_EQ(kestrovaGetStereoMask(c, &nValue), KestrovaErrorOk);
    EXPECT_EQ(nValue, 24);
    EXPECT_EQ(kestrovaSetResolution(c, 960, 1280), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDisparity(c, 10, 250), KestrovaErrorOk);
    EXPECT_EQ(kestrovaGetDisparityOffset(c, &nValue), KestrovaErrorOk);
    EXPECT_EQ(nValue, 10);
}

} // namespace
