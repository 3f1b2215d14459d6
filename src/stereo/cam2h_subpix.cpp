#include "stereo/cam2h_subpix.h"

#include "kernels/mincorr.h"
#include "kestrova.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace kestrova {

namespace {

constexpr unsigned sk_uHighest = 239;                       // lane that the back-forth check looks at
constexpr unsigned sk_uReject = KestrovaDisparity16Invalid; // plus a code
constexpr unsigned sk_uUnreached = 0xFFFF;
constexpr LabelTable sk_lanes = identityLabels();

/** 0x800000 / k: half a pixel over a sum difference, in 16.16 of 1/256. Differences beyond 4096 have no fraction. */
constexpr unsigned sk_uNoFraction = 4097;
constexpr std::array<std::uint32_t, sk_uNoFraction + 1> sk_auReciprocal = [] {
    std::array<std::uint32_t, sk_uNoFraction + 1> table{};
    for (std::uint32_t k = 1; k < sk_uNoFraction; ++k) {
        table[k] = 0x800000 / k;
    }
    return table;
}();

/** A best sum and its neighbours in disparity. */
struct Neighbours
{
    unsigned a;
    unsigned c;
    unsigned b;

    [[nodiscard]] bool isMinimum() const { return (b != sk_uUnreached) & (b >= c) & (a >= c); }

    // (a - b) * 128 / k, k being the steeper side. For a minimum the product stays within 0x800000 either way, because
    // a and b differ by no more than k; what comes out for anything else is not used.
    [[nodiscard]] int fraction(bool bDown) const
    {
        const unsigned k = std::min(std::max(a, b) - c, sk_uNoFraction);
        const auto nProduct = static_cast<std::int32_t>((a - b) * sk_auReciprocal[k]);
        return bDown ? nProduct >> 16 : nProduct / 65536;
    }
};

// The lower bound wraps: where the inverse is 0 only lane 0 passes. The 8-bit forms let a 1 pass there.
bool disagree(unsigned uLane, unsigned uInverse)
{
    return (uLane != uInverse) & ((uLane > uInverse + 1) | (uLane < uInverse - 1));
}

std::uint16_t reject(unsigned uCode)
{
    return static_cast<std::uint16_t>(sk_uReject + uCode);
}

// All tests are worked out for all pixels, and the one that goes first is put on last: pixels fail in no order that a
// branch could be predicted from. Disparity index 0 stands in lane uFirst. A lane 0 that holds the texture measure is
// no disparity; it can win without a texture threshold, and skips the back-forth check.
template<unsigned uFirst>
std::uint16_t subpixel(const SubpixRow& rRow, const std::uint16_t* pColumn, unsigned uLane,
                       const std::uint8_t* pInverse)
{
    const unsigned uInner = std::max(uLane, 1U);
    const Neighbours sums{pColumn[uInner - 1], pColumn[uInner], pColumn[uInner + 1]};
    const unsigned uSubpixel = reject(rRow.m_ucSubpixelMapping);
    // The first disparity has no neighbour in front: it counts only if nothing lies in front of it at all.
    const unsigned uOnFirst = rRow.m_uMinDisparity == 0 ? 0 : uSubpixel;

    unsigned uOut = ((rRow.m_uMinDisparity - rRow.m_uOffset + uLane - uFirst) << 8) +
                    static_cast<unsigned>(sums.fraction(uFirst != 0));
    uOut = sums.isMinimum() ? uOut : uSubpixel;
    uOut = uLane == uFirst ? uOnFirst : uOut;
    uOut = ((uLane < uFirst) | (uLane >= rRow.m_uLastLane)) ? uSubpixel : uOut;
    if (rRow.m_bBackForth) {
        const bool bChecked = (uLane >= uFirst) & (uLane <= sk_uHighest);
        const unsigned uInverse = pInverse[std::max(uLane, uFirst) - uFirst];
        uOut = (bChecked & disagree(uLane, uInverse)) ? reject(rRow.m_ucBackForthMapping) : uOut;
    }
    return static_cast<std::uint16_t>(uOut);
}

void bestLanes(const SubpixRow& rRow)
{
    mincorr_row(rRow.m_pLanes, rRow.m_pTable, sk_lanes.data(), rRow.m_nWidth + 1 - rRow.m_nMask, rRow.m_nGroups,
                rRow.m_bSSE2);
}

int nInverse(const SubpixRow& rRow)
{
    return rRow.m_nWidth - (rRow.m_nMask - 1) / 2;
}

} // namespace

SubpixThresholds subpixThresholds(const SubpixValidation& rValidation)
{
    // Without a uniqueness test the bound is 16 times the measure, modulo 65536, and still is compared.
    const std::uint32_t uScale = rValidation.m_uUniqueness == 0 ? 0x10000U : rValidation.m_uUniqueness;
    return {uScale, (rValidation.m_uTexture * uScale + 4095) >> 12};
}

void cam2h_subpix_interp(std::uint16_t* pOut, const SubpixRow& rRow)
{
    bestLanes(rRow);
    if (rRow.m_bBackForth) {
        rRow.m_pInverse->mongo_inverse(rRow.m_pTable, nInverse(rRow), rRow.m_nDisparities, rRow.m_nStride);
    }
    const std::uint8_t* const pInverse = rRow.m_pInverse->data();
    const std::ptrdiff_t nLanes = static_cast<std::ptrdiff_t>(rRow.m_nStride) * 4;
    const std::uint16_t* pColumn = rRow.m_pTable;
    for (int x = 0; x < rRow.m_nWidth + 1 - rRow.m_nMask; ++x, pColumn += nLanes) {
        pOut[x] = subpixel<0>(rRow, pColumn, rRow.m_pLanes[x], pInverse + x);
    }
}

void cam2h_subpix_val_interp(std::uint16_t* pOut, const SubpixRow& rRow, const SubpixValidation& rValidation)
{
    if (rRow.m_nWidth > sk_nWidestValidated) {
        return;
    }
    bestLanes(rRow);
    if (rRow.m_bBackForth) {
        rRow.m_pInverse->mongo_val_inverse(rRow.m_pTable, sk_lanes, nInverse(rRow), rRow.m_nDisparities,
                                           rRow.m_nStride);
    }
    const std::uint8_t* const pInverse = rRow.m_pInverse->data();
    const SubpixThresholds thresholds = subpixThresholds(rValidation);
    const std::ptrdiff_t nLanes = static_cast<std::ptrdiff_t>(rRow.m_nStride) * 4;
    const std::uint16_t* pColumn = rRow.m_pTable;
    for (int x = 0; x < rRow.m_nWidth + 1 - rRow.m_nMask; ++x, pColumn += nLanes) {
        const unsigned uLane = rRow.m_pLanes[x];
        const unsigned uBound = ((pColumn[0] * thresholds.m_uScale) >> 12) & 0xFFFF;
        unsigned uOut = subpixel<1>(rRow, pColumn, uLane, pInverse + x);
        uOut = uBound < pColumn[uLane] ? reject(rValidation.m_ucUniquenessMapping) : uOut;
        uOut = thresholds.m_uLeast > uBound ? reject(rValidation.m_ucTextureMapping) : uOut;
        pOut[x] = static_cast<std::uint16_t>(uOut);
    }
}

} // namespace kestrova
