// The calibration text, the reader that explains it, and the session that loads it through the library.
#include "AppError.h"
#include "CalibrationText.h"
#include "Results.h"

#include "app/TempFolder.h"

#include <gmock/gmock.h>
#include <opencv2/core.hpp>

#include <cmath>
#include <locale>

namespace kestrova::app {

static CalibrationDescription example(cv::Size canvas = {320, 240})
{
    const CameraPair pair = exampleCameraPair(canvas);
    const RectificationPlan plan = planRectification(pair, canvas, 0.3);
    const CameraMaps right = fitCameraMaps(pair.m_right, plan.m_rightRotation, plan, 12);
    const CameraMaps left = fitCameraMaps(pair.m_left, plan.m_leftRotation, plan, 12);
    CalibrationDescription description = identityCalibration(canvas, plan.m_dFocal, plan.m_dBaseline);
    description.m_centre = plan.m_centre;
    description.m_bRectify = true;
    description.m_nSerialNumber = 77;
    description.m_nMaxDisparity = 32;
    description.m_right = {right.m_rawFromRectified, right.m_rectifiedFromRaw, 1.0};
    description.m_left = {left.m_rawFromRectified, left.m_rectifiedFromRaw, 1.25};
    return description;
}

class Calibration : public testing::Test
{
protected:
    std::filesystem::path write(const std::string& rText)
    {
        writeText(m_folder / "c.txt", rText);
        return m_folder / "c.txt";
    }
    // The complaint about a text, or nothing.
    std::string complaint(const std::string& rText)
    {
        try {
            StereoSession session(write(rText));
            session.useHorizontalPair();
        } catch (const AppError& rError) {
            return rError.what();
        }
        return "";
    }
    TempFolder m_folder;
};

TEST_F(Calibration, LoadsThroughTheLibraryWithTheSameNumbers)
{
    const CalibrationDescription description = example();
    const StereoSession session(write(calibrationText(description)));
    const Optics optics = session.optics();
    EXPECT_EQ(session.canvas(), description.m_canvas);
    EXPECT_NEAR(optics.m_fFocal, description.m_dFocal, 1e-3);
    EXPECT_NEAR(optics.m_fBaseline, description.m_dBaseline, 1e-6);
    EXPECT_NEAR(optics.m_fCentreCol, description.m_centre.x, 1e-4);
    EXPECT_NEAR(optics.m_fCentreRow, description.m_centre.y, 1e-4);
    EXPECT_EQ(session.disparityRange(), cv::Vec2i(0, 32));

    const OutlineSection& rSection = session.outline();
    EXPECT_EQ(rSection.m_nSerialNumber, 77);
    const OutlineCamera* pLeft = rSection.camera({-1, 0, 0});
    ASSERT_TRUE(pLeft && rSection.camera({0, 0, 0}));
    EXPECT_EQ(pLeft->m_dGain, 1.25);
    EXPECT_EQ(pLeft->m_rawFromRectified.m_row.m_adCoefs, description.m_left.m_rawFromRectified.m_row.m_adCoefs);
    EXPECT_EQ(pLeft->m_rectifiedFromRaw.m_column.m_adKnotsY, description.m_left.m_rectifiedFromRaw.m_column.m_adKnotsY);
}

TEST_F(Calibration, RectifiedImagesFollowTheMaps)
{
    // A ramp along the columns and one along the rows: a rectified pixel shows where it came from.
    StereoSession session(write(calibrationText(example())));
    const cv::Size size(320, 240);
    cv::Mat1b across(size);
    cv::Mat1b down(size);
    for (int nRow = 0; nRow < size.height; ++nRow)
        for (int nCol = 0; nCol < size.width; ++nCol) {
            across(nRow, nCol) = static_cast<unsigned char>(nCol / 2);
            down(nRow, nCol) = static_cast<unsigned char>(nRow / 2);
        }
    session.preprocess(across, down, FrameForm::Packed); // the left gain of 1.25 applies to the second
    const cv::Mat1b right = session.image(KestrovaImgRectified, KestrovaCamRight);
    const cv::Mat1b left = session.image(KestrovaImgRectified, KestrovaCamLeft);
    cv::Mat1b shown;
    cv::bitwise_and(session.region(KestrovaCamRight, size), session.region(KestrovaCamLeft, size), shown);
    for (int nRow = 0; nRow < size.height; nRow += 7)
        for (int nCol = 0; nCol < size.width; nCol += 7)
            if (shown(nRow, nCol)) {
                const cv::Point2d at(nCol, nRow);
                const OutlineSection& rSection = session.outline();
                ASSERT_NEAR(right(nRow, nCol), rSection.camera({0, 0, 0})->rawPosition(at, size, size).x / 2, 1.1)
                    << at;
                ASSERT_NEAR(left(nRow, nCol), 1.25 * rSection.camera({-1, 0, 0})->rawPosition(at, size, size).y / 2,
                            2.1)
                    << at;
            }
    EXPECT_GT(cv::countNonZero(shown), size.area() * 8 / 10);
    EXPECT_LT(cv::countNonZero(shown), size.area());
}

TEST_F(Calibration, TextKeepsItsRulesInAnyLocale)
{
    struct Comma : std::numpunct<char>
    {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    CalibrationDescription description = example();
    description.m_nSerialNumber = 1234567;
    const std::string plain = calibrationText(description);
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
    const std::string abroad = calibrationText(description);
    std::locale::global(before);
    EXPECT_EQ(plain, abroad);
    std::istringstream in(plain);
    for (std::string line; std::getline(in, line);)
        ASSERT_TRUE(line.size() < 4096 && (line.empty() || line.back() != '\\')) << line;
}

TEST_F(Calibration, AdjustmentsMoveTheMaps)
{
    std::string text = calibrationText(example());
    text.replace(text.find("Gain 1\n"), 7, "Gain 1\nRectFactor 0.125 0\nRawFactor 0 0.25\n");
    const cv::Size size(320, 240);
    const OutlineSection plain = readOutline(write(calibrationText(example()))).front();
    const OutlineSection moved = readOutline(write(text)).front();
    const cv::Point2d expected = plain.camera({0, 0, 0})->rawPosition({100, 100}, size, size) + cv::Point2d(0, 60);
    EXPECT_LT(cv::norm(moved.camera({0, 0, 0})->rawPosition({140, 100}, size, size) - expected), 1e-9);
}

TEST_F(Calibration, ABadTextIsRefusedWithFileAndKey)
{
    struct Case
    {
        const char* m_pszFrom; // this text
        const char* m_pszTo;   // becomes that
        const char* m_pszKey;  // and this is what the complaint names
    };
    const Case aCases[] = {{"Version", "Virsion", "VERSION"},
                           {"Kestrova 3.0", "Kestrova 3.1", "VERSION"},
                           {"PEMBERLOW", "UNKNOWN", "PRODUCT"},
                           {"PEMBERLOW", "HALVORINE", "POSITION"},
                           {"Product", "# Product", "PRODUCT"},
                           {"Baseline 0.12", "Baseline far", "BASELINE"},
                           {"FocalLength", "Focal", "FOCALLENGTH"},
                           {"SerialNumber 77", "SerialNumber x", "SERIALNUMBER"},
                           {"2CameraHorizontal", "L", "CAMERACONFIGURATION"},
                           {"Disparity 0 32", "Disparity 32 32", "DISPARITY"},
                           {"Disparity 0 32", "Disparity 0 32 \\", "DISPARITY"},
                           {"Position -1 0 0", "Position 5 5 5", "POSITION"},
                           {"Gain 1.25", "Gain", "camera 1: GAIN"},
                           {"IWarp 6 7", "IWarp 6 9", "camera 1: WARP"},
                           {"IWarp 6 7", "IWarp 6 1e99", "camera 1: IWARP"},
                           {"Position -1 0 0", "Position nan 0 0", "camera 1: POSITION"},
                           {"NumberKnots 16", "NumberKnots 15", "warp 0: NUMBERKNOTS"},
                           {"KnotsY 0 0 0 0", "KnotsY 0 0 0", "warp 0: KNOTSY"},
                           {"\nCoefs", "\nCoefs x", "warp 0: COEFS"},
                           {"GREEN\nEndCamera", "GREEN", "BEGINCAMERA"}};
    const std::string good = calibrationText(example());
    ASSERT_EQ(complaint(good), "");
    for (const Case& rCase : aCases) {
        std::string bad = good;
        const std::size_t nAt = bad.find(rCase.m_pszFrom);
        ASSERT_NE(nAt, std::string::npos) << rCase.m_pszFrom;
        bad.replace(nAt, std::string(rCase.m_pszFrom).size(), rCase.m_pszTo);
        const std::string said = complaint(bad);
        EXPECT_THAT(said, testing::HasSubstr(std::string(": ") + rCase.m_pszKey)) << rCase.m_pszTo;
        EXPECT_THAT(said, testing::HasSubstr("c.txt")) << rCase.m_pszTo;
        EXPECT_EQ(said.find('\n'), std::string::npos);
    }
    for (std::size_t nSize = 0; nSize < good.size() - 50; nSize += 1999) // cut off anywhere
        ASSERT_NE(complaint(good.substr(0, nSize)), "") << nSize;
    EXPECT_THROW(StereoSession(m_folder / "missing"), AppError);
    EXPECT_THROW(StereoSession(m_folder.path()), AppError);
}

TEST_F(Calibration, SettingsArriveAndBadOnesNameTheirOption)
{
    const StereoSession session(write(calibrationText(example())));
    const KestrovaContext context = session.handle();
    SettingWishes wishes;
    wishes.m_values = {
        {"stereo-mask", "11"}, {"uniqueness-threshold", "0.75"}, {"lowpass", "off"}, {"texture-mapping", "200"}};
    wishes.m_anDisparity = {4, 40};
    wishes.m_regions = {{10, 20, 30, 40}};
    wishes.m_threads = 3;
    applySettings(context, wishes);
    int nMask = 0, nLowpass = 1, nThreads = 0;
    float fThreshold = 0;
    kestrovaGetStereoMask(context, &nMask);
    kestrovaGetLowpass(context, &nLowpass);
    kestrovaGetUniquenessValidationThreshold(context, &fThreshold);
    kestrovaGetMaxThreadCount(context, &nThreads);
    EXPECT_THAT((std::array{nMask, nLowpass, nThreads}), testing::ElementsAre(11, 0, 3));
    EXPECT_EQ(fThreshold, 0.75f);
    EXPECT_EQ(session.disparityRange(), cv::Vec2i(4, 40));
    EXPECT_EQ(session.rejectCodes().m_aucCodes[0], 200);
    EXPECT_EQ(session.windowReach(), 5 + 3);

    const std::pair<const char*, const char*> aBad[] = {{"stereo-mask", "8"},         {"stereo-mask", "7.5"},
                                                        {"stereo-mask", "1e30"},      {"stereo-mask", ""},
                                                        {"edge-mask", "13"},          {"lowpass", "2"},
                                                        {"lowpass", "yes"},           {"rectify-quality", "4"},
                                                        {"texture-mapping", "256"},   {"texture-threshold", "128.5"},
                                                        {"texture-threshold", "nan"}, {"uniqueness-threshold", "-0.1"}};
    for (const auto& [pszName, pszValue] : aBad) {
        SettingWishes bad;
        bad.m_values[pszName] = pszValue;
        try {
            applySettings(context, bad);
            ADD_FAILURE() << pszName << ' ' << pszValue;
        } catch (const AppError& rError) {
            EXPECT_THAT(rError.what(), testing::StartsWith(std::string("--") + pszName));
        }
    }
    for (const std::vector<int>& rRange : {std::vector{5, 5}, {-1, 9}, {0, 241}, {0, 310}}) {
        SettingWishes bad;
        bad.m_anDisparity = rRange;
        EXPECT_THROW(applySettings(context, bad), AppError) << rRange[1];
    }
    EXPECT_EQ(session.disparityRange(), cv::Vec2i(4, 40));
}

} // namespace kestrova::app
