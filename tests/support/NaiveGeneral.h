// The general correlator written the slow way: each disparity by its definition, each rule one pixel at a time. It
// shares no code with the library beyond the containers, and works in frame coordinates where the library cuts views.
#pragma once

#include "context/StereoContext.h"
#include "image/Image.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <tuple>
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

    KestrovaError run(const KestrovaROI& o, Bytes& rOut8, Words& rOut16)
    {
        const bool bRows = r.m_eCameraConfiguration != KestrovaCfg2CameraHorizontal;
        const bool bCols = r.m_eCameraConfiguration != KestrovaCfg2CameraVertical;
        const bool bColsMove = K == 3 || !bRows; // in a pair of an L only the camera along rows is there
        m_nTop = std::min({r.m_nMaxDisparity, bRows ? r.m_nRows - 2 * h - o.m_nRowOffset : 10000,
                           bCols ? r.m_nCols - 2 * h - o.m_nColOffset : 10000});
        m_nRow = std::max(h, o.m_nRowOffset); // the first pixel to show
        m_nCol = std::max(h, o.m_nColOffset);
        // An even window reaches one row less far down than up: it fits one row lower, if the lowest disparity shows
        // it.
        const auto resize = [&](int D, int nMore) {
            const int nShown = std::min(o.m_nRowOffset + o.m_nRows, r.m_nRows - h - (bRows ? r.m_nMinDisparity : 0));
            m_nRows = std::min(nShown, r.m_nRows - h - (bRows ? D : 0) + nMore) - m_nRow;
            m_nCols = std::min(o.m_nColOffset + o.m_nCols, r.m_nCols - h - (bColsMove ? D : 0)) - m_nCol;
        };
        resize(m_nTop, 0);
        if (m_nTop < 0 || (m_nTop >= r.m_nMinDisparity && std::min(m_nRows, m_nCols) < 1)) {
            return KestrovaErrorInvalidROI;
        }
        for (int D = r.m_nMinDisparity; D <= m_nTop; ++D) {
            resize(D, 1 - m % 2);
            pass(D);
        }
        resize(r.m_nMinDisparity, 0);
        for (int p = 0; m_nTop >= r.m_nMinDisparity && p < m_nRows * m_nCols; ++p) {
            const int y = p / m_nCols, x = p % m_nCols;
            if (r.m_bSubpixelInterpolation) {
                rOut16[m_nRow + y][m_nCol + x] = static_cast<std::uint16_t>(fit(at(y, x)));
            } else {
                rOut8[m_nRow + y][m_nCol + x] = static_cast<std::uint8_t>(at(y, x).label);
            }
        }
        return KestrovaErrorOk;
    }

private:
    struct Pixel
    {
        int best, before, after, last, label, seed;
    };

    Pixel& at(int y, int x) { return m_pixels[static_cast<std::size_t>(y * r.m_nCols + x)]; }

    bool validates() const { return r.m_bEdgeCorrelation && (r.m_bTextureValidation || r.m_bUniquenessValidation); }

    // Differences gather in whole groups from the row's start, which stop at 255; what is left over wraps or does not.
    int difference(int nRow, int nCol, int D, int c) const
    {
        const bool bVertical = r.m_eCameraConfiguration != KestrovaCfg2CameraHorizontal;
        const int nPixel = m_pImages[0][nRow][nCol], nGroup = m > 15 ? 8 : 16;
        const int nOther = bVertical ? m_pImages[1][nRow + D][nCol] : m_pImages[1][nRow][nCol + D];
        if (K == 2) {
            return std::abs(nPixel - nOther);
        }
        int nSum = std::abs(nPixel - nOther) + std::abs(nPixel - m_pImages[2][nRow][nCol + D]);
        nSum = c < (m_nCols + 2 * h) / nGroup * nGroup ? std::min(255, nSum) : nSum;
        return m > 15 ? nSum / 2 : nSum % 256;
    }

    /** Window sums of the differences for D, or of the texture for a negative one. */
    std::vector<int> scores(int D) const
    {
        const int nWide = m_nCols + 2 * h;
        std::vector<int> pixels, sums;
        for (int p = 0; p < (m_nRows + m - 1) * nWide; ++p) {
            const int nRow = m_nRow - h + p / nWide, nCol = m_nCol - h + p % nWide;
            pixels.push_back(D < 0 ? std::abs(m_pImages[0][nRow][nCol] - 128) : difference(nRow, nCol, D, p % nWide));
        }
        for (int p = 0; p < m_nRows * m_nCols; ++p) {
            int nSum = 0;
            for (int i = 0; i < m; ++i) {
                const int* const pRow = pixels.data() + (p / m_nCols + i) * nWide + p % m_nCols;
                for (int j = 0; j < m; ++j) {
                    nSum += pRow[j];
                }
            }
            sums.push_back(nSum % 65536);
        }
        return sums;
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
        const auto U = static_cast<long long>((m < 16 ? static_cast<float>(K - 1) : 1.0F) * 65536.0F * fShare + 0.5);
        if (U < 1) {
            return {T == 0 ? 255 : t < T ? 0 : 32767, nT};
        }
        const long long nProduct = (t > 32767 ? t - 65536 : t) * U; // measures read as signed
        return t < T ? std::pair{0, nT} : std::pair{static_cast<int>(nProduct >> 16 & 0xFFFF), nU};
    }

    // Lanes 4 to 7 of a group: groups lie on multiples of eight frame columns, and only whole ones count.
    bool inHighLane(int x) const
    {
        const int X = m_nCol + x, nGroup = X / 8 * 8;
        return m_bSSE2 && nGroup >= m_nCol && nGroup + 8 <= m_nCol + m_nCols && X % 8 >= 4;
    }

    int labelOf(int D) const
    {
        const int i = D - r.m_nDisparityOffset, nFirst = r.m_nMinDisparity - r.m_nDisparityOffset;
        const int nSpan = r.m_nDisparityMappingMax - r.m_nDisparityMappingMin;
        if (!r.m_bSubpixelInterpolation && (D == m_nTop || (i == nFirst && i != 0))) {
            return r.m_ucSubpixelValidationMapping;
        }
        return r.m_bSubpixelInterpolation || !r.m_bDisparityMappingOn
                   ? i
                   : r.m_nDisparityMappingMin + nSpan * (i - nFirst) / (m_nTop - r.m_nMinDisparity);
    }

    void pass(int D)
    {
        const bool bFirst = D == r.m_nMinDisparity;
        const std::vector<int> sums = scores(D), texture = bFirst ? scores(-1) : sums;
        m_pixels.resize(static_cast<std::size_t>(r.m_nRows * r.m_nCols));
        for (int p = 0; p < m_nRows * m_nCols; ++p) {
            const int x = p % m_nCols, s = sums[static_cast<std::size_t>(p)];
            Pixel& rPixel = at(p / m_nCols, x);
            if (bFirst) {
                const auto [nSeed, nCode] = seed(texture[static_cast<std::size_t>(p)]);
                const bool bSeeds = validates() && !r.m_bSubpixelInterpolation;
                rPixel = {bSeeds ? nSeed : s, 32767, 32767, s, bSeeds ? nCode : labelOf(D), nSeed};
                if (!bSeeds) {
                    continue;
                }
            }
            const bool bImproves = s < rPixel.best;
            if (bImproves) {
                rPixel.best = s;
                rPixel.label = inHighLane(x) ? 0 : labelOf(D);
                rPixel.before = rPixel.last;
            }
            if (inHighLane(x) ? rPixel.label == 0 : !bImproves && rPixel.label == labelOf(D) - 1) {
                rPixel.after = s;
            }
            rPixel.last = s;
        }
    }

    int fit(const Pixel& p) const
    {
        const int nFirst = r.m_nMinDisparity - r.m_nDisparityOffset, s = p.best, a = p.before, b = p.after;
        if (validates() && r.m_bTextureValidation && p.seed == 0) {
            return KestrovaDisparity16Invalid + r.m_ucTextureValidationMapping;
        }
        if (p.label == m_nTop - r.m_nDisparityOffset || (p.label == nFirst && nFirst != 0)) {
            return KestrovaDisparity16Invalid + r.m_ucSubpixelValidationMapping;
        }
        if (validates() && r.m_bUniquenessValidation && s >= (p.seed > 32767 ? p.seed - 65536 : p.seed)) {
            return KestrovaDisparity16Invalid + r.m_ucUniquenessValidationMapping;
        }
        if (std::max({s, a, b}) > 32766 || s > std::min(a, b) || (s == a && s == b)) {
            return KestrovaDisparity16Invalid + r.m_ucSubpixelValidationMapping;
        }
        return p.label * 256 + (a - b) * 128 / (std::max(a, b) - s);
    }

    const kestrova::StereoContext& r;
    const Bytes* m_pImages;
    int K;
    bool m_bSSE2;
    int m, h;
    int m_nTop = 0, m_nRow = 0, m_nCol = 0, m_nRows = 0, m_nCols = 0; // of what one disparity reaches
    std::vector<Pixel> m_pixels;
};

} // namespace support
