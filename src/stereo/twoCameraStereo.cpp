#include "stereo/twoCameraStereo.h"

#include "context/StereoContext.h"
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
Rectangle outputRectangle(const StereoContext& r, const KestrovaROI& rRegion)
{
    const std::int64_t b = r.m_nStereoMaskSize / 2 + (r.m_bEdgeCorrelation ? r.m_nEdgeMaskSize / 2 : 0);
    const std::int64_t nRow = std::max<std::int64_t>(b, rRegion.m_nRowOffset);
    const std::int64_t nCol = std::max<std::int64_t>(b, rRegion.m_nColOffset);
    return {nRow, nCol, std::min(r.m_nRows - b, nRow + rRegion.m_nRows),
            std::min(r.m_nCols - r.m_nMinDisparity - b, nCol + rRegion.m_nCols)};
}

/** What a form of the correlator reads. */
struct Views
{
    Image<unsigned char> m_reference;
    Image<unsigned char> m_search;
};

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
LabelTable labelTable(const StereoContext& r, unsigned n)
{
    const unsigned uLast = n - 1;
    const auto uMin = static_cast<unsigned>(r.m_nDisparityMappingMin);
    const unsigned uSpan = static_cast<unsigned>(r.m_nDisparityMappingMax) - uMin;
    const auto uFirst = static_cast<unsigned>(r.m_nMinDisparity) - static_cast<unsigned>(r.m_nDisparityOffset);

    // A minimum on a rim of the range may lie outside it and is no result, unless the rim is disparity 0.
    LabelTable labels;
    labels.fill(r.m_ucSubpixelValidationMapping);
    if (r.m_nMinDisparity == 0) {
        labels[0] = static_cast<std::uint8_t>(r.m_bDisparityMappingOn ? uMin : 0);
    }
    for (unsigned d = 1; d < std::min(uLast, 256U); ++d) {
        labels[d] = static_cast<std::uint8_t>(r.m_bDisparityMappingOn ? uMin + d * uSpan / uLast : uFirst + d);
    }
    return labels;
}

// Without edge correlation the 8-bit forms run no test: the measure is the distance from an edge image's zero level.
bool validates8Bit(const StereoContext& r)
{
    return r.m_bEdgeCorrelation && (r.m_bTextureValidation || r.m_bUniquenessValidation);
}

Validation validation(const StereoContext& r, double dOff)
{
    return {r.m_bTextureValidation ? r.m_dTextureValidationThreshold : dOff,
            r.m_bUniquenessValidation ? r.m_dUniquenessValidationThreshold : dOff, r.m_ucTextureValidationMapping,
            r.m_ucUniquenessValidationMapping};
}

void correlate8(StereoContext& r, const Rectangle& rRectangle, const Views& rViews, unsigned n)
{
    Image<unsigned char> out(r.m_disparityImage, rRectangle.roi(), false);
    const auto m = static_cast<unsigned>(r.m_nStereoMaskSize);
    const LabelTable labels = labelTable(r, n);
    if (validates8Bit(r)) {
        twofast_validate_stereo(out, rViews.m_reference, rViews.m_search, labels, n, m, validation(r, -1.0),
                                r.m_ucSubpixelValidationMapping, r.m_bBackForthValidation,
                                r.m_ucBackForthValidationMapping);
    } else {
        twofast_stereo(out, rViews.m_reference, rViews.m_search, labels, n, m, r.m_bBackForthValidation,
                       r.m_ucSubpixelValidationMapping, r.m_ucBackForthValidationMapping);
    }
}

void correlate16(StereoContext& r, const Rectangle& rRectangle, const Views& rViews, unsigned n)
{
    Image<unsigned short> out(r.m_disparityImage16, rRectangle.roi(), false);
    twofast_subpix_stereo(out, rViews.m_reference, rViews.m_search, static_cast<unsigned>(r.m_nMinDisparity),
                          static_cast<unsigned>(r.m_nDisparityOffset), n, r.m_nStereoMaskSize, validation(r, 0.0),
                          r.m_bBackForthValidation, r.m_ucBackForthValidationMapping, r.m_ucSubpixelValidationMapping);
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
    const Rectangle out = outputRectangle(rContext, rRegion);
    const Rectangle reference = referenceRectangle(out, rContext.m_nStereoMaskSize);
    const Rectangle search = searchRectangle(reference, rContext.m_nMinDisparity, pStereoImages[1].size());
    const ImageDim outDim =
        rContext.m_bSubpixelInterpolation ? rContext.m_disparityImage16.size() : rContext.m_disparityImage.size();
    // Images of another resolution than the context's, as after a change without a new frame, may not hold them.
    if (!out.isWithin(outDim) || !reference.isWithin(pStereoImages[0].size()) ||
        !search.isWithin(pStereoImages[1].size())) {
        return KestrovaErrorOk;
    }
    const Views views{Image<unsigned char>(pStereoImages[0], reference.roi(), false),
                      Image<unsigned char>(pStereoImages[1], search.roi(), false)};
    const auto n = static_cast<unsigned>(rContext.m_nMaxDisparity - rContext.m_nMinDisparity + 1);
    (rContext.m_bSubpixelInterpolation ? correlate16 : correlate8)(rContext, out, views, n);
    return KestrovaErrorOk;
}

} // namespace kestrova
