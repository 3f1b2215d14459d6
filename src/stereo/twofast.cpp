#include "stereo/twofast.h"

#include "stereo/ColumnSums.h"
#include "stereo/back_forth.h"
#include "stereo/mincorr.h"
#include "stereo/thresholds.h"

#include <algorithm>

namespace kestrova {

namespace {

constexpr LaneUse sk_plain{false, 0, 256};
constexpr LaneUse sk_validating{true, 1, 255};

// What a rejected pixel shows: one code for both tests, and texture's goes first.
std::uint8_t rejectCode(const Validation& rValidation, unsigned uTexture, unsigned uUniqueness, std::uint8_t ucInvalid)
{
    if (uTexture != 0) {
        return rValidation.m_ucTextureMapping;
    }
    return uUniqueness != 0 ? rValidation.m_ucUniquenessMapping : ucInvalid;
}

// The reject code for lane 0, then n labels.
LabelTable validatingLabels(std::uint8_t ucReject, const LabelTable& rLabels, unsigned n, std::uint8_t ucInvalid)
{
    LabelTable labels;
    labels.fill(ucInvalid);
    labels[0] = ucReject;
    std::copy_n(rLabels.begin(), std::min<std::size_t>(n, labels.size() - 1), labels.begin() + 1);
    return labels;
}

/** The scaled thresholds, and the labels with the reject code at their head. */
struct ScaledValidation
{
    ScaledValidation(const Validation& rValidation, const LabelTable& rLabels, unsigned n, int m,
                     std::uint8_t ucInvalid)
        : m_uTexture(scaledTexture(rValidation.m_dTexture, static_cast<unsigned>(m))),
          m_uUniqueness(scaledUniqueness(rValidation.m_dUniqueness)),
          m_labels(
              validatingLabels(rejectCode(rValidation, m_uTexture, m_uUniqueness, ucInvalid), rLabels, n, ucInvalid))
    {}

    void row(std::uint8_t* pOut, const ColumnSums& rSums) const
    {
        mincorr_val_row(pOut, rSums.table(), m_labels.data(), rSums.nCount(), rSums.nGroups(), m_uTexture,
                        m_uUniqueness, rSums.bSSE2());
    }

    unsigned m_uTexture;
    unsigned m_uUniqueness;
    LabelTable m_labels;
};

} // namespace

unsigned twofast_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                        const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n, unsigned m,
                        bool bBackForth, std::uint8_t ucInvalid, std::uint8_t ucBackForthMapping)
{
    return bBackForth ? twofast_twoway_stereo(rOut, rReference, rSearch, rLabels, n, m, ucInvalid, ucBackForthMapping)
                      : twofast_oneway_stereo(rOut, rReference, rSearch, rLabels, n, m);
}

unsigned twofast_oneway_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                               const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n, unsigned m)
{
    auto sums = ColumnSums::make(rOut.size(), rReference, rSearch, n, m, sk_plain);
    if (!sums) {
        return 0;
    }
    return sums->forEachRow([&](int nRow) {
        mincorr_row(&rOut[nRow][0], sums->table(), rLabels.data(), sums->nCount(), sums->nGroups(), sums->bSSE2());
    });
}

unsigned twofast_twoway_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                               const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n, unsigned m,
                               std::uint8_t ucInvalid, std::uint8_t ucBackForthMapping)
{
    static constexpr LabelTable sk_lanes = identityLabels();
    auto sums = ColumnSums::make(rOut.size(), rReference, rSearch, n, m, sk_plain);
    if (!sums) {
        return 0;
    }
    InverseRow inverse(sums->width());
    return sums->forEachRow([&](int nRow) {
        std::uint8_t* const pOut = &rOut[nRow][0];
        mincorr_row(pOut, sums->table(), sk_lanes.data(), sums->nCount(), sums->nGroups(), sums->bSSE2());
        inverse.mongo_inverse(sums->table(), sums->nInverse(), static_cast<int>(n), sums->nStride());
        back_forth_row(pOut, inverse.data(), rLabels, sums->nCount(), ucInvalid, ucBackForthMapping);
    });
}

unsigned twofast_validate_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                                 const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n, unsigned m,
                                 const Validation& rValidation, std::uint8_t ucInvalid, bool bBackForth,
                                 std::uint8_t ucBackForthMapping)
{
    return bBackForth
               ? twofast_twoway_validate_stereo(rOut, rReference, rSearch, rLabels, n, m, rValidation, ucInvalid,
                                                ucBackForthMapping)
               : twofast_oneway_validate_stereo(rOut, rReference, rSearch, rLabels, n, m, rValidation, ucInvalid);
}

unsigned twofast_oneway_validate_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                                        const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n,
                                        unsigned m, const Validation& rValidation, std::uint8_t ucInvalid)
{
    auto sums = ColumnSums::make(rOut.size(), rReference, rSearch, n, m, sk_validating);
    if (!sums) {
        return 0;
    }
    const ScaledValidation validation(rValidation, rLabels, n, sums->mask(), ucInvalid);
    return sums->forEachRow([&](int nRow) { validation.row(&rOut[nRow][0], *sums); });
}

unsigned twofast_twoway_validate_stereo(Image<unsigned char>& rOut, const Image<unsigned char>& rReference,
                                        const Image<unsigned char>& rSearch, const LabelTable& rLabels, unsigned n,
                                        unsigned m, const Validation& rValidation, std::uint8_t ucInvalid,
                                        std::uint8_t ucBackForthMapping)
{
    auto sums = ColumnSums::make(rOut.size(), rReference, rSearch, n, m, sk_validating);
    if (!sums) {
        return 0;
    }
    // Raw indices come out of the minimum, so a reject code of 240 or less is taken for one. That is the price of
    // codes below the labels.
    const ScaledValidation validation(rValidation, identityLabels(), n, sums->mask(), ucInvalid);
    InverseRow inverse(sums->width());
    return sums->forEachRow([&](int nRow) {
        std::uint8_t* const pOut = &rOut[nRow][0];
        validation.row(pOut, *sums);
        inverse.mongo_val_inverse(sums->table(), validation.m_labels, sums->nInverse(), static_cast<int>(n),
                                  sums->nStride());
        back_forth_row(pOut, inverse.data(), rLabels, sums->nCount(), ucInvalid, ucBackForthMapping);
    });
}

} // namespace kestrova
