#include "stereo/cam2h_subpix.h"

#include "stereo/mincorr.h"

#include <array>
#include <cstddef>

namespace kestrova {

namespace {

constexpr int sk_nWidest = 1280;        // of a validated row
constexpr unsigned sk_uHighest = 239;   // lane that the back-forth check looks at
constexpr unsigned sk_uReject = 0xFF00; // plus a code
constexpr std::uint16_t sk_uUnreached = 0xFFFF;
constexpr LabelTable sk_lanes = identityLabels();

/** 0x800000 / k: half a pixel over a sum difference, in 16.16 of 1/256. Differences beyond it have no fraction. */
constexpr std::array<std::uint32_t, 4097> sk_auReciprocal = [] {
    std::array<std::uint32_t, 4097> table{};
    for (std::uint32_t k = 1; k < table.size(); ++k) {
        table[k] = 0x800000 / k;
    }
    return table;
}();

std::uint32_t reciprocal(unsigned k)
{
    return k < sk_auReciprocal.size() ? sk_auReciprocal[k] : 0;
}

/** A best sum and its neighbours in disparity. */
struct Neighbours
{
    std::uint16_t a;
    std::uint16_t c;
    std::uint16_t b;

    [[nodiscard]] bool isMinimum() const { return b != sk_uUnreached && b >= c && a >= c; }
};

// (a - b) * 128 / k, k being the steeper side. (higher - lower) * R[k] stays below 0x800000, because a minimum lies
// in the middle.
std::uint16_t fractionTowardZero(const Neighbours& r)
{
    if (r.a > r.b) {
        return static_cast<std::uint16_t>((static_cast<unsigned>(r.a - r.b) * reciprocal(r.a - r.c)) >> 16);
    }
    const unsigned uFraction = (static_cast<unsigned>(r.b - r.a) * reciprocal(r.b - r.c)) >> 16;
    return static_cast<std::uint16_t>(0U - uFraction);
}

std::uint16_t fractionDown(const Neighbours& r)
{
    const unsigned k = static_cast<unsigned>(r.a > r.b ? r.a - r.c : r.b - r.c);
    return static_cast<std::uint16_t>(((r.a - r.b) * static_cast<int>(reciprocal(k))) >> 16);
}

// The lower bound wraps: where the inverse is 0 only lane 0 passes. The 8-bit forms let a 1 pass there.
bool disagree(unsigned uLane, unsigned uInverse)
{
    return uLane != uInverse && (uLane > uInverse + 1 || uLane < uInverse - 1);
}

std::uint16_t reject(unsigned uCode)
{
    return static_cast<std::uint16_t>(sk_uReject + uCode);
}

Neighbours neighbours(const std::uint16_t* pColumn, unsigned uLane)
{
    return {pColumn[uLane - 1], pColumn[uLane], pColumn[uLane + 1]};
}

// The first disparity of the range has no neighbour in front: it counts only if nothing lies in front of it at all.
std::uint16_t onFirstDisparity(const SubpixRow& rRow)
{
    return rRow.m_uMinDisparity == 0 ? std::uint16_t{0} : reject(rRow.m_ucSubpixelMapping);
}

std::uint16_t base(const SubpixRow& rRow, unsigned uIndex)
{
    return static_cast<std::uint16_t>((rRow.m_uMinDisparity - rRow.m_uOffset + uIndex) << 8);
}

std::uint16_t subpixel(const SubpixRow& rRow, const std::uint16_t* pColumn, unsigned d, const std::uint8_t* pInverse)
{
    if (rRow.m_bBackForth && d <= sk_uHighest && disagree(d, pInverse[d])) {
        return reject(rRow.m_ucBackForthMapping);
    }
    if (d >= rRow.m_uLastLane) {
        return reject(rRow.m_ucSubpixelMapping);
    }
    if (d == 0) {
        return onFirstDisparity(rRow);
    }
    const Neighbours scores = neighbours(pColumn, d);
    if (!scores.isMinimum()) {
        return reject(rRow.m_ucSubpixelMapping);
    }
    return static_cast<std::uint16_t>(base(rRow, d) + fractionTowardZero(scores));
}

/** The thresholds of a whole row, as the texture measure is compared with them. */
struct RowThresholds
{
    std::uint32_t m_uScale;
    std::uint32_t m_uLeast;
};

RowThresholds rowThresholds(const SubpixValidation& rValidation)
{
    // Without a uniqueness test the bound is 16 times the measure, modulo 65536, and still is compared.
    const std::uint32_t uScale = rValidation.m_uUniqueness == 0 ? 0x10000U : rValidation.m_uUniqueness;
    return {uScale, (rValidation.m_uTexture * uScale + 4095) >> 12};
}

std::uint16_t validatedSubpixel(const SubpixRow& rRow, const std::uint16_t* pColumn, unsigned j,
                                const std::uint8_t* pInverse)
{
    // Lane 0 is no disparity: its winning, possible without a texture threshold, skips the back-forth check.
    if (rRow.m_bBackForth && j >= 1 && j <= sk_uHighest && disagree(j, pInverse[j - 1])) {
        return reject(rRow.m_ucBackForthMapping);
    }
    if (j >= rRow.m_uLastLane || j == 0) {
        return reject(rRow.m_ucSubpixelMapping);
    }
    if (j == 1) {
        return onFirstDisparity(rRow);
    }
    const Neighbours scores = neighbours(pColumn, j);
    if (!scores.isMinimum()) {
        return reject(rRow.m_ucSubpixelMapping);
    }
    return static_cast<std::uint16_t>(base(rRow, j - 1) + fractionDown(scores));
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
        pOut[x] = subpixel(rRow, pColumn, rRow.m_pLanes[x], pInverse + x);
    }
}

void cam2h_subpix_val_interp(std::uint16_t* pOut, const SubpixRow& rRow, const SubpixValidation& rValidation)
{
    if (rRow.m_nWidth > sk_nWidest) {
        return;
    }
    bestLanes(rRow);
    if (rRow.m_bBackForth) {
        rRow.m_pInverse->mongo_val_inverse(rRow.m_pTable, sk_lanes, nInverse(rRow), rRow.m_nDisparities,
                                           rRow.m_nStride);
    }
    const std::uint8_t* const pInverse = rRow.m_pInverse->data();
    const RowThresholds thresholds = rowThresholds(rValidation);
    const std::ptrdiff_t nLanes = static_cast<std::ptrdiff_t>(rRow.m_nStride) * 4;
    const std::uint16_t* pColumn = rRow.m_pTable;
    for (int x = 0; x < rRow.m_nWidth + 1 - rRow.m_nMask; ++x, pColumn += nLanes) {
        const unsigned j = rRow.m_pLanes[x];
        const auto uBound = static_cast<std::uint16_t>((pColumn[0] * thresholds.m_uScale) >> 12);
        if (thresholds.m_uLeast > uBound) {
            pOut[x] = reject(rValidation.m_ucTextureMapping);
        } else if (uBound < pColumn[j]) {
            pOut[x] = reject(rValidation.m_ucUniquenessMapping);
        } else {
            pOut[x] = validatedSubpixel(rRow, pColumn, j, pInverse + x);
        }
    }
}

} // namespace kestrova
