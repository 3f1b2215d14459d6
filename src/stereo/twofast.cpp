#include "stereo/twofast.h"

#include "kernels/mincorr.h"
#include "stereo/ColumnSums.h"
#include "stereo/WholeRowSums.h"
#include "stereo/back_forth.h"
#include "stereo/thresholds.h"

#include <algorithm>
#include <optional>

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

    /** What the measures of windows compete as, with all their bits; see mincorr_val_row. */
    void seeds(std::uint32_t* __restrict pOut, const std::uint16_t* pMeasures, int n) const
    {
        const std::uint32_t uTexture = m_uTexture;
        const std::uint32_t uScale = m_uUniqueness;
        const std::uint32_t uLeast = (uScale * uTexture + 4095) >> 12;
        for (int x = 0; x < n && uScale != 0; ++x) {
            const std::uint32_t uBound = (pMeasures[x] * uScale) >> 12;
            pOut[x] = uBound & static_cast<std::uint32_t>(static_cast<std::int32_t>(uLeast - uBound) >> 16);
        }
        for (int x = 0; x < n && uScale == 0; ++x) {
            const std::uint32_t uExcess = (uTexture - pMeasures[x]) >> 16;
            pOut[x] = uExcess == 0 ? sk_uRejectedSeed : uExcess;
        }
    }

    void row(std::uint8_t* pOut, const ColumnSums& rSums) const
    {
        mincorr_val_row(pOut, rSums.table(), m_labels.data(), rSums.nCount(), rSums.nGroups(), m_uTexture,
                        m_uUniqueness, rSums.bSSE2());
    }

    unsigned m_uTexture;
    unsigned m_uUniqueness;
    LabelTable m_labels;
};

/** The labels of a call's pixels by whole rows, in place of mincorr_row and mincorr_val_row. */
class WholeRowLabels
{
public:
    WholeRowLabels(WholeRowSums& rSums, const ColumnLayout& rLayout, const LabelTable& rLabels,
                   const ScaledValidation* pValidation)
        : m_pSums(&rSums), m_pValidation(pValidation), m_nCount(rLayout.nCount()), m_nGroup(rLayout.bSSE2() ? 8 : 4)
    {
        std::uint8_t ucLowest = 255;
        for (auto u = static_cast<std::size_t>(rLayout.nLanes()); u > 0; --u) {
            const std::uint8_t ucLabel = rLabels[u - 1];
            m_labels[u - 1] = static_cast<std::uint16_t>(ucLabel | (ucLabel > ucLowest ? sk_uNotLowest : 0));
            ucLowest = std::min(ucLowest, ucLabel);
        }
    }

    void row(std::uint8_t* pOut)
    {
        std::uint32_t* const pSeeds = m_pValidation != nullptr ? m_pSums->seeds() : nullptr;
        if (pSeeds != nullptr) {
            m_pValidation->seeds(pSeeds, m_pSums->texture(), m_nCount);
        }
        m_pSums->findLabels({m_labels.data(), pSeeds, m_nGroup, pOut});
    }

private:
    WholeRowSums* m_pSums;
    const ScaledValidation* m_pValidation; // null: no texture lane
    std::array<std::uint16_t, 256> m_labels{};
    int m_nCount;
    int m_nGroup;
};

/** One call, whichever way it goes. */
struct Call
{
    Image<unsigned char>& m_rOut;
    const ViewPair& m_rViews;
    const ColumnLayout& m_rLayout;
};

/** Turns a row of raw indices into checked labels. */
void checkRow(std::uint8_t* pOut, const std::uint8_t* pInverse, const PairLabels& rLabels, int nCount)
{
    back_forth_row(pOut, pInverse, rLabels.m_labels, nCount, rLabels.m_ucInvalid, rLabels.m_ucBackForthMapping);
}

unsigned wholeRows(const WholeRowForm& rForm, const Call& rCall, const LabelTable& rLabels,
                   const ScaledValidation* pValidation, const PairLabels* pBackForth)
{
    WholeRowSums sums(rForm, rCall.m_rLayout, rCall.m_rViews.m_reference, rCall.m_rViews.m_search,
                      rCall.m_rViews.m_uDisparities, pBackForth != nullptr);
    WholeRowLabels labels(sums, rCall.m_rLayout, rLabels, pValidation);
    return sums.forEachRow([&](int nRow) {
        std::uint8_t* const pOut = &rCall.m_rOut[nRow][0];
        labels.row(pOut);
        if (pBackForth != nullptr) {
            checkRow(pOut, sums.inverse(0), *pBackForth, rCall.m_rLayout.nCount());
        }
    });
}

unsigned columnByColumn(const Call& rCall, const LabelTable& rLabels, const ScaledValidation* pValidation,
                        const PairLabels* pBackForth)
{
    ColumnSums sums(rCall.m_rLayout, rCall.m_rViews.m_reference, rCall.m_rViews.m_search);
    InverseRow& rInverse = sums.inverse();
    const int n = static_cast<int>(rCall.m_rViews.m_uDisparities);
    return sums.forEachRow([&](int nRow) {
        std::uint8_t* const pOut = &rCall.m_rOut[nRow][0];
        if (pValidation != nullptr) {
            pValidation->row(pOut, sums);
        } else {
            mincorr_row(pOut, sums.table(), rLabels.data(), sums.nCount(), sums.nGroups(), sums.bSSE2());
        }
        if (pBackForth != nullptr) {
            if (pValidation != nullptr) {
                rInverse.mongo_val_inverse(sums.table(), rLabels, sums.nInverse(), n, sums.nStride());
            } else {
                rInverse.mongo_inverse(sums.table(), sums.nInverse(), n, sums.nStride());
            }
            checkRow(pOut, rInverse.data(), *pBackForth, sums.nCount());
        }
    });
}

unsigned correlate(const Call& rCall, const LabelTable& rLabels, const ScaledValidation* pValidation,
                   const PairLabels* pBackForth)
{
    const WholeRowForm* const pForm =
        WholeRowSums::formFor(rCall.m_rLayout, rCall.m_rViews.m_uDisparities, pBackForth != nullptr);
    return pForm != nullptr ? wholeRows(*pForm, rCall, rLabels, pValidation, pBackForth)
                            : columnByColumn(rCall, rLabels, pValidation, pBackForth);
}

std::optional<ColumnLayout> layoutOf(const Image<unsigned char>& rOut, const ViewPair& rViews, const LaneUse& rUse)
{
    return ColumnLayout::make(rOut.size(), rViews.m_reference.size(), rViews.m_search.size(), rViews.m_uDisparities,
                              static_cast<unsigned>(rViews.m_nMask), rUse);
}

} // namespace

unsigned twofast_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const PairLabels& rLabels)
{
    return rLabels.m_bBackForth ? twofast_twoway_stereo(rOut, rViews, rLabels)
                                : twofast_oneway_stereo(rOut, rViews, rLabels.m_labels);
}

unsigned twofast_oneway_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const LabelTable& rLabels)
{
    const auto layout = layoutOf(rOut, rViews, sk_plain);
    return layout ? correlate({rOut, rViews, *layout}, rLabels, nullptr, nullptr) : 0;
}

unsigned twofast_twoway_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const PairLabels& rLabels)
{
    static constexpr LabelTable sk_lanes = identityLabels();
    const auto layout = layoutOf(rOut, rViews, sk_plain);
    return layout ? correlate({rOut, rViews, *layout}, sk_lanes, nullptr, &rLabels) : 0;
}

unsigned twofast_validate_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const PairLabels& rLabels,
                                 const Validation& rValidation)
{
    return (rLabels.m_bBackForth ? twofast_twoway_validate_stereo
                                 : twofast_oneway_validate_stereo)(rOut, rViews, rLabels, rValidation);
}

unsigned twofast_oneway_validate_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const PairLabels& rLabels,
                                        const Validation& rValidation)
{
    const auto layout = layoutOf(rOut, rViews, sk_validating);
    if (!layout) {
        return 0;
    }
    const ScaledValidation validation(rValidation, rLabels.m_labels, rViews.m_uDisparities, layout->mask(),
                                      rLabels.m_ucInvalid);
    return correlate({rOut, rViews, *layout}, validation.m_labels, &validation, nullptr);
}

unsigned twofast_twoway_validate_stereo(Image<unsigned char>& rOut, const ViewPair& rViews, const PairLabels& rLabels,
                                        const Validation& rValidation)
{
    const auto layout = layoutOf(rOut, rViews, sk_validating);
    if (!layout) {
        return 0;
    }
    // Raw indices come out of the minimum, so a reject code of 240 or less is taken for one. That is the price of
    // codes below the labels.
    const ScaledValidation validation(rValidation, identityLabels(), rViews.m_uDisparities, layout->mask(),
                                      rLabels.m_ucInvalid);
    return correlate({rOut, rViews, *layout}, validation.m_labels, &validation, &rLabels);
}

} // namespace kestrova
