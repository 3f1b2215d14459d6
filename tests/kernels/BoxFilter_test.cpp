// Box sums against direct window sums.
#include "kernels/BoxFilter.h"

#include "support/rows.h"

#include <gtest/gtest.h>

using namespace kestrova;
using support::seededImage;

namespace {

using Bytes = Image<unsigned char>;
using Words = Image<unsigned short>;

/** The window's sum with its top left pixel at (r, c), wrapping. */
unsigned short windowSum(const Bytes& rImage, int r, int c, int nMaskRows, int nMaskCols)
{
    unsigned uSum = 0;
    for (int i = r; i < r + nMaskRows; ++i) {
        for (int j = c; j < c + nMaskCols; ++j) {
            uSum += rImage[i][j];
        }
    }
    return static_cast<unsigned short>(uSum);
}

TEST(BoxFilter, SumsEveryWindowAndNumbersItsRows)
{
    const struct
    {
        int m_nRows, m_nCols, m_nMaskRows, m_nMaskCols;
    } aBoxes[] = {{4, 9, 1, 1}, {9, 40, 3, 1}, {9, 33, 2, 2}, {12, 50, 5, 7}, {40, 60, 23, 23}, {3, 20, 4, 4}};
    BoxFilter box; // one for all: reset has to cope with a ring of another shape
    for (int i = 0; i < 4 * static_cast<int>(std::size(aBoxes)); ++i) {
        const auto [nRows, nCols, nMaskRows, nMaskCols] = aBoxes[i / 4];
        const int nOutRows = std::max(0, nRows - nMaskRows + 1);
        const int nOutCols = std::max(0, nCols - nMaskCols + 1);
        const Bytes source = seededImage<unsigned char>(nRows, nCols, 7);
        Words sums = i % 2 == 0 ? Words::constImage(nOutRows, nOutCols, 1) : Words(nOutRows, nOutCols);
        box.reset(sums, static_cast<unsigned>(nMaskRows), static_cast<unsigned>(nMaskCols));
        for (int k = 0; k < nRows; ++k) {
            // Rows of a caller's memory have no slack to read.
            support::GuardedRow<unsigned char> row({&source[k][0], &source[k][0] + nCols}, k % 32);
            const int n = box.add(Row<unsigned char>(row.data(), nCols), nCols, i % 4 < 2);
            ASSERT_EQ(n, k + 1 - nMaskRows);
            for (int c = 0; n >= 0 && c < nOutCols; ++c) {
                ASSERT_EQ(sums[n][c], windowSum(source, n, c, nMaskRows, nMaskCols)) << i << " at " << n << ' ' << c;
            }
        }
    }
}

} // namespace
