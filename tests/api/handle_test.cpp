// The life of a handle: made from a source, copied, moved between configurations, destroyed.
#include "api/MultiContext.h"
#include "support/StereoFrame.h"

#include <gmock/gmock.h>

namespace {

using namespace kestrova;
using namespace kestrova::test;

KestrovaContext const sk_stale = reinterpret_cast<KestrovaContext>(1);

std::string pairText(const char* pszBaseline, const char* pszSerial = "4711", const char* pszVersion = "3.0")
{
    CalibrationText text(Shape::Horizontal);
    text.set("Version", "\"Kestrova " + std::string(pszVersion) + '"');
    return text.set("Baseline", pszBaseline).set("SerialNumber", pszSerial).text();
}

TEST(Handle, ComesFromFileAndMemoryAlike)
{
    const std::string good = pairText("0.12");
    std::string twelve;
    for (int nSection = 0; nSection < 12; ++nSection) {
        twelve += good;
    }
    const std::tuple<const char*, std::string, int> aCases[] = {
        // No section: the text is refused.
        {"two", good + pairText("0.24"), 2},
        {"the first ten of twelve", twelve, 10},
        {"no calibration", "hello\nworld\n", 0},
        {"later one damaged", good + "Version \"Kestrova 3.0\"\nProduct NONESUCH\n", 1},
        {"2.0", pairText("0.12", "1", "2.0"), 1},
        {"2.3", pairText("0.12", "1", "2.3"), 0},
        {"3.1", pairText("0.12", "1", "3.1"), 0},
        {"later one too new", good + pairText("0.12", "1", "3.1"), 0},
    };
    for (const auto& [pszName, text, nSections] : aCases) {
        const TempFile file(text);
        for (const bool bFile : {false, true}) {
            SCOPED_TRACE(pszName + std::string(bFile ? ", file" : ", memory"));
            KestrovaContext context = sk_stale;
            const KestrovaError eError = bFile ? kestrovaGetDefaultContextFromFile(&context, file.path())
                                               : kestrovaGetDefaultContextFromMemory(&context, text.c_str());
            const Handle handle(context != sk_stale ? context : nullptr);
            EXPECT_EQ(eError, nSections > 0 ? KestrovaErrorOk : KestrovaErrorConfigFileCorrupt);
            ASSERT_EQ(context != nullptr, nSections > 0);
            if (handle != nullptr) {
                EXPECT_EQ(slotOf(*multiContextOf(handle), nullptr), nSections % 10 ? nSections : -1);
                EXPECT_EQ(multiContextOf(handle)->m_nActiveIndex, 0);
            }
        }
    }
}

TEST(Handle, SourcesAndHandlesThatAreNotThere)
{
    KestrovaContext apContexts[] = {sk_stale, sk_stale, sk_stale};
    const KestrovaError aErrors[] = {kestrovaGetDefaultContextFromFile(&apContexts[0], nullptr),
                                     kestrovaGetDefaultContextFromMemory(&apContexts[1], nullptr),
                                     kestrovaGetDefaultContextFromFile(&apContexts[2], "/nonexistent/x.cal")};
    EXPECT_THAT(aErrors, testing::ElementsAre(KestrovaErrorInvalidParameter, KestrovaErrorInvalidParameter,
                                              KestrovaErrorNoConfigFile));
    EXPECT_THAT(apContexts, testing::Each(nullptr));
    int nUntouched = 7;
    for (const KestrovaError eError :
         {kestrovaDestroyContext(nullptr), kestrovaGetSerialNumber(nullptr, &nUntouched),
          kestrovaCopyContext(nullptr, &apContexts[0]), kestrovaStereo(nullptr), kestrovaPreprocess(nullptr, nullptr),
          kestrovaSetCameraConfiguration(nullptr, KestrovaCfg3CameraL),
          kestrovaGetMaxThreadCount(nullptr, &nUntouched)}) {
        EXPECT_EQ(eError, KestrovaErrorInvalidContext);
    }
    EXPECT_EQ(nUntouched, 7);
}

/** The configuration in use and that of the device. */
std::pair<int, int> configurations(KestrovaContext context)
{
    return {got(kestrovaGetCameraConfiguration, context), got(kestrovaGetDeviceConfiguration, context)};
}

TEST(Handle, ConfigurationsMoveBetweenSections)
{
    // Wide first, then two narrow ones: the first that suits serves.
    const Handle handle = openText(pairText("0.24", "1") + pairText("0.12", "2") + pairText("0.1", "3"));
    const int nNarrow = KestrovaCfg2CameraHorizontal;
    const int nWide = KestrovaCfg2CameraWide;
    const std::tuple<int, KestrovaError, int, int> aCases[] = {
        {KestrovaCfg2CameraVertical, KestrovaErrorInvalidRequest, 1, nWide},
        {nNarrow, KestrovaErrorOk, 2, nNarrow},
        {nNarrow, KestrovaErrorOk, 2, nNarrow},
        {4, KestrovaErrorInvalidParameter, 2, nNarrow},
        {-1, KestrovaErrorInvalidParameter, 2, nNarrow},
        {nWide, KestrovaErrorOk, 1, nWide},
    };
    expectOk({kestrovaSetDisparity(handle, 3, 99)});
    for (const auto& [nAsked, eExpected, nSerialAfter, nAfter] : aCases) {
        const auto eAsked = static_cast<KestrovaCameraConfiguration>(nAsked);
        EXPECT_EQ(kestrovaSetCameraConfiguration(handle, eAsked), eExpected) << nAsked;
        EXPECT_EQ(got(kestrovaGetSerialNumber, handle), nSerialAfter) << nAsked;
        EXPECT_EQ(configurations(handle), std::pair(nAfter, nAfter)) << nAsked;
        int nMin = 0;
        int nMax = 0;
        expectOk({kestrovaGetDisparity(handle, &nMin, &nMax)});
        EXPECT_TRUE(nMin == 3 && nMax == 99) << "settings move along";
    }
}

TEST(Handle, DevicesAndTheirConfigurations)
{
    const std::tuple<Shape, const char*, std::pair<int, int>, std::string> aCases[] = {
        {Shape::L, "0.12", {0, 0}, "012"},        {Shape::L, "0.24", {0, 0}, "02"},
        {Shape::Vertical, "0.12", {2, 2}, "2"},   {Shape::Horizontal, "0.12", {1, 1}, "1"},
        {Shape::Horizontal, "0.24", {3, 3}, "3"}, {Shape::Horizontal, "0.15", {1, 3}, ""}, // neither narrow nor wide
    };
    for (const auto& [eShape, pszBaseline, first, accepted] : aCases) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(eShape) << pszBaseline);
        const Handle handle = openText(CalibrationText(eShape).set("Baseline", pszBaseline).text());
        EXPECT_EQ(configurations(handle), first);
        for (int nAsked = 0; nAsked < 4; ++nAsked) {
            const bool bAccepted = accepted.find(static_cast<char>('0' + nAsked)) != std::string::npos;
            EXPECT_EQ(kestrovaSetCameraConfiguration(handle, static_cast<KestrovaCameraConfiguration>(nAsked)),
                      bAccepted ? KestrovaErrorOk : KestrovaErrorInvalidRequest)
                << nAsked;
            EXPECT_TRUE(!bAccepted || configurations(handle).first == nAsked);
        }
    }
}

TEST(Handle, CopyIsItsOwnHandleOnSharedCameras)
{
    Handle source = openText(pairText("0.12", "1") + pairText("0.24", "2"));
    expectOk({kestrovaSetCameraConfiguration(source, KestrovaCfg2CameraWide), kestrovaSetMaxThreadCount(source, 3)});
    EXPECT_EQ(kestrovaStereo(source), KestrovaErrorInvalidRequest); // an error that must not travel
    KestrovaContext context = nullptr;
    expectOk({kestrovaCopyContext(source, &context)});
    const Handle copy(context);
    double x = 0;
    double y = 0;
    expectOk({kestrovaSetStereoMask(copy, 5), kestrovaSetRawAdjustment(source, KestrovaCamLeft, 0.125, 0)});
    EXPECT_EQ(got(kestrovaGetStereoMask, source), 7);
    source.reset();
    expectOk({kestrovaGetRawAdjustment(copy, KestrovaCamLeft, &x, &y)});
    EXPECT_TRUE(x == 0.125 && got(kestrovaGetMaxThreadCount, copy) == 3 && got(kestrovaGetSerialNumber, copy) == 2);
    StereoFrame frame(240, 320, 5);
    KestrovaInput input = frame.planes();
    expectOk({kestrovaSetCameraConfiguration(copy, KestrovaCfg2CameraHorizontal), kestrovaPreprocess(copy, &input),
              kestrovaStereo(copy)});
    EXPECT_EQ(got(kestrovaGetSerialNumber, copy), 1);
}

TEST(Handle, ThreadCountTestsRangeBeforeHandle)
{
    const Handle handle = open(Shape::Horizontal);
    int nCount = got(kestrovaGetMaxThreadCount, handle);
    EXPECT_TRUE(nCount >= 1 && nCount <= 4) << nCount;
    for (const int nAsked : {3, 0, 256, 255, 1, -1}) {
        const bool bOk = nAsked >= 1 && nAsked <= 255;
        nCount = bOk ? nAsked : nCount;
        const auto eNoHandle = bOk ? KestrovaErrorInvalidContext : KestrovaErrorInvalidSetting;
        EXPECT_EQ(kestrovaSetMaxThreadCount(nullptr, nAsked), eNoHandle);
        EXPECT_EQ(kestrovaSetMaxThreadCount(handle, nAsked), bOk ? KestrovaErrorOk : KestrovaErrorInvalidSetting);
        EXPECT_EQ(got(kestrovaGetMaxThreadCount, handle), nCount);
    }
}

} // namespace
