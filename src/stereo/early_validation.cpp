#include "stereo/early_validation.h"

#include "kernels/kernels.h"
#include "stereo/disparity_pass.h"

#include <algorithm>

namespace kestrova {

namespace {

constexpr std::uint16_t sk_uNoLimit = 32767;
constexpr std::uint16_t sk_uIdleSeed = 255; // both thresholds vanish: any score would do as well
constexpr int sk_nFirstAveragedMask = 16;

// The texture measure is a sum of differences like any other: from an image that is grey all over.
void textureMeasure(Image<unsigned short>& rScore, const Image<unsigned char>& rReference, int m)
{
    const Image<unsigned char> pair[2] = {rReference,
                                          Image<unsigned char>::constImage(rReference.size(), sk_ucEdgeZero)};
    stereoFirstStep(rScore, pair, 2, static_cast<unsigned>(m));
}

std::uint16_t scaledTexture(float fThreshold, int m)
{
    const float fSum = static_cast<float>(std::int64_t{m} * m) * fThreshold;
    return static_cast<std::uint16_t>(static_cast<std::int64_t>(std::max(0.0, fSum + 0.5)));
}

// Scores of small masks add the differences of all pairs, those of larger ones average them.
int scaledUniqueness(float fThreshold, int K, int m)
{
    const float fScale =
        m < sk_nFirstAveragedMask || K < 2 ? static_cast<float>((K - 1) << 16) * fThreshold : fThreshold * 65536.0f;
    return static_cast<int>(fScale + 0.5);
}

} // namespace

void earlyValidation(Image<unsigned short>& rScore, Image<unsigned char>& rLabel, const Image<unsigned char>* pViews,
                     const EarlyTests& rTests)
{
    if (rTests.m_nImages < 1 || pViews == nullptr || rTests.m_nMask < 1) {
        return;
    }
    const EarlySeeds seeds = EarlySeeds::make(rTests);
    if (seeds.m_bTests) {
        textureMeasure(rScore, pViews[0], rTests.m_nMask);
    }
    for (int nRow = 0; nRow < rScore.nRows(); ++nRow) {
        seeds.seed(&rScore[nRow][0], &rLabel[nRow][0], static_cast<unsigned>(rScore.nCols()));
    }
}

EarlySeeds EarlySeeds::make(const EarlyTests& r)
{
    return {r.m_fTexture > 0 || r.m_fUniqueness > 0, scaledTexture(r.m_fTexture, r.m_nMask), r.m_ucTextureMapping,
            scaledUniqueness(r.m_fUniqueness, r.m_nImages, r.m_nMask), r.m_ucUniquenessMapping};
}

void EarlySeeds::seed(std::uint16_t* pScore, std::uint8_t* pLabel, unsigned n) const
{
    if (!m_bTests) {
        std::fill_n(pScore, n, sk_uNoLimit);
        std::fill_n(pLabel, n, m_ucUniquenessMapping);
        return;
    }
    early_validation(pScore, pLabel, n, m_uTexture, m_ucTextureMapping, m_nUniqueness, m_ucUniquenessMapping);
}

void early_validation(std::uint16_t* pScore, std::uint8_t* pLabel, unsigned n, std::uint16_t uTexture,
                      std::uint8_t ucTextureMapping, int nUniqueness, std::uint8_t ucUniquenessMapping)
{
    const auto failed = [&](unsigned i) { return pScore[i] < uTexture; };
    if (nUniqueness < 1) {
        std::fill_n(pLabel, n, ucTextureMapping);
        for (unsigned i = 0; i < n; ++i) {
            pScore[i] = uTexture == 0 ? sk_uIdleSeed : failed(i) ? std::uint16_t{0} : sk_uNoLimit;
        }
        return;
    }
    for (unsigned i = 0; i < n; ++i) {
        const bool bFailed = failed(i);
        pLabel[i] = bFailed ? ucTextureMapping : ucUniquenessMapping;
        pScore[i] = bFailed ? std::uint16_t{0} : pScore[i];
    }
    row_scale_op(pScore, static_cast<int>(n), pScore, nUniqueness);
}

} // namespace kestrova
