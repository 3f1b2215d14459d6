#include "session/FrameReader.h"

#include "basics/AppError.h"
#include "basics/ImageFiles.h"
#include "basics/Line.h"

#include <opencv2/imgproc.hpp>

namespace kestrova::app {

Frames FrameReader::readFiles(const FrameNames& rNames)
{
    const std::filesystem::path& rRight = rNames.m_files.at(KestrovaCamRight);
    Frames frames;
    for (const auto& [eCamera, rFile] : rNames.m_files) {
        std::error_code error;
        if (eCamera != KestrovaCamRight && std::filesystem::equivalent(rFile, rRight, error)) {
            throw AppError(rFile.string() + ": is given for two cameras; give each camera its own frame",
                           ExitStatus::Content);
        }
        const cv::Mat1b& rGrey = frames.m_grey[eCamera] = readFrame(rFile, m_wishes.m_bits);
        if (const cv::Size right = frames.m_grey.at(KestrovaCamRight).size(); rGrey.size() != right) {
            throw AppError(rFile.string() + ": has another size than " + rRight.string() +
                               line(", %dx%d and %dx%d; frames of a set have one size", rGrey.cols, rGrey.rows,
                                    right.width, right.height),
                           ExitStatus::Content);
        }
    }
    if (m_wishes.m_bColour) {
        frames.m_colour = readColour(rRight, m_wishes.m_bits);
    }
    const cv::Size size = frames.m_grey.at(KestrovaCamRight).size();
    if (m_size && size != *m_size) {
        throw AppError(rRight.string() + line(": has another size than the frames before, %dx%d and %dx%d; run each "
                                              "size by itself",
                                              size.width, size.height, m_size->width, m_size->height),
                       ExitStatus::Content);
    }
    return frames;
}

namespace {

template<typename Change>
void changeImages(Frames& rFrames, const Change& rChange)
{
    for (auto& [eCamera, rFrame] : rFrames.m_grey) {
        rFrame = rChange(rFrame);
    }
    if (!rFrames.m_colour.empty()) {
        rFrames.m_colour = rChange(rFrames.m_colour);
    }
}

} // namespace

void FrameReader::bringToSize(const FrameNames& rNames, Frames& rFrames)
{
    const cv::Size size = rFrames.m_grey.at(KestrovaCamRight).size();
    if (m_wishes.m_bRectified) {
        const FrameFit fit = planFrameFit(size, m_wishes.m_resize);
        if (fit.m_canvas.width < 64 || fit.m_canvas.width > 1280) {
            throw AppError(rNames.m_files.at(KestrovaCamRight).string() + ": " + fit.describe() +
                               "; 64 to 1280 columns are possible, see --resize",
                           ExitStatus::Content);
        }
        changeImages(rFrames, [&](const cv::Mat& rImage) { return fitFrame(rImage, fit); });
        for (const auto& [eCamera, rFrame] : rFrames.m_grey) {
            rFrames.m_regions[eCamera] = fit.region();
        }
        m_fit = fit;
    } else if (m_wishes.m_resize) { // the maps hold for any resolution of the frame
        changeImages(rFrames, [&](const cv::Mat& rImage) {
            cv::Mat scaled;
            cv::resize(rImage, scaled, *m_wishes.m_resize, 0, 0, cv::INTER_AREA);
            return scaled;
        });
    }
    if (size.width < 16 || size.height < 16) {
        throw AppError(rNames.m_files.at(KestrovaCamRight).string() +
                           line(": %dx%d is too small for a frame; is it the right file?", size.width, size.height),
                       ExitStatus::Content);
    }
    m_size = size;
}

Frames FrameReader::read(const FrameNames& rNames)
{
    try {
        Frames frames = readFiles(rNames);
        bringToSize(rNames, frames);
        return frames;
    } catch (const AppError& rError) {
        throw AppError(rNames.m_origin + rError.what(), rError.status());
    }
}

} // namespace kestrova::app
