#include "stereo/twofast_subpix.h"

#include "stereo/ColumnSums.h"
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

} // namespace

unsigned twofast_subpix_stereo(Image<unsigned short>& rOut, const Image<unsigned char>& rReference,
                               const Image<unsigned char>& rSearch, unsigned uMinDisparity, unsigned uOffset,
                               unsigned n, int nMask, const Validation& rValidation, bool bBackForth,
                               std::uint8_t ucBackForthMapping, std::uint8_t ucSubpixelMapping)
{
    const unsigned m = static_cast<unsigned>(std::max(nMask, 1));
    const SubpixValidation validation = scaled(rValidation, m);
    const bool bValidate = validation.m_uTexture != 0 || validation.m_uUniqueness != 0;
    auto sums = ColumnSums::make(rOut.size(), rReference, rSearch, n, m, {bValidate, 1, sk_uMostDisparities});
    if (!sums) {
        return 0;
    }
    std::vector<std::uint8_t> lanes(static_cast<std::size_t>(sums->nCount()));
    InverseRow inverse(sums->width());
    const SubpixRow row{sums->table(),     uMinDisparity,   uOffset,         sums->width(),
                        sums->mask(),      sums->nGroups(), sums->nStride(), static_cast<int>(n),
                        sums->lastLane(),  sums->bSSE2(),   bBackForth,      ucBackForthMapping,
                        ucSubpixelMapping, lanes.data(),    &inverse};
    return sums->forEachRow([&](int nRow) {
        if (bValidate) {
            cam2h_subpix_val_interp(&rOut[nRow][0], row, validation);
        } else {
            cam2h_subpix_interp(&rOut[nRow][0], row);
        }
    });
}

} // namespace kestrova
