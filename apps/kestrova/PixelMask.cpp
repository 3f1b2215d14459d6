#include "PixelMask.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kestrova::app {

static constexpr float sk_fUnknown = std::numeric_limits<float>::infinity();

Reject RejectCodes::reasonOf(std::uint8_t ucCode) const
{
    const auto found = std::find(m_aucCodes.begin(), m_aucCodes.end(), ucCode);
    return found == m_aucCodes.end() ? Reject::None : static_cast<Reject>(found - m_aucCodes.begin() + 1);
}

std::array<int, sk_nRejects> DisparityMap::count() const
{
    std::array<int, sk_nRejects> anCount{};
    for (unsigned char ucReject : m_reject)
        ++anCount[ucReject];
    return anCount;
}

template<typename Value, typename Meaning>
static DisparityMap readDisparity(const cv::Mat_<Value>& rImage, const Meaning& rMeaning)
{
    DisparityMap map{cv::Mat1f(rImage.size(), sk_fUnknown), cv::Mat1b(rImage.size(), uchar(0))};
    for (int nRow = 0; nRow < rImage.rows; ++nRow)
        for (int nCol = 0; nCol < rImage.cols; ++nCol) {
            const auto [reject, fDisparity] = rMeaning(rImage(nRow, nCol));
            map.m_reject(nRow, nCol) = static_cast<unsigned char>(reject);
            if (reject == Reject::None)
                map.m_pixels(nRow, nCol) = fDisparity;
        }
    return map;
}

DisparityMap readDisparity16(const cv::Mat1w& rImage, int nOffset, const RejectCodes& rCodes)
{
    return readDisparity(rImage, [&](std::uint16_t uValue) {
        if (uValue < 0xFF00)
            return std::pair(Reject::None, static_cast<float>(nOffset) + uValue / 256.0f);
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
    for (int nRow = 0; nRow < canvas.height; ++nRow)
        for (int nCol = 0; nCol < canvas.width; ++nCol) {
            const cv::Point2f at = rRawPosition({nCol, nRow});
            const bool bInside = at.x >= 0 && at.y >= 0 && at.x <= static_cast<float>(raw.width - 1) &&
                                 at.y <= static_cast<float>(raw.height - 1);
            region(nRow, nCol) = bInside ? 255 : 0;
        }
    return region;
}

// Shrinks a region to the pixels whose whole window is in it. The rim of the image is no edge of the region: what the
// correlator does there is its own affair.
static cv::Mat1b wholeWindows(const cv::Mat1b& rRegion, int nReach)
{
    cv::Mat1b shrunk;
    const int nSide = 2 * nReach + 1;
    cv::erode(rRegion, shrunk, cv::getStructuringElement(cv::MORPH_RECT, {nSide, nSide}));
    return shrunk;
}

void rejectOutside(DisparityMap& rMap, const cv::Mat1b& rRightRegion, const cv::Mat1b& rLeftRegion, int nReach)
{
    const cv::Mat1b right = wholeWindows(rRightRegion, nReach);
    const cv::Mat1b left = wholeWindows(rLeftRegion, nReach);
    for (int nRow = 0; nRow < rMap.m_pixels.rows; ++nRow)
        for (int nCol = 0; nCol < rMap.m_pixels.cols; ++nCol) {
            float& rDisparity = rMap.m_pixels(nRow, nCol);
            bool bInside = right(nRow, nCol) != 0;
            if (bInside && std::isfinite(rDisparity)) {
                const int nMatch = nCol + static_cast<int>(std::lround(rDisparity));
                bInside = nMatch >= 0 && nMatch < left.cols && left(nRow, nMatch) != 0;
            }
            if (!bInside) {
                rDisparity = sk_fUnknown;
                rMap.m_reject(nRow, nCol) = static_cast<unsigned char>(Reject::Outside);
            }
        }
}

} // namespace kestrova::app
