// What a damaged or hostile text may do: fail, or load whole. That the maps of what loads stay in the unit square is
// for the fuzz targets.
#include "calibration/load.h"

#include "context/StereoContext.h"
#include "files/FilePtr.h"
#include "support/CalibrationText.h"

#include <sys/stat.h>

namespace kestrova::test {
using namespace std::string_literals;
namespace {

/** Loads, and checks that the context is whole or empty. */
bool loadsSafely(bool bMemory, const std::string& rText)
{
    StereoContext context;
    const TempFile file(rText);
    const FilePtr pStream(std::fopen(file.path(), "rb"));
    const bool bOk =
        bMemory ? loadContextFromMemory(rText.c_str(), &context, 0) : loadContextFromStream(pStream.get(), &context, 0);
    EXPECT_EQ(context.m_pCalibration->m_calibrationLines.empty(), !bOk);
    for (int nIndex = 0; nIndex < 3; ++nIndex) {
        EXPECT_EQ(context.m_apCameras[nIndex] != nullptr, bOk && nIndex < context.m_nCameraCount);
    }
    return bOk;
}

/** Silences the one message that does not obey Debug, unless a test fails. */
class Hostile : public testing::Test
{
protected:
    void SetUp() override { testing::internal::CaptureStdout(); }
    void TearDown() override
    {
        const std::string output = testing::internal::GetCapturedStdout();
        std::fputs(HasFailure() ? output.c_str() : "", stdout);
    }
    const std::string m_text = CalibrationText(Shape::Horizontal).text();
};

TEST_F(Hostile, CutAnywhereOnlyTheWholeTextLoads)
{
    for (const bool bMemory : {false, true}) {
        for (std::size_t uLength = 0; uLength <= m_text.size(); ++uLength) {
            ASSERT_EQ(loadsSafely(bMemory, m_text.substr(0, uLength)), uLength + 1 >= m_text.size()) << uLength;
        }
    }
}

TEST_F(Hostile, EachReplacementLoadsOrFailsAsNamed)
{
    const std::string knots = "KnotsX 0 0 0 0 1 1 1 1";
    const std::string coefs = "NumberCoefs 4 4";
    const std::tuple<std::string, std::string, bool, bool> aCases[] = {
        {"NumberKnots 8", "NumberKnots 2147483647", false, false},
        {"NumberKnots 8", "NumberKnots 7", false, false}, // one less than the spline reads
        {"NumberKnots 8", "NumberKnots 9", false, false}, // one more than the line has
        {knots, knots + " 1", true, true},
        {coefs, "NumberCoefs 46341 46341", false, false},
        {coefs, "NumberCoefs -4 -4", false, false},
        {coefs, "NumberCoefs 3 3", true, true},
        {"Coefs 0 ", "Coefs ", false, false},
        {knots, "KnotsX 5 5 5 5 5 5 5 5", true, true},
        {knots, "KnotsX 8 7 6 5 4 3 2 1", true, true},
        {knots, "KnotsX 1e308 -1e308 0 0 1e308 -1e308 1e-320 1e-320", true, true},
        {knots, "KnotsX 0 0 0 nan 1 1 1 1", false, false},
        {"KnotsY 0 ", "KnotsY -inf ", false, false},
        {"Coefs 0 ", "Coefs 1e999 ", false, false},
        {"Coefs 0 ", "Coefs -1.7e308 ", true, true},
        {"Gain 1", "Gain nan\nRawFactor nan inf\nRectFactor -5 1e300", true, true},
        {"Version \"Kestrova 3.0\"", "Version \"Kestrova -1.99999999999\"", true, true},
        {"EndCamera", "Camera", false, false},
        {"\n", "\r\n", true, true},
        {"BeginCamera", std::string(4096, 'x') + "\nBeginCamera", true, true},
        {"BeginCamera", std::string(4097, 'x') + "\nBeginCamera", true, false},
        {"BeginCamera", std::string("a\0b\nBeginCamera", 15), true, false},
        {"SerialNumber", "Version\nSerialNumber", false, true}, // a section of the stream ends there
    };
    for (const auto& [from, to, bStream, bMemory] : aCases) {
        const std::string text = replaced(m_text, from, to);
        ASSERT_NE(text, m_text) << from;
        EXPECT_EQ(loadsSafely(false, text), bStream) << from << " -> " << to.substr(0, 60);
        EXPECT_EQ(loadsSafely(true, text), bMemory) << from << " -> " << to.substr(0, 60);
    }
}

TEST_F(Hostile, ALongListLoadsOnlyIfItIsSoonEvaluated)
{
    CalibrationText text(Shape::Horizontal);
    const MapText zero{[](double, double) { return 0.0; }, [](double, double) { return 0.0; }}; // short in the text
    for (CameraText& rCamera : text.cameras) {
        rCamera.forward = rCamera.inverse = zero;
    }
    for (const auto& [nCoefs, from, to, bLoads] : std::vector<std::tuple<int, std::string, std::string, bool>>{
             {40, "KnotsX 0 ", "KnotsX -1e99 ", true},
             {40, "KnotsX 0 ", "KnotsX 0.5 ", false},
             {40, "KnotsY 0 0 0 0 ", "KnotsY 0 0 0 1e-320 ", false},
             {40, "KnotsX 0 ", "KnotsX -1e101 ", false},
             {32, "KnotsX 0 ", "KnotsX 0.5 ", true}}) {
        text.nCoefs = nCoefs;
        ASSERT_TRUE(loadsSafely(true, text.text()));
        EXPECT_EQ(loadsSafely(true, replaced(text.text(), from, to)), bLoads) << to;
    }
}

TEST_F(Hostile, AResolutionThatNoImageCanHaveIsLeftOut)
{
    for (const auto& [pszSize, nRows] :
         {std::pair{"480 640", 480}, {"49152 65536", 240}, {"1500000000 2000000000", 240}}) {
        StereoContext context;
        const std::string text = CalibrationText(Shape::Horizontal).set("Resolution", pszSize).text();
        EXPECT_TRUE(loadContextFromMemory(text.c_str(), &context, 0));
        EXPECT_EQ(context.m_nRows, nRows) << pszSize;
    }
}

KestrovaError openPath(const std::string& rPath)
{
    KestrovaContext handle = nullptr;
    const KestrovaError eError = kestrovaGetDefaultContextFromFile(&handle, rPath.c_str());
    EXPECT_EQ(handle != nullptr, eError == KestrovaErrorOk);
    kestrovaDestroyContext(handle);
    return eError;
}

TEST_F(Hostile, WhatHasNoEndOrNoPlaceEndsAllTheSame)
{
    const TempFile pipe;
    std::remove(pipe.path());
    ASSERT_EQ(mkfifo(pipe.path(), 0600), 0);
    for (const std::string& rPath : {"/dev/zero"s, "/dev/null"s, "/dev"s, std::string(pipe.path())}) {
        EXPECT_EQ(openPath(rPath), KestrovaErrorConfigFileCorrupt) << rPath;
    }
    EXPECT_EQ(openPath("/no such file"), KestrovaErrorNoConfigFile);
    for (const bool bText : {false, true}) {
        const TempFile hole(bText ? m_text : "");
        std::filesystem::resize_file(hole.path(), std::uintmax_t{1} << 40);
        EXPECT_EQ(openPath(hole.path()), bText ? KestrovaErrorOk : KestrovaErrorConfigFileCorrupt);
    }
}

TEST_F(Hostile, ManyBlocksAndKeywordsTakeLinearTime)
{
    std::string text = m_text;
    for (int n = 0; n < 30000; ++n) {
        text += "BeginWarp\nID 3\nBeginCamera\nCoefs 1\n2\nWarp 1\n";
    }
    EXPECT_TRUE(loadsSafely(true, text));
    EXPECT_TRUE(loadsSafely(false, text));
}

} // namespace
} // namespace kestrova::test
