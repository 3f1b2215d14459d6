// What became of each pixel of the right rectified image: a disparity, or the reason why there is none.
//
// Rectification repeats the outermost raw pixels where a map leaves the raw frame. Repeated pixels match each other, so
// the region is taken from the maps and counted as a reason of its own.
#pragma once

#include "cameras/CameraModel.h"

#include <array>
#include <cstdint>
#include <functional>

namespace kestrova::app {

enum class Reject : unsigned char
{
    None,
    Texture,
    Uniqueness,
    Subpixel,
    Surface,
    BackForth,
    Outside,
    Hidden // seen from the left camera: what lies there is hidden from the right one
};
inline constexpr int sk_nRejects = 8;

const char* rejectName(Reject eReject); // one word; that of None is found

/** The byte that stands for each reason in a disparity image, from Texture to BackForth. */
struct RejectCodes
{
    std::array<std::uint8_t, 5> m_aucCodes{255, 254, 253, 252, 251};

    Reject reasonOf(std::uint8_t ucCode) const; // None when no reason has this code
};

struct DisparityMap
{
    cv::Mat1f m_pixels; // disparity with the offset added; +inf where there is none
    cv::Mat1b m_reject; // a Reject

    std::array<int, sk_nRejects> count() const;
};

DisparityMap readDisparity16(const cv::Mat1w& rImage, int nOffset, const RejectCodes& rCodes);

/** How bytes stand for disparities: first + step * (byte - base). */
struct ByteScale
{
    double m_dFirst = 0.0;
    double m_dStep = 1.0;
    int m_nBase = 0;
};
DisparityMap readDisparity8(const cv::Mat1b& rImage, const ByteScale& rScale, const RejectCodes& rCodes);

/**
 * 255 where a rectified pixel comes from inside the raw frame. The function gives the raw position (x, y) of a
 * rectified pixel (x, y).
 */
using RawPosition = std::function<cv::Point2f(cv::Point)>;
cv::Mat1b regionInsideRaw(cv::Size canvas, cv::Size raw, const RawPosition& rRawPosition);

/**
 * Rejects as Outside what has a window of the given reach, around the pixel or around its match in another camera's
 * image, that leaves the region of that camera.
 */
void rejectOutside(DisparityMap& rMap, const PerCamera<cv::Mat1b>& rRegions, int nReach);

} // namespace kestrova::app
