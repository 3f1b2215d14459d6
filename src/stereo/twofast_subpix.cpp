#include "stereo/twofast_subpix.h"

#include "stereo/ColumnSums.h"
#include "stereo/WholeRowSums.h"
#include "stereo/thresholds.h"

#include <algorithm>

namespace kestrova {

namespace {

constexpr unsigned sk_uMostDisparities = 255;

// A test that is off leaves its code to the one that is on.
SubpixValidation scaled(const Validation& rValidation, unsigned m)
{
    SubpixValidation scaled{scaledTexture(rValidation.m_dTexture, m), scaledUniqueness(rValidation.m_dUniqueness),
                            rValidation.m_ucTextureMapping, rValidation.m_ucUniquenessMapping};
    if (scaled.m_uTexture == 0) {
        scaled.m_ucTextureMapping = scaled.m_ucUniquenessMapping;
    } else if (scaled.m_uUniqueness == 0) {
        scaled.m_ucUniquenessMapping = scaled.m_ucTextureMapping;
    }
    return scaled;
}

/** One call, whichever way it goes. */
struct Call
{
    Image<unsigned short>& m_rOut;
    const ViewPair& m_rViews;
    const SubpixLabels& m_rLabels;
    const ColumnLayout& m_rLayout;
    const SubpixValidation& m_rValidation;
};

unsigned columnByColumn(const Call& r)
{
    ColumnSums sums(r.m_rLayout, r.m_rViews.m_reference, r.m_rViews.m_search);
    const SubpixRow row{sums.table(),
                        r.m_rLabels.m_uMinDisparity,
                        r.m_rLabels.m_uOffset,
                        sums.width(),
                        sums.mask(),
                        sums.nGroups(),
                        sums.nStride(),
                        static_cast<int>(r.m_rViews.m_uDisparities),
                        sums.lastLane(),
                        sums.bSSE2(),
                        r.m_rLabels.m_bBackForth,
                        r.m_rLabels.m_ucBackForthMapping,
                        r.m_rLabels.m_ucSubpixelMapping,
                        sums.lanes(),
                        &sums.inverse()};
    return sums.forEachRow([&](int nRow) {
        if (sums.use().m_bTextureLane) {
            cam2h_subpix_val_interp(&r.m_rOut[nRow][0], row, r.m_rValidation);
        } else {
            cam2h_subpix_interp(&r.m_rOut[nRow][0], row);
        }
    });
}

unsigned wholeRows(const WholeRowForm& rForm, const Call& r)
{
    WholeRowSums sums(rForm, r.m_rLayout, r.m_rViews.m_reference, r.m_rViews.m_search, r.m_rViews.m_uDisparities,
                      r.m_rLabels.m_bBackForth);
    const int nFirst = r.m_rLayout.use().m_bTextureLane ? 1 : 0;
    const SubpixThresholds thresholds = subpixThresholds(r.m_rValidation);
    FitRow fit{sums.neighbours(),
               nFirst != 0 ? sums.texture() : nullptr,
               nullptr,
               r.m_rLayout.nCount(),
               r.m_rLabels.m_uMinDisparity,
               r.m_rLabels.m_uOffset,
               r.m_rLayout.lastLane(),
               thresholds.m_uScale,
               thresholds.m_uLeast,
               r.m_rValidation.m_ucTextureMapping,
               r.m_rValidation.m_ucUniquenessMapping,
               r.m_rLabels.m_ucBackForthMapping,
               r.m_rLabels.m_ucSubpixelMapping};
    return sums.forEachRow([&](int nRow) {
        sums.findNeighbours();
        if (r.m_rLabels.m_bBackForth) {
            fit.m_pInverse = sums.inverseOfMatches(nFirst);
        }
        sums.fit(&r.m_rOut[nRow][0], fit);
    });
}

// Rows that are too wide for the validating loop go the plain way, which writes nothing.
const WholeRowForm* formFor(const Call& r)
{
    const bool bTooWide = r.m_rLayout.use().m_bTextureLane && r.m_rLayout.width() > sk_nWidestValidated;
    return bTooWide ? nullptr : WholeRowSums::formFor(r.m_rLayout, r.m_rViews.m_uDisparities, r.m_rLabels.m_bBackForth);
}

} // namespace

unsigned twofast_subpix_stereo(Image<unsigned short>& rOut, const ViewPair& rViews, const SubpixLabels& rLabels,
                               const Validation& rValidation)
{
    const unsigned m = static_cast<unsigned>(std::max(rViews.m_nMask, 1));
    const SubpixValidation validation = scaled(rValidation, m);
    const bool bValidate = validation.m_uTexture != 0 || validation.m_uUniqueness != 0;
    const auto layout = ColumnLayout::make(rOut.size(), rViews.m_reference.size(), rViews.m_search.size(),
                                           rViews.m_uDisparities, m, {bValidate, 1, sk_uMostDisparities});
    if (!layout) {
        return 0;
    }
    const Call call{rOut, rViews, rLabels, *layout, validation};
    const WholeRowForm* const pForm = formFor(call);
    return pForm != nullptr ? wholeRows(*pForm, call) : columnByColumn(call);
}

} // namespace kestrova
