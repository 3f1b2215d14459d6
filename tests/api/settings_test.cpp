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

constexpr int sk_nMin = std::numeric_limits<int>::min();
constexpr int sk_nMax = std::numeric_limits<int>::max();

/** A setting of one or two values, all widened to double; a setting of one ignores the second. */
struct Setting
{
    const char* pszName;
    std::function<KestrovaError(KestrovaContext, double, double)> set;
    std::function<KestrovaError(KestrovaContext, double*, double*)> get;
    std::pair<double, double> initial;
    struct Write
    {
        double a, b; // given
        bool bAccepted;
        double aRead, bRead; // read back when accepted
    };
    std::vector<Write> writes;
};

using Write = Setting::Write;

template<class In, class Out>
Setting single(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, In),
               KestrovaError (*pfnGet)(KestrovaContext, Out*), double dInitial, const std::vector<double>& rAccepted,
               const std::vector<double>& rRefused)
{
    Setting setting{pszName,
                    [=](KestrovaContext c, double a, double) { return pfnSet(c, static_cast<In>(a)); },
                    [=](KestrovaContext c, double* a, double*) {
                        Out value = static_cast<Out>(*a);
                        const KestrovaError eError = pfnGet(c, &value);
                        *a = static_cast<double>(value);
                        return eError;
                    },
                    {dInitial, 0},
                    {}};
    for (const double d : rAccepted) {
        setting.writes.push_back({d, 0, true, d, 0});
    }
    for (const double d : rRefused) {
        setting.writes.push_back({d, 0, false, 0, 0});
    }
    return setting;
}

Setting onOff(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, int),
              KestrovaError (*pfnGet)(KestrovaContext, int*), bool bInitial)
{
    Setting setting = single(pszName, pfnSet, pfnGet, bInitial, {0, 1}, {});
    setting.writes.insert(setting.writes.end(), {{256, 0, true, 1, 0}, {0, 0, true, 0, 0}, {-1, 0, true, 1, 0}});
    return setting;
}

Setting code(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, int),
             KestrovaError (*pfnGet)(KestrovaContext, uint8_t*), int nInitial)
{
    Setting setting = single(pszName, pfnSet, pfnGet, nInitial, {0, 255}, {});
    setting.writes.insert(setting.writes.end(), {{256 + 7, 0, true, 7, 0}, {-1, 0, true, 255, 0}});
    return setting;
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

KestrovaError getQuality(KestrovaContext context, int* pn)
{
    KestrovaRectImgQuality eQuality = static_cast<KestrovaRectImgQuality>(*pn);
    const KestrovaError eError = kestrovaGetRectImgQuality(context, &eQuality);
    *pn = eQuality;
    return eError;
}

#define BOTH(name) #name, kestrovaSet##name, kestrovaGet##name // a name that must not be spelt three times

std::vector<Setting> settings()
{
    const double dNaN = std::nan("");
    const auto no = [&](double a, double b) { return Write{a, b, false, 0, 0}; };
    const auto yes = [&](double a, double b) { return Write{a, b, true, a, b}; };
    std::vector<Setting> all = {
        onOff(BOTH(EdgeCorrelation), true),
        onOff(BOTH(DoStereo), true),
        onOff(BOTH(SubpixelInterpolation), true),
        onOff(BOTH(DisparityMappingOn), false),
        onOff(BOTH(Lowpass), true),
        onOff(BOTH(Rectify), true),
        onOff(BOTH(TextureValidation), true),
        onOff(BOTH(UniquenessValidation), true),
        onOff(BOTH(BackForthValidation), false),
        onOff(BOTH(StrictSubpixelValidation), false),
        code(BOTH(TextureValidationMapping), 255),
        code(BOTH(UniquenessValidationMapping), 254),
        code(BOTH(BackForthValidationMapping), 251),
        code(BOTH(SubpixelValidationMapping), 253),
        single(BOTH(TextureValidationThreshold), 0.5, {0, 128, 1.25}, {128.5, -0.5, dNaN, INFINITY}),
        single(BOTH(UniquenessValidationThreshold), 0.5, {0, 10, 1.25}, {10.5, -0.5, dNaN, INFINITY}),
        single(BOTH(EdgeMask), 7, {3, 5, 11}, {1, 4, 13, -3, sk_nMin, sk_nMax}),
        single(BOTH(StereoMask), 7, {1, 13, 23}, {0, 2, 25, -1, sk_nMin, sk_nMax}),
        single("AnyStereoMask", kestrovaSetAnyStereoMask, kestrovaGetStereoMask, 7, {1, 24, sk_nMax}, {0, -1, sk_nMin}),
        single("RectImgQuality", setQuality, getQuality, 1, {0, 2, 3, 1}, {}),
        pair(BOTH(Disparity), {0, 32},
             {yes(0, 240), yes(10, 250), yes(73, 313), no(73, 314), no(0, 241), no(5, 5), no(6, 5), no(-1, 5),
              no(sk_nMin, sk_nMax)}),
        pair(BOTH(DisparityMapping), {0, 32},
             {yes(0, 255), {256, 300, true, 0, 44}, no(5, 5), no(10, 266), no(9, 8), {-2, -1, true, 254, 255}}),
        pair(BOTH(Resolution), {240, 320},
             {yes(480, 640), yes(3, 4), no(240, 321), no(0, 0), no(-3, -4), no(3, 0), no(1610612736, sk_nMin)}),
        pair(BOTH(SourceResolution), {0, 0}, {yes(480, 640), no(240, 321), no(0, 0), no(-3, -4)}),
    };
    all[19].writes.push_back({9, 0, true, 1, 0}); // an unknown quality acts as Standard
    return all;
}

#undef BOTH

TEST(Settings, KeepWhatTheyAcceptAndOnlyThat)
{
    for (const Setting& rSetting : settings()) {
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
        // A handle without an active context comes before a value out of range, and leaves the outputs.
        EXPECT_EQ(rSetting.set(nullptr, -77, -77), KestrovaErrorInvalidContext) << rSetting.pszName;
        a = b = 1;
        EXPECT_EQ(rSetting.get(nullptr, &a, &b), KestrovaErrorInvalidContext) << rSetting.pszName;
        EXPECT_EQ(std::pair(a, b), std::pair(1.0, 1.0)) << rSetting.pszName;
    }
}

TEST(Settings, DisparityOffsetFollowsTheMaximum)
{
    const Handle handle = open(Shape::Horizontal);
    int nOffset = -1;
    EXPECT_EQ(kestrovaSetResolution(handle.get(), 480, 640), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDisparity(handle.get(), 300, 400), KestrovaErrorOk);
    EXPECT_EQ(kestrovaGetDisparityOffset(handle.get(), &nOffset), KestrovaErrorOk);
    EXPECT_EQ(nOffset, 160);
}

TEST(Settings, RegionsAreTheContextsOwnTable)
{
    const Handle handle = open(Shape::Horizontal);
    KestrovaROI* pFirst = nullptr;
    KestrovaROI* pAgain = nullptr;
    int nMax = 0;
    EXPECT_EQ(kestrovaGetROIs(handle.get(), &pFirst, &nMax), KestrovaErrorOk);
    EXPECT_EQ(nMax, 100);
    pFirst[99] = {1, 2, 3, 4};
    for (const auto& [nCount, eExpected] : {std::pair{100, KestrovaErrorOk},
                                            {101, KestrovaErrorInvalidSetting},
                                            {-1, KestrovaErrorInvalidSetting},
                                            {0, KestrovaErrorOk}}) {
        EXPECT_EQ(kestrovaSetNumberOfROIs(handle.get(), nCount), eExpected) << nCount;
    }
    EXPECT_EQ(kestrovaGetROIs(handle.get(), &pAgain, &nMax), KestrovaErrorOk);
    EXPECT_EQ(pAgain, pFirst);
    EXPECT_EQ(pAgain[99].m_nCols, 4);
    EXPECT_EQ(kestrovaGetROIs(nullptr, &pAgain, &nMax), KestrovaErrorInvalidContext);
}

TEST(Settings, CalibratedValuesFollowTheResolution)
{
    kestrova::test::CalibrationText text(Shape::Horizontal);
    const Handle handle = kestrova::test::openText(text.set("FocalLength", "0.8 1.1").text());
    float fBaseline = 0;
    float fFocal = 0;
    float fRow = 0;
    float fCol = 0;
    int nSerial = 0;
    for (const int nScale : {1, 2}) {
        EXPECT_EQ(kestrovaSetResolution(handle.get(), 240 * nScale, 320 * nScale), KestrovaErrorOk);
        EXPECT_EQ(kestrovaGetBaseline(handle.get(), &fBaseline), KestrovaErrorOk);
        EXPECT_EQ(kestrovaGetFocalLength(handle.get(), &fFocal), KestrovaErrorOk);
        EXPECT_EQ(kestrovaGetImageCenter(handle.get(), &fRow, &fCol), KestrovaErrorOk);
        EXPECT_FLOAT_EQ(fBaseline, 0.12F);
        EXPECT_FLOAT_EQ(fFocal, 256.0F * static_cast<float>(nScale));
        EXPECT_FLOAT_EQ(fRow, 120.0F * static_cast<float>(nScale) - 0.5F);
        EXPECT_FLOAT_EQ(fCol, 160.0F * static_cast<float>(nScale) - 0.5F);
    }
    EXPECT_EQ(kestrovaGetSerialNumber(handle.get(), &nSerial), KestrovaErrorOk);
    EXPECT_EQ(nSerial, 4711);
}

TEST(Settings, AdjustmentsBelongToACameraOfTheProduct)
{
    struct Case
    {
        KestrovaCamera eCamera;
        double x, y;
        KestrovaError eSet, eGet;
    };
    const Case aCases[] = {
        {KestrovaCamRight, 1.0, -1.0, KestrovaErrorOk, KestrovaErrorOk},
        {KestrovaCamLeft, 0.25, 0.5, KestrovaErrorOk, KestrovaErrorOk},
        {KestrovaCamReference, 1.5, 0, KestrovaErrorInvalidRequest, KestrovaErrorOk},
        {KestrovaCamReference, 0, -1.5, KestrovaErrorInvalidRequest, KestrovaErrorOk},
        {KestrovaCamTop, 0, 0, KestrovaErrorInvalidCamera, KestrovaErrorInvalidCamera},
        {KestrovaCamColor, 9, 9, KestrovaErrorInvalidCamera, KestrovaErrorInvalidCamera},
    };
    using Set = KestrovaError (*)(KestrovaContext, KestrovaCamera, double, double);
    using Get = KestrovaError (*)(KestrovaContext, KestrovaCamera, double*, double*);
    const std::pair<Set, Get> aSides[] = {{kestrovaSetRectAdjustment, kestrovaGetRectAdjustment},
                                          {kestrovaSetRawAdjustment, kestrovaGetRawAdjustment}};
    const Handle handle = open(Shape::Horizontal);
    for (const auto& [set, get] : aSides) {
        double x = 7;
        double y = 7;
        EXPECT_EQ(get(handle.get(), KestrovaCamRight, &x, &y), KestrovaErrorOk); // the other side left it alone
        EXPECT_EQ(std::pair(x, y), std::pair(0.0, 0.0));
        for (const Case& rCase : aCases) {
            EXPECT_EQ(set(handle.get(), rCase.eCamera, rCase.x, rCase.y), rCase.eSet) << rCase.eCamera;
            EXPECT_EQ(get(handle.get(), rCase.eCamera, &x, &y), rCase.eGet) << rCase.eCamera;
            if (rCase.eSet == KestrovaErrorOk) {
                EXPECT_EQ(std::pair(x, y), std::pair(rCase.x, rCase.y));
            }
        }
        EXPECT_EQ(get(handle.get(), KestrovaCamReference, &x, &y), KestrovaErrorOk); // refused values left it
        EXPECT_EQ(std::pair(x, y), std::pair(1.0, -1.0));
        EXPECT_EQ(set(nullptr, KestrovaCamRight, 9, 9), KestrovaErrorInvalidContext);
    }
}

TEST(Settings, PrepareTellsWhichStepFailed)
{
    struct Case
    {
        int nRows, nCols, nSourceRows, nSourceCols;
        KestrovaRectImgQuality eQuality;
        KestrovaError eExpected;
    };
    const Case aCases[] = {
        {30, 40, 60, 80, KestrovaRectStandard, KestrovaErrorOk},
        {30, 41, 60, 80, KestrovaRectStandard, KestrovaErrorInvalidSetting},
        {30, 40, 60, 81, KestrovaRectStandard, KestrovaErrorInvalidSetting},
        {30, 40, 60, 80, KestrovaRectEnhanced2, KestrovaErrorOk},
    };
    for (const Case& rCase : aCases) {
        const Handle handle = open(Shape::Horizontal);
        EXPECT_EQ(kestrovaSetRectImgQuality(handle.get(), rCase.eQuality), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetResolutionAndPrepare(handle.get(), rCase.nRows, rCase.nCols, rCase.nSourceRows,
                                                  rCase.nSourceCols),
                  rCase.eExpected);
    }
    EXPECT_EQ(kestrovaSetResolutionAndPrepare(nullptr, 30, 41, 60, 80), KestrovaErrorInvalidContext);
}

} // namespace
