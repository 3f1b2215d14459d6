#include "stereo/aligned_views.h"

#include <algorithm>

namespace kestrova {

namespace {

constexpr CameraSteps sk_lSteps = {{{0, 0}, {1, 0}, {0, 1}}};
constexpr CameraSteps sk_verticalSteps = {{{0, 0}, {1, 0}, {0, 0}}};
constexpr CameraSteps sk_horizontalSteps = {{{0, 0}, {0, 1}, {0, 0}}};

} // namespace

const CameraSteps* cameraSteps(KestrovaCameraConfiguration eConfiguration)
{
    switch (eConfiguration) {
    case KestrovaCfg3CameraL:
        return &sk_lSteps;
    case KestrovaCfg2CameraVertical:
        return &sk_verticalSteps;
    case KestrovaCfg2CameraHorizontal: // has a faster correlator, but nothing keeps it from this one
        return &sk_horizontalSteps;
    default:
        return nullptr;
    }
}

ImageROI AlignedViews::view(int nCamera) const
{
    const Origin& rOrigin = m_aOrigins[static_cast<std::size_t>(nCamera)];
    return {static_cast<int>(rOrigin.m_nRow), static_cast<int>(rOrigin.m_nCol), static_cast<int>(m_nRows),
            static_cast<int>(m_nCols)};
}

ImageROI AlignedViews::output(int nHalfMask) const
{
    const ImageROI reference = view(0);
    return {reference.m_nRowOffset + nHalfMask, reference.m_nColOffset + nHalfMask, reference.m_nRows - 2 * nHalfMask,
            reference.m_nCols - 2 * nHalfMask};
}

std::int64_t highestDisparity(const RegionGeometry& r, const CameraSteps& rSteps, int nMax)
{
    std::int64_t nHighest = nMax;
    for (const ImageDim& rStep : rSteps) {
        if (rStep.m_nRows != 0) {
            nHighest = std::min(nHighest, r.m_frame.m_nRows - 2 * r.m_nHalfMask - r.m_region.m_nRowOffset);
        }
        if (rStep.m_nCols != 0) {
            nHighest = std::min(nHighest, r.m_frame.m_nCols - 2 * r.m_nHalfMask - r.m_region.m_nColOffset);
        }
    }
    return nHighest;
}

AlignedViews alignedViews(const RegionGeometry& r, const CameraSteps& rSteps, int K, std::int64_t nDisparity)
{
    AlignedViews views{{}, r.m_region.m_nRows + 2 * r.m_nHalfMask, r.m_region.m_nCols + 2 * r.m_nHalfMask};
    const auto uCameras = static_cast<std::size_t>(K);
    AlignedViews::Origin cut = {0, 0};
    for (std::size_t u = 0; u < uCameras; ++u) {
        views.m_aOrigins[u] = {r.m_region.m_nRowOffset - r.m_nHalfMask + rSteps[u].m_nRows * nDisparity,
                               r.m_region.m_nColOffset - r.m_nHalfMask + rSteps[u].m_nCols * nDisparity};
        cut.m_nRow = std::min(cut.m_nRow, views.m_aOrigins[u].m_nRow);
        cut.m_nCol = std::min(cut.m_nCol, views.m_aOrigins[u].m_nCol);
    }
    views.m_nRows += cut.m_nRow;
    views.m_nCols += cut.m_nCol;
    for (std::size_t u = 0; u < uCameras; ++u) {
        AlignedViews::Origin& rOrigin = views.m_aOrigins[u];
        rOrigin = {rOrigin.m_nRow - cut.m_nRow, rOrigin.m_nCol - cut.m_nCol};
        views.m_nRows = std::min(views.m_nRows, r.m_frame.m_nRows - rOrigin.m_nRow);
        views.m_nCols = std::min(views.m_nCols, r.m_frame.m_nCols - rOrigin.m_nCol);
    }
    return views;
}

} // namespace kestrova
