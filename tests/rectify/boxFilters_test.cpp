#include "models.h"
#include "rectify/boxFilters.h"
#include "stereo/processor.h"

namespace kestrova::test {
namespace {

using support::GuardedRow;
using Bytes = std::vector<unsigned char>;

/** One pixel of the band-pass; nAddress is where it is stored, nEnd where its row ends. */
unsigned char modelBandpass(std::uintptr_t uStart, int i, int n, int nPixel, int nSum, std::int64_t nCentre,
                            std::int64_t nFactor)
{
    const int nTrailing = static_cast<int>((uStart + static_cast<unsigned>(n)) % 4);
    const int nLeading = (n - nTrailing) % 4;
    const bool bGroup = n > 7 && i >= nLeading && i < n - nTrailing;
    const auto term = [bGroup](int nValue, std::int64_t nScale) {
        nScale = bGroup ? static_cast<std::int16_t>(nScale) : nScale;
        return static_cast<int>(std::floor(static_cast<double>(nValue * nScale) / 65536));
    };
    const int nValue = term(nPixel, nCentre) + term(nSum, nFactor);
    return static_cast<unsigned char>(128 + (bGroup ? std::clamp(nValue, -128, 127) : nValue));
}

TEST(BoxFilters, BandpassRowsAtEveryLengthAndAlignment)
{
    // As for masks of 7, 2 and 23, a gain that clips, and factors of more than 16 bits.
    const std::pair<int, int> aFactors[] = {
        {-32732, 668}, {-32768, 8192}, {-30153, 57}, {-31000, 30000}, {-98196, 70000}};
    for (const auto& [nCentre, nFactor] : aFactors) {
        for (int nOffset = 0; nOffset < 8; ++nOffset) {
            for (int n = 0; n < 30; ++n) {
                const auto uCount = static_cast<std::size_t>(n);
                const auto uSeed = static_cast<unsigned>(100 * n + nOffset);
                GuardedRow<unsigned char> source(support::seededValues<unsigned char>(uCount, uSeed), 7 - nOffset);
                GuardedRow<unsigned short> sums(support::seededValues<unsigned short>(uCount, uSeed + 1),
                                                2 * (nOffset % 3));
                GuardedRow<unsigned char> row(Bytes(uCount), nOffset);
                Bytes expected;
                for (int i = 0; i < n; ++i) {
                    expected.push_back(modelBandpass(static_cast<std::uintptr_t>(nOffset), i, n, source.data()[i],
                                                     static_cast<std::int16_t>(sums.data()[i]), nCentre, nFactor));
                }
                row_bandpass_op(row.data(), n, source.data(), nCentre, reinterpret_cast<const short*>(sums.data()),
                                nFactor);
                ASSERT_EQ(row.values(), expected) << n << " at " << nOffset << " factors " << nCentre << ' ' << nFactor;
                ASSERT_TRUE(row.intact());
            }
        }
    }
}

int boxSum(const Image<unsigned char>& rSrc, int nRow, int nCol, int nMaskRows, int nMaskCols)
{
    int nSum = 0;
    for (int i = 0; i < nMaskRows * nMaskCols; ++i) {
        nSum += rSrc[nRow + i / nMaskCols][nCol + i % nMaskCols];
    }
    return nSum;
}

TEST(BoxFilters, EdgeFilterMatchesTheModelForMasksAndGains)
{
    struct Case
    {
        unsigned uMaskRows, uMaskCols;
        double dGain, dBase;
    };
    const Case aCases[] = {{7, 7, 1.0, 32768}, {11, 11, 1.0, 32768},    {1, 5, 1.0, 32768}, {4, 1, 1.0, 32768},
                           {3, 3, 3.5, 32768}, {2, 23, 1.0, 30375.936}, {1, 1, 2.0, 0}};
    const Image<unsigned char> src = seededImage<unsigned char>(31, 47, 3);
    for (const bool bSSE2 : {false, true}) {
        enableSSE2IfAvailable(bSSE2);
        for (const Case& c : aCases) {
            const auto nMaskRows = static_cast<int>(c.uMaskRows);
            const auto nMaskCols = static_cast<int>(c.uMaskCols);
            const int nFactor = static_cast<int>(c.dBase * c.dGain / (nMaskRows * nMaskCols));
            Image<unsigned char> dst(32 - nMaskRows, 48 - nMaskCols);
            boxEdgeFilter(dst, src, c.uMaskRows, c.uMaskCols, c.dGain);
            for (int i = 0; i < dst.nRows() * dst.nCols(); ++i) {
                const int nRow = i / dst.nCols();
                const int nCol = i % dst.nCols();
                ASSERT_EQ(dst[nRow][nCol],
                          modelBandpass(0, nCol, dst.nCols(), src[nRow + nMaskRows / 2][nCol + nMaskCols / 2],
                                        boxSum(src, nRow, nCol, nMaskRows, nMaskCols), -nFactor * nMaskRows * nMaskCols,
                                        nFactor))
                    << nMaskRows << " by " << nMaskCols << " at " << nRow << ' ' << nCol << bSSE2;
            }
        }
    }
}

TEST(BoxFilters, EdgeImageIsGreyOutsideAndNearlyGreyInsideOfAFlatImage)
{
    for (const int nMask : {1, 2, 7, 11, 25}) {
        for (const int nLevel : {0, 1, 100, 255}) {
            Image<unsigned char> flat(24, 32);
            flat.init(static_cast<unsigned char>(nLevel));
            Image<unsigned char> edge(24, 32);
            edge.init(3);
            edgeImage(edge, flat, nMask);
            const int nHalf = nMask / 2;
            for (int i = 0; i < 24 * 32; ++i) {
                const int nRow = i / 32;
                const int nCol = i % 32;
                const bool bReached = nMask > 1 && nRow >= nHalf && nCol >= nHalf && nRow <= 24 - nMask + nHalf &&
                                      nCol <= 32 - nMask + nHalf;
                ASSERT_TRUE(edge[nRow][nCol] == 128 || (bReached && edge[nRow][nCol] == 127))
                    << nMask << ' ' << nLevel << ' ' << nRow << ' ' << nCol << ": " << int{edge[nRow][nCol]};
            }
        }
    }
    Image<unsigned char> dot(24, 32);
    dot.init(200);
    dot[10][12] = 0;
    Image<unsigned char> edge(24, 32);
    edgeImage(edge, dot, 7);
    EXPECT_GT(edge[10][12], 200) << "darker than its surroundings";
    EXPECT_LT(edge[10][13], 128);
}

TEST(BoxFilters, BoxFilterAverages)
{
    const Image<unsigned char> src = seededImage<unsigned char>(20, 37, 9);
    for (const int nSize : {1, 2, 3, 8}) {
        Image<unsigned char> dst(21 - nSize, 38 - nSize);
        boxFilter(dst, src, static_cast<unsigned>(nSize));
        for (int i = 0; i < dst.nRows() * dst.nCols(); ++i) {
            const int nRow = i / dst.nCols();
            const int nCol = i % dst.nCols();
            const int nSum = boxSum(src, nRow, nCol, nSize, nSize);
            ASSERT_EQ(dst[nRow][nCol], nSum * (65536 / (nSize * nSize)) / 65536) << nSize << ' ' << nRow << ' ' << nCol;
        }
    }
}

} // namespace
} // namespace kestrova::test
