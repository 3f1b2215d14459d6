// Calibrations written back: as they were loaded, and with the settings of the moment.
#include "calibration/write.h"

#include "api/MultiContext.h"
#include "rectify/Camera.h"
#include "support/allSettings.h"

#include <functional>
#include <gmock/gmock.h>

namespace kestrova::test {
using namespace std::string_literals;
namespace {

/** What a function writes, with the date checked and replaced. */
std::string written(KestrovaError (*pfnWrite)(KestrovaContext, const char*), KestrovaContext h)
{
    const TempFile file("old");
    expectOk({pfnWrite(h, file.path())});
    std::string text = file.content();
    if (const std::size_t uDate = text.find("\nDate ") + 1; uDate != 0) {
        constexpr std::size_t sk_uLength = 25;
        EXPECT_THAT(text.substr(uDate, sk_uLength),
                    testing::MatchesRegex("Date [0-9]{2}-[A-Z][a-z]{2}-[0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}"));
        text.replace(uDate, sk_uLength, "Date");
    }
    return text;
}

Handle openFile(const std::string& rText)
{
    KestrovaContext handle = nullptr;
    expectOk({kestrovaGetDefaultContextFromFile(&handle, TempFile(rText).path())});
    return Handle(handle);
}

/** Every setting that has a keyword; the off state is the default of those that the other one has on. */
void changeAll(KestrovaContext h, bool bOn)
{
    expectOk({kestrovaSetResolution(h, 480, 640)});
    setAll(h, bOn);
    expectOk({kestrovaSetRectify(h, !bOn), kestrovaSetDoStereo(h, !bOn), kestrovaSetSubpixelInterpolation(h, !bOn),
              kestrovaSetStrictSubpixelValidation(h, bOn), kestrovaSetRawAdjustment(h, KestrovaCamTop, 0.0, -1e-7),
              kestrovaSetRectAdjustment(h, KestrovaCamTop, 0.0123456789, 0.0),
              kestrovaSetRectAdjustment(h, KestrovaCamLeft, 0.0, 0.0)});
}

constexpr char sk_szChanged[] =
    "\nResolution 480 640\nLowPass off\nRectify off\nEdgeCorrelation on\nDoStereo off\nEdgeMaskSize 9\n"
    "StereoMaskSize 11\n\nDisparity 15 250\nDisparityMappingOn on\nDisparityMapping 3 203\nTextureValidation on\n"
    "TextureValidationThreshold  1.3\nTextureValidationMapping 241\nUniqueValidation on\n"
    "UniqueValidationThreshold  2.2\nUniqueValidationMapping 242\nBackForthValidation on\n"
    "BackForthValidationMapping 243\nSubPixelInterpolate off\nStrictSubpixelValidation on\nSurfaceValidation on\n"
    "SurfaceValidationMapping 244\nSurfaceValidationDifference  0.74\nSurfaceValidationSize 7\n\n"
    "StereoQuality Enhanced\nRectificationQuality Enhanced-1\n\nCameraConfiguration L\n";

TEST(CalibrationWrite, ChangedSettingsByteForByteAndBackAgain)
{
    CalibrationText text(Shape::L);
    text.set("FocalLength", "0.75123456 1").set("Baseline", "0.1 0.12").set("ImageCenter", "0.4999999 0.51");
    text.set("ShearAngle", "1 # of the sensor").set("PartId", "7 8").set("ReleaseNotes", "gone").set("Unknown", "gone");
    text.set("BuildNumber", "12").set("SkewingMatrix", "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1");
    text.cameras[2].extra = "RectFactor 0.25 0.5\nRawFactor 0.125 0\n";
    const std::string all = text.text();
    const Handle handle = openFile(all);
    const auto camera = [](const char* pszId, const char* pszPosition, const char* pszWarps, const char* pszFactors) {
        return "BeginCamera\nID "s + pszId + "\nGain 1\nPosition " + pszPosition + '\n' + pszWarps + pszFactors +
               "EndCamera\n\n";
    };
    const std::string wanted =
        "Version \"Kestrova 3.0\"\nBuildNumber 12\nProduct HALVORINE\nSerialNumber 4711\nPartId 7 8\nDate\nDebug off\n"s +
        sk_szChanged +
        "FocalLength 0.751235      1\nImageCenter    0.5   0.51\nBaseLine    0.1   0.12\nShearAngle 1\n"
        "SkewingMatrix 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n\n" +
        camera("0", "0 0 0", "Channel RED\nWarp 0 1\nIwarp 2 3\n", "") +
        camera("1", "0 -1 0", "Channel GREEN\nWarp 10 11\nIwarp 12 13\n",
               "RectFactor 0.0123457      0\nRawFactor      0 -1e-07\n") +
        camera("2", "-1 0 0", "Channel BLUE\nWarp 20 21\nIwarp 22 23\n", "RawFactor  0.125      0\n") + "\n" +
        all.substr(all.find("BeginWarp"));
    // What was written loads with those settings: written again it is the same, but for the quality that loads higher.
    for (const bool bOn : {true, false}) {
        changeAll(handle, bOn);
        const std::string first = written(kestrovaWriteCurrentContextToFile, handle);
        if (bOn) {
            EXPECT_EQ(first, wanted);
        }
        EXPECT_EQ(written(kestrovaWriteCurrentContextToFile, openFile(first)),
                  replaced(first, "Enhanced-1", "Enhanced-2"));
    }
}

TEST(CalibrationWrite, TheDefaultTextIsTheLoadedOne)
{
    const std::string pair = CalibrationText(Shape::Horizontal).text();
    const std::string wide = CalibrationText(Shape::Horizontal).set("Baseline", "0.2").text();
    const std::string dressed = "# in front\n" + replaced(pair, "Product", "\t Product") + "  # end \n\n" + wide;
    const std::string cleaned = pair + "\n\n" + wide;
    EXPECT_EQ(written(kestrovaWriteDefaultContextToFile, openFile(dressed)), cleaned);
    // From memory, a section reaches to the end of the block.
    EXPECT_EQ(written(kestrovaWriteDefaultContextToFile, openText(dressed)), pair + "\n" + wide + wide);
    // A comment takes the first place of a table when the version line in front of it is dropped.
    const std::string odd = replaced(pair, "Version", "Version x\\\n#!\nVERSION");
    const Handle handle = openFile(odd);
    EXPECT_EQ(written(kestrovaWriteDefaultContextToFile, handle), "#!\n\n" + replaced(pair, "Version", "VERSION"));
    EXPECT_TRUE(written(kestrovaWriteCurrentContextToFile, handle).starts_with("#!\nVERSION"));
}

TEST(CalibrationWrite, TextsThatCannotBeFollowedEndEarly)
{
    const std::string pair = CalibrationText(Shape::Horizontal).text();
    CalibrationText color(Shape::Horizontal);
    color.cameras.push_back({100, "9 9 9", "COLOR"});
    const std::pair<std::string, std::string> aCases[] = {
        // the text, and the tail of what is written
        {replaced(replaced(pair, "Begin", "BEGIN"), "End", "END"), "BaseLine   0.12\n\n\n"}, // no block is seen
        {color.text(), "Iwarp 1002 1003\n"},
        {replaced(pair, "Position", "POSITION"), "Iwarp 2 3\n"},
        {replaced(pair, "EndCamera", "ENDCAMERA"), "EndWarp\n"}, // the block takes all, and its cameras' warps too
        {pair + "BeginCamera\nPosition 0 0\nEndCamera\n", "\n\nBeginCamera\n"},
    };
    for (const auto& [from, tail] : aCases) {
        EXPECT_THAT(written(kestrovaWriteCurrentContextToFile, openFile(from)), testing::EndsWith(tail));
    }
    const Handle handle = open(Shape::Horizontal);
    for (const auto pfnWrite : {kestrovaWriteDefaultContextToFile, kestrovaWriteCurrentContextToFile}) {
        EXPECT_EQ(pfnWrite(nullptr, "/dev/null"), KestrovaErrorInvalidContext);
        EXPECT_EQ(pfnWrite(handle, "/no such folder/file"), KestrovaErrorSystem);
    }
    StereoContext empty;
    EXPECT_FALSE(stereoContextWriteDefaultToStream(&empty, stdout));
}

TEST(CalibrationWrite, NotAllThatIsWrittenLoads)
{
    const std::string pair = CalibrationText(Shape::Horizontal).text();
    CalibrationText color(Shape::Horizontal);
    color.cameras.push_back({100, "-1 0 0", "COLOR", 1.0, "RectFactor 0.3 0.3\n"});
    const std::string capital = replaced(pair, "Gain 1\n", "Gain 1\nRECTFACTOR 0.5 0.5\n");
    const auto nothing = [](KestrovaContext) {};
    const struct
    {
        const char* pszWhat;
        std::string text;
        std::function<void(KestrovaContext)> change;
        KestrovaError eLoaded;
        double dLeft = 0.25; // the adjustment that loads
    } aCases[] = {
        {"as it is", pair, nothing, KestrovaErrorOk},
        {"capitals of a factor", capital, nothing, KestrovaErrorOk, 0.5},
        {"a colour camera beside the left one", color.text(), nothing, KestrovaErrorOk},
        {"no blocks", replaced(pair, "BeginWarp", "BEGINWARP"), nothing, KestrovaErrorConfigFileCorrupt},
        {"no section", replaced(pair, "Version", "VERSION"), nothing, KestrovaErrorConfigFileCorrupt},
        {"a range without room", pair, [](KestrovaContext h) { kestrovaSetResolution(h, 24, 32); },
         KestrovaErrorConfigFileCorrupt},
        {"any mask", pair, [](KestrovaContext h) { kestrovaSetAnyStereoMask(h, 8); }, KestrovaErrorOk},
    };
    for (const auto& r : aCases) {
        const Handle handle = openText(r.text);
        expectOk({kestrovaSetRectAdjustment(handle, KestrovaCamLeft, 0.25, 0.25)});
        r.change(handle);
        const TempFile file(written(kestrovaWriteCurrentContextToFile, handle));
        KestrovaContext loaded = nullptr;
        EXPECT_EQ(kestrovaGetDefaultContextFromFile(&loaded, file.path()), r.eLoaded) << r.pszWhat;
        if (const Handle closer(loaded); closer != nullptr) {
            double dX = 0, dY = 0, dColor = 0;
            expectOk({kestrovaGetRectAdjustment(loaded, KestrovaCamLeft, &dX, &dY)});
            EXPECT_TRUE(dX == r.dLeft && got(kestrovaGetStereoMask, loaded) == 7) << r.pszWhat << ' ' << dX;
            if (const StereoContext& rContext = *getActiveContext(loaded); rContext.m_pColorCamera != nullptr) {
                rContext.m_pColorCamera->getRectifiedAdjustment(&dColor, &dY);
                EXPECT_EQ(dColor, 0.25) << "of the left camera";
            }
        }
    }
}

} // namespace
} // namespace kestrova::test
