// Setters and getters: a table of values, legal and not, for each.
#include "reliability/Sequence.h"

#include <limits>

namespace kestrova::test {
namespace {

using Ints = std::vector<int>;
using Floats = std::vector<float>;

template<class T, class Value>
Op setter(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, T), const std::vector<Value>& rValues)
{
    return {pszName, 3, [=](Sequence& r) {
                const KestrovaContext context = r.context();
                r.note(pfnSet(context, static_cast<T>(r.random().pick(rValues))));
            }};
}

template<class T>
Op getter(const char* pszName, KestrovaError (*pfnGet)(KestrovaContext, T*))
{
    return {pszName, 1, [=](Sequence& r) {
                T value{};
                r.note(pfnGet(r.context(), &value), value);
            }};
}

template<class T>
Op pairGetter(const char* pszName, KestrovaError (*pfnGet)(KestrovaContext, T*, T*))
{
    return {pszName, 1, [=](Sequence& r) {
                T first{}, second{};
                r.note(pfnGet(r.context(), &first, &second), first, second);
            }};
}

Op pairSetter(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, int, int), int nWeight,
              const std::vector<std::pair<int, int>>& rValues)
{
    return {pszName, nWeight, [=](Sequence& r) {
                const KestrovaContext context = r.context();
                const auto [nFirst, nSecond] = r.random().pick(rValues);
                r.note(pfnSet(context, nFirst, nSecond));
            }};
}

Op adjustmentSetter(const char* pszName, KestrovaError (*pfnSet)(KestrovaContext, KestrovaCamera, double, double))
{
    return {pszName, 2, [=](Sequence& r) {
                const KestrovaContext context = r.context();
                const KestrovaCamera eCamera = anyCamera(r.random());
                const double dX = r.random().pick({0.0, 0.01, -0.2, 1.0, -1.0, 1.5, std::nan("")});
                r.note(pfnSet(context, eCamera, dX, r.random().pick({0.0, -0.02, 0.3, 1.0, -7.0})));
            }};
}

Op adjustmentGetter(const char* pszName, KestrovaError (*pfnGet)(KestrovaContext, KestrovaCamera, double*, double*))
{
    return {pszName, 1, [=](Sequence& r) {
                const KestrovaContext context = r.context();
                double dX = 5, dY = 6;
                r.note(pfnGet(context, anyCamera(r.random()), &dX, &dY), dX, dY);
            }};
}

const std::vector<std::pair<int, int>> sk_sizes = {{24, 32}, {24, 32}, {12, 16}, {30, 40}, {48, 64}, {60, 80},
                                                   {48, 64}, {3, 4},   {0, 0},   {-3, -4}, {25, 32}, {32, 24}};

void setResolutionAndPrepare(Sequence& r)
{
    const KestrovaContext context = r.context();
    const auto [nRows, nCols] = r.random().pick(sk_sizes);
    const auto [nSourceRows, nSourceCols] = r.random().pick(sk_sizes);
    r.note(kestrovaSetResolutionAndPrepare(context, nRows, nCols, nSourceRows, nSourceCols));
}

/** Into the table itself, which belongs to the handle. */
void getRois(Sequence& r)
{
    KestrovaROI* pTable = nullptr;
    int nLength = 0;
    Random& rRandom = r.random();
    const KestrovaError eError = kestrovaGetROIs(r.context(), &pTable, &nLength);
    r.note(eError, nLength);
    for (int i = 0; i < 4 && eError == KestrovaErrorOk; ++i) {
        pTable[rRandom.oneIn(8) ? nLength - 1 - i : i] = {rRandom.between(-5, 60), rRandom.between(-5, 80),
                                                          rRandom.between(-2, 60), rRandom.between(-2, 80)};
    }
}

void setThreads(Sequence& r)
{
    const KestrovaContext context = r.context();
    r.note(kestrovaSetMaxThreadCount(context, r.threads(r.random().pick({1, 2, 3, 4, 7, 7, 0, -1, 256}))));
}

void getThreads(Sequence& r)
{
    int nCount = 0;
    r.note(kestrovaGetMaxThreadCount(r.context(), &nCount));
    r.note(r.threads(nCount, true));
}

void setAnyMask(Sequence& r)
{
    const KestrovaContext context = r.context();
    const int nSize = r.random().pick({1, 2, 4, 5, 6, 9, 16, 24, 31, 60, 100, 0, -3});
    r.note(kestrovaSetAnyStereoMask(context, nSize > 0 && r.options().bOddWindows ? nSize | 1 : nSize));
}

} // namespace

std::vector<Op> settingCalls()
{
    constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
    constexpr float Infinity = std::numeric_limits<float>::infinity();
    constexpr int Most = std::numeric_limits<int>::max();
    const Ints switches = {0, 1, 1, -5};
    const Ints bytes = {255, 254, 253, 252, 251, 250, 240, 17, 0, -1, 256 + 250};
    return {
        setter(KESTROVA_NAMED(kestrovaSetEdgeCorrelation), switches),
        setter(KESTROVA_NAMED(kestrovaSetDoStereo), Ints{0, 1, 1, 1, 1}),
        setter(KESTROVA_NAMED(kestrovaSetSubpixelInterpolation), switches),
        setter(KESTROVA_NAMED(kestrovaSetDisparityMappingOn), switches),
        setter(KESTROVA_NAMED(kestrovaSetLowpass), switches),
        setter(KESTROVA_NAMED(kestrovaSetRectify), Ints{0, 1, 1, 1}),
        setter(KESTROVA_NAMED(kestrovaSetTextureValidation), switches),
        setter(KESTROVA_NAMED(kestrovaSetUniquenessValidation), switches),
        setter(KESTROVA_NAMED(kestrovaSetBackForthValidation), switches),
        setter(KESTROVA_NAMED(kestrovaSetSurfaceValidation), switches),
        setter(KESTROVA_NAMED(kestrovaSetStrictSubpixelValidation), switches),
        setter(KESTROVA_NAMED(kestrovaSetTextureValidationMapping), bytes),
        setter(KESTROVA_NAMED(kestrovaSetUniquenessValidationMapping), bytes),
        setter(KESTROVA_NAMED(kestrovaSetBackForthValidationMapping), bytes),
        setter(KESTROVA_NAMED(kestrovaSetSurfaceValidationMapping), bytes),
        setter(KESTROVA_NAMED(kestrovaSetSubpixelValidationMapping), bytes),
        setter(KESTROVA_NAMED(kestrovaSetTextureValidationThreshold), Floats{0, 0.5F, 1.5F, 40, 128, 129, -1, NaN}),
        setter(KESTROVA_NAMED(kestrovaSetUniquenessValidationThreshold), Floats{0, 0.3F, 0.9F, 10, 10.5F, -1, NaN}),
        setter(KESTROVA_NAMED(kestrovaSetSurfaceValidationDifference),
               Floats{0, 0.25F, 1, 3.7F, 300, 1e30F, Infinity, -1, NaN}),
        setter(KESTROVA_NAMED(kestrovaSetSurfaceValidationSize), Ints{0, 1, 7, 200, 100000, Most, -1}),
        setter(KESTROVA_NAMED(kestrovaSetEdgeMask), Ints{3, 5, 7, 9, 11, 1, 4, 13, -3}),
        setter(KESTROVA_NAMED(kestrovaSetStereoMask), Ints{1, 3, 5, 7, 9, 15, 21, 23, 2, 24, 25, -1}),
        {"kestrovaSetAnyStereoMask", 2, setAnyMask},
        setter(KESTROVA_NAMED(kestrovaSetRectImgQuality), Ints{0, 1, 2, 3, 1, 4, -1}),
        setter(KESTROVA_NAMED(kestrovaSetStereoQuality), Ints{0, 1, 1, 2}),
        setter(KESTROVA_NAMED(kestrovaSetNumberOfROIs), Ints{0, 0, 0, 0, 1, 2, 4, 100, 101, -1}),
        pairSetter(KESTROVA_NAMED(kestrovaSetDisparity), 6,
                   {{0, 8}, {0, 16}, {0, 1}, {2, 11}, {5, 25}, {0, 33}, {7, 8}, {3, 3}, {-1, 5}, {0, 241}, {9, Most}}),
        pairSetter(KESTROVA_NAMED(kestrovaSetDisparityMapping), 2,
                   {{0, 32}, {10, 255}, {0, 255}, {255, 256}, {256, 511}, {-1, 3}, {9, 9}}),
        pairSetter(KESTROVA_NAMED(kestrovaSetResolution), 8, sk_sizes),
        pairSetter(KESTROVA_NAMED(kestrovaSetSourceResolution), 3, sk_sizes),
        adjustmentSetter(KESTROVA_NAMED(kestrovaSetRectAdjustment)),
        adjustmentSetter(KESTROVA_NAMED(kestrovaSetRawAdjustment)),
        {"kestrovaSetResolutionAndPrepare", 3, setResolutionAndPrepare},
        {"kestrovaGetROIs", 4, getRois},
        {"kestrovaSetMaxThreadCount", 6, setThreads},
        {"kestrovaGetMaxThreadCount", 1, getThreads},
        getter(KESTROVA_NAMED(kestrovaGetEdgeCorrelation)),
        getter(KESTROVA_NAMED(kestrovaGetDoStereo)),
        getter(KESTROVA_NAMED(kestrovaGetSubpixelInterpolation)),
        getter(KESTROVA_NAMED(kestrovaGetDisparityMappingOn)),
        getter(KESTROVA_NAMED(kestrovaGetLowpass)),
        getter(KESTROVA_NAMED(kestrovaGetRectify)),
        getter(KESTROVA_NAMED(kestrovaGetTextureValidation)),
        getter(KESTROVA_NAMED(kestrovaGetUniquenessValidation)),
        getter(KESTROVA_NAMED(kestrovaGetBackForthValidation)),
        getter(KESTROVA_NAMED(kestrovaGetSurfaceValidation)),
        getter(KESTROVA_NAMED(kestrovaGetStrictSubpixelValidation)),
        getter(KESTROVA_NAMED(kestrovaGetTextureValidationMapping)),
        getter(KESTROVA_NAMED(kestrovaGetUniquenessValidationMapping)),
        getter(KESTROVA_NAMED(kestrovaGetBackForthValidationMapping)),
        getter(KESTROVA_NAMED(kestrovaGetSurfaceValidationMapping)),
        getter(KESTROVA_NAMED(kestrovaGetSubpixelValidationMapping)),
        getter(KESTROVA_NAMED(kestrovaGetTextureValidationThreshold)),
        getter(KESTROVA_NAMED(kestrovaGetUniquenessValidationThreshold)),
        getter(KESTROVA_NAMED(kestrovaGetSurfaceValidationDifference)),
        getter(KESTROVA_NAMED(kestrovaGetSurfaceValidationSize)),
        getter(KESTROVA_NAMED(kestrovaGetEdgeMask)),
        getter(KESTROVA_NAMED(kestrovaGetStereoMask)),
        getter(KESTROVA_NAMED(kestrovaGetDisparityOffset)),
        getter(KESTROVA_NAMED(kestrovaGetRectImgQuality)),
        getter(KESTROVA_NAMED(kestrovaGetStereoQuality)),
        getter(KESTROVA_NAMED(kestrovaGetSerialNumber)),
        getter(KESTROVA_NAMED(kestrovaGetCameraConfiguration)),
        getter(KESTROVA_NAMED(kestrovaGetDeviceConfiguration)),
        getter(KESTROVA_NAMED(kestrovaGetBaseline)),
        getter(KESTROVA_NAMED(kestrovaGetFocalLength)),
        pairGetter(KESTROVA_NAMED(kestrovaGetDisparity)),
        pairGetter(KESTROVA_NAMED(kestrovaGetDisparityMapping)),
        pairGetter(KESTROVA_NAMED(kestrovaGetResolution)),
        pairGetter(KESTROVA_NAMED(kestrovaGetSourceResolution)),
        pairGetter(KESTROVA_NAMED(kestrovaGetImageCenter)),
        adjustmentGetter(KESTROVA_NAMED(kestrovaGetRectAdjustment)),
        adjustmentGetter(KESTROVA_NAMED(kestrovaGetRawAdjustment)),
    };
}

} // namespace kestrova::test
