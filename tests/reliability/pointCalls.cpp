// Points, pixels, the world frame, and the functions that look at no handle.
#include "reliability/Sequence.h"

#include <limits>

namespace kestrova::test {
namespace {

float anyFloat(Random& rRandom)
{
    return rRandom.oneIn(12) ? rRandom.pick({0.0F, -0.0F, -1e30F, 1e30F, std::numeric_limits<float>::quiet_NaN(),
                                             std::numeric_limits<float>::infinity()})
                             : static_cast<float>(rRandom.fraction() * 90 - 10);
}

Op floats(const char* pszName, KestrovaError (*pfn)(KestrovaContext, float, float, float, float*, float*, float*))
{
    return {pszName, 2, [=](Sequence& r) {
                const KestrovaContext context = r.context();
                const float fFirst = anyFloat(r.random()), fSecond = anyFloat(r.random());
                float x = 1, y = 2, z = 3;
                r.note(pfn(context, fFirst, fSecond, anyFloat(r.random()), &x, &y, &z), x, y, z);
            }};
}

template<class Value>
Op pixels(const char* pszName, KestrovaError (*pfn)(KestrovaContext, int, int, Value, float*, float*, float*))
{
    return {pszName, 2, [=](Sequence& r) {
                const KestrovaContext context = r.context();
                const int nRow = r.random().between(-9, 60), nCol = r.random().between(-9, 80);
                float x = 1, y = 2, z = 3;
                r.note(pfn(context, nRow, nCol, static_cast<Value>(r.random().next()), &x, &y, &z), x, y, z);
            }};
}

Op mapping(const char* pszName, KestrovaError (*pfn)(KestrovaContext, KestrovaCamera, float*, float*, float, float))
{
    return {pszName, 4, [=](Sequence& r) {
                const KestrovaContext context = r.context();
                const KestrovaCamera eCamera = anyCamera(r.random());
                const float fRow = anyFloat(r.random());
                float row = -7, col = -8;
                r.note(pfn(context, eCamera, &row, &col, fRow, anyFloat(r.random())), row, col);
            }};
}

Op number(const char* pszName, int (*pfn)(void))
{
    return {pszName, 1, [=](Sequence& r) { r.note(pfn()); }};
}

void setTransform(Sequence& r)
{
    const KestrovaContext context = r.context();
    KestrovaTransform transform{};
    for (auto& rRow : transform.matrix) {
        for (double& rd : rRow) {
            rd = r.random().oneIn(4) ? 0.0 : r.random().fraction() * 4 - 2;
        }
    }
    if (r.random().oneIn(2)) {
        transform = {{{0, -1, 0, 2}, {1, 0, 0, -3}, {0, 0, 1, 0.5}, {0, 0, 0, 1}}};
    }
    r.note(kestrovaSetKestrovaToWorldTransform(context, transform));
}

void getTransform(Sequence& r)
{
    KestrovaTransform transform{};
    r.note(kestrovaGetKestrovaToWorldTransform(r.context(), &transform));
    for (const auto& rRow : transform.matrix) {
        r.note(rRow[0], rRow[1], rRow[2], rRow[3]);
    }
}

void buildInput(Sequence& r)
{
    Frame frame = makeFrame(r.random());
    r.note(frame.input.inputType, frame.input.nrows, frame.input.ncols, frame.input.rowinc, frame.input.ulTag1,
           frame.input.ulTag2);
}

/** Three planes that were allocated one by one: the third is the caller's to free. */
void destroyInput(Sequence& r)
{
    KestrovaInput input{};
    input.inputType = r.random().pick({1, 2, 2, 3});
    input.nrows = r.random().pick({4, 4, 0});
    input.ncols = input.rowinc = 8;
    input.pPlane0 = std::malloc(128);
    input.pPlane1 = input.inputType == 2 ? std::malloc(128) : nullptr;
    void* const p0 = input.pPlane0;
    void* const p1 = input.pPlane1;
    const KestrovaError eError = kestrovaDestroyInput(&input);
    r.note(eError);
    if (eError != KestrovaErrorOk) {
        std::free(p0);
        std::free(p1);
    }
}

} // namespace

std::vector<Op> pointCalls()
{
    return {
        floats(KESTROVA_NAMED(kestrovaRCDFloatToXYZ)),
        floats(KESTROVA_NAMED(kestrovaRCDToXYZ)),
        floats(KESTROVA_NAMED(kestrovaXYZToRCD)),
        floats(KESTROVA_NAMED(kestrovaRCDFloatToWorldXYZ)),
        floats(KESTROVA_NAMED(kestrovaRCDToWorldXYZ)),
        floats(KESTROVA_NAMED(kestrovaWorldXYZToRCD)),
        pixels(KESTROVA_NAMED(kestrovaRCDMappedToXYZ)),
        pixels(KESTROVA_NAMED(kestrovaRCD8ToXYZ)),
        pixels(KESTROVA_NAMED(kestrovaRCD16ToXYZ)),
        pixels(KESTROVA_NAMED(kestrovaRCDMappedToWorldXYZ)),
        pixels(KESTROVA_NAMED(kestrovaRCD8ToWorldXYZ)),
        pixels(KESTROVA_NAMED(kestrovaRCD16ToWorldXYZ)),
        mapping(KESTROVA_NAMED(kestrovaRectifyPixel)),
        mapping(KESTROVA_NAMED(kestrovaUnrectifyPixel)),
        number(KESTROVA_NAMED(kestrovaGetVersionMajor)),
        number(KESTROVA_NAMED(kestrovaGetVersionMinor)),
        number(KESTROVA_NAMED(kestrovaGetVersionReleaseType)),
        number(KESTROVA_NAMED(kestrovaGetVersionReleaseNumber)),
        {"kestrovaVersion", 1, [](Sequence& r) { r.note(std::string_view(kestrovaVersion())); }},
        {"kestrovaGetDynamicLibPath", 1, [](Sequence& r) { r.note(std::string_view(kestrovaGetDynamicLibPath())); }},
        {"kestrovaErrorToString", 1,
         [](Sequence& r) {
             const auto eError = static_cast<KestrovaError>(r.random().between(-2, 20));
             r.note(std::string_view(kestrovaErrorToString(eError)));
         }},
        {"kestrovaSetKestrovaToWorldTransform", 3, setTransform},
        {"kestrovaGetKestrovaToWorldTransform", 1, getTransform},
        {"kestrovaBuildRGBKestrovaInput", 1, buildInput},
        {"kestrovaBuildPackedKestrovaInput", 1, buildInput},
        {"_Z20kestrovaDestroyInputP13KestrovaInput", 2, destroyInput},
    };
}

} // namespace kestrova::test
