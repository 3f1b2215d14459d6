#include "outputs/ResultFiles.h"

#include "outputs/DisparityCodes.h"
#include "outputs/Pictures.h"

namespace kestrova::app {

namespace {

std::filesystem::path place(const OutputFolder& rFolder, const StereoResult& rResult, const std::string& rName,
                            const char* pszEnding)
{
    return rFolder.file(rName + (rResult.m_bSeenFromLeft ? "_left" : "") + pszEnding);
}

} // namespace

void writeDisparityPfm(const OutputFolder& rFolder, const StereoResult& rResult)
{
    writePfm(place(rFolder, rResult, "disparity", ".pfm"), rResult.m_map16.m_pixels);
}

void writeDisparityNpy(const OutputFolder& rFolder, const StereoResult& rResult)
{
    writeNpy(place(rFolder, rResult, "disparity", ".npy"), rResult.m_map16.m_pixels);
}

namespace {

std::string offsetIn(const StereoResult& rResult)
{
    return "_offset" + std::to_string(rResult.m_nOffset);
}

} // namespace

void writeNative16(const OutputFolder& rFolder, const StereoResult& rResult)
{
    writeImage(place(rFolder, rResult, "disparity16_256ths" + offsetIn(rResult), ".png"), rResult.m_disparity16);
}

void writeKitti16(const OutputFolder& rFolder, const StereoResult& rResult, int nScale)
{
    writeImage(place(rFolder, rResult, "disparity_kitti_" + std::to_string(nScale) + "ths", ".png"),
               kittiCodes(rResult.m_map16, nScale));
}

void writeDepth(const OutputFolder& rFolder, const StereoResult& rResult)
{
    writeImage(place(rFolder, rResult, "depth_mm", ".png"),
               depthMillimetres(rResult.m_map16, rResult.focalTimesBaseline()));
}

namespace {

ColourScale scaleOf(const StereoResult& rResult)
{
    return {static_cast<double>(rResult.m_range[0]), static_cast<double>(rResult.m_range[1]),
            rResult.focalTimesBaseline()};
}

const char* seenFrom(const StereoResult& rResult)
{
    return rResult.m_bSeenFromLeft ? "seen from the left camera" : "seen from the right camera";
}

} // namespace

void writeColour(const OutputFolder& rFolder, const StereoResult& rResult)
{
    writeImage(
        place(rFolder, rResult, "disparity_colour", ".png"),
        disparityPicture(rResult.m_map16, scaleOf(rResult), std::string("16-bit disparity, ") + seenFrom(rResult)));
}

void writeReasons(const OutputFolder& rFolder, const StereoResult& rResult)
{
    const cv::Mat1b& rImage = rResult.m_rectified.at(rResult.m_bSeenFromLeft ? KestrovaCamLeft : KestrovaCamRight);
    writeImage(place(rFolder, rResult, "reason_codes", ".png"), rResult.m_map16.m_reject);
    writeImage(
        place(rFolder, rResult, "reason_colour", ".png"),
        reasonPicture(rResult.m_map16, rImage, std::string("Why pixels have no disparity, ") + seenFrom(rResult)));
}

void writeDisparity8(const OutputFolder& rFolder, const StereoResult& rResult)
{
    writeImage(rFolder.file("disparity8_pixels" + offsetIn(rResult) + ".png"), rResult.m_disparity8);
    writeImage(rFolder.file("disparity8_colour.png"),
               disparityPicture(rResult.m_map8, scaleOf(rResult),
                                "8-bit disparity, seen from the right camera (no texture stands for not unique too)"));
}

void writeImages(const OutputFolder& rFolder, const StereoResult& rResult)
{
    const auto writeEach = [&](const char* pszKind, const PerCamera<cv::Mat1b>& rImages) {
        for (const auto& [eCamera, rImage] : rImages) {
            writeImage(rFolder.file(std::string(pszKind) + "_" + cameraName(eCamera) + ".png"), rImage);
        }
    };
    writeEach("raw", rResult.m_raw);
    writeEach("rectified", rResult.m_rectified);
    writeEach("edge", rResult.m_edge);
    if (!rResult.m_colour.empty()) {
        writeImage(rFolder.file("rectified_right_colour.png"), rResult.m_colour);
    }
    const cv::Mat1b& rRight = rResult.m_rectified.at(KestrovaCamRight);
    if (const auto left = rResult.m_rectified.find(KestrovaCamLeft); left != rResult.m_rectified.end()) {
        writeImage(rFolder.file("side_by_side.png"), sideBySide(left->second, rRight));
    }
    if (const auto top = rResult.m_rectified.find(KestrovaCamTop); top != rResult.m_rectified.end()) {
        writeImage(rFolder.file("one_above_other.png"), oneAboveOther(top->second, rRight));
    }
}

void writeResultCloud(const OutputFolder& rFolder, const StereoResult& rResult, const std::string& rSource)
{
    writeCloud(place(rFolder, rResult, "cloud", ".ply"), rResult.m_cloud, rSource,
               rResult.m_bSeenFromLeft ? "left_rectified_optical" : "right_rectified_optical");
}

} // namespace kestrova::app
