#include "stereo/twoCameraStereo.h"

#include "context/StereoContext.h"
#include "stereo/CorrelationSettings.h"
#include "stereo/twofast.h"
#include "stereo/twofast_subpix.h"

#include <algorithm>
#include <cstdint>

namespace kestrova {

namespace {

constexpr unsigned short sk_uReject = KestrovaDisparity16Invalid; // plus a code

using Images = const Image<unsigned char>*;

/** First row and column, and those behind the last. Wide, because a region is whatever the caller wrote into it. */
struct Rectangle
{
    std::int64_t m_nRow, m_nCol, m_nRowEnd, m_nColEnd;

    [[nodiscard]] bool isWithin(const ImageDim& r) const
    {
        return m_nRow >= 0 && m_nCol >= 0 && m_nRow < m_nRowEnd && m_nCol < m_nColEnd && m_nRowEnd <= r.m_nRows &&
               m_nColEnd <= r.m_nCols;
    }

    [[nodiscard]] ImageROI roi() const
    {
        return {static_cast<int>(m_nRow), static_cast<int>(m_nCol), static_cast<int>(m_nRowEnd - m_nRow),
                static_cast<int>(m_nColEnd - m_nCol)};
    }
};

// A region that begins above or left of the border keeps its size: it ends as far behind the border as it would have
// ended behind its own corner.
Rectangle outputRectangle(const CorrelationSettings& r, const KestrovaROI& rRegion)
{
    const std::int64_t b = r.m_nMask / 2 + (r.m_bEdgeImages ? r.m_nEdgeMask / 2 : 0);
    const std::int64_t nRow = std::max<std::int64_t>(b, rRegion.m_nRowOffset);
    const std::int64_t nCol = std::max<std::int64_t>(b, rRegion.m_nColOffset);
    return {nRow, nCol, std::min(r.m_frame.m_nRows - b, nRow + rRegion.m_nRows),
            std::min(r.m_frame.m_nCols - r.m_nMinDisparity - b, nCol + rRegion.m_nCols)};
}

// Every pixel that a window of the output covers.
Rectangle referenceRectangle(const Rectangle& rOut, int m)
{
    const std::int64_t nHalf = m / 2;
    return {rOut.m_nRow - nHalf, rOut.m_nCol - nHalf, rOut.m_nRowEnd - nHalf + m - 1, rOut.m_nColEnd - nHalf + m - 1};
}

// As far as the search image goes: disparities beyond the right border drop out there.
Rectangle searchRectangle(const Rectangle& rReference, int nMinDisparity, const ImageDim& rSearch)
{
    return {rReference.m_nRow, rReference.m_nCol + nMinDisparity, rSearch.m_nRows, rSearch.m_nCols};
}

/** Labels of n disparities. */
LabelTable labelTable(const CorrelationSettings& r, unsigned n)
{
    const unsigned uLast = n - 1;
    const auto uMin = static_cast<unsigned>(r.m_nMappingMin);
    const unsigned uSpan = static_cast<unsigned>(r.m_nMappingMax) - uMin;
    const auto uFirst = static_cast<unsigned>(r.m_nMinDisparity) - static_cast<unsigned>(r.m_nDisparityOffset);

    // A minimum on a rim of the range may lie outside it and is no result, unless the rim is disparity 0.
    LabelTable labels;
    labels.fill(r.m_ucInvalid);
    if (r.m_nMinDisparity == 0) {
        labels[0] = static_cast<std::uint8_t>(r.m_bMapping ? uMin : 0);
    }
    for (unsigned d = 1; d < std::min(uLast, 256U); ++d) {
        labels[d] = static_cast<std::uint8_t>(r.m_bMapping ? uMin + d * uSpan / uLast : uFirst + d);
    }
    return labels;
}

Validation validation(const CorrelationSettings& r, double dOff)
{
    return {r.m_texture.thresholdOr(dOff), r.m_uniqueness.thresholdOr(dOff), r.m_texture.m_ucCode,
            r.m_uniqueness.m_ucCode};
}

void correlate8(Image<unsigned char> out, const ViewPair& rViews, const CorrelationSettings& r)
{
    const PairLabels labels{labelTable(r, rViews.m_uDisparities), r.m_ucInvalid, r.m_bBackForth, r.m_ucBackForthCode};
    if (r.testsLabels()) {
        twofast_validate_stereo(out, rViews, labels, validation(r, -1.0));
    } else {
        twofast_stereo(out, rViews, labels);
    }
}

void correlate16(Image<unsigned short> out, const ViewPair& rViews, const CorrelationSettings& r)
{
    const SubpixLabels labels{static_cast<unsigned>(r.m_nMinDisparity), static_cast<unsigned>(r.m_nDisparityOffset),
                              r.m_bBackForth, r.m_ucBackForthCode, r.m_ucInvalid};
    twofast_subpix_stereo(out, rViews, labels, validation(r, 0.0));
}

void correlate(const DisparityImages& rImages, const CorrelationSettings& r, const KestrovaROI& rRegion,
               Images pStereoImages)
{
    const Rectangle out = outputRectangle(r, rRegion);
    const Rectangle reference = referenceRectangle(out, r.m_nMask);
    const Rectangle search = searchRectangle(reference, r.m_nMinDisparity, pStereoImages[1].size());
    // Images of another resolution than the context's, as after a change without a new frame, may not hold them.
    if (!out.isWithin(rImages.size(r.m_bSubpixel)) || !reference.isWithin(pStereoImages[0].size()) ||
        !search.isWithin(pStereoImages[1].size())) {
        return;
    }
    const ViewPair views{Image<unsigned char>(pStereoImages[0], reference.roi(), false),
                         Image<unsigned char>(pStereoImages[1], search.roi(), false),
                         static_cast<unsigned>(r.m_nMaxDisparity - r.m_nMinDisparity + 1), r.m_nMask};
    if (r.m_bSubpixel) {
        correlate16(Image<unsigned short>(rImages.m_r16, out.roi(), false), views, r);
    } else {
        correlate8(Image<unsigned char>(rImages.m_r8, out.roi(), false), views, r);
    }
}

template<typename T>
void clear(Image<T>& rImage, const ImageDim& rDim, T fill)
{
    if (!(rImage.size() == rDim)) {
        rImage = Image<T>(rDim);
    }
    rImage.init(fill);
}

} // namespace

void clearDisparityImages(StereoContext& rContext)
{
    const ImageDim dim{rContext.m_nRows, rContext.m_nCols};
    const std::uint8_t ucCode = rContext.m_ucSubpixelValidationMapping;
    clear<unsigned char>(rContext.m_disparityImage, dim, ucCode);
    clear<unsigned short>(rContext.m_disparityImage16, dim, static_cast<unsigned short>(sk_uReject + ucCode));
}

KestrovaError twoCameraStereo(StereoContext& rContext, const KestrovaROI& rRegion, Images pStereoImages)
{
    correlate(DisparityImages::of(rContext), CorrelationSettings::of(rContext), rRegion, pStereoImages);
    return KestrovaErrorOk;
}

} // namespace kestrova
