// The life of a handle: made from a source, copied, moved between configurations, destroyed.
#include "api/MultiContext.h"
#include "kestrova.h"
#include "support/StereoFrame.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace kestrova;
using namespace kestrova::test;

KestrovaContext const sk_stale = reinterpret_cast<KestrovaContext>(1);

std::string pairText(const char* pszBaseline, const char* pszSerial = "4711")
{
    return CalibrationText(Shape::Horizontal).set("Baseline", pszBaseline).set("SerialNumber", pszSerial).text();
}

std::string versionText(const char* pszVersion)
{
    return CalibrationText(Shape::Horizontal).set("Version", pszVersion).text();
}

int serial(const Handle& rHandle)
{
    int nSerial = -1;
    EXPECT_EQ(kestrovaGetSerialNumber(rHandle.get(), &nSerial), KestrovaErrorOk);
    return nSerial;
}

TEST(Handle, ComesFromFileAndMemoryAlike)
{
    std::string twelve;
    for (int nSection = 0; nSection < 12; ++nSection) {
        twelve += pairText("0.12");
    }
    const std::string good = pairText("0.12");
    const struct
    {
        const char* pszName;
        std::string text;
        KestrovaError eExpected;
        int nSections;
    } aCases[] = {
        {"good", good, KestrovaErrorOk, 1},
        {"two", good + pairText("0.24"), KestrovaErrorOk, 2},
        {"the first ten of twelve", twelve, KestrovaErrorOk, 10},
        {"no calibration", "hello\nworld\n", KestrovaErrorConfigFileCorrupt, 0},
        {"first damaged", "Version \"Kestrova 3.0\"\nProduct PEMBERLOW\n", KestrovaErrorConfigFileCorrupt, 0},
        {"later one damaged", good + "Version \"Kestrova 3.0\"\nProduct NONESUCH\n", KestrovaErrorOk, 1},
        {"2.0", versionText("\"Kestrova 2.0\""), KestrovaErrorOk, 1},
        {"2.3", versionText("\"Kestrova 2.3\""), KestrovaErrorConfigFileCorrupt, 0},
        {"3.1", versionText("\"Kestrova 3.1\""), KestrovaErrorConfigFileCorrupt, 0},
        {"later one too new", good + versionText("\"Kestrova 3.1\""), KestrovaErrorConfigFileCorrupt, 0},
    };
    for (const auto& rCase : aCases) {
        const TempFile file(rCase.text);
        for (const bool bFile : {false, true}) {
            KestrovaContext context = sk_stale;
            EXPECT_EQ(bFile ? kestrovaGetDefaultContextFromFile(&context, file.path())
                            : kestrovaGetDefaultContextFromMemory(&context, rCase.text.c_str()),
                      rCase.eExpected)
                << rCase.pszName << (bFile ? ", file" : ", memory");
            const Handle handle(context != sk_stale ? context : nullptr);
            EXPECT_EQ(context != nullptr, rCase.eExpected == KestrovaErrorOk) << rCase.pszName;
            if (handle != nullptr) {
                EXPECT_EQ(slotOf(*multiContextOf(handle.get()), nullptr), rCase.nSections % 10 ? rCase.nSections : -1);
                EXPECT_EQ(multiContextOf(handle.get())->m_nActiveIndex, 0);
            }
        }
    }
}

TEST(Handle, SourcesAndHandlesThatAreNotThere)
{
    KestrovaContext context = sk_stale;
    EXPECT_EQ(kestrovaGetDefaultContextFromFile(&context, nullptr), KestrovaErrorInvalidParameter);
    EXPECT_EQ(context, nullptr);
    context = sk_stale;
    EXPECT_EQ(kestrovaGetDefaultContextFromFile(&context, "/nonexistent/x.cal"), KestrovaErrorNoConfigFile);
    EXPECT_EQ(context, nullptr);
    context = sk_stale;
    EXPECT_EQ(kestrovaGetDefaultContextFromMemory(&context, nullptr), KestrovaErrorInvalidParameter);
    EXPECT_EQ(context, nullptr);
    int nUntouched = 7;
    for (const KestrovaError eError :
         {kestrovaDestroyContext(nullptr), kestrovaGetSerialNumber(nullptr, &nUntouched),
          kestrovaCopyContext(nullptr, &context), kestrovaStereo(nullptr), kestrovaPreprocess(nullptr, nullptr),
          kestrovaSetCameraConfiguration(nullptr, KestrovaCfg3CameraL),
          kestrovaGetMaxThreadCount(nullptr, &nUntouched)}) {
        EXPECT_EQ(eError, KestrovaErrorInvalidContext);
    }
    EXPECT_EQ(nUntouched, 7);
}

TEST(Handle, ConfigurationsMoveBetweenSections)
{
    // Wide first, then two narrow ones: the first that suits serves.
    const Handle handle = openText(pairText("0.24", "1") + pairText("0.12", "2") + pairText("0.1", "3"));
    const auto eNarrow = KestrovaCfg2CameraHorizontal;
    const auto eWide = KestrovaCfg2CameraWide;
    const struct
    {
        int nConfiguration;
        KestrovaError eExpected;
        int nSerialAfter;
        KestrovaCameraConfiguration eAfter;
    } aCases[] = {
        {KestrovaCfg2CameraVertical, KestrovaErrorInvalidRequest, 1, eWide},
        {eNarrow, KestrovaErrorOk, 2, eNarrow},
        {eNarrow, KestrovaErrorOk, 2, eNarrow},
        {4, KestrovaErrorInvalidParameter, 2, eNarrow},
        {-1, KestrovaErrorInvalidParameter, 2, eNarrow},
        {eWide, KestrovaErrorOk, 1, eWide},
    };
    EXPECT_EQ(kestrovaSetDisparity(handle.get(), 3, 99), KestrovaErrorOk);
    for (const auto& rCase : aCases) {
        KestrovaCameraConfiguration eNow{};
        KestrovaCameraConfiguration eDevice{};
        const auto eAsked = static_cast<KestrovaCameraConfiguration>(rCase.nConfiguration);
        EXPECT_EQ(kestrovaSetCameraConfiguration(handle.get(), eAsked), rCase.eExpected) << rCase.nConfiguration;
        EXPECT_EQ(kestrovaGetCameraConfiguration(handle.get(), &eNow), KestrovaErrorOk);
        EXPECT_EQ(kestrovaGetDeviceConfiguration(handle.get(), &eDevice), KestrovaErrorOk);
        EXPECT_EQ(serial(handle), rCase.nSerialAfter) << rCase.nConfiguration;
        EXPECT_TRUE(eNow == rCase.eAfter && eDevice == rCase.eAfter) << rCase.nConfiguration;
        int nMin = 0;
        int nMax = 0;
        EXPECT_EQ(kestrovaGetDisparity(handle.get(), &nMin, &nMax), KestrovaErrorOk);
        EXPECT_TRUE(nMin == 3 && nMax == 99) << "settings move along";
    }
}

TEST(Handle, DevicesAndTheirConfigurations)
{
    const struct
    {
        Shape eShape;
        const char* pszBaseline;
        int nFirst, nDevice;
        std::string accepted;
    } aCases[] = {
        {Shape::L, "0.12", 0, 0, "012"},        {Shape::L, "0.24", 0, 0, "02"},
        {Shape::Vertical, "0.12", 2, 2, "2"},   {Shape::Horizontal, "0.12", 1, 1, "1"},
        {Shape::Horizontal, "0.24", 3, 3, "3"}, {Shape::Horizontal, "0.15", 1, 3, ""}, // neither narrow nor wide
    };
    for (const auto& rCase : aCases) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(rCase.eShape) << ' ' << rCase.pszBaseline);
        const Handle handle = openText(CalibrationText(rCase.eShape).set("Baseline", rCase.pszBaseline).text());
        KestrovaCameraConfiguration eNow{};
        KestrovaCameraConfiguration eDevice{};
        EXPECT_EQ(kestrovaGetCameraConfiguration(handle.get(), &eNow), KestrovaErrorOk);
        EXPECT_EQ(kestrovaGetDeviceConfiguration(handle.get(), &eDevice), KestrovaErrorOk);
        EXPECT_TRUE(eNow == rCase.nFirst && eDevice == rCase.nDevice);
        for (int nAsked = 0; nAsked < 4; ++nAsked) {
            const bool bAccepted = rCase.accepted.find(static_cast<char>('0' + nAsked)) != std::string::npos;
            EXPECT_EQ(kestrovaSetCameraConfiguration(handle.get(), static_cast<KestrovaCameraConfiguration>(nAsked)),
                      bAccepted ? KestrovaErrorOk : KestrovaErrorInvalidRequest)
                << nAsked;
            EXPECT_EQ(kestrovaGetCameraConfiguration(handle.get(), &eNow), KestrovaErrorOk);
            EXPECT_TRUE(!bAccepted || eNow == nAsked);
        }
    }
}

TEST(Handle, CopyIsItsOwnHandleOnSharedCameras)
{
    Handle source = openText(pairText("0.12", "1") + pairText("0.24", "2"));
    EXPECT_EQ(kestrovaSetCameraConfiguration(source.get(), KestrovaCfg2CameraWide), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetMaxThreadCount(source.get(), 3), KestrovaErrorOk);
    EXPECT_EQ(kestrovaStereo(source.get()), KestrovaErrorInvalidRequest); // an error that must not travel

    KestrovaContext context = nullptr;
    EXPECT_EQ(kestrovaCopyContext(source.get(), &context), KestrovaErrorOk);
    const Handle copy(context);
    EXPECT_EQ(kestrovaSetStereoMask(copy.get(), 5), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetRawAdjustment(source.get(), KestrovaCamLeft, 0.125, 0), KestrovaErrorOk);
    int nValue = 0;
    EXPECT_EQ(kestrovaGetStereoMask(source.get(), &nValue), KestrovaErrorOk);
    EXPECT_EQ(nValue, 7);
    source.reset();

    EXPECT_EQ(kestrovaGetMaxThreadCount(copy.get(), &nValue), KestrovaErrorOk);
    EXPECT_EQ(nValue, 3);
    EXPECT_EQ(serial(copy), 2);
    double x = 0;
    double y = 0;
    EXPECT_EQ(kestrovaGetRawAdjustment(copy.get(), KestrovaCamLeft, &x, &y), KestrovaErrorOk);
    EXPECT_EQ(x, 0.125);
    EXPECT_EQ(kestrovaSetCameraConfiguration(copy.get(), KestrovaCfg2CameraHorizontal), KestrovaErrorOk);
    EXPECT_EQ(serial(copy), 1);
    StereoFrame frame(240, 320, 5);
    KestrovaInput input = frame.planes();
    EXPECT_EQ(kestrovaPreprocess(copy.get(), &input), KestrovaErrorOk);
    EXPECT_EQ(kestrovaStereo(copy.get()), KestrovaErrorOk);
}

TEST(Handle, ThreadCountTestsRangeBeforeHandle)
{
    const Handle handle = open(Shape::Horizontal);
    int nCount = 0;
    EXPECT_EQ(kestrovaGetMaxThreadCount(handle.get(), &nCount), KestrovaErrorOk);
    EXPECT_TRUE(nCount >= 1 && nCount <= 4) << nCount;
    for (const int nAsked : {3, 0, 256, 255, 1, -1}) {
        const bool bInRange = nAsked >= 1 && nAsked <= 255;
        const int nExpected = bInRange ? nAsked : nCount;
        EXPECT_EQ(kestrovaSetMaxThreadCount(nullptr, nAsked),
                  bInRange ? KestrovaErrorInvalidContext : KestrovaErrorInvalidSetting);
        EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), nAsked),
                  bInRange ? KestrovaErrorOk : KestrovaErrorInvalidSetting);
        EXPECT_EQ(kestrovaGetMaxThreadCount(handle.get(), &nCount), KestrovaErrorOk);
        EXPECT_EQ(nCount, nExpected);
    }
}

} // namespace
