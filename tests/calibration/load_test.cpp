#include "calibration/load.h"

#include "context/StereoContext.h"
#include "rectify/Camera.h"
#include "support/CalibrationText.h"

#include <gmock/gmock.h>

namespace kestrova::test {
namespace {

struct Loaded
{
    bool bOk = false;
    std::string output{};
    std::unique_ptr<StereoContext> pContext = std::make_unique<StereoContext>();
};

Loaded load(const std::string& rText)
{
    Loaded loaded;
    testing::internal::CaptureStdout();
    loaded.bOk = loadContextFromMemory(rText.c_str(), loaded.pContext.get(), 0);
    std::fflush(stdout);
    loaded.output = testing::internal::GetCapturedStdout();
    return loaded;
}

// clang-format off
#define FIELD(member) [](const StereoContext& r) { return static_cast<double>(r.member); }
const struct
{
    const char* pszKey;
    const char* pszDefault; // what the message of an absent or refused value says is the default; null: no message
    double (*get)(const StereoContext&);
    const char* pszCases; // the default; values, with what comes of each that is accepted
} sk_aKeywords[] = {
    {"ImageCenter", "image center", FIELD(m_dImageCenterCol), "159.5; 0.25 0.5 = 79.5; 0.25"},
    {"ImageCenter", nullptr, FIELD(m_dImageCenterRow), "119.5; 0.5 0.25 = 59.5"},
    {"BackForthValidation", "back-forth validation on", FIELD(m_bBackForthValidation), "0; on = 1; yes"},
    {"BackForthValidationMapping", "back-forth validation mapping", FIELD(m_ucBackForthValidationMapping),
     "251; 0 = 0; 255 = 255; -1; 256; x"},
    {"UniqueValidation", "unique validation on", FIELD(m_bUniquenessValidation), "1; FALSE = 0"},
    {"UniqueValidationThreshold", "unique validation threshold", FIELD(m_dUniquenessValidationThreshold),
     "0.5; 0 = 0; 10.0 = 10; -0.1; 10.1; nan"},
    {"UniqueValidationMapping", "unique validation mapping", FIELD(m_ucUniquenessValidationMapping), "254; 7 = 7; 256"},
    {"TextureValidation", "texture validation on", FIELD(m_bTextureValidation), "1; off = 0"},
    {"TextureValidationThreshold", "texture validation threshold", FIELD(m_dTextureValidationThreshold),
     "0.5; 0 = 0; 128 = 128; -1; 128.5"},
    {"TextureValidationMapping", "texture validation mapping", FIELD(m_ucTextureValidationMapping), "255; 7 = 7; 256"},
    {"SurfaceValidation", "surface validation on", FIELD(m_bSurfaceValidation), "1; off = 0"},
    {"SurfaceValidationSize", "surface validation size", FIELD(m_nSurfaceValidationSize), "200; 0 = 0; -1"},
    {"SurfaceValidationDifference", "surface validation difference", FIELD(m_dSurfaceValidationDifference),
     "1; 0 = 0; -0.5"},
    {"SurfaceValidationMapping", "surface validation mapping", FIELD(m_ucSurfaceValidationMapping), "252; 7 = 7; 256"},
    {"SubpixelInterpolate", "surface validation mapping", FIELD(m_bSubpixelInterpolation), "1; off = 0"},
    {"StrictSubpixelValidation", "surface validation mapping", FIELD(m_bStrictSubpixelValidation), "0; on = 1"},
    {"Lowpass", "lowpass setting", FIELD(m_bLowpass), "1; off = 0"},
    {"Rectify", "rectification setting", FIELD(m_bRectify), "1; off = 0"},
    {"DoStereo", "dostereo setting", FIELD(m_bDoStereo), "1; off = 0"},
    {"EdgeCorrelation", "edge correlation setting", FIELD(m_bEdgeCorrelation), "1; off = 0"},
    {"StereoMaskSize", "stereo mask size setting", FIELD(m_nStereoMaskSize), "7; 1 = 1; 23 = 23; 25; 8; -1"},
    {"EdgeMaskSize", "edge mask size setting", FIELD(m_nEdgeMaskSize), "7; 3 = 3; 11 = 11; 13; 4; 1"},
    {"Disparity", nullptr, FIELD(m_nMaxDisparity), "32; 5 245 = 245"},
    {"DisparityMappingOn", "disparity mapping on", FIELD(m_bDisparityMappingOn), "0; on = 1"},
    {"DisparityMapping", "disparity mapping setting", FIELD(m_nDisparityMappingMax),
     "32; 0 255 = 255; 256 300 = 44; 0 256; 5 5; 9"},
    {"Resolution", "resolution setting", FIELD(m_nRows),
     "240; 480 640 = 480; 240 321; 0 0; -3 -4; 1073741824 1073741824; 480"},
    {"StereoQuality", "stereo quality", FIELD(m_bEnhancedStereo), "0; Enhanced! = 1; enhanced = 0"},
    {"RectificationQuality", "rectification quality", FIELD(m_eKernelType), "1; Fast = 0; Standard = 1; Enhanced-1 = 2"},
    {"RectificationQuality", nullptr, FIELD(m_nKernelSize), "5; Fast = 2; fast = 2; Enhanced-1 = 5; Enhanced-2 = 5"},
    {"FocalLength", nullptr, FIELD(m_dFocalLengthCols), "1; 1500 = 2000; 2 3 4 = 3"},
    {"FocalLength", nullptr, FIELD(m_dFocalLength), "0.75; 1000 = 1000"},
    {"Baseline", nullptr, FIELD(m_dBaselineVertical), "0; 0.3 = 0; 0.3 0.4 = 0.4"},
    {"SkewingMatrix", nullptr, FIELD(m_skewingTransform.tX()), "0; 1 0 0 5 0 1 0 0 0 0 1 0 0 0 0 1 = 5; 1 0 0 5"},
};
// clang-format on

/** What a load with Debug on prints when all keywords with a message have their defaults, but for this one. */
std::string defaultMessages(const char* pszWithout)
{
    std::string output;
    for (const auto& rKeyword : sk_aKeywords) {
        if (rKeyword.pszDefault != nullptr && rKeyword.pszKey != std::string(pszWithout)) {
            output += std::string("Using default ") + rKeyword.pszDefault + '\n';
        }
        output += rKeyword.pszKey == std::string("Resolution") ? "No release notes found\n" : "";
    }
    return output;
}

TEST(CalibrationLoad, KeywordsAreSetInRangeAndKeepTheirDefaultOutside)
{
    const Loaded defaults = load(CalibrationText(Shape::Horizontal).set("Debug", "on").text());
    ASSERT_EQ(defaults.output, defaultMessages(""));
    for (const auto& rKeyword : sk_aKeywords) {
        std::istringstream cases(rKeyword.pszCases);
        double dDefault = 0;
        cases >> dDefault;
        EXPECT_EQ(rKeyword.get(*defaults.pContext), dDefault) << rKeyword.pszKey;
        std::string rest;
        for (std::getline(cases, rest, ';'); std::getline(cases, rest, ';');) {
            const std::size_t uEquals = rest.find('=');
            const bool bAccepted = uEquals != std::string::npos;
            CalibrationText text(Shape::Horizontal);
            const Loaded loaded = load(text.set("Debug", "on").set(rKeyword.pszKey, rest.substr(0, uEquals)).text());
            EXPECT_TRUE(loaded.bOk) << rKeyword.pszKey << rest;
            EXPECT_EQ(rKeyword.get(*loaded.pContext), bAccepted ? std::stod(rest.substr(uEquals + 1)) : dDefault)
                << rKeyword.pszKey << rest;
            EXPECT_EQ(loaded.output, defaultMessages(bAccepted ? rKeyword.pszKey : "")) << rKeyword.pszKey << rest;
        }
    }
}

TEST(CalibrationLoad, FailuresSayOneLineWithDebugOnAndReleaseEverything)
{
    const std::tuple<Shape, const char*, const char*, const char*> aCases[] = {
        {Shape::L, "\"Kestrova 3.0\"", "Kestrova", "Failed to parse calibration version"},
        {Shape::L, "Product ", "Produce ", "Failed to parse Product field"},
        {Shape::L, "SerialNumber ", "SerialNumber x", "Failed to parse Serial Number field"},
        {Shape::L, "FocalLength", "Focal", "Failed to parse focallength"},
        {Shape::L, "Baseline", "Base", "Failed to parse baseline"},
        {Shape::L, "Configuration L", "Configuration LL", "Failed to parse camera configuration"},
        {Shape::L, "HALVORINE", "%s%n", "Unknown product : '%s%n'"},
        {Shape::Horizontal, "2Camera", "L ", "Configuration cameras (3) exceeds physical cameras (2)"},
        {Shape::L, "BeginCamera\nID 1\n", "BeginCamera\nID 3\n",
         "Product requires 3 cameras, but only 2 cameras found"},
        {Shape::L, "Position -1 0 0", "Position 5 5 5", "Required camera missing from calibration file"},
        {Shape::L, "Channel BLUE", "Channel COLOR", "Required camera missing from calibration file"},
        {Shape::L, "Disparity 0 32", "", "Bad disparity range"},
        {Shape::L, "Disparity 0 32", "Disparity 0 234", "Bad disparity range"},
        {Shape::L, "Disparity 0 32", "Disparity 0 32\nResolution 30 40", "Bad disparity range"},
    };
    for (const auto& [eShape, pszFrom, pszTo, pszMessage] : aCases) {
        const std::string text = replaced(CalibrationText(eShape).text(), pszFrom, pszTo);
        const Loaded silent = load(text);
        const Loaded loaded = load(text + "Debug on\n");
        EXPECT_FALSE(loaded.bOk || silent.bOk) << pszMessage;
        EXPECT_EQ(silent.output, "") << pszMessage;
        EXPECT_THAT('\n' + loaded.output, testing::HasSubstr('\n' + std::string(pszMessage) + '\n'));
        const StereoContext& r = *loaded.pContext;
        EXPECT_TRUE(r.m_apCameras[0] == nullptr && r.m_pColorCamera == nullptr && !r.m_bHasColorCamera);
        EXPECT_TRUE(r.m_pCalibration->m_calibrationLines.empty() && r.m_pCalibration->m_apCameras[0] == nullptr);
    }
}

TEST(CalibrationLoad, PositionsOrderTheCamerasAndChannelsNameThem)
{
    CalibrationText text(Shape::L);
    text.cameras[0].position = "-1 0 0"; // no block stays where its id would put it
    text.cameras[1].position = "0 0 0";
    text.cameras[2].position = "0 -1 0";
    text.cameras[1].dGain = 1.25;
    text.set("Product", "kestrova").cameras.push_back({100, "9 9 9", "COLOR"});
    const Loaded loaded = load(text.text());
    ASSERT_TRUE(loaded.bOk);
    const StereoContext& r = *loaded.pContext;
    EXPECT_EQ(r.m_anChannelOfCamera, (std::array<std::int32_t, 3>{1, 2, 0}));
    EXPECT_EQ(r.m_anCameraOfChannel, (std::array<std::int32_t, 3>{2, 0, 1}));
    EXPECT_EQ(r.m_apCameras[0]->gain(), 1.25);
    EXPECT_TRUE(r.m_bHasColorCamera && r.m_pColorCamera != nullptr && r.m_pColorCamera != r.m_apCameras[0]);
    EXPECT_TRUE(r.m_nCameraCount == 3 && r.m_nConfiguredCameraCount == 3 && r.m_eProduct == ProductHalvorine);
}

TEST(CalibrationLoad, MapsTakeTheirSplinesAndAdjustmentsFromTheText)
{
    CalibrationText text(Shape::Horizontal);
    text.nCoefs = 6;
    text.cameras[0].extra = "RectFactor 0.01 0.02\nRawFactor 0.03 0.04\n";
    text.cameras[0].forward = {[](double dRow, double) { return 0.2 + 0.5 * dRow; },
                               [](double, double dCol) { return 0.1 + 0.7 * dCol; }};
    text.cameras[0].inverse = {[](double dRow, double dCol) { return 0.5 * dRow + 0.25 * dCol; },
                               [](double dRow, double dCol) { return 0.9 * dCol - 0.1 * dRow; }};
    const Loaded loaded = load(text.text());
    ASSERT_TRUE(loaded.bOk);
    const Camera& rCamera = *loaded.pContext->m_apCameras[0];
    float fRow = 0;
    float fCol = 0;
    rCamera.forwardMap()->map(fRow, fCol, 0.6f, 0.3f);
    EXPECT_NEAR(fRow, 0.2 + 0.5 * (0.6 - 0.02) + 0.04, 1e-6);
    EXPECT_NEAR(fCol, 0.1 + 0.7 * (0.3 - 0.01) + 0.03, 1e-6);
    rCamera.inverseMap()->map(fRow, fCol, 0.6f, 0.8f);
    EXPECT_NEAR(fRow, 0.5 * (0.6 - 0.04) + 0.25 * (0.8 - 0.03) + 0.02, 1e-6);
    EXPECT_NEAR(fCol, 0.9 * (0.8 - 0.03) - 0.1 * (0.6 - 0.04) + 0.01, 1e-6);
}

} // namespace
} // namespace kestrova::test
