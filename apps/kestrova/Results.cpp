#include "Results.h"

#include "AppError.h"
#include "Pictures.h"

#include <opencv2/imgcodecs.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <type_traits>

namespace kestrova::app {

// ---- computing ----

template<typename Work>
static auto timed(StereoResult& rResult, const char* pszStage, const Work& rWork)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    const auto note = [&] {
        rResult.m_times.push_back({pszStage, std::chrono::duration<double, std::milli>(Clock::now() - start).count()});
    };
    if constexpr (std::is_void_v<decltype(rWork())>) {
        rWork();
        note();
    } else {
        auto made = rWork();
        note();
        return made;
    }
}

static std::vector<CloudPoint> makeCloud(const StereoSession& rSession, const StereoResult& rResult)
{
    std::vector<CloudPoint> cloud;
    for (int nRow = 0; nRow < rResult.m_disparity16.rows; ++nRow)
        for (int nCol = 0; nCol < rResult.m_disparity16.cols; ++nCol) {
            const float fDisparity = rResult.m_map16.m_pixels(nRow, nCol);
            if (!std::isfinite(fDisparity) || fDisparity <= 0.0f) // disparity 0 is a point at infinity
                continue;
            cloud.push_back({rSession.point({nCol, nRow}, rResult.m_disparity16(nRow, nCol)),
                             cv::Vec3b::all(rResult.m_rectifiedRight(nRow, nCol))});
        }
    return cloud;
}

static void maskOutside(const StereoSession& rSession, StereoResult& rResult, const ShownRegions& rShown)
{
    const cv::Size raw = rResult.m_rawRight.size();
    const cv::Mat1b right = rShown.m_right.empty() ? rSession.region(KestrovaCamRight, raw) : rShown.m_right;
    const cv::Mat1b left = rShown.m_left.empty() ? rSession.region(KestrovaCamLeft, raw) : rShown.m_left;
    const int nReach = rSession.windowReach();
    const std::uint8_t ucCode = rSession.rejectCodes().m_aucCodes[2]; // that of pixels which no match was tried for
    const auto outside = static_cast<unsigned char>(Reject::Outside);
    rejectOutside(rResult.m_map16, right, left, nReach);
    rejectOutside(rResult.m_map8, right, left, nReach);
    rResult.m_disparity16.setTo(0xFF00 + ucCode, rResult.m_map16.m_reject == outside);
    rResult.m_disparity8.setTo(ucCode, rResult.m_map8.m_reject == outside);

    rResult.m_rectifiedRows = measureRows(rResult.m_rectifiedRight, rResult.m_rectifiedLeft,
                                          {rResult.m_range[0] - 2, rResult.m_range[1] + 2, 4}, right);
    if (rShown.m_right.empty()) {                       // else the frames are rectified already
        const int nMore = rResult.m_rawRight.cols / 12; // raw frames are shifted, turned and scaled a little as well
        rResult.m_rawRows = measureRows(rResult.m_rawRight, rResult.m_rawLeft,
                                        {rResult.m_range[0] - nMore, rResult.m_range[1] + nMore, nMore / 2}, {});
    }
}

StereoResult runStereo(StereoSession& rSession, const cv::Mat1b& rRight, const cv::Mat1b& rLeft,
                       const ShownRegions& rShown)
{
    StereoResult result;
    rSession.useHorizontalPair();
    timed(result, "rectify, first frame (builds the tables)",
          [&] { rSession.preprocess(rRight, rLeft, FrameForm::Planes); });
    timed(result, "rectify and edge images, next frame",
          [&] { rSession.preprocess(rRight, rLeft, FrameForm::Planes); });
    result.m_rawRight = rSession.image(KestrovaImgRaw, KestrovaCamRight);
    result.m_rawLeft = rSession.image(KestrovaImgRaw, KestrovaCamLeft);
    result.m_rectifiedRight = rSession.image(KestrovaImgRectified, KestrovaCamRight);
    result.m_rectifiedLeft = rSession.image(KestrovaImgRectified, KestrovaCamLeft);
    int nEdge = 0;
    kestrovaGetEdgeCorrelation(rSession.handle(), &nEdge);
    if (nEdge) {
        result.m_edgeRight = rSession.image(KestrovaImgEdge, KestrovaCamRight);
        result.m_edgeLeft = rSession.image(KestrovaImgEdge, KestrovaCamLeft);
    }
    result.m_disparity8 = timed(result, "stereo, 8-bit disparity", [&] { return rSession.matchTo8(); });
    result.m_map8 = rSession.read8(result.m_disparity8);
    result.m_disparity16 = timed(result, "stereo, 16-bit disparity", [&] { return rSession.matchTo16(); });
    result.m_map16 = rSession.read16(result.m_disparity16);
    result.m_optics = rSession.optics();
    result.m_range = rSession.disparityRange();
    kestrovaGetDisparityOffset(rSession.handle(), &result.m_nOffset);
    maskOutside(rSession, result, rShown);
    if (result.m_optics.m_fBaseline > 0.0f)
        result.m_cloud = timed(result, "points", [&] { return makeCloud(rSession, result); });
    return result;
}

// ---- files ----

void writeImage(const std::filesystem::path& rFile, const cv::Mat& rImage)
{
    if (!cv::imwrite(rFile.string(), rImage))
        throw AppError(rFile.string() + ": cannot be written");
}

void writeText(const std::filesystem::path& rFile, const std::string& rText)
{
    std::ofstream out(rFile, std::ios::binary);
    if (!(out << rText).flush())
        throw AppError(rFile.string() + ": cannot be written");
}

/// Keeps standard error shut while it lives: image decoders write there by themselves, and a fault gets our line only.
class QuietErrors
{
public:
    QuietErrors()
    {
        std::fflush(stderr);
        const int nNowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(nNowhere, STDERR_FILENO);
        ::close(nNowhere);
    }
    ~QuietErrors()
    {
        ::dup2(m_nKept, STDERR_FILENO);
        ::close(m_nKept);
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    int m_nKept = ::dup(STDERR_FILENO);
};

static cv::Mat decodeGrey(const std::string& rFile)
{
    const QuietErrors quiet;
    return cv::imread(rFile, cv::IMREAD_GRAYSCALE);
}

cv::Mat1b readGrey(const std::filesystem::path& rFile)
{
    std::error_code error;
    if (!std::filesystem::exists(rFile, error))
        throw AppError(rFile.string() + ": no such file");
    const cv::Mat image = decodeGrey(rFile.string());
    if (image.empty())
        throw AppError(rFile.string() + ": cannot be read as an image");
    return image;
}

void writeResult(const OutputFolder& rFolder, const StereoResult& rResult, const std::string& rSource)
{
    writeImage(rFolder.file("raw_right.png"), rResult.m_rawRight);
    writeImage(rFolder.file("raw_left.png"), rResult.m_rawLeft);
    writeImage(rFolder.file("rectified_right.png"), rResult.m_rectifiedRight);
    writeImage(rFolder.file("rectified_left.png"), rResult.m_rectifiedLeft);
    if (!rResult.m_edgeRight.empty()) {
        writeImage(rFolder.file("edge_right.png"), rResult.m_edgeRight);
        writeImage(rFolder.file("edge_left.png"), rResult.m_edgeLeft);
    }
    writeImage(rFolder.file("side_by_side.png"), sideBySide(rResult.m_rectifiedLeft, rResult.m_rectifiedRight));

    // Whole-number files carry their scale in the name; what is no disparity has the codes of the library.
    const std::string offset = "_offset" + std::to_string(rResult.m_nOffset) + ".png";
    writeImage(rFolder.file("disparity16_256ths" + offset), rResult.m_disparity16);
    writeImage(rFolder.file("disparity8_pixels" + offset), rResult.m_disparity8);
    writePfm(rFolder.file("disparity_pixels.pfm"), rResult.m_map16.m_pixels);
    const double dFocalTimesBaseline = rResult.m_optics.m_fFocal * rResult.m_optics.m_fBaseline;
    const ColourScale scale{static_cast<double>(rResult.m_range[0]), static_cast<double>(rResult.m_range[1]),
                            dFocalTimesBaseline};
    writeImage(rFolder.file("disparity16_colour.png"),
               disparityPicture(rResult.m_map16, scale, "16-bit disparity, seen from the right camera"));
    writeImage(rFolder.file("disparity8_colour.png"),
               disparityPicture(rResult.m_map8, scale,
                                "8-bit disparity, seen from the right camera (no texture stands for not unique too)"));
    if (rResult.m_optics.m_fBaseline > 0.0f) // else there is no length to measure with
        writeCloud(rFolder.file("cloud.ply"), rResult.m_cloud, rSource);
}

} // namespace kestrova::app
