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

class Passes
{
public:
    explicit Passes(const GeneralSearch& rSearch) : s(rSearch), r(rSearch.m_rContext), K(rSearch.m_nImages) {}

    void correlate8();
    void correlate16();

private:
    [[nodiscard]] unsigned mask() const { return static_cast<unsigned>(r.m_nStereoMaskSize); }

    [[nodiscard]] CameraViews cameraViews(const AlignedViews& rViews) const
    {
        const auto cut = [&](int nCamera) {
            return nCamera < K ? Bytes(s.m_pImages[nCamera], rViews.view(nCamera), false) : Bytes::defaultImage;
        };
        return {cut(0), cut(1), cut(2)};
    }

    void seed(Words& rScore, Bytes& rLabel, const CameraViews& rViews) const;
    void merge(PassRows& rRows, const Minimum& rWhole, int i, std::uint8_t ucLabel) const;
    void interpolate(const Minimum& rWhole) const;

    const GeneralSearch& s;
    StereoContext& r;
    int K;
};

void Passes::seed(Words& rScore, Bytes& rLabel, const CameraViews& rViews) const
{
    earlyValidation(rScore, rLabel, rViews.data(), K, r.m_nStereoMaskSize, s.textureThreshold(),
                    r.m_ucTextureValidationMapping, s.uniquenessThreshold(), r.m_ucUniquenessValidationMapping);
}

void Passes::merge(PassRows& rRows, const Minimum& rWhole, int i, std::uint8_t ucLabel) const
{
    const AlignedViews views = s.viewsAt(i);
    const bool bSubpixel = r.m_bSubpixelInterpolation;
    Minimum minimum = rWhole.cut(s.output(views), bSubpixel);
    stereoStep(rRows, minimum.m_best, minimum.m_label, minimum.m_before, minimum.m_after, minimum.m_last,
               cameraViews(views).data(), K, mask(), ucLabel, bSubpixel);
}

void Passes::correlate8()
{
    const ImageDim frame = s.frame();
    const Minimum whole{Words(frame), r.m_disparityImage, Words::defaultImage, Words::defaultImage,
                        Words::defaultImage};
    PassRows rows(frame);
    const AlignedViews first = s.viewsAt(s.m_nFirst);
    Minimum minimum = whole.cut(s.output(first), false);
    if (s.validates()) {
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
    const Minimum whole{Words(frame), Bytes(frame), Words(frame), Words(frame), Words(frame)};
    PassRows rows(frame);
    const AlignedViews first = s.viewsAt(s.m_nFirst);
    Minimum minimum = whole.cut(s.output(first), true); // of all views the largest: nothing outside is ever read
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

void Passes::interpolate(const Minimum& rMinimum) const
{
    const bool bValidates = s.validates();
    const ImageDim dim = rMinimum.m_best.size();
    Words validation = bValidates ? Words(dim) : Words::constImage(dim, sk_uAnyScore);
    if (bValidates) {
        Bytes thrownAway = Bytes::constImage(dim, 0);
        seed(validation, thrownAway, cameraViews(s.viewsAt(s.m_nFirst)));
    }
    const RowInterpolation settings = s.fit();
    Words out(r.m_disparityImage16, s.output(s.viewsAt(s.m_nFirst)), false);
    for (int nRow = 0; nRow < dim.m_nRows; ++nRow) {
        row_interpolation(&out[nRow][0], dim.m_nCols, &rMinimum.m_best[nRow][0], &rMinimum.m_before[nRow][0],
                          &rMinimum.m_after[nRow][0], &rMinimum.m_label[nRow][0], &validation[nRow][0], settings);
    }
}

} // namespace

void searchByPasses(const GeneralSearch& rSearch)
{
    Passes passes(rSearch);
    if (rSearch.m_rContext.m_bSubpixelInterpolation) {
        passes.correlate16();
    } else {
        passes.correlate8();
    }
}

} // namespace kestrova
