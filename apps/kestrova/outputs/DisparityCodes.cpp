#include "outputs/DisparityCodes.h"

#include <kestrova.h>

#include <algorithm>
#include <cmath>

namespace kestrova::app {

namespace {

constexpr double sk_dMost = 65535.0;

// Each pixel through a function of its disparity and its reason.
template<typename Code>
cv::Mat1w coded(const DisparityMap& rMap, const Code& rCode)
{
    cv::Mat1w codes(rMap.m_pixels.size());
    for (int nRow = 0; nRow < codes.rows; ++nRow) {
        for (int nCol = 0; nCol < codes.cols; ++nCol) {
            codes(nRow, nCol) = static_cast<std::uint16_t>(
                rCode(rMap.m_pixels(nRow, nCol), static_cast<Reject>(rMap.m_reject(nRow, nCol))));
        }
    }
    return codes;
}

} // namespace

bool fitsKitti(cv::Vec2i range, int nScale)
{
    return static_cast<double>(range[1]) * nScale <= sk_dMost + 1.0;
}

cv::Mat1w kittiCodes(const DisparityMap& rMap, int nScale)
{
    return coded(rMap, [nScale](float fDisparity, Reject) {
        const double dCode = std::round(fDisparity * static_cast<double>(nScale));
        return std::isfinite(fDisparity) ? std::clamp(dCode, 1.0, sk_dMost) : 0.0;
    });
}

cv::Mat1w depthMillimetres(const DisparityMap& rMap, double dFocalTimesBaseline)
{
    return coded(rMap, [dFocalTimesBaseline](float fDisparity, Reject) {
        if (!std::isfinite(fDisparity) || fDisparity <= 0.0f) {
            return 0.0;
        }
        const double dMillimetres = std::round(1000.0 * dFocalTimesBaseline / fDisparity);
        return dMillimetres > sk_dMost ? 0.0 : std::max(1.0, dMillimetres);
    });
}

cv::Mat1w nativeCodes(const DisparityMap& rMap, int nOffset, const RejectCodes& rCodes)
{
    return coded(rMap, [&](float fDisparity, Reject eReject) {
        if (eReject == Reject::None) {
            return std::lround((fDisparity - static_cast<float>(nOffset)) * 256.0f);
        }
        // What no match was tried for has the byte of subpixel.
        const Reject eCoded = eReject > Reject::BackForth ? Reject::Subpixel : eReject;
        return static_cast<long>(KestrovaDisparity16Invalid) + rCodes.m_aucCodes[static_cast<std::size_t>(eCoded) - 1];
    });
}

} // namespace kestrova::app
