// Calibrations written back: as they were loaded, and with the settings of the moment.
#include "calibration/write.h"

#include "api/StereoContext.h"
#include "support/StereoFrame.h"

#include <regex>

namespace kestrova::test {
using namespace std::string_literals;
namespace {

/** What a function writes, with the date checked and replaced. */
std::string written(KestrovaError (*pfnWrite)(KestrovaContext, const char*), KestrovaContext h)
{
    const TempFile file("old");
    EXPECT_EQ(pfnWrite(h, file.path()), KestrovaErrorOk);
    std::ostringstream text;
    text << std::ifstream(file.path(), std::ios::binary).rdbuf();
    static const std::regex sk_date("Date \\d\\d-[A-Z][a-z]{2}-\\d{4} \\d\\d:\\d\\d:\\d\\d\n");
    return std::regex_replace(text.str(), sk_date, "Date\n");
}

Handle openFile(const std::string& rText)
{
    const TempFile file(rText);
    KestrovaContext handle = nullptr;
    EXPECT_EQ(kestrovaGetDefaultContextFromFile(&handle, file.path()), KestrovaErrorOk);
    return Handle(handle);
}

/** Every setting that has a keyword, away from its default. */
void changeAll(KestrovaContext h)
{
    EXPECT_EQ(kestrovaSetResolution(h, 480, 640), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetLowpass(h, false), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetRectify(h, false), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetEdgeCorrelation(h, false), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDoStereo(h, false), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetEdgeMask(h, 11), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetStereoMask(h, 5), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDisparity(h, 3, 200), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDisparityMappingOn(h, true), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDisparityMapping(h, 4, 44), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetTextureValidation(h, false), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetTextureValidationThreshold(h, 12.26F), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetTextureValidationMapping(h, 1), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetUniquenessValidation(h, false), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetUniquenessValidationThreshold(h, 0.74F), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetUniquenessValidationMapping(h, 2), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetBackForthValidation(h, true), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetBackForthValidationMapping(h, 3), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetSubpixelInterpolation(h, false), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetStrictSubpixelValidation(h, true), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetSurfaceValidation(h, false), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetSurfaceValidationMapping(h, 5), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetSurfaceValidationDifference(h, 1.254F), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetSurfaceValidationSize(h, 123), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetStereoQuality(h, KestrovaStereoEnhanced), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetRectImgQuality(h, KestrovaRectEnhanced2), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetRectAdjustment(h, KestrovaCamTop, 0.0123456789, 0.0), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetRawAdjustment(h, KestrovaCamTop, 0.0, -1e-7), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetRectAdjustment(h, KestrovaCamLeft, 0.0, 0.0), KestrovaErrorOk);
}

constexpr char sk_szChanged[] =
    "\nResolution 480 640\nLowPass off\nRectify off\nEdgeCorrelation off\nDoStereo off\nEdgeMaskSize 11\n"
    "StereoMaskSize 5\n\nDisparity 3 200\nDisparityMappingOn on\nDisparityMapping 4 44\nTextureValidation off\n"
    "TextureValidationThreshold  12.3\nTextureValidationMapping 1\nUniqueValidation off\n"
    "UniqueValidationThreshold  0.7\nUniqueValidationMapping 2\nBackForthValidation on\n"
    "BackForthValidationMapping 3\nSubPixelInterpolate off\nStrictSubpixelValidation on\nSurfaceValidation off\n"
    "SurfaceValidationMapping 5\nSurfaceValidationDifference  1.25\nSurfaceValidationSize 123\n\n"
    "StereoQuality Enhanced\nRectificationQuality Enhanced-2\n\nCameraConfiguration L\n";

TEST(CalibrationWrite, ChangedSettingsByteForByteAndBackAgain)
{
    CalibrationText text(Shape::L);
    text.set("FocalLength", "0.75123456 1").set("Baseline", "0.1 0.12").set("ImageCenter", "0.4999999 0.51");
    text.set("ShearAngle", "1 # of the sensor").set("PartId", "7 8").set("ReleaseNotes", "gone").set("Unknown", "gone");
    text.set("BuildNumber", "12").set("SkewingMatrix", "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1");
    text.cameras[2].extra = "RectFactor 0.25 0.5\nRawFactor 0.125 0\n";
    const std::string all = text.text();
    const Handle handle = openFile(all);
    changeAll(handle.get());
    const std::string now = written(kestrovaWriteCurrentContextToFile, handle.get());
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
    EXPECT_EQ(now, wanted);
    // What was written holds all that the writer knows of: loaded and written again it is the same.
    const Handle again = openFile(now);
    EXPECT_EQ(written(kestrovaWriteCurrentContextToFile, again.get()), now);
    EXPECT_EQ(kestrovaSetRectImgQuality(handle.get(), KestrovaRectEnhanced1), KestrovaErrorOk);
    const std::string enhanced1 = written(kestrovaWriteCurrentContextToFile, handle.get());
    EXPECT_EQ(enhanced1, replaced(now, "Enhanced-2", "Enhanced-1"));
    EXPECT_EQ(written(kestrovaWriteCurrentContextToFile, openFile(enhanced1).get()), now);
}

TEST(CalibrationWrite, TheDefaultTextIsTheLoadedOne)
{
    const std::string pair = CalibrationText(Shape::Horizontal).text();
    const std::string wide = CalibrationText(Shape::Horizontal).set("Baseline", "0.2").text();
    const std::string dressed = "# in front\n" + replaced(pair, "Product", "\t Product") + "  # end \n\n" + wide;
    const std::string cleaned = pair + "\n\n" + wide;
    EXPECT_EQ(written(kestrovaWriteDefaultContextToFile, openFile(dressed).get()), cleaned);
    // From memory, a section reaches to the end of the block.
    EXPECT_EQ(written(kestrovaWriteDefaultContextToFile, openText(dressed).get()), pair + "\n" + wide + wide);
    // A comment takes the first place of a table when the version line in front of it is dropped.
    const std::string odd = replaced(pair, "Version", "Version x\\\n#!\nVERSION");
    const Handle handle = openFile(odd);
    EXPECT_EQ(written(kestrovaWriteDefaultContextToFile, handle.get()),
              "#!\n\n" + replaced(pair, "Version", "VERSION"));
    EXPECT_TRUE(written(kestrovaWriteCurrentContextToFile, handle.get()).starts_with("#!\nVERSION"));
}

TEST(CalibrationWrite, TextsThatCannotBeFollowedEndEarly)
{
    const std::string pair = CalibrationText(Shape::Horizontal).text();
    CalibrationText color(Shape::Horizontal);
    color.cameras.push_back({100, "9 9 9", "COLOR"});
    const struct
    {
        std::string text;
        std::string tail; // of what is written
    } aCases[] = {
        {replaced(replaced(pair, "Begin", "BEGIN"), "End", "END"), "BaseLine   0.12\n\n\n"}, // no block is seen
        {color.text(), "Iwarp 1002 1003\n"},
        {replaced(pair, "Position", "POSITION"), "Iwarp 2 3\n"},
        {replaced(pair, "EndCamera", "ENDCAMERA"), "EndWarp\n"}, // the block takes all, and its cameras' warps too
        {pair + "BeginCamera\nPosition 0 0\nEndCamera\n", "\n\nBeginCamera\n"},
    };
    for (const auto& rCase : aCases) {
        const std::string text = written(kestrovaWriteCurrentContextToFile, openFile(rCase.text).get());
        EXPECT_TRUE(text.ends_with(rCase.tail)) << text.substr(text.size() - std::min<std::size_t>(text.size(), 80));
    }
    const Handle handle = open(Shape::Horizontal);
    for (const auto pfnWrite : {kestrovaWriteDefaultContextToFile, kestrovaWriteCurrentContextToFile}) {
        EXPECT_EQ(pfnWrite(nullptr, "/dev/null"), KestrovaErrorInvalidContext);
        EXPECT_EQ(pfnWrite(handle.get(), "/no such folder/file"), KestrovaErrorSystem);
    }
    StereoContext empty;
    EXPECT_FALSE(stereoContextWriteDefaultToStream(nullptr, stdout));
    EXPECT_FALSE(stereoContextWriteDefaultToStream(&empty, stdout));
    EXPECT_FALSE(CalibrationWriter(empty, stdout).writeSection1GeneralInfo());
}

} // namespace
} // namespace kestrova::test
