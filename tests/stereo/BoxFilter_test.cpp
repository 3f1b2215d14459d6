// Box sums and the per-disparity passes against direct window sums.
#include "stereo/BoxFilter.h"

#include "stereo/disparity_pass.h"
#include "stereo/models.h"
#include "stereo/processor.h"
#include "support/rows.h"

#include <gtest/gtest.h>

using namespace kestrova;
using support::pixelsOf;
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

struct Box
{
    int m_nRows, m_nCols, m_nMaskRows, m_nMaskCols;
};

TEST(BoxFilter, SumsEveryWindowAndNumbersItsRows)
{
    const Box sk_aBoxes[] = {{4, 9, 1, 1},  {4, 21, 1, 3}, {9, 40, 3, 1},    {9, 33, 2, 2}, {12, 50, 5, 7},
                             {8, 70, 3, 5}, {5, 7, 5, 7},  {40, 60, 23, 23}, {3, 20, 4, 4}, {4, 6, 2, 7}};
    BoxFilter box; // one for all: reset has to cope with a ring of another shape
    for (const Box& rBox : sk_aBoxes) {
        for (const bool bSSE2 : {false, true}) {
            for (const bool bOneRow : {false, true}) {
                const int nOutRows = std::max(0, rBox.m_nRows - rBox.m_nMaskRows + 1);
                const int nOutCols = std::max(0, rBox.m_nCols - rBox.m_nMaskCols + 1);
                const Bytes source = seededImage<unsigned char>(rBox.m_nRows, rBox.m_nCols, 7);
                Words sums = bOneRow ? Words::constImage(nOutRows, nOutCols, 1) : Words(nOutRows, nOutCols);
                box.reset(sums, static_cast<unsigned>(rBox.m_nMaskRows), static_cast<unsigned>(rBox.m_nMaskCols));
                for (int k = 0; k < rBox.m_nRows; ++k) {
                    // Rows of a caller's memory have no slack to read.
                    support::GuardedRow<unsigned char> row(
                        std::vector<unsigned char>(&source[k][0], &source[k][0] + rBox.m_nCols), k % 32);
                    const int n = box.add(Row<unsigned char>(row.data(), rBox.m_nCols), rBox.m_nCols, bSSE2);
                    ASSERT_EQ(n, k + 1 - rBox.m_nMaskRows);
                    for (int c = 0; n >= 0 && c < nOutCols; ++c) {
                        ASSERT_EQ(sums[n][c], windowSum(source, n, c, rBox.m_nMaskRows, rBox.m_nMaskCols))
                            << rBox.m_nMaskRows << " by " << rBox.m_nMaskCols << " at " << n << ", " << c;
                    }
                }
            }
        }
    }
}

/** Images of one pass: the views, and the working images inside larger ones whose rims must stay. */
struct Pass
{
    int m_nViews, m_nMask, m_nCols;
    bool m_bSSE2;

    static constexpr int sk_nRows = 34;
    static constexpr int sk_nShift = 5; // columns before the views and the working images

    [[nodiscard]] std::vector<Bytes> views() const
    {
        std::vector<Bytes> views;
        for (int i = 0; i < m_nViews; ++i) {
            const Bytes whole = seededImage<unsigned char>(sk_nRows, m_nCols + 40, static_cast<unsigned>(31 + i));
            views.push_back(whole.region(0, sk_nShift * i, sk_nRows, m_nCols));
        }
        return views;
    }

    /** The middle of an image that the pass may write: a window's half less on every side, also for even masks. */
    template<typename T>
    [[nodiscard]] Image<T> inner(const Image<T>& rWhole) const
    {
        const int nHalf = m_nMask / 2;
        return rWhole.region(1, sk_nShift, sk_nRows - 2 * nHalf, m_nCols - 2 * nHalf);
    }

    [[nodiscard]] Words whole(unsigned uSeed) const
    {
        return seededImage<unsigned short>(sk_nRows + 2, m_nCols + 16, uSeed);
    }

    [[nodiscard]] unsigned mask() const { return static_cast<unsigned>(m_nMask); }

    /** Scores by windows of the gathered differences; those gather in a row that starts on a boundary. */
    [[nodiscard]] Words scores() const
    {
        const std::vector<Bytes> v = views();
        Bytes differences(sk_nRows, m_nCols);
        for (int r = 0; r < sk_nRows; ++r) {
            for (int i = 0; i < m_nViews - 1; ++i) {
                unsigned char* pRow = &differences[r][0];
                for (int c = 0; c < m_nCols; ++c) {
                    const int nDifference = std::abs(v[0][r][c] - v[i + 1][r][c]);
                    const auto pModel = m_nMask > 15 ? models::averaged : models::accumulated;
                    pRow[c] = i == 0 ? static_cast<unsigned char>(nDifference) : pModel(pRow, c, m_nCols, nDifference);
                }
            }
        }
        Words scores(sk_nRows - m_nMask / 2 * 2, m_nCols - m_nMask / 2 * 2);
        for (int r = 0; r < scores.nRows(); ++r) {
            for (int c = 0; c < scores.nCols(); ++c) {
                scores[r][c] = windowSum(differences, r, c, m_nMask, m_nMask);
            }
        }
        return scores;
    }
};

const Pass sk_aPasses[] = {{2, 1, 21, true},  {2, 3, 45, true},  {3, 5, 61, false},  {3, 5, 61, true},
                           {3, 15, 77, true}, {3, 16, 77, true}, {3, 17, 90, false}, {2, 4, 36, true},
                           {3, 6, 38, true},  {4, 23, 83, true}};

TEST(DisparityPass, FirstStepFillsTheScoresAndNothingElse)
{
    for (const Pass& rPass : sk_aPasses) {
        enableSSE2IfAvailable(rPass.m_bSSE2);
        const std::vector<Bytes> views = rPass.views();
        Words whole = rPass.whole(1), expected = rPass.whole(1);
        Words score = rPass.inner(whole);
        stereoFirstStep(score, views.data(), 1, rPass.mask());
        stereoFirstStep(score, nullptr, 2, rPass.mask());
        stereoFirstStep(score, views.data(), 2, 0);
        ASSERT_EQ(pixelsOf(whole), pixelsOf(expected)) << "an empty pass wrote";
        rPass.inner(expected).init(rPass.scores());
        stereoFirstStep(score, views.data(), rPass.m_nViews, rPass.mask());
        EXPECT_EQ(pixelsOf(whole), pixelsOf(expected)) << rPass.m_nViews << " views, mask " << rPass.m_nMask;
    }
    enableSSE2IfAvailable(true);
}

/** Best, before, after and last inside their frames, and the labels. */
struct Working
{
    explicit Working(const Pass& rPass)
        : m_aWhole{rPass.whole(1), rPass.whole(2), rPass.whole(3), rPass.whole(4)},
          m_labels(seededImage<unsigned char>(m_aWhole[0].nRows(), m_aWhole[0].nCols(), 5))
    {}

    Words m_aWhole[4];
    Bytes m_labels;
};

TEST(DisparityPass, StepMergesTheScoresAndNothingElse)
{
    constexpr unsigned char sk_ucNew = 2;
    for (const Pass& rPass : sk_aPasses) {
        for (const bool bSubpixel : {false, true}) {
            SCOPED_TRACE(testing::Message() << rPass.m_nViews << " views, mask " << rPass.m_nMask << bSubpixel);
            enableSSE2IfAvailable(rPass.m_bSSE2);
            Working got(rPass), expected(rPass);
            const Words scores = rPass.scores();
            Words best = rPass.inner(expected.m_aWhole[0]), before = rPass.inner(expected.m_aWhole[1]);
            Words after = rPass.inner(expected.m_aWhole[2]), last = rPass.inner(expected.m_aWhole[3]);
            Bytes labels = rPass.inner(expected.m_labels);
            for (int r = 0; r < scores.nRows(); ++r) {
                for (int c = 0; c < scores.nCols(); ++c) {
                    models::keepMinimum(&best[r][0], c, scores.nCols(), rPass.m_bSSE2, labels[r][c],
                                        bSubpixel ? &before[r][c] : nullptr, bSubpixel ? &after[r][c] : nullptr,
                                        last[r][c], scores[r][c], sk_ucNew);
                    last[r][c] = bSubpixel ? scores[r][c] : last[r][c];
                }
            }
            Words aInner[4] = {rPass.inner(got.m_aWhole[0]), rPass.inner(got.m_aWhole[1]), rPass.inner(got.m_aWhole[2]),
                               rPass.inner(got.m_aWhole[3])};
            Bytes gotLabels = rPass.inner(got.m_labels);
            stereoStep(aInner[0], gotLabels, aInner[1], aInner[2], aInner[3], rPass.views().data(), rPass.m_nViews,
                       rPass.mask(), sk_ucNew, bSubpixel);
            for (int i = 0; i < 4; ++i) {
                EXPECT_EQ(pixelsOf(got.m_aWhole[i]), pixelsOf(expected.m_aWhole[i])) << "image " << i;
            }
            EXPECT_EQ(pixelsOf(got.m_labels), pixelsOf(expected.m_labels));
        }
    }
    enableSSE2IfAvailable(true);
}

} // namespace
