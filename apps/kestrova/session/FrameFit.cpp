#include "session/FrameFit.h"

#include "basics/AppError.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

bool isFourByThree(cv::Size size)
{
    return size.height * 4 == size.width * 3;
}

} // namespace

FrameFit planFrameFit(cv::Size frame, std::optional<cv::Size> wish)
{
    FrameFit fit;
    fit.m_frame = frame;
    if (wish) {
        if (!isFourByThree(*wish)) {
            throw AppError("--resize: the canvas must be 4 by 3, such as 640x480", ExitStatus::Usage);
        }
        fit.m_canvas = *wish;
        fit.m_dScale =
            std::min(wish->width / static_cast<double>(frame.width), wish->height / static_cast<double>(frame.height));
    } else {
        const int nUnit = std::max((frame.width + 3) / 4, (frame.height + 2) / 3);
        fit.m_canvas = {4 * nUnit, 3 * nUnit};
    }
    const cv::Size scaled(std::max(1, static_cast<int>(std::lround(frame.width * fit.m_dScale))),
                          std::max(1, static_cast<int>(std::lround(frame.height * fit.m_dScale))));
    fit.m_place = {cv::Point((fit.m_canvas.width - scaled.width) / 2, (fit.m_canvas.height - scaled.height) / 2),
                   scaled};
    return fit;
}

std::string FrameFit::describe() const
{
    char acText[240];
    std::snprintf(acText, sizeof acText,
                  "frames of %dx%d scaled by %.4g to %dx%d and set into a 4 by 3 canvas of %dx%d at column %d, row %d",
                  m_frame.width, m_frame.height, m_dScale, m_place.width, m_place.height, m_canvas.width,
                  m_canvas.height, m_place.x, m_place.y);
    return acText;
}

cv::Mat1b FrameFit::region() const
{
    cv::Mat1b region(m_canvas, uchar(0));
    region(m_place).setTo(255);
    return region;
}

cv::Mat fitFrame(const cv::Mat& rFrame, const FrameFit& rFit)
{
    cv::Mat scaled;
    cv::resize(rFrame, scaled, rFit.m_place.size(), 0, 0, rFit.m_dScale < 1.0 ? cv::INTER_AREA : cv::INTER_LINEAR);
    cv::Mat canvas(rFit.m_canvas, rFrame.type(), cv::Scalar::all(128));
    scaled.copyTo(canvas(rFit.m_place));
    return canvas;
}

cv::Mat1f fitDisparity(const cv::Mat1f& rDisparity, const FrameFit& rFit)
{
    cv::Mat1f scaled;
    cv::resize(rDisparity, scaled, rFit.m_place.size(), 0, 0, cv::INTER_NEAREST);
    scaled *= rFit.m_place.width / static_cast<double>(rDisparity.cols);
    cv::Mat1f canvas(rFit.m_canvas, 0.0f);
    scaled.copyTo(canvas(rFit.m_place));
    return canvas;
}

} // namespace kestrova::app
