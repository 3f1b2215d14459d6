#include "outputs/Results.h"

#include "basics/AppError.h"

#include <cmath>

namespace kestrova::app {

namespace {

std::vector<CloudPoint> makeCloud(const StereoSession& rSession, const StereoResult& rResult)
{
    std::vector<CloudPoint> cloud;
    const cv::Mat1b& rGrey = rResult.m_rectified.at(KestrovaCamRight);
    for (int nRow = 0; nRow < rResult.m_disparity16.rows; ++nRow) {
        for (int nCol = 0; nCol < rResult.m_disparity16.cols; ++nCol) {
            const float fDisparity = rResult.m_map16.m_pixels(nRow, nCol);
            if (!std::isfinite(fDisparity) || fDisparity <= 0.0f) { // disparity 0 is a point at infinity
                continue;
            }
            const cv::Vec3b colour = rResult.m_colour.empty() ? cv::Vec3b::all(rGrey(nRow, nCol))
                                                              : rResult.m_colour(nRow, nCol); // blue, green, red
            cloud.push_back({rSession.point({nCol, nRow}, rResult.m_disparity16(nRow, nCol)),
                             {colour[2], colour[1], colour[0]},
                             fDisparity});
        }
    }
    return cloud;
}

void maskOutside(StereoResult& rResult, const PerCamera<cv::Mat1b>& rRegions, const StereoSession& rSession)
{
    const int nReach = rSession.windowReach();
    const std::uint8_t ucCode = rSession.rejectCodes().m_aucCodes[2]; // that of pixels which no match was tried for
    const auto outside = static_cast<unsigned char>(Reject::Outside);
    rejectOutside(rResult.m_map16, rRegions, nReach);
    rResult.m_disparity16.setTo(KestrovaDisparity16Invalid + ucCode, rResult.m_map16.m_reject == outside);
    if (rResult.m_disparity8.empty()) {
        return;
    }
    rejectOutside(rResult.m_map8, rRegions, nReach);
    rResult.m_disparity8.setTo(ucCode, rResult.m_map8.m_reject == outside);
}

// Matches of the top camera move along the columns, so with it both images are looked at turned over.
void measureAgreement(StereoResult& rResult, const cv::Mat1b& rRightRegion, bool bRaw)
{
    const cv::Vec2i range = rResult.m_range;
    const int nMore = rResult.m_raw.at(KestrovaCamRight).cols / 12; // raw frames are shifted and turned as well
    for (const auto& [eCamera, rImage] : rResult.m_rectified) {
        if (eCamera == KestrovaCamRight) {
            continue;
        }
        const auto upright = [bTop = eCamera == KestrovaCamTop](const cv::Mat1b& rUsual) {
            return bTop ? cv::Mat1b(rUsual.t()) : rUsual;
        };
        rResult.m_rectifiedRows[eCamera] = judgeDetails(findDetails(
            upright(rResult.m_rectified.at(KestrovaCamRight)), upright(rImage), upright(wellInside(rRightRegion))));
        if (bRaw) {
            rResult.m_rawRows[eCamera] =
                measureRows(upright(rResult.m_raw.at(KestrovaCamRight)), upright(rResult.m_raw.at(eCamera)),
                            {range[0] - nMore, range[1] + nMore, nMore / 2}, {});
        }
    }
}

void fetchImages(const StereoSession& rSession, const Frames& rFrames, const ResultWishes& rWishes,
                 StereoResult& rResult)
{
    int nEdge = 0;
    kestrovaGetEdgeCorrelation(rSession.handle(), &nEdge);
    for (const auto& [eCamera, rFrame] : rFrames.m_grey) {
        rResult.m_rectified[eCamera] = rSession.image(KestrovaImgRectified, eCamera);
        if (rWishes.m_bImages || rWishes.m_bRows) {
            rResult.m_raw[eCamera] = rSession.image(KestrovaImgRaw, eCamera);
        }
        if (rWishes.m_bImages && nEdge) {
            rResult.m_edge[eCamera] = rSession.image(KestrovaImgEdge, eCamera);
        }
    }
}

} // namespace

void StereoRun::prepare(KestrovaCameraConfiguration eConfiguration)
{
    if (m_bPrepared) {
        return;
    }
    m_rSession.useCameras(eConfiguration);
    applySettings(m_rSession.handle(), m_settings);
    m_rSession.fitThreads();
    m_bPrepared = true;
}

const PerCamera<cv::Mat1b>& StereoRun::regionsOf(const Frames& rFrames)
{
    if (!rFrames.m_regions.empty()) {
        return rFrames.m_regions;
    }
    if (const cv::Size size = rFrames.m_grey.at(KestrovaCamRight).size(); m_regionSize != size) {
        for (const auto& [eCamera, rFrame] : rFrames.m_grey) {
            m_regions[eCamera] = m_rSession.region(eCamera, size);
        }
        m_regionSize = size;
    }
    return m_regions;
}

StereoResult StereoRun::operator()(const Frames& rFrames)
{
    StereoResult result;
    prepare(configurationOf(rFrames.m_grey));
    const auto rectify = [&] { m_rSession.preprocess(rFrames.m_grey, FrameForm::Planes); };
    if (m_wishes.m_bTwice) {
        timed(result.m_times, "rectify, first frame (builds the tables)", "rectify-first", rectify);
    }
    timed(result.m_times, m_wishes.m_bTwice ? "rectify and edge images, next frame" : "rectify and edge images",
          "rectify", rectify);
    fetchImages(m_rSession, rFrames, m_wishes, result);
    if (m_wishes.m_bBytes) {
        result.m_disparity8 =
            timed(result.m_times, "stereo, 8-bit disparity", "stereo8", [&] { return m_rSession.matchTo8(); });
        result.m_map8 = m_rSession.read8(result.m_disparity8);
    }
    result.m_disparity16 =
        timed(result.m_times, "stereo, 16-bit disparity", "stereo", [&] { return m_rSession.matchTo16(); });
    result.m_map16 = m_rSession.read16(result.m_disparity16);
    result.m_optics = m_rSession.optics();
    result.m_range = m_rSession.disparityRange();
    kestrovaGetDisparityOffset(m_rSession.handle(), &result.m_nOffset);
    if (!rFrames.m_colour.empty()) {
        result.m_colour = timed(result.m_times, "rectify the colours", "colours",
                                [&] { return m_rSession.rectifyColour(rFrames.m_colour); });
    }

    const PerCamera<cv::Mat1b> regions = regionsOf(rFrames);
    timed(result.m_times, "mask what lies outside", "mask", [&] { maskOutside(result, regions, m_rSession); });
    if (m_wishes.m_bRows) {
        measureAgreement(result, regions.at(KestrovaCamRight), rFrames.m_regions.empty());
    }
    if (m_wishes.m_bCloud && result.m_optics.m_fBaseline > 0.0f) {
        result.m_cloud = timed(result.m_times, "points", "points", [&] { return makeCloud(m_rSession, result); });
    }
    return result;
}

StereoResult runStereo(StereoSession& rSession, const Frames& rFrames, const SettingWishes& rWishes)
{
    return StereoRun(rSession, rWishes, {})(rFrames);
}

} // namespace kestrova::app
