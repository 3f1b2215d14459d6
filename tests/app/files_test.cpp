// Clouds, float images, folders and pictures: what others open.
#include "AppError.h"
#include "CloudWriter.h"
#include "OutputFolder.h"
#include "Pictures.h"

#include "app/TempFolder.h"

#include <gmock/gmock.h>

#include <cstring>
#include <limits>
#include <set>

namespace kestrova::app {

TEST(CloudWriter, WritesWhatAReaderOfTheHeaderExpects)
{
    const TempFolder folder;
    writeCloud(folder / "c.ply", {{{1.5f, -2.0f, 3.25f}, {10, 20, 30}}, {{-0.0f, 1e-3f, 9.0f}, {255, 0, 1}}}, "a test");
    const std::string file = slurp(folder / "c.ply");
    const std::string end = "end_header\n";
    const std::size_t nData = file.find(end) + end.size();
    EXPECT_EQ(file.substr(0, nData), "ply\nformat binary_little_endian 1.0\n"
                                     "comment frame=right_rectified_optical, unit=m, source=a test\nelement vertex 2\n"
                                     "property float x\nproperty float y\nproperty float z\n"
                                     "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n");
    ASSERT_EQ(file.size() - nData, 2u * 15u);
    float afFirst[3];
    std::memcpy(afFirst, file.data() + nData, sizeof afFirst);
    EXPECT_THAT(afFirst, testing::ElementsAre(1.5f, -2.0f, 3.25f));
    EXPECT_EQ(file.substr(nData + 12, 3), "\x0A\x14\x1E");
    EXPECT_EQ(file.substr(nData + 27, 3), std::string("\xFF\x00\x01", 3));
    EXPECT_THROW(writeCloud(folder / "no/c.ply", {}, ""), AppError);
}

TEST(CloudWriter, PfmRunsUpwardAndKeepsTheUnknown)
{
    const TempFolder folder;
    const cv::Mat1f image = (cv::Mat1f(2, 3) << 1, 2, 3, 4, 5, std::numeric_limits<float>::infinity());
    writePfm(folder / "d.pfm", image);
    const std::string file = slurp(folder / "d.pfm");
    const std::string header = "Pf\n3 2\n-1.0\n";
    ASSERT_EQ(file.substr(0, header.size()), header);
    ASSERT_EQ(file.size(), header.size() + 24);
    float af[6];
    std::memcpy(af, file.data() + header.size(), sizeof af);
    EXPECT_THAT(af, testing::ElementsAre(4, 5, std::numeric_limits<float>::infinity(), 1, 2, 3));
}

TEST(OutputFolder, AppearsWholeOrNotAtAll)
{
    const TempFolder folder;
    const auto put = [](const OutputFolder& rOutput, const char* pszName, const char* pszText) {
        std::ofstream(rOutput.file(pszName)) << pszText;
    };
    for (const char* pszPlace : {"new", "deep/er", "slash/"}) {
        {
            OutputFolder output(folder / pszPlace);
            put(output, "a", "lost");
        }
        EXPECT_FALSE(std::filesystem::exists(folder / pszPlace)) << pszPlace;
        OutputFolder output(folder / pszPlace);
        put(output, "a", "kept");
        EXPECT_FALSE(std::filesystem::exists(folder / pszPlace / "a")) << pszPlace;
        output.commit();
        EXPECT_EQ(slurp(folder / pszPlace / "a"), "kept") << pszPlace;
    }
    std::ofstream(folder / "new/own") << "mine"; // what stands there already stays, unless it has the same name
    {
        OutputFolder output(folder / "new");
        put(output, "a", "newer");
        output.commit();
    }
    EXPECT_EQ(slurp(folder / "new/a") + slurp(folder / "new/own"), "newermine");
    EXPECT_THROW(OutputFolder(folder / "new/own"), AppError);
    for (const auto& rEntry : std::filesystem::recursive_directory_iterator(folder.path()))
        EXPECT_EQ(rEntry.path().string().find(".partial"), std::string::npos) << rEntry.path();
}

static DisparityMap rowOf(const std::vector<float>& rDisparities)
{
    DisparityMap map{cv::Mat1f(rDisparities, true).reshape(1, 1),
                     cv::Mat1b(1, static_cast<int>(rDisparities.size()), uchar(0))};
    return map;
}

TEST(Pictures, ColoursFollowTheRangeAndNotTheFrame)
{
    const ColourScale scale{0, 64, 60};
    const cv::Mat3b whole = colourDisparity(rowOf({2, 20, 40, 62}), scale);
    EXPECT_EQ(colourDisparity(rowOf({20, 21}), scale)(0, 0), whole(0, 1)) << "the same disparity in another frame";
    const cv::Vec3b far = whole(0, 0);
    const cv::Vec3b near = whole(0, 3);
    EXPECT_GT(near[2], near[0]) << "near is red";
    EXPECT_GT(far[0], far[2]) << "far is blue";

    DisparityMap rejects = rowOf(std::vector<float>(sk_nRejects, 0.0f));
    std::set<int> greys;
    for (int i = 1; i < sk_nRejects; ++i)
        rejects.m_reject(0, i) = static_cast<unsigned char>(i);
    const cv::Mat3b picture = colourDisparity(rejects, scale);
    for (int i = 1; i < sk_nRejects; ++i) {
        const cv::Vec3b colour = picture(0, i);
        EXPECT_TRUE(colour[0] == colour[1] && colour[1] == colour[2]) << i;
        for (int nOther : greys)
            EXPECT_GE(std::abs(nOther - colour[0]), 25) << i;
        greys.insert(colour[0]);
    }
}

TEST(Pictures, SheetsHoldTheImagesTheRightWayRound)
{
    const cv::Mat1b left(48, 64, uchar(10));
    const cv::Mat1b right(48, 64, uchar(200));
    const cv::Mat3b pair = sideBySide(left, right);
    EXPECT_EQ(pair(pair.rows - 2, 5), cv::Vec3b::all(10));
    EXPECT_EQ(pair(pair.rows - 2, pair.cols - 5), cv::Vec3b::all(200));
    for (int nWidth : {64, 640}) { // a small picture grows, so that the legend can be read
        DisparityMap map{cv::Mat1f(nWidth * 3 / 4, nWidth, 5.0f), cv::Mat1b(nWidth * 3 / 4, nWidth, uchar(0))};
        map.m_pixels(0, 0) = 60.0f;
        const cv::Mat3b sheet = disparityPicture(map, {0, 64, 60}, "title");
        EXPECT_GE(sheet.rows, 400);
        const cv::Mat3b colours = colourDisparity(map, {0, 64, 60});
        EXPECT_EQ(sheet(26, 0), colours(0, 0)) << "the first pixel stays at the top left";
        EXPECT_EQ(sheet(sheet.rows - 1, 0), colours(1, 0));
    }
}

} // namespace kestrova::app
