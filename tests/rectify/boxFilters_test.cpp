#include "kernels/InstructionSet.h"
#include "models.h"
#include "rectify/boxFilters.h"

namespace kestrova::test {
namespace {

/** Pixel i of a band-pass row of n pixels that starts at that address. */
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

void expectBandpassRowsAtEveryLengthAndAlignment()
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
                GuardedRow<unsigned short> sums(support::seededValues<unsigned short>(uCount, uSeed), nOffset / 2 * 2);
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

TEST(BoxFilters, BandpassRowsAtEveryLengthAndAlignmentInEverySet)
{
    for (const InstructionSet* pSet : supportedInstructionSets()) {
        SCOPED_TRACE(pSet->m_pszName);
        forceInstructionSet(*pSet);
        expectBandpassRowsAtEveryLengthAndAlignment();
    }
}

TEST(BoxFilters, ImagesMatchTheModelForMasksAndGains)
{
    struct Case
    {
        int nMaskRows, nMaskCols;
        double dGain, dBase;
    };
    const Case aCases[] = {{7, 7, 1.0, 32768}, {11, 11, 1.0, 32768},    {1, 5, 1.0, 32768}, {4, 1, 1.0, 32768},
                           {3, 3, 3.5, 32768}, {2, 23, 1.0, 30375.936}, {1, 1, 2.0, 0}};
    const Image<unsigned char> src = seededImage<unsigned char>(31, 47, 3);
    for (const Case& c : aCases) {
        const int nArea = c.nMaskRows * c.nMaskCols;
        const int nFactor = static_cast<int>(c.dBase * c.dGain / nArea);
        Image<unsigned char> edge(32 - c.nMaskRows, 48 - c.nMaskCols);
        Image<unsigned char> average(edge.size());
        boxEdgeFilter(edge, src, static_cast<unsigned>(c.nMaskRows), static_cast<unsigned>(c.nMaskCols), c.dGain);
        if (c.nMaskRows == c.nMaskCols) {
            boxFilter(average, src, static_cast<unsigned>(c.nMaskRows));
        }
        if (c.nMaskRows == c.nMaskCols && c.dGain == 1.0) { // the same inside of a grey rim
            Image<unsigned char> rimmed(src.size());
            edgeImage(rimmed, src, c.nMaskRows);
            auto inside = rimmed.region(c.nMaskRows / 2, c.nMaskRows / 2, edge.size());
            ASSERT_EQ(pixelsOf(inside), pixelsOf(edge));
            inside.init(128);
            ASSERT_EQ(pixelsOf(rimmed), Bytes(31 * 47, 128));
        }
        for (int i = 0; i < edge.nRows() * edge.nCols(); ++i) {
            const int nRow = i / edge.nCols();
            const int nCol = i % edge.nCols();
            int nSum = 0;
            for (int k = 0; k < nArea; ++k) {
                nSum += src[nRow + k / c.nMaskCols][nCol + k % c.nMaskCols];
            }
            const int nPixel = src[nRow + c.nMaskRows / 2][nCol + c.nMaskCols / 2];
            ASSERT_EQ(edge[nRow][nCol], modelBandpass(0, nCol, edge.nCols(), nPixel, nSum, -nFactor * nArea, nFactor))
                << &c - aCases << " at " << nRow << ' ' << nCol;
            ASSERT_TRUE(c.nMaskRows != c.nMaskCols || average[nRow][nCol] == nSum * (65536 / nArea) / 65536)
                << &c - aCases << " at " << nRow << ' ' << nCol;
        }
    }
}

} // namespace
} // namespace kestrova::test
