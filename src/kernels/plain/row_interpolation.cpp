#include "kernels/row_interpolation.h"

namespace kestrova {

namespace {

constexpr int sk_nNeverSeen = 32767;

struct Scores
{
    int s;
    int a;
    int b;

    [[nodiscard]] bool isMinimum() const
    {
        const bool bSeen = s < sk_nNeverSeen && a < sk_nNeverSeen && b < sk_nNeverSeen;
        return bSeen && s <= a && s <= b && !(s == a && s == b);
    }

    // In 1/256 of a disparity, on the side of the lower neighbour. Both divisions truncate toward zero.
    [[nodiscard]] int fraction() const { return a > b ? ((a - b) << 7) / (a - s) : ((b - a) << 7) / (s - b); }
};

bool onRim(std::uint8_t ucLabel, const RowInterpolation& r)
{
    return ucLabel == r.m_ucLastIndex || (ucLabel == r.m_ucFirstIndex && r.m_ucFirstIndex != 0);
}

// The product wraps to 32 bits and is taken as signed.
bool isAmbiguous(int nScore, std::uint16_t uValidation, int nScale)
{
    const std::uint32_t uProduct = uValidation * static_cast<std::uint32_t>(nScale);
    return nScale > 0 && nScore >= static_cast<std::int32_t>(uProduct) >> 16;
}

std::uint16_t interpolated(const Scores& rScores, std::uint8_t ucLabel, std::uint16_t uValidation,
                           const RowInterpolation& r)
{
    const unsigned uReject = static_cast<unsigned>(r.m_ucHigh) << 8;
    if (uValidation < r.m_uTextureFlag) {
        return static_cast<std::uint16_t>(uReject + r.m_ucTextureMapping);
    }
    if (onRim(ucLabel, r)) {
        return static_cast<std::uint16_t>(uReject + r.m_ucSubpixelMapping);
    }
    if (isAmbiguous(rScores.s, uValidation, r.m_nUniquenessScale)) {
        return static_cast<std::uint16_t>(uReject + r.m_ucUniquenessMapping);
    }
    if (!rScores.isMinimum()) {
        return static_cast<std::uint16_t>(uReject + r.m_ucSubpixelMapping);
    }
    return static_cast<std::uint16_t>((ucLabel << 8) + rScores.fraction());
}

} // namespace

void row_interpolation(std::uint16_t* pOut, int n, const std::uint16_t* pBest, const std::uint16_t* pBefore,
                       const std::uint16_t* pAfter, const std::uint8_t* pLabels, const std::uint16_t* pValidation,
                       const RowInterpolation& rSettings)
{
    for (int i = n - 1; i >= 0; --i) {
        pOut[i] = interpolated({pBest[i], pBefore[i], pAfter[i]}, pLabels[i], pValidation[i], rSettings);
    }
}

} // namespace kestrova
