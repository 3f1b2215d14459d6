#include "session/PixelMask.h"

#include <kestrova.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kestrova::app {

namespace {

constexpr float sk_fUnknown = std::numeric_limits<float>::infinity();

} // namespace

const char* rejectName(Reject eReject)
{
    static constexpr std::array<const char*, sk_nRejects> sk_apszNames{
        "found", "texture", "uniqueness", "subpixel", "surface", "back-forth", "outside", "hidden"};
    return sk_apszNames.at(static_cast<std::size_t>(eReject));
}

Reject RejectCodes::reasonOf(std::uint8_t ucCode) const
{
    const auto found = std::find(m_aucCodes.begin(), m_aucCodes.end(), ucCode);
    return found == m_aucCodes.end() ? Reject::None : static_cast<Reject>(found - m_aucCodes.begin() + 1);
}

std::array<int, sk_nRejects> DisparityMap::count() const
{
    std::array<int, sk_nRejects> anCount{};
    for (unsigned char ucReject : m_reject) {
        ++anCount[ucReject];
    }
    return anCount;
}

namespace {

template<typename Value, typename Meaning>
DisparityMap readDisparity(const cv::Mat_<Value>& rImage, const Meaning& rMeaning)
{
    DisparityMap map{cv::Mat1f(rImage.size(), sk_fUnknown), cv::Mat1b(rImage.size(), uchar(0))};
    for (int nRow = 0; nRow < rImage.rows; ++nRow) {
        for (int nCol = 0; nCol < rImage.cols; ++nCol) {
            const auto [reject, fDisparity] = rMeaning(rImage(nRow, nCol));
            map.m_reject(nRow, nCol) = static_cast<unsigned char>(reject);
            if (reject == Reject::None) {
                map.m_pixels(nRow, nCol) = fDisparity;
            }
        }
    }
    return map;
}

} // namespace

DisparityMap readDisparity16(const cv::Mat1w& rImage, int nOffset, const RejectCodes& rCodes)
{
    return readDisparity(rImage, [&](std::uint16_t uValue) {
        if (!KESTROVA_DISPARITY16_IS_INVALID(uValue)) {
            return std::pair(Reject::None, static_cast<float>(nOffset) + uValue / 256.0f);
        }
        const Reject reason = rCodes.reasonOf(static_cast<std::uint8_t>(uValue & 0xFF));
        return std::pair(reason == Reject::None ? Reject::Subpixel : reason, 0.0f);
    });
}

DisparityMap readDisparity8(const cv::Mat1b& rImage, const ByteScale& rScale, const RejectCodes& rCodes)
{
    return readDisparity(rImage, [&](std::uint8_t ucValue) {
        const double dDisparity = rScale.m_dFirst + rScale.m_dStep * (ucValue - rScale.m_nBase);
        return std::pair(rCodes.reasonOf(ucValue), static_cast<float>(dDisparity));
    });
}

cv::Mat1b regionInsideRaw(cv::Size canvas, cv::Size raw, const RawPosition& rRawPosition)
{
    cv::Mat1b region(canvas);
    for (int nRow = 0; nRow < canvas.height; ++nRow) {
        for (int nCol = 0; nCol < canvas.width; ++nCol) {
            const cv::Point2f at = rRawPosition({nCol, nRow});
            const bool bInside = at.x >= 0 && at.y >= 0 && at.x <= static_cast<float>(raw.width - 1) &&
                                 at.y <= static_cast<float>(raw.height - 1);
            region(nRow, nCol) = bInside ? 255 : 0;
        }
    }
    return region;
}

namespace {

// Shrinks a region to the pixels whose whole window is in it. The rim of the image is no edge of the region: what the
// correlator does there is its own affair.
cv::Mat1b wholeWindows(const cv::Mat1b& rRegion, int nReach)
{
    cv::Mat1b shrunk;
    const int nSide = 2 * nReach + 1;
    cv::erode(rRegion, shrunk, cv::getStructuringElement(cv::MORPH_RECT, {nSide, nSide}));
    return shrunk;
}

// Where a pixel of the right image stands in a camera's image, by its disparity.
cv::Point placeIn(KestrovaCamera eCamera, cv::Point pixel, float fDisparity)
{
    if (eCamera == KestrovaCamRight) {
        return pixel;
    }
    const int nShift = static_cast<int>(std::lround(fDisparity));
    return pixel + (eCamera == KestrovaCamTop ? cv::Point(0, nShift) : cv::Point(nShift, 0));
}

} // namespace

void rejectOutside(DisparityMap& rMap, const PerCamera<cv::Mat1b>& rRegions, int nReach)
{
    cv::Mat1b outside(rMap.m_pixels.size(), uchar(0));
    const cv::Rect frame({0, 0}, outside.size());
    for (const auto& [eCamera, rRegion] : rRegions) {
        const cv::Mat1b region = wholeWindows(rRegion, nReach);
        for (int nRow = 0; nRow < outside.rows; ++nRow) {
            for (int nCol = 0; nCol < outside.cols; ++nCol) {
                const float fDisparity = rMap.m_pixels(nRow, nCol);
                if (eCamera != KestrovaCamRight && !std::isfinite(fDisparity)) {
                    continue; // the right image alone decides
                }
                const cv::Point at = placeIn(eCamera, {nCol, nRow}, fDisparity);
                if (!frame.contains(at) || !region(at)) {
                    outside(nRow, nCol) = 255;
                }
            }
        }
    }
    rMap.m_pixels.setTo(sk_fUnknown, outside);
    rMap.m_reject.setTo(static_cast<unsigned char>(Reject::Outside), outside);
}

} // namespace kestrova::app
