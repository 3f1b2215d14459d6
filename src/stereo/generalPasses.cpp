// The plain way of the general correlator: working images as large as the frame, and a pass over them for each
// disparity, in ascending order.
#include "stereo/GeneralSearch.h"
#include "stereo/disparity_pass.h"

namespace kestrova {

namespace {

using Bytes = Image<unsigned char>;
using Words = Image<unsigned short>;

/** Images as they are cut for one disparity. */
using CameraViews = std::array<Bytes, sk_nMostCameras>;

/** The part of it that a disparity reaches; the images that only the fit needs stay empty without it. */
RunningMinimum cut(const RunningMinimum& r, const ImageROI& rROI, bool bSubpixel)
{
    if (!bSubpixel) {
        return {Words(r.m_best, rROI, false), Bytes(r.m_label, rROI, false), r.m_before, r.m_after, r.m_last};
    }
    return {Words(r.m_best, rROI, false), Bytes(r.m_label, rROI, false), Words(r.m_before, rROI, false),
            Words(r.m_after, rROI, false), Words(r.m_last, rROI, false)};
}

class Passes
{
public:
    explicit Passes(const GeneralSearch& rSearch) : s(rSearch), r(rSearch.m_rSettings), K(rSearch.images()) {}

    void correlate8();
    void correlate16();

private:
    [[nodiscard]] unsigned mask() const { return static_cast<unsigned>(r.m_nMask); }

    [[nodiscard]] CameraViews cameraViews(const AlignedViews& rViews) const
    {
        const auto cut = [&](int nCamera) {
            return nCamera < K ? Bytes(s.m_images[static_cast<std::size_t>(nCamera)], rViews.view(nCamera), false)
                               : Bytes::defaultImage;
        };
        return {cut(0), cut(1), cut(2)};
    }

    void seed(Words& rScore, Bytes& rLabel, const CameraViews& rViews) const;
    void merge(PassRows& rRows, const RunningMinimum& rWhole, int i, std::uint8_t ucLabel) const;
    void interpolate(const RunningMinimum& rWhole) const;

    const GeneralSearch& s;
    const CorrelationSettings& r;
    int K;
};

void Passes::seed(Words& rScore, Bytes& rLabel, const CameraViews& rViews) const
{
    earlyValidation(rScore, rLabel, rViews.data(), s.tests());
}

void Passes::merge(PassRows& rRows, const RunningMinimum& rWhole, int i, std::uint8_t ucLabel) const
{
    const AlignedViews views = s.viewsAt(i);
    RunningMinimum minimum = cut(rWhole, s.output(views), r.m_bSubpixel);
    const CameraViews cameras = cameraViews(views);
    stereoStep(rRows, minimum, {cameras.data(), K, mask(), ucLabel}, r.m_bSubpixel);
}

void Passes::correlate8()
{
    const ImageDim frame = s.frame();
    const RunningMinimum whole{Words(frame), s.m_rOut.m_r8, Words::defaultImage, Words::defaultImage,
                               Words::defaultImage};
    PassRows rows(frame);
    const AlignedViews first = s.viewsAt(s.m_nFirst);
    RunningMinimum minimum = cut(whole, s.output(first), false);
    if (r.testsLabels()) {
        // A disparity has to beat the seed to be seen at all, the first one like the others.
        seed(minimum.m_best, minimum.m_label, cameraViews(first));
        merge(rows, whole, s.m_nFirst, s.label8(s.m_nFirst));
    } else {
        stereoFirstStep(minimum.m_best, cameraViews(first).data(), K, mask());
        minimum.m_label.init(s.label8(s.m_nFirst));
    }
    for (int i = s.m_nFirst + 1; i <= s.m_nLast; ++i) {
        merge(rows, whole, i, s.label8(i));
    }
}

void Passes::correlate16()
{
    const ImageDim frame = s.frame();
    const RunningMinimum whole{Words(frame), Bytes(frame), Words(frame), Words(frame), Words(frame)};
    PassRows rows(frame);
    const AlignedViews first = s.viewsAt(s.m_nFirst);
    RunningMinimum minimum =
        cut(whole, s.output(first), true); // of all views the largest: nothing outside is ever read
    stereoFirstStep(minimum.m_best, cameraViews(first).data(), K, mask());
    minimum.m_label.init(static_cast<std::uint8_t>(s.m_nFirst));
    minimum.m_last.init(minimum.m_best);
    minimum.m_before.init(sk_uNeverSeen);
    minimum.m_after.init(sk_uNeverSeen);
    for (int i = s.m_nFirst + 1; i <= s.m_nLast; ++i) {
        merge(rows, whole, i, static_cast<std::uint8_t>(i));
    }
    interpolate(minimum);
}

void Passes::interpolate(const RunningMinimum& rMinimum) const
{
    const bool bValidates = r.testsLabels();
    const ImageDim dim = rMinimum.m_best.size();
    Words validation = bValidates ? Words(dim) : Words::constImage(dim, sk_uAnyScore);
    if (bValidates) {
        Bytes thrownAway = Bytes::constImage(dim, 0);
        seed(validation, thrownAway, cameraViews(s.viewsAt(s.m_nFirst)));
    }
    const RowInterpolation settings = s.fit();
    Words out(s.m_rOut.m_r16, s.output(s.viewsAt(s.m_nFirst)), false);
    for (int nRow = 0; nRow < dim.m_nRows; ++nRow) {
        row_interpolation(&out[nRow][0], dim.m_nCols, &rMinimum.m_best[nRow][0], &rMinimum.m_before[nRow][0],
                          &rMinimum.m_after[nRow][0], &rMinimum.m_label[nRow][0], &validation[nRow][0], settings);
    }
}

} // namespace

void searchByPasses(const GeneralSearch& rSearch)
{
    Passes passes(rSearch);
    if (rSearch.m_rSettings.m_bSubpixel) {
        passes.correlate16();
    } else {
        passes.correlate8();
    }
}

} // namespace kestrova
