// The two-camera correlator written the slow way: every window sum by its definition, every rule one pixel at a time.
// It shares no code with the library beyond the containers.
#pragma once

#include "context/StereoContext.h"
#include "image/Image.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace support {

class NaiveCorrelator
{
public:
    using Bytes = kestrova::Image<unsigned char>;
    using Words = kestrova::Image<unsigned short>;

    NaiveCorrelator(const kestrova::StereoContext& rContext, const Bytes* pImages, bool bSSE2)
        : r(rContext), m_pImages(pImages), L(bSSE2 ? 8 : 4), m(r.m_nStereoMaskSize),
          n(r.m_nMaxDisparity - r.m_nMinDisparity + 1), V(r.m_ucSubpixelValidationMapping)
    {}

    KestrovaError run(const KestrovaROI& rRegion, Bytes& rOut8, Words& rOut16)
    {
        const int b = m / 2 + (r.m_bEdgeCorrelation ? r.m_nEdgeMaskSize / 2 : 0);
        const int r0 = std::max(b, rRegion.m_nRowOffset), c0 = std::max(b, rRegion.m_nColOffset);
        const int r1 = std::min(r.m_nRows - b, r0 + rRegion.m_nRows);
        const int c1 = std::min(r.m_nCols - r.m_nMinDisparity - b, c0 + rRegion.m_nCols);
        W = c1 - c0 + m - 1;
        m_nLeft = c0 - m / 2;
        W2 = r.m_nCols - m_nLeft - r.m_nMinDisparity;
        if (r1 <= r0 || c1 <= c0 || !prepare()) {
            return KestrovaErrorOk;
        }
        for (int y = r0; y < r1; ++y) {
            sumRow(y - m / 2);
            for (int x = 0; x < c1 - c0; ++x) {
                if (r.m_bSubpixelInterpolation) {
                    if (!m_bTextureLane || W <= 1280) {
                        rOut16[y][c0 + x] = static_cast<std::uint16_t>(m_bTextureLane ? fitValidated(x) : fit(x));
                    }
                } else {
                    rOut8[y][c0 + x] = static_cast<std::uint8_t>(label(x));
                }
            }
        }
        return KestrovaErrorOk;
    }

private:
    // Thresholds and lanes; false when nothing fits.
    bool prepare()
    {
        const bool b16 = r.m_bSubpixelInterpolation;
        T = r.m_bTextureValidation ? static_cast<unsigned>(r.m_dTextureValidationThreshold * m * m) : 0;
        U = r.m_bUniquenessValidation ? static_cast<unsigned>(r.m_dUniquenessValidationThreshold * 4096.0 + 0.5) : 0;
        m_bTextureLane =
            b16 ? T != 0 || U != 0 : r.m_bEdgeCorrelation && (r.m_bTextureValidation || r.m_bUniquenessValidation);
        m_nStart = b16 || m_bTextureLane ? 1 : 0;
        const int nLanes = n + (m_bTextureLane ? 1 : 0);
        const int nLimit = (W2 + 1 - m) / L;
        m_nGroups = std::min(nLimit, (nLanes + L - 1) / L);
        m_nLast = nLimit < (nLanes + L - 1) / L ? L * nLimit - 1 : nLanes - 1;
        m_nLanes = m_nGroups * L;
        return m_nGroups >= 1;
    }

    // Lanes are summed in steps of eight, or four at an odd end (and a texture lane with three disparities makes one of
    // its own). A step is summed where its highest disparity still has a window.
    int highestOfStep(int nLane) const
    {
        const int nFirst = m_bTextureLane ? 4 : 0;
        if (nLane < nFirst) {
            return 3;
        }
        return std::min((nLane - nFirst) / 8 * 8 + nFirst + 7, m_nLanes - 1);
    }

    void sumRow(int nTop)
    {
        m_table.assign(static_cast<std::size_t>(W * m_nLanes), 0xFFFF);
        const int nReserved = m_bTextureLane ? 1 : 0;
        for (int x = 0; x + m <= W; ++x) {
            for (int nLane = 0; nLane < m_nLanes; ++nLane) {
                if (x + m + highestOfStep(nLane) - nReserved > W2) {
                    continue;
                }
                unsigned uSum = static_cast<unsigned>(m_nStart);
                for (int i = 0; i < m; ++i) {
                    const unsigned char* pReference = &m_pImages[0][nTop + i][m_nLeft + x];
                    const unsigned char* pSearch = &m_pImages[1][nTop + i][m_nLeft + x + r.m_nMinDisparity];
                    for (int j = 0; j < m; ++j) {
                        const int nOther = nLane < nReserved ? 128 : pSearch[j + nLane - nReserved];
                        uSum += static_cast<unsigned>(std::abs(pReference[j] - nOther));
                    }
                }
                m_table[static_cast<std::size_t>(x * m_nLanes + nLane)] = static_cast<std::uint16_t>(uSum);
            }
        }
    }

    unsigned at(int x, int nLane) const { return m_table[static_cast<std::size_t>(x * m_nLanes + nLane)]; }

    template<typename Label>
    int best(std::vector<unsigned> sums, Label labelOf) const
    {
        std::vector<std::pair<unsigned, int>> positions;
        for (int p = 0; p < L; ++p) {
            int nBest = p;
            for (int nLane = p; nLane < m_nLanes; nLane += L) {
                nBest = sums[static_cast<std::size_t>(nLane)] < sums[static_cast<std::size_t>(nBest)] ? nLane : nBest;
            }
            positions.emplace_back(sums[static_cast<std::size_t>(nBest)], labelOf(nBest));
        }
        return std::min_element(positions.begin(), positions.end())->second;
    }

    std::vector<unsigned> column(int x) const
    {
        return {m_table.begin() + x * m_nLanes, m_table.begin() + (x + 1) * m_nLanes};
    }

    int labelOfIndex(int d) const
    {
        const int N = n - 1;
        if (d >= N || (d == 0 && r.m_nMinDisparity != 0)) {
            return V;
        }
        const int nSpan = r.m_nDisparityMappingMax - r.m_nDisparityMappingMin;
        const int nMapped = r.m_nDisparityMappingMin + d * nSpan / N;
        const int nPlain = d == 0 ? 0 : r.m_nMinDisparity - r.m_nDisparityOffset + d;
        return (r.m_bDisparityMappingOn ? nMapped : nPlain) & 0xFF;
    }

    // The disparity index that search column nCol finds best, among nCandidates.
    int inverse(int nCol, int nCandidates) const
    {
        const int nReserved = m_bTextureLane ? 1 : 0;
        if (nCol >= W - (m - 1) / 2) {
            return -1;
        }
        int nBest = 0;
        for (int d = 1; d <= std::min(nCol, nCandidates - 1); ++d) {
            nBest = at(nCol - d, d + nReserved) < at(nCol - nBest, nBest + nReserved) ? d : nBest;
        }
        return nBest;
    }

    int label(int x) const
    {
        const bool bBack = r.m_bBackForthValidation;
        const int nReject = T != 0 ? r.m_ucTextureValidationMapping : U != 0 ? r.m_ucUniquenessValidationMapping : V;
        int nRaw = 0;
        if (m_bTextureLane) {
            const auto labelOf = [&](int nLane) {
                return nLane == 0 ? nReject : nLane > n ? V : bBack ? nLane - 1 : labelOfIndex(nLane - 1);
            };
            nRaw = validated(x, nReject, labelOf);
        } else {
            nRaw = best(column(x), [&](int nLane) { return bBack ? nLane : labelOfIndex(nLane); });
        }
        if (!bBack || nRaw >= 250) {
            return nRaw;
        }
        if (nRaw > 240) {
            return V;
        }
        const int nBack = std::max(0, inverse(x + nRaw, m_bTextureLane ? n - 1 : n));
        return std::abs(nBack - nRaw) > 1 ? r.m_ucBackForthValidationMapping : labelOfIndex(nRaw);
    }

    template<typename Label>
    int validated(int x, int nReject, Label labelOf) const
    {
        std::vector<unsigned> sums = column(x);
        unsigned uSeed = 0;
        if (U == 0) {
            uSeed = (T - sums[0]) / 65536;
            if (uSeed == 0) {
                return nReject;
            }
        } else {
            const unsigned A = (U * T + 4095) / 4096, Bt = sums[0] * U / 4096;
            // An arithmetic shift: floor division.
            const long long nDifference = static_cast<int>(A - Bt);
            uSeed = Bt & static_cast<unsigned>((nDifference - (nDifference < 0 ? 65535 : 0)) / 65536);
        }
        sums[0] = uSeed % 65536;
        sums[1] |= uSeed / 65536;
        return best(sums, labelOf);
    }

    unsigned reject(unsigned uCode) const { return KestrovaDisparity16Invalid + uCode; }

    // Rims and neighbours; nFraction is asked only for a true minimum.
    template<typename Fraction>
    unsigned fitLane(int x, int nLane, Fraction fraction) const
    {
        const int d = nLane - (m_bTextureLane ? 1 : 0);
        if (nLane >= m_nLast || d < 0 || (d == 0 && r.m_nMinDisparity != 0)) {
            return reject(V);
        }
        if (d == 0) {
            return 0;
        }
        const int a = static_cast<int>(at(x, nLane - 1)), c = static_cast<int>(at(x, nLane)),
                  b = static_cast<int>(at(x, nLane + 1));
        if (b == 0xFFFF || b < c || a < c) {
            return reject(V);
        }
        const int k = std::max(a, b) - c;
        const int R = k == 0 || k > 4096 ? 0 : 0x800000 / k;
        return static_cast<unsigned>((r.m_nMinDisparity - r.m_nDisparityOffset + d) * 256 +
                                     fraction((a - b) * 1LL * R));
    }

    unsigned fit(int x) const
    {
        const int d = best(column(x), [](int nLane) { return nLane; });
        if (r.m_bBackForthValidation && d <= 239) {
            const int nBack = std::max(0, inverse(x + d, n));
            if (nBack == 0 ? d != 0 : std::abs(d - nBack) > 1) {
                return reject(r.m_ucBackForthValidationMapping);
            }
        }
        return fitLane(x, d, [](long long nProduct) { return static_cast<int>(nProduct / 65536); });
    }

    unsigned fitValidated(int x) const
    {
        const int j = best(column(x), [](int nLane) { return nLane; });
        const unsigned s = U == 0 ? 0x10000 : U;
        const unsigned A = (T * s + 4095) / 4096, Bt = at(x, 0) * s / 4096 % 65536;
        if (A > Bt) {
            return reject(T == 0 ? r.m_ucUniquenessValidationMapping : r.m_ucTextureValidationMapping);
        }
        if (Bt < at(x, j)) {
            return reject(U == 0 ? r.m_ucTextureValidationMapping : r.m_ucUniquenessValidationMapping);
        }
        if (r.m_bBackForthValidation && j >= 1 && j <= 239 && std::abs(j - 1 - inverse(x + j - 1, n - 1)) > 1) {
            return reject(r.m_ucBackForthValidationMapping);
        }
        return fitLane(
            x, j, [](long long nProduct) { return static_cast<int>((nProduct - (nProduct < 0 ? 65535 : 0)) / 65536); });
    }

    const kestrova::StereoContext& r;
    const Bytes* m_pImages;
    int L, m, n;
    unsigned char V;
    int W = 0, W2 = 0, m_nLeft = 0, m_nGroups = 0, m_nLanes = 0, m_nLast = 0, m_nStart = 0;
    unsigned T = 0, U = 0;
    bool m_bTextureLane = false;
    std::vector<std::uint16_t> m_table;
};

} // namespace support
