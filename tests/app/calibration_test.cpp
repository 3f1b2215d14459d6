// The calibration text, the reader that explains it, and the session that loads it through the library.
#include "basics/AppError.h"

#include "app/fixtures.h"

#include <gmock/gmock.h>

namespace kestrova::app {

namespace {

// What an action complains about, or nothing.
std::string complaint(const std::function<void()>& rAction)
{
    try {
        rAction();
    } catch (const AppError& rError) {
        return rError.what();
    }
    return "";
}

struct Calibration : testing::Test
{
    std::filesystem::path write(const std::string& rText) const
    {
        writeText(m_folder / "c.txt", rText);
        return m_folder / "c.txt";
    }
    const TempFolder m_folder;
    const Room m_room{};
    const CalibrationDescription m_description = m_room.description();
    const std::string m_good = calibrationText(m_description);
};

} // namespace

TEST_F(Calibration, LoadsThroughTheLibraryWithTheSameNumbers)
{
    const StereoSession session(write(m_good));
    const Optics optics = session.optics();
    EXPECT_EQ(session.canvas(), m_room.m_size);
    EXPECT_NEAR(optics.m_fFocal, m_description.m_dFocal, 1e-3);
    EXPECT_NEAR(optics.m_fBaseline, m_description.m_dBaseline, 1e-6);
    EXPECT_NEAR(optics.m_fCentreCol, m_description.m_centre.x, 1e-4);
    EXPECT_NEAR(optics.m_fCentreRow, m_description.m_centre.y, 1e-4);
    EXPECT_EQ(session.disparityRange(), cv::Vec2i(0, 32));

    std::string text = m_good; // adjustments of the right camera's maps
    text.replace(text.find("Gain 1\n"), 7, "Gain 1\nRectFactor 0.125 0\nRawFactor 0 0.25\n");
    const OutlineSection moved = readOutline(write(text)).front();
    EXPECT_EQ(moved.m_nSerialNumber, 1234567);
    const auto expectRaw = [&](const OutlineCamera* pCamera, const CalibrationCamera& rCamera, double dX, double dY) {
        const cv::Point2d raw = pCamera->rawPosition({100 + dX, 100}, m_room.m_size, m_room.m_size);
        const cv::Point2d expected = rCamera.m_rawFromRectified({100, 100}, m_room.m_size, m_room.m_size);
        EXPECT_LT(cv::norm(raw - expected - cv::Point2d(0, dY)), 1e-9);
        EXPECT_EQ(pCamera->m_dGain, rCamera.m_dGain);
    };
    expectRaw(session.outline().camera({0, 0, 0}), m_description.m_cameras.at(KestrovaCamRight), 0, 0);
    expectRaw(session.outline().camera({-1, 0, 0}), m_description.m_cameras.at(KestrovaCamLeft), 0, 0);
    expectRaw(moved.camera({0, 0, 0}), m_description.m_cameras.at(KestrovaCamRight), 40, 60);
}

TEST_F(Calibration, ABadTextIsRefusedWithFileAndKey)
{
    // This text becomes that, and the complaint names the key.
    const std::tuple<const char*, const char*, const char*> aCases[] = {
        {"Kestrova 3.0", "Kestrova 3.1", "VERSION"},
        {"PEMBERLOW", "UNKNOWN", "PRODUCT"},
        {"PEMBERLOW", "HALVORINE", "POSITION"},
        {"Baseline 0.12", "Baseline far", "BASELINE"},
        {"FocalLength", "Focal", "FOCALLENGTH"},
        {"2CameraHorizontal", "L", "CAMERACONFIGURATION"},
        {"Disparity 0 32", "Disparity 32 32", "DISPARITY"},
        {"Disparity 0 32", "Disparity 0 32 \\", "DISPARITY"},
        {"Gain 1.25", "Gain", "camera 1: GAIN"},
        {"IWarp 6 7", "IWarp 6 9", "camera 1: WARP, IWARP"},
        {"Position -1 0 0", "Position nan 0 0", "camera 1: POSITION"},
        {"Channel GREEN", "Channel MAUVE", "camera 1: CHANNEL"},
        {"NumberKnots 16", "NumberKnots 15", "warp 0: NUMBERKNOTS"},
        {"KnotsY 0 0 0 0", "KnotsY 0 0 0", "warp 0: KNOTSY"},
        {"\nCoefs", "\nCoefs x", "warp 0: COEFS"},
        {"GREEN\nEndCamera", "GREEN", "BEGINCAMERA"}};
    const auto load = [&](const std::string& rText) {
        return complaint([&] { StereoSession(write(rText)).useCameras(KestrovaCfg2CameraHorizontal); });
    };
    ASSERT_EQ(load(m_good), "");
    for (const auto& [pszFrom, pszTo, pszKey] : aCases) {
        std::string bad = m_good;
        bad.replace(bad.find(pszFrom), std::strlen(pszFrom), pszTo); // throws when it is not there
        EXPECT_THAT(load(bad), testing::MatchesRegex(".*/c.txt: bad calibration: " + std::string(pszKey) + ": [^\n]+"));
    }
    for (std::size_t nSize = 0; nSize < m_good.size() - 50; nSize += 1999) { // cut off anywhere
        ASSERT_NE(load(m_good.substr(0, nSize)), "") << nSize;
    }
    EXPECT_THROW(StereoSession(m_folder.path()), AppError);
}

TEST_F(Calibration, SettingsArriveAndBadOnesNameTheirOption)
{
    const StereoSession session(write(m_good));
    const KestrovaContext context = session.handle();
    SettingWishes wishes;
    wishes.m_values = {{"stereo-mask", "11"},      {"uniqueness-threshold", "0.75"}, {"lowpass", "off"},
                       {"texture-mapping", "200"}, {"quality", "enhanced"},          {"rectification", "enhanced2"},
                       {"surface-size", "300"},    {"surface-difference", "0.5"}};
    wishes.m_anDisparity = {4, 40};
    wishes.m_regions = {{10, 20, 30, 40}};
    wishes.m_threads = 3;
    applySettings(context, wishes);
    EXPECT_THAT(describeSettings(context),
                testing::AllOf(
                    testing::ContainsRegex("stereo-mask +11\n"), testing::ContainsRegex("uniqueness-threshold +0.75\n"),
                    testing::ContainsRegex("lowpass +off\n"), testing::ContainsRegex(" quality +enhanced\n"),
                    testing::ContainsRegex("rectification +enhanced2\n"), testing::ContainsRegex("surface-size +300\n"),
                    testing::ContainsRegex("surface-difference +0.5\n"), testing::ContainsRegex("disparity +4 to 40")));
    int nThreads = 0;
    kestrovaGetMaxThreadCount(context, &nThreads);
    EXPECT_EQ(nThreads, 3);
    EXPECT_EQ(session.rejectCodes().m_aucCodes[0], 200);
    EXPECT_EQ(session.windowReach(), 5 + 3);

    const auto refused = [&](const SettingWishes& rWishes, const std::string& rOption) {
        EXPECT_THAT(complaint([&] { applySettings(context, rWishes); }), testing::StartsWith("--" + rOption + ":"));
    };
    const std::pair<const char*, const char*> aBad[] = {
        {"stereo-mask", "8"},       {"stereo-mask", "7.5"},         {"stereo-mask", "1e30"}, {"texture-mapping", ""},
        {"lowpass", "2"},           {"rectification", "best"},      {"quality", "1"},        {"surface-size", "-1"},
        {"texture-mapping", "256"}, {"uniqueness-threshold", "nan"}};
    for (const auto& [pszName, pszValue] : aBad) {
        refused({{{pszName, pszValue}}, {}, {}, {}, {}, {}}, pszName);
    }
    for (const std::vector<int>& rRange : {std::vector{5, 5}, {-1, 9}, {0, 241}, {0, 310}}) {
        refused({{}, rRange, {}, {}, {}, {}}, "disparity");
    }
    EXPECT_EQ(session.disparityRange(), cv::Vec2i(4, 40));
}

} // namespace kestrova::app
