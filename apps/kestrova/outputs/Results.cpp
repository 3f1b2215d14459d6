#include "outputs/Results.h"

#include "basics/AppError.h"
#include "outputs/Pictures.h"

#include <opencv2/imgcodecs.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
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
    const cv::Mat1b& rGrey = rResult.m_rectified.at(KestrovaCamRight);
    for (int nRow = 0; nRow < rResult.m_disparity16.rows; ++nRow)
        for (int nCol = 0; nCol < rResult.m_disparity16.cols; ++nCol) {
            const float fDisparity = rResult.m_map16.m_pixels(nRow, nCol);
            if (!std::isfinite(fDisparity) || fDisparity <= 0.0f) // disparity 0 is a point at infinity
                continue;
            const cv::Vec3b colour = rResult.m_colour.empty() ? cv::Vec3b::all(rGrey(nRow, nCol))
                                                              : rResult.m_colour(nRow, nCol); // blue, green, red
            cloud.push_back(
                {rSession.point({nCol, nRow}, rResult.m_disparity16(nRow, nCol)), {colour[2], colour[1], colour[0]}});
        }
    return cloud;
}

static void maskOutside(StereoResult& rResult, const PerCamera<cv::Mat1b>& rRegions, const StereoSession& rSession)
{
    const int nReach = rSession.windowReach();
    const std::uint8_t ucCode = rSession.rejectCodes().m_aucCodes[2]; // that of pixels which no match was tried for
    const auto outside = static_cast<unsigned char>(Reject::Outside);
    rejectOutside(rResult.m_map16, rRegions, nReach);
    rejectOutside(rResult.m_map8, rRegions, nReach);
    rResult.m_disparity16.setTo(0xFF00 + ucCode, rResult.m_map16.m_reject == outside);
    rResult.m_disparity8.setTo(ucCode, rResult.m_map8.m_reject == outside);
}

// Matches of the top camera move along the columns, so with it both images are looked at turned over.
static RowAgreement agreement(const PerCamera<cv::Mat1b>& rImages, KestrovaCamera eOther, const SearchReach& rReach,
                              const cv::Mat1b& rMask)
{
    const auto upright = [&](const cv::Mat1b& rImage) {
        return eOther == KestrovaCamTop && !rImage.empty() ? cv::Mat1b(rImage.t()) : rImage;
    };
    return measureRows(upright(rImages.at(KestrovaCamRight)), upright(rImages.at(eOther)), rReach, upright(rMask));
}

static void measureAgreement(StereoResult& rResult, const cv::Mat1b& rRightRegion, bool bRaw)
{
    const cv::Vec2i range = rResult.m_range;
    const int nMore = rResult.m_raw.at(KestrovaCamRight).cols / 12; // raw frames are shifted and turned as well
    for (const auto& [eCamera, rImage] : rResult.m_rectified)
        if (eCamera != KestrovaCamRight) {
            rResult.m_rectifiedRows[eCamera] =
                agreement(rResult.m_rectified, eCamera, {range[0] - 2, range[1] + 2, 4}, rRightRegion);
            if (bRaw)
                rResult.m_rawRows[eCamera] =
                    agreement(rResult.m_raw, eCamera, {range[0] - nMore, range[1] + nMore, nMore / 2}, {});
        }
}

static void fetchImages(const StereoSession& rSession, const Frames& rFrames, StereoResult& rResult)
{
    int nEdge = 0;
    kestrovaGetEdgeCorrelation(rSession.handle(), &nEdge);
    for (const auto& [eCamera, rFrame] : rFrames.m_grey) {
        rResult.m_raw[eCamera] = rSession.image(KestrovaImgRaw, eCamera);
        rResult.m_rectified[eCamera] = rSession.image(KestrovaImgRectified, eCamera);
        if (nEdge)
            rResult.m_edge[eCamera] = rSession.image(KestrovaImgEdge, eCamera);
    }
}

StereoResult runStereo(StereoSession& rSession, const Frames& rFrames, const SettingWishes& rWishes)
{
    StereoResult result;
    rSession.useCameras(configurationOf(rFrames.m_grey));
    applySettings(rSession.handle(), rWishes);
    rSession.fitThreads();
    timed(result, "rectify, first frame (builds the tables)",
          [&] { rSession.preprocess(rFrames.m_grey, FrameForm::Planes); });
    timed(result, "rectify and edge images, next frame",
          [&] { rSession.preprocess(rFrames.m_grey, FrameForm::Planes); });
    fetchImages(rSession, rFrames, result);
    result.m_disparity8 = timed(result, "stereo, 8-bit disparity", [&] { return rSession.matchTo8(); });
    result.m_map8 = rSession.read8(result.m_disparity8);
    result.m_disparity16 = timed(result, "stereo, 16-bit disparity", [&] { return rSession.matchTo16(); });
    result.m_map16 = rSession.read16(result.m_disparity16);
    result.m_optics = rSession.optics();
    result.m_range = rSession.disparityRange();
    kestrovaGetDisparityOffset(rSession.handle(), &result.m_nOffset);
    if (!rFrames.m_colour.empty())
        result.m_colour =
            timed(result, "rectify the colours", [&] { return rSession.rectifyColour(rFrames.m_colour); });

    PerCamera<cv::Mat1b> regions = rFrames.m_regions;
    for (const auto& [eCamera, rFrame] : rFrames.m_grey)
        if (rFrames.m_regions.empty())
            regions[eCamera] = rSession.region(eCamera, rFrame.size());
    maskOutside(result, regions, rSession);
    measureAgreement(result, regions.at(KestrovaCamRight), rFrames.m_regions.empty());
    if (result.m_optics.m_fBaseline > 0.0f)
        result.m_cloud = timed(result, "points", [&] { return makeCloud(rSession, result); });
    return result;
}

// ---- files ----

void writeImage(const std::filesystem::path& rFile, const cv::Mat& rImage)
{
    if (!cv::imwrite(rFile.string(), rImage))
        throw AppError(rFile.string() + ": cannot be written", ExitStatus::File);
}

void writeText(const std::filesystem::path& rFile, const std::string& rText)
{
    std::ofstream out(rFile, std::ios::binary);
    if (!(out << rText).flush())
        throw AppError(rFile.string() + ": cannot be written", ExitStatus::File);
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

static cv::Mat decode(const std::string& rFile, int nHow)
{
    const QuietErrors quiet;
    return cv::imread(rFile, nHow);
}

cv::Mat readImage(const std::filesystem::path& rFile, int nHow)
{
    std::error_code error;
    if (!std::filesystem::exists(rFile, error))
        throw AppError(rFile.string() + ": no such file", ExitStatus::File);
    const cv::Mat image = decode(rFile.string(), nHow);
    if (image.empty())
        throw AppError(rFile.string() + ": cannot be read as an image", ExitStatus::Content);
    return image;
}

cv::Mat1b readGrey(const std::filesystem::path& rFile)
{
    return readImage(rFile, cv::IMREAD_GRAYSCALE);
}

cv::Mat3b readColour(const std::filesystem::path& rFile)
{
    const cv::Mat3b image = readImage(rFile, cv::IMREAD_COLOR);
    const bool bGrey =
        std::all_of(image.begin(), image.end(), [](const cv::Vec3b& r) { return r[0] == r[1] && r[1] == r[2]; });
    return bGrey ? cv::Mat3b() : image;
}

void writeResult(const OutputFolder& rFolder, const StereoResult& rResult, const std::string& rSource)
{
    const auto writeEach = [&](const char* pszKind, const PerCamera<cv::Mat1b>& rImages) {
        for (const auto& [eCamera, rImage] : rImages)
            writeImage(rFolder.file(std::string(pszKind) + "_" + cameraName(eCamera) + ".png"), rImage);
    };
    writeEach("raw", rResult.m_raw);
    writeEach("rectified", rResult.m_rectified);
    writeEach("edge", rResult.m_edge);
    if (!rResult.m_colour.empty())
        writeImage(rFolder.file("rectified_right_colour.png"), rResult.m_colour);
    const cv::Mat1b& rRight = rResult.m_rectified.at(KestrovaCamRight);
    if (const auto left = rResult.m_rectified.find(KestrovaCamLeft); left != rResult.m_rectified.end())
        writeImage(rFolder.file("side_by_side.png"), sideBySide(left->second, rRight));
    if (const auto top = rResult.m_rectified.find(KestrovaCamTop); top != rResult.m_rectified.end())
        writeImage(rFolder.file("one_above_other.png"), oneAboveOther(top->second, rRight));

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
