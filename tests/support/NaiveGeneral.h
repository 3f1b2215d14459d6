// The general correlator written the slow way: each disparity by its definition, each rule one pixel at a time. It
// shares no code with the library beyond the containers, and works in frame coordinates where the library cuts views.
#pragma once

#include "api/StereoContext.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace support {

class NaiveGeneral
{
public:
    using Bytes = kestrova::Image<unsigned char>;
    using Words = kestrova::Image<unsigned short>;

    NaiveGeneral(const kestrova::StereoContext& rContext, const Bytes* pImages, int nImages, bool bSSE2)
        : r(rContext), m_pImages(pImages), K(nImages), m_bSSE2(bSSE2), m(r.m_nStereoMaskSize), h(m / 2)
    {}

    KestrovaError run(const KestrovaROI& rRegion, Bytes& rOut8, Words& rOut16)
    {
        const bool bRows = r.m_eCameraConfiguration != KestrovaCfg2CameraHorizontal;
        const bool bCols = r.m_eCameraConfiguration != KestrovaCfg2CameraVertical;
        m_nTop = std::min({r.m_nMaxDisparity, bRows ? r.m_nRows - 2 * h - rRegion.m_nRowOffset : 10000,
                           bCols ? r.m_nCols - 2 * h - rRegion.m_nColOffset : 10000});
        if (m_nTop < 0) {
            return KestrovaErrorInvalidROI;
        }
        // First pixel of the views, and the one behind the last for disparity D.
        m_nRow = std::max(0, rRegion.m_nRowOffset - h);
        m_nCol = std::max(0, rRegion.m_nColOffset - h);
        const auto nRowsAt = [&](int D) {
            return std::min(rRegion.m_nRowOffset + rRegion.m_nRows + h, r.m_nRows - (bRows ? D : 0)) - m_nRow;
        };
        const auto nColsAt = [&](int D) {
            const bool bMoves = K == 3 || !bRows; // in a pair of an L only the camera along rows is there
            return std::min(rRegion.m_nColOffset + rRegion.m_nCols + h, r.m_nCols - (bMoves ? D : 0)) - m_nCol;
        };
        if (m_nTop >= r.m_nMinDisparity && (nRowsAt(m_nTop) <= 2 * h || nColsAt(m_nTop) <= 2 * h)) {
            return KestrovaErrorInvalidROI;
        }
        for (int D = r.m_nMinDisparity; D <= m_nTop; ++D) {
            m_nRows = nRowsAt(D) - 2 * h;
            m_nCols = nColsAt(D) - 2 * h;
            pass(D);
        }
        if (m_nTop >= r.m_nMinDisparity) {
            m_nRows = nRowsAt(r.m_nMinDisparity) - 2 * h;
            m_nCols = nColsAt(r.m_nMinDisparity) - 2 * h;
            show(rOut8, rOut16);
        }
        return KestrovaErrorOk;
    }

private:
    struct Pixel
    {
        int best = 32767, before = 32767, after = 32767, last = 32767, label = 255;
    };

    Pixel& at(int y, int x) { return m_pixels[static_cast<std::size_t>(y * r.m_nCols + x)]; }

    bool validates() const { return r.m_bEdgeCorrelation && (r.m_bTextureValidation || r.m_bUniquenessValidation); }

    // Column c of a row of w: whole groups from its start on stop at 255, what is left over wraps or keeps its sum.
    int gathered(int nSum, int nDifference, int c, int w) const
    {
        const int nGroup = m > 15 ? 8 : 16;
        nSum += nDifference;
        nSum = c < w / nGroup * nGroup ? std::min(255, nSum) : nSum;
        return m > 15 ? nSum / 2 : nSum % 256;
    }

    template<typename Difference>
    std::vector<int> windowSums(Difference difference) const
    {
        const int nWide = m_nCols + 2 * h;
        std::vector<unsigned> columns(static_cast<std::size_t>(nWide), 0); // of m rows
        std::vector<int> sums;
        for (int y = -m + 1; y < m_nRows; ++y) {
            for (int c = 0; c < nWide; ++c) {
                columns[static_cast<std::size_t>(c)] += static_cast<unsigned>(difference(y + m - 1, c, nWide));
                if (y > 0) {
                    columns[static_cast<std::size_t>(c)] -= static_cast<unsigned>(difference(y - 1, c, nWide));
                }
            }
            for (int x = 0; y >= 0 && x < m_nCols; ++x) {
                unsigned uSum = 0;
                for (int c = x; c < x + m; ++c) {
                    uSum += columns[static_cast<std::size_t>(c)];
                }
                sums.push_back(static_cast<int>(uSum % 65536));
            }
        }
        return sums;
    }

    std::vector<int> scores(int D) const
    {
        const bool bVertical = r.m_eCameraConfiguration != KestrovaCfg2CameraHorizontal;
        return windowSums([&](int y, int c, int w) {
            const int nRow = m_nRow + y, nCol = m_nCol + c, nReference = m_pImages[0][nRow][nCol];
            int nSum = std::abs(nReference - (bVertical ? m_pImages[1][nRow + D][nCol] : m_pImages[1][nRow][nCol + D]));
            if (K == 3) {
                nSum = gathered(nSum, std::abs(nReference - m_pImages[2][nRow][nCol + D]), c, w);
            }
            return nSum;
        });
    }

    /** Score and label that a pixel starts from, by the texture of its window. */
    std::pair<int, int> seed(int t) const
    {
        const float fTexture = r.m_bTextureValidation ? static_cast<float>(r.m_dTextureValidationThreshold) : -1;
        const float fShare = r.m_bUniquenessValidation ? static_cast<float>(r.m_dUniquenessValidationThreshold) : -1;
        const int nT = r.m_ucTextureValidationMapping, nU = r.m_ucUniquenessValidationMapping;
        if (fTexture <= 0 && fShare <= 0) {
            return {32767, nU};
        }
        const int T = static_cast<int>(std::max(0.0, static_cast<float>(m * m) * fTexture + 0.5)) % 65536;
        const float fScale = m < 16 ? static_cast<float>((K - 1) * 65536) * fShare : fShare * 65536.0f;
        const long long U = static_cast<long long>(fScale + 0.5);
        if (U < 1) {
            return {T == 0 ? 255 : t < T ? 0 : 32767, nT};
        }
        const long long nProduct = (t > 32767 ? t - 65536 : t) * U; // measures read as signed
        return t < T ? std::pair{0, nT} : std::pair{static_cast<int>(nProduct >> 16 & 0xFFFF), nU};
    }

    /** Seeds of the first views, or what validates nothing. */
    std::vector<std::pair<int, int>> seeds() const
    {
        std::vector<std::pair<int, int>> seeds;
        for (const int t :
             windowSums([&](int y, int c, int) { return std::abs(m_pImages[0][m_nRow + y][m_nCol + c] - 128); })) {
            seeds.push_back(validates() ? seed(t) : std::pair{65535, 0});
        }
        return seeds;
    }

    // Lanes 4 to 7 of a group: groups lie on multiples of eight frame columns, and only whole ones count.
    bool inHighLane(int x) const
    {
        const int X = m_nCol + h + x, nGroup = X / 8 * 8;
        return m_bSSE2 && m_nCols >= 8 && nGroup >= m_nCol + h && nGroup + 8 <= m_nCol + h + m_nCols && X % 8 >= 4;
    }

    int labelOf(int D) const
    {
        const int i = D - r.m_nDisparityOffset, nFirst = r.m_nMinDisparity - r.m_nDisparityOffset;
        const int nSpan = r.m_nDisparityMappingMax - r.m_nDisparityMappingMin;
        if (r.m_bSubpixelInterpolation) {
            return i;
        }
        if (D == m_nTop || (i == nFirst && i != 0)) {
            return r.m_ucSubpixelValidationMapping;
        }
        return r.m_bDisparityMappingOn ? r.m_nDisparityMappingMin + nSpan * (i - nFirst) / (m_nTop - r.m_nMinDisparity)
                                       : i;
    }

    void pass(int D)
    {
        const bool b16 = r.m_bSubpixelInterpolation, bFirst = D == r.m_nMinDisparity;
        const std::vector<int> s = scores(D);
        if (bFirst) {
            m_pixels.assign(static_cast<std::size_t>(r.m_nRows * r.m_nCols), Pixel{});
            m_seeds = seeds();
        }
        for (int p = 0; p < m_nRows * m_nCols; ++p) {
            const int y = p / m_nCols, x = p % m_nCols, nScore = s[static_cast<std::size_t>(p)];
            Pixel& rPixel = at(y, x);
            if (bFirst && (b16 || !validates())) {
                rPixel.best = rPixel.last = nScore;
                rPixel.label = labelOf(D);
                continue;
            }
            if (bFirst) {
                std::tie(rPixel.best, rPixel.label) = m_seeds[static_cast<std::size_t>(p)];
            }
            const bool bImproves = nScore < rPixel.best;
            if (bImproves) {
                rPixel.best = nScore;
                rPixel.label = inHighLane(x) ? 0 : labelOf(D);
                rPixel.before = rPixel.last;
            }
            if (inHighLane(x) ? rPixel.label == 0 : !bImproves && rPixel.label == labelOf(D) - 1) {
                rPixel.after = nScore;
            }
            rPixel.last = nScore;
        }
    }

    void show(Bytes& rOut8, Words& rOut16)
    {
        for (int p = 0; p < m_nRows * m_nCols; ++p) {
            const int y = p / m_nCols, x = p % m_nCols, nRow = m_nRow + h + y, nCol = m_nCol + h + x;
            if (r.m_bSubpixelInterpolation) {
                rOut16[nRow][nCol] =
                    static_cast<std::uint16_t>(fit(at(y, x), m_seeds[static_cast<std::size_t>(p)].first));
            } else {
                rOut8[nRow][nCol] = static_cast<std::uint8_t>(at(y, x).label);
            }
        }
    }

    int fit(const Pixel& p, int v) const
    {
        const int nFirst = r.m_nMinDisparity - r.m_nDisparityOffset, s = p.best, a = p.before, b = p.after;
        if (validates() && r.m_bTextureValidation && v == 0) {
            return 0xFF00 + r.m_ucTextureValidationMapping;
        }
        if (p.label == m_nTop - r.m_nDisparityOffset || (p.label == nFirst && nFirst != 0)) {
            return 0xFF00 + r.m_ucSubpixelValidationMapping;
        }
        if (validates() && r.m_bUniquenessValidation && s >= (v > 32767 ? v - 65536 : v)) {
            return 0xFF00 + r.m_ucUniquenessValidationMapping;
        }
        if (std::max({s, a, b}) > 32766 || s > std::min(a, b) || (s == a && s == b)) {
            return 0xFF00 + r.m_ucSubpixelValidationMapping;
        }
        return p.label * 256 + (a > b ? (a - b) * 128 / (a - s) : (a - b) * 128 / (b - s));
    }

    const kestrova::StereoContext& r;
    const Bytes* m_pImages;
    int K;
    bool m_bSSE2;
    int m, h;
    int m_nTop = 0, m_nRow = 0, m_nCol = 0, m_nRows = 0, m_nCols = 0;
    std::vector<Pixel> m_pixels; // by row and column of the first views
    std::vector<std::pair<int, int>> m_seeds;
};

} // namespace support
