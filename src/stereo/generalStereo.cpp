#include "stereo/generalStereo.h"

#include "api/StereoContext.h"
#include "stereo/aligned_views.h"
#include "stereo/disparity_pass.h"
#include "stereo/early_validation.h"
#include "stereo/row_interpolation.h"

#include <algorithm>
#include <cstdint>

namespace kestrova {

namespace {

using Bytes = Image<unsigned char>;
using Words = Image<unsigned short>;

constexpr int sk_nMostCameras = 3;
constexpr std::uint16_t sk_uNeverSeen = 32767; // a neighbour in disparity that no pass has scored
constexpr std::uint16_t sk_uAnyScore = 65535;  // validation value that rejects nothing
constexpr int sk_nWholeUniqueness = 0x10000;   // the share is in the seed already
constexpr std::uint8_t sk_ucHigh = 0xFF;

/** Images as they are cut for one disparity. */
using CameraViews = std::array<Bytes, sk_nMostCameras>;

/** Per-pixel state of the running minimum; the images that only the fit needs stay empty without it. */
struct Minimum
{
    [[nodiscard]] Minimum cut(const ImageROI& rROI, bool bSubpixel) const
    {
        if (!bSubpixel) {
            return {Words(m_best, rROI, false), Bytes(m_label, rROI, false), m_before, m_after, m_last};
        }
        return {Words(m_best, rROI, false), Bytes(m_label, rROI, false), Words(m_before, rROI, false),
                Words(m_after, rROI, false), Words(m_last, rROI, false)};
    }

    Words m_best;
    Bytes m_label;
    Words m_before;
    Words m_after;
    Words m_last;
};

/** One region of a frame, with everything that its passes read. Indices are disparities less the context's offset. */
class Correlation
{
public:
    Correlation(StereoContext& rContext, const RegionGeometry& rGeometry, const CameraSteps& rSteps,
                const Bytes* pImages, int nImages, int nHighest)
        : r(rContext), m_rGeometry(rGeometry), m_rSteps(rSteps), m_pImages(pImages), K(nImages),
          m_nFirst(rContext.m_nMinDisparity - rContext.m_nDisparityOffset),
          m_nLast(nHighest - rContext.m_nDisparityOffset)
    {}

    /** True when all views of the range lie in the images with room for a window. */
    [[nodiscard]] bool hasRoom() const
    {
        for (int i = m_nFirst; i <= m_nLast; ++i) {
            if (!viewsAt(i).haveRoom(m_rGeometry.m_nHalfMask)) {
                return false;
            }
        }
        return true;
    }

    void correlate8();
    void correlate16();

private:
    [[nodiscard]] unsigned mask() const { return static_cast<unsigned>(r.m_nStereoMaskSize); }

    [[nodiscard]] AlignedViews viewsAt(int i) const
    {
        return alignedViews(m_rGeometry, m_rSteps, K, std::int64_t{i} + r.m_nDisparityOffset);
    }

    [[nodiscard]] ImageROI output(const AlignedViews& rViews) const { return rViews.output(r.m_nStereoMaskSize / 2); }

    [[nodiscard]] CameraViews cameraViews(const AlignedViews& rViews) const
    {
        const auto cut = [&](int nCamera) {
            return nCamera < K ? Bytes(m_pImages[nCamera], rViews.view(nCamera), false) : Bytes::defaultImage;
        };
        return {cut(0), cut(1), cut(2)};
    }

    // The test measures the distance from an edge image's zero level.
    [[nodiscard]] bool validates() const
    {
        return r.m_bEdgeCorrelation && (r.m_bTextureValidation || r.m_bUniquenessValidation);
    }

    void seed(Words& rScore, Bytes& rLabel, const CameraViews& rViews) const;
    [[nodiscard]] std::uint8_t label8(int i) const;
    void merge(PassRows& rRows, const Minimum& rWhole, int i, std::uint8_t ucLabel) const;
    void interpolate(const Minimum& rWhole) const;

    StereoContext& r;
    const RegionGeometry& m_rGeometry;
    const CameraSteps& m_rSteps;
    const Bytes* m_pImages; // borrowed, K of them
    int K;
    int m_nFirst;
    int m_nLast;
};

void Correlation::seed(Words& rScore, Bytes& rLabel, const CameraViews& rViews) const
{
    constexpr float sk_fOff = -1.0F;
    earlyValidation(rScore, rLabel, rViews.data(), K, r.m_nStereoMaskSize,
                    r.m_bTextureValidation ? static_cast<float>(r.m_dTextureValidationThreshold) : sk_fOff,
                    r.m_ucTextureValidationMapping,
                    r.m_bUniquenessValidation ? static_cast<float>(r.m_dUniquenessValidationThreshold) : sk_fOff,
                    r.m_ucUniquenessValidationMapping);
}

// A minimum on a rim of the range may lie outside it and is no result, unless the rim is index 0. The range ends where
// this region's does, so the last index and the mapped step may differ between regions.
std::uint8_t Correlation::label8(int i) const
{
    if (i == m_nLast || (i == m_nFirst && m_nFirst != 0)) {
        return r.m_ucSubpixelValidationMapping;
    }
    const int nSpan = r.m_nDisparityMappingMax - r.m_nDisparityMappingMin;
    const int nLabel =
        r.m_bDisparityMappingOn ? r.m_nDisparityMappingMin + nSpan * (i - m_nFirst) / (m_nLast - m_nFirst) : i;
    return static_cast<std::uint8_t>(nLabel);
}

void Correlation::merge(PassRows& rRows, const Minimum& rWhole, int i, std::uint8_t ucLabel) const
{
    const AlignedViews views = viewsAt(i);
    const bool bSubpixel = r.m_bSubpixelInterpolation;
    Minimum minimum = rWhole.cut(output(views), bSubpixel);
    stereoStep(rRows, minimum.m_best, minimum.m_label, minimum.m_before, minimum.m_after, minimum.m_last,
               cameraViews(views).data(), K, mask(), ucLabel, bSubpixel);
}

void Correlation::correlate8()
{
    const ImageDim frame = m_rGeometry.m_frame;
    const Minimum whole{Words(frame), r.m_disparityImage, Words::defaultImage, Words::defaultImage,
                        Words::defaultImage};
    PassRows rows(frame);
    const AlignedViews first = viewsAt(m_nFirst);
    Minimum minimum = whole.cut(output(first), false);
    if (validates()) {
        // A disparity has to beat the seed to be seen at all, the first one like the others.
        seed(minimum.m_best, minimum.m_label, cameraViews(first));
        merge(rows, whole, m_nFirst, label8(m_nFirst));
    } else {
        stereoFirstStep(minimum.m_best, cameraViews(first).data(), K, mask());
        minimum.m_label.init(label8(m_nFirst));
    }
    for (int i = m_nFirst + 1; i <= m_nLast; ++i) {
        merge(rows, whole, i, label8(i));
    }
}

void Correlation::correlate16()
{
    const ImageDim frame = m_rGeometry.m_frame;
    const Minimum whole{Words(frame), Bytes(frame), Words(frame), Words(frame), Words(frame)};
    PassRows rows(frame);
    const AlignedViews first = viewsAt(m_nFirst);
    Minimum minimum = whole.cut(output(first), true); // of all views the largest: nothing outside is ever read
    stereoFirstStep(minimum.m_best, cameraViews(first).data(), K, mask());
    minimum.m_label.init(static_cast<std::uint8_t>(m_nFirst));
    minimum.m_last.init(minimum.m_best);
    minimum.m_before.init(sk_uNeverSeen);
    minimum.m_after.init(sk_uNeverSeen);
    for (int i = m_nFirst + 1; i <= m_nLast; ++i) {
        merge(rows, whole, i, static_cast<std::uint8_t>(i));
    }
    interpolate(minimum);
}

void Correlation::interpolate(const Minimum& rMinimum) const
{
    const bool bValidates = validates();
    const ImageDim dim = rMinimum.m_best.size();
    Words validation = bValidates ? Words(dim) : Words::constImage(dim, sk_uAnyScore);
    if (bValidates) {
        Bytes thrownAway = Bytes::constImage(dim, 0);
        seed(validation, thrownAway, cameraViews(viewsAt(m_nFirst)));
    }
    const RowInterpolation settings{static_cast<std::uint16_t>(bValidates && r.m_bTextureValidation ? 1 : 0),
                                    bValidates && r.m_bUniquenessValidation ? sk_nWholeUniqueness : 0,
                                    static_cast<std::uint8_t>(m_nFirst),
                                    static_cast<std::uint8_t>(m_nLast),
                                    sk_ucHigh,
                                    r.m_ucTextureValidationMapping,
                                    r.m_ucUniquenessValidationMapping,
                                    r.m_ucSubpixelValidationMapping};
    Words out(r.m_disparityImage16, output(viewsAt(m_nFirst)), false);
    for (int nRow = 0; nRow < dim.m_nRows; ++nRow) {
        row_interpolation(&out[nRow][0], dim.m_nCols, &rMinimum.m_best[nRow][0], &rMinimum.m_before[nRow][0],
                          &rMinimum.m_after[nRow][0], &rMinimum.m_label[nRow][0], &validation[nRow][0], settings);
    }
}

// Images of another resolution than the context's, as after a change without a new frame, may not hold the views.
bool coverFrame(const Bytes* pImages, int K, const ImageDim& rFrame)
{
    return std::all_of(pImages, pImages + K, [&](const Bytes& rImage) {
        return rImage.nRows() >= rFrame.m_nRows && rImage.nCols() >= rFrame.m_nCols;
    });
}

} // namespace

KestrovaError generalStereo(StereoContext& rContext, const KestrovaROI& rRegion, const Bytes* pStereoImages, int K)
{
    const CameraSteps* const pSteps = cameraSteps(rContext.m_eCameraConfiguration);
    if (pSteps == nullptr || K < 2 || K > sk_nMostCameras) {
        return KestrovaErrorUnknown;
    }
    const RegionGeometry geometry{rRegion, {rContext.m_nRows, rContext.m_nCols}, rContext.m_nStereoMaskSize / 2};
    const std::int64_t nHighest = highestDisparity(geometry, *pSteps, rContext.m_nMaxDisparity);
    if (nHighest < 0) {
        return KestrovaErrorInvalidROI;
    }
    if (nHighest < rContext.m_nMinDisparity) {
        return KestrovaErrorOk;
    }
    Correlation correlation(rContext, geometry, *pSteps, pStereoImages, K, static_cast<int>(nHighest));
    if (!correlation.hasRoom()) {
        return KestrovaErrorInvalidROI;
    }
    const ImageDim outDim =
        rContext.m_bSubpixelInterpolation ? rContext.m_disparityImage16.size() : rContext.m_disparityImage.size();
    if (!(outDim == geometry.m_frame) || !coverFrame(pStereoImages, K, geometry.m_frame)) {
        return KestrovaErrorOk;
    }
    if (rContext.m_bSubpixelInterpolation) {
        correlation.correlate16();
    } else {
        correlation.correlate8();
    }
    return KestrovaErrorOk;
}

} // namespace kestrova
