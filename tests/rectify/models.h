// Naive models of the warps and of the lowpass, pixel by pixel, and maps given as plain functions.
//
// The models share no code with the library: they work out groups, wrapping pixels and the border cursor themselves.
#pragma once

#include "rectify/Camera.h"
#include "support/CalibrationText.h"
#include "support/rows.h"

#include <cmath>
#include <functional>
#include <utility>

namespace kestrova::test {

using Bytes = std::vector<unsigned char>;
using support::GuardedRow;
using support::pixelsOf;
using support::seededImage;

/** Normalised row and column to normalised row and column. */
using MapFunction = std::function<std::pair<float, float>(float, float)>;

/** A map without splines, free to leave the unit square. Adjustments are kept and not used. */
class FunctionMap : public WarpMapFunc
{
public:
    explicit FunctionMap(MapFunction function)
        : WarpMapFunc(flat(), flat(), 1, 1, 0, 0, 0, 0), m_function(std::move(function))
    {}

    using WarpMapFunc::map;
    void map(float& rRow, float& rCol, float fRow, float fCol) const override
    {
        std::tie(rRow, rCol) = m_function(fRow, fCol);
    }
    [[nodiscard]] std::unique_ptr<WarpMapFunc> clone() const override
    {
        return std::make_unique<FunctionMap>(m_function);
    }

private:
    static WarpSpline flat()
    {
        const std::vector<double> knots = clampedKnots(4);
        return {knots.data(), knots.data(), std::vector<double>(16).data(), 4};
    }
    MapFunction m_function;
};

/** Bent, tilted, and outside the source at all four rims. */
inline std::pair<float, float> bentMap(float fRow, float fCol)
{
    return {-0.08F + 1.13F * fRow + 0.06F * std::sin(5 * fCol), 1.07F - 1.15F * fCol + 0.05F * std::sin(7 * fRow)};
}

inline std::unique_ptr<Camera> camera(double dGain = 1.0, MapFunction function = bentMap)
{
    return std::make_unique<Camera>(std::make_unique<FunctionMap>(function), std::make_unique<FunctionMap>(function), 1,
                                    1, dGain, 0, 0, 0, 0);
}

/** One pixel's entry in the tables of a warper, by its definition. */
struct Entry
{
    int nRow, nCol, nRowFraction, nColFraction;
};

inline Entry modelEntry(const WarperKey& k, const WarpMapFunc& rMap, int nRow, int nCol, bool bBilinear)
{
    const auto shift = [](int n) { return n < 0 || n > 99 ? 0.0F : static_cast<float>(n) / 100.0F; };
    float aPosition[2];
    rMap.map(aPosition[0], aPosition[1], k.m_nSourceRows, k.m_nSourceCols,
             static_cast<float>(nRow) - shift(k.m_nSubpixelRowOffset),
             static_cast<float>(nCol) - shift(k.m_nSubpixelColOffset), k.m_nDestinationRows, k.m_nDestinationCols);
    int anIndex[2];
    int anFraction[2] = {0, 0};
    for (int i = 0; i < 2; ++i) {
        const int nSize = i == 0 ? k.m_nSourceRows : k.m_nSourceCols;
        const float fLast = static_cast<float>(nSize) - (bBilinear ? 1.0001F : 1.0F);
        const float f = std::max(0.0F, std::isnan(aPosition[i]) ? 0.0F : std::min(aPosition[i], fLast));
        anIndex[i] = static_cast<int>(bBilinear ? std::floor(f) : std::floor(f + 0.5));
        anFraction[i] = bBilinear ? static_cast<int>(128 * (f - std::floor(f))) : 0;
        if (bBilinear && nSize > 1 && anIndex[i] == nSize - 1) { // too long an axis for 1.0001 to matter
            anIndex[i] = nSize - 2;
            anFraction[i] = 127;
        }
    }
    return {anIndex[0], anIndex[1], anFraction[0], anFraction[1]};
}

/** What the warper makes of an image; at(row, col) gives source pixels, 0 x weight neighbours are not asked for. */
inline unsigned char modelPixel(const Entry& e, const std::function<int(int, int)>& rAt)
{
    int nSum = 0;
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 2; ++j) {
            const int nWeight =
                (i != 0 ? e.nRowFraction : 128 - e.nRowFraction) * (j != 0 ? e.nColFraction : 128 - e.nColFraction);
            nSum += nWeight == 0 ? 0 : nWeight * rAt(e.nRow + i, e.nCol + j);
        }
    }
    return static_cast<unsigned char>(nSum / 16384);
}

/**
 * Lowpass and rectification as one sequence of byte writes into a copy of the source's size with a padded stride.
 *
 * Groups of four from the start of a row stop at 0 and 255, all else wraps. With bPacked rSrc is one lane of four: a
 * pixel is a group, rows shorter than nearly twice the mask are not summed, and the border is met in all widths.
 */
inline Bytes modelLowpass(const Image<unsigned char>& rSrc, const Warper& rWarper, const WarpMapFunc& rMap,
                          double dGain, int nMaskRows, int nMaskCols, bool bPacked)
{
    const WarperKey& k = rWarper.key();
    const bool bBilinear = k.m_eKernelType == KernelBilinear;
    const int nRows = rSrc.nRows();
    const int nCols = rSrc.nCols();
    const int nStride = (nCols + 31) / 32 * 32;
    const int nOutCols = nCols - nMaskCols + 1;
    const int nGrouped = bPacked ? (nOutCols > 1 ? nOutCols : 0) : (nOutCols > 7 ? nOutCols / 4 * 4 : 0);
    const double dScale = std::trunc(dGain * 65536 / (nMaskRows * nMaskCols));
    const bool bPlain = nMaskRows * nMaskCols == 1 && dGain == 1.0;
    Bytes tmp(static_cast<std::size_t>(nRows * nStride));
    const auto blacken = [&](int nFirst, int nCount) { std::fill_n(tmp.begin() + nFirst, nCount, 0); };
    const auto takeRow = [&](int nRow) {
        const bool bRim = nRow < nMaskRows / 2 || nRow >= nRows - (nMaskRows - 1) / 2;
        const int nCursor = nRow * (bBilinear && !bPacked ? nCols : nStride); // the fused form counts columns
        if (bRim) {
            blacken(nCursor, nCols);
        } else {
            blacken(nCursor, nMaskCols / 2);
            blacken(nCursor + nCols - (nMaskCols - 1) / 2, (nMaskCols - 1) / 2);
        }
        const int nOut = nRow - (nMaskRows - 1);
        for (int c = 0; nOut >= 0 && c < nOutCols && !(bPacked && nOutCols < nMaskCols); ++c) {
            int nSum = 0;
            for (int i = 0; i < nMaskRows * nMaskCols; ++i) {
                nSum += rSrc[nOut + i / nMaskCols][c + i % nMaskCols];
            }
            const int nValue = static_cast<int>(std::floor(nSum * dScale / 65536));
            tmp[static_cast<std::size_t>((nOut + nMaskRows / 2) * nStride + nMaskCols / 2 + c)] =
                static_cast<unsigned char>(c < nGrouped ? std::clamp(nValue, 0, 255) : nValue);
        }
    };
    Bytes result;
    int nTaken = 0;
    for (int r = 0; r < k.m_nDestinationRows; ++r) {
        std::vector<Entry> entries;
        int nLast = bBilinear ? 0 : nRows;
        for (int c = 0; c < k.m_nDestinationCols; ++c) {
            entries.push_back(modelEntry(k, rMap, r, c, bBilinear));
            nLast = std::max(nLast, entries.back().nRow + 1);
        }
        // A row of tmp stands once the rows of its box are in: half a mask further down.
        for (; !bPlain && nTaken < nRows && nTaken - (nMaskRows - 1) / 2 <= nLast; ++nTaken) {
            takeRow(nTaken);
        }
        for (const Entry& e : entries) {
            result.push_back(modelPixel(e, [&](int nRow, int nCol) {
                return bPlain ? rSrc[nRow][nCol] : tmp[static_cast<std::size_t>(nRow * nStride + nCol)];
            }));
        }
    }
    return result;
}

/** A source in memory of a caller: any stride, and nothing readable behind the last pixel of the last row. */
template<typename T>
class LentImage
{
public:
    LentImage(int nRows, int nCols, int nStride, unsigned uSeed)
        : m_memory(support::seededValues<unsigned char>(
                       sizeof(T) * static_cast<std::size_t>((nRows - 1) * nStride + nCols), uSeed),
                   4),
          m_image(nRows, nCols, nStride, reinterpret_cast<T*>(m_memory.data()))
    {}
    [[nodiscard]] const Image<T>& image() const { return m_image; }
    [[nodiscard]] T* data() { return m_image.data(); }

private:
    GuardedRow<unsigned char> m_memory;
    Image<T> m_image;
};

} // namespace kestrova::test
