#include "stereo/surfaceValidation.h"

#include "api/StereoContext.h"
#include "support/allocations.h"
#include "support/rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

using namespace kestrova;

namespace {

/** Surfaces by definition: sets of connected pixels. One more member, the background, saves every set it joins. */
class NaiveSurfaces
{
public:
    template<typename T>
    static Image<T> expected(const Image<T>& rImage, int nThreshold, int nMin, int nMax, unsigned uMinSize, T invalid,
                             int nMargin)
    {
        const int nRows = rImage.nRows(), nCols = rImage.nCols(), nBackground = nRows * nCols;
        NaiveSurfaces sets(nBackground + 1);
        const bool b8 = sizeof(T) == 1;
        const auto labelled = [&](int r, int c) {
            return r >= nMargin && c >= nMargin && r < nRows - nMargin && c < nCols - nMargin && rImage[r][c] >= nMin &&
                   rImage[r][c] <= nMax;
        };
        const auto connect = [&](int r, int c, int r2, int c2, bool bVisible) {
            if (r2 >= 0 && c2 >= 0 && std::abs(rImage[r][c] - rImage[r2][c2]) <= nThreshold) {
                sets.join(r * nCols + c, bVisible && labelled(r2, c2) ? r2 * nCols + c2 : nBackground);
            }
        };
        Image<T> result(nRows, nCols);
        result.init(rImage);
        for (int r = nMargin; r < nRows - nMargin; ++r) {
            for (int c = nMargin; c < nCols - nMargin; ++c) {
                if (labelled(r, c)) {
                    ++sets.m_sizes[sets.root(r * nCols + c)];
                    connect(r, c, r, c - 1, !b8 || c > 1 || r == 0); // column 0 is hidden from column 1
                    connect(r, c, r - 1, c, true);
                }
            }
        }
        for (int i = 0; i < nBackground; ++i) {
            const int r = i / nCols, c = i % nCols;
            const bool bSmall = sets.root(i) != sets.root(nBackground) && sets.m_sizes[sets.root(i)] < uMinSize;
            if (labelled(r, c) && bSmall && (!b8 || c > 0 || r == 0)) {
                result[r][c] = invalid;
            }
        }
        return result;
    }

private:
    explicit NaiveSurfaces(int n) : m_parents(static_cast<std::size_t>(n)), m_sizes(static_cast<std::size_t>(n))
    {
        std::iota(m_parents.begin(), m_parents.end(), 0u);
    }

    std::size_t root(std::size_t u) const { return m_parents[u] == u ? u : root(m_parents[u]); }

    void join(int a, int b)
    {
        const std::size_t uA = root(static_cast<std::size_t>(a)), uB = root(static_cast<std::size_t>(b));
        if (uA != uB) {
            m_parents[uA] = uB;
            m_sizes[uB] += m_sizes[uA];
        }
    }

    std::vector<std::size_t> m_parents;
    std::vector<unsigned> m_sizes;
};

// Few values close to each other, and now and then one outside, make regions of all sizes and shapes. Widths pad rows.
TEST(SegmentIntoRegions, MatchesSetsOfConnectedPixels)
{
    KesSegmentContext context; // one for all: nothing of an image may reach the next
    for (unsigned uSeed = 0; uSeed < 2000; ++uSeed) {
        std::mt19937 random(uSeed);
        const auto below = [&](unsigned u) { return static_cast<unsigned>(random() % u); };
        const int nRows = static_cast<int>(below(24)), nCols = static_cast<int>(below(45));
        const unsigned uLevels = 2 + below(6), uMinSize = below(40), uBorder = below(9);
        const double dDifference = below(9) / 4.0;
        Image<unsigned char> bytes(nRows, nCols);
        Image<unsigned short> words(nRows, nCols);
        Image<unsigned int> labels = support::seededImage<unsigned int>(nRows, nCols, uSeed);
        for (int r = 0; r < nRows; ++r) {
            for (int c = 0; c < nCols; ++c) {
                bytes[r][c] = static_cast<unsigned char>(below(8) == 0 ? 253 : 9 + below(uLevels));
                words[r][c] = static_cast<unsigned short>(below(8) == 0 ? 0xFEF0 + below(0x30)
                                                                        : 0xFF00 - 100 * (1 + below(uLevels * 4)));
            }
        }
        const auto nMargin = static_cast<int>(std::max(1u, (uBorder + 1) / 2));
        const auto expected8 = NaiveSurfaces::expected<unsigned char>(bytes, static_cast<int>(dDifference + 0.5), 10,
                                                                      240, uMinSize, 252, 0);
        const auto expected16 = NaiveSurfaces::expected<unsigned short>(words, static_cast<int>(dDifference * 256), 0,
                                                                        0xFEFF, uMinSize, 0xFFFC, nMargin);
        context.SegmentIntoRegions(bytes, labels, dDifference, 10, 240, uMinSize, 252);
        context.SegmentIntoRegions(words, labels, dDifference, uMinSize, 0xFFFC, uBorder);
        ASSERT_EQ(support::pixelsOf(expected8), support::pixelsOf(bytes)) << "seed " << uSeed;
        ASSERT_EQ(support::pixelsOf(expected16), support::pixelsOf(words)) << "seed " << uSeed;
    }
}

enum Shape
{
    Block, // ten rows
    U,     // two columns, and six pixels that connect them at their lower ends
    Ramp   // two rows, one step a column
};

// What a user sees of one surface on an empty frame, by the settings, in both images.
TEST(ValidateSurfaces, KeepsSurfacesOfEnoughPixels)
{
    const struct
    {
        Shape eShape;
        int nPixels, nStep, nSize;
        double dDifference;
        bool bMapped, bStands;
    } aCases[] = {
        {Block, 199, 0, 200, 1.0, false, false},  {Block, 200, 0, 200, 1.0, false, true},
        {U, 200, 0, 201, 1.0, false, false},      {U, 200, 0, 200, 1.0, false, true},
        {Ramp, 199, 1, 200, 1.0, false, false},   {Ramp, 200, 1, 200, 1.0, false, true},
        {Ramp, 200, 2, 200, 1.0, false, false},   {Ramp, 200, 2, 200, 2.0, false, true},
        {Ramp, 200, 1, 200, 0.0, false, false},   {Block, 1, 0, 0, 1.0, false, true},
        {Block, 200, 0, 200, 1e300, false, true}, {Ramp, 30, 5, 30, 1.0, true, true},
        {Ramp, 30, 6, 30, 1.0, true, false}, // mapped: a disparity is five labels
    };
    for (const auto& rCase : aCases) {
        for (const bool b16 : {false, true}) {
            if (b16 && rCase.bMapped) {
                continue;
            }
            StereoContext r;
            r.m_bSubpixelInterpolation = b16;
            r.m_nMaxDisparity = rCase.bMapped ? 51 : 240;
            r.m_bDisparityMappingOn = rCase.bMapped;
            r.m_nDisparityMappingMax = 255 * rCase.bMapped;
            r.m_nSurfaceValidationSize = rCase.nSize;
            r.m_dSurfaceValidationDifference = rCase.dDifference;
            r.m_disparityImage = Image<unsigned char>(120, 130);
            r.m_disparityImage16 = Image<unsigned short>(120, 130);
            r.m_disparityImage.init(static_cast<unsigned char>(rCase.bMapped ? 0 : 253));
            r.m_disparityImage16.init(0xFFFD);
            const int nArms = rCase.nPixels - 6;
            for (int i = 0; i < rCase.nPixels; ++i) {
                int nRow = 8 + i % 10, nCol = 7 + i / 10, nValue = 30;
                if (rCase.eShape == U) {
                    nRow = 8 + std::min(i, nArms - 1) / 2;
                    nCol = i < nArms ? 7 + i % 2 * 7 : 8 + i - nArms;
                } else if (rCase.eShape == Ramp) {
                    nRow = 8 + i % 2;
                    nCol = 7 + i / 2;
                    nValue = 30 + i / 2 * rCase.nStep;
                }
                r.m_disparityImage[nRow][nCol] = static_cast<unsigned char>(nValue);
                r.m_disparityImage16[nRow][nCol] = static_cast<unsigned short>(nValue * 256);
            }
            const auto before8 = support::pixelsOf(r.m_disparityImage);
            const auto before16 = support::pixelsOf(r.m_disparityImage16);
            EXPECT_TRUE(validateSurfaces(&r));
            const auto after8 = support::pixelsOf(r.m_disparityImage);
            const auto after16 = support::pixelsOf(r.m_disparityImage16);
            const auto nRejected = b16 ? std::count(after16.begin(), after16.end(), 0xFFFC)
                                       : std::count(after8.begin(), after8.end(), 252);
            EXPECT_EQ(rCase.bStands ? 0 : rCase.nPixels, nRejected) << "case " << &rCase - aCases << " 16-bit " << b16;
            EXPECT_EQ(rCase.bStands || b16, before8 == after8);
            EXPECT_EQ(rCase.bStands || !b16, before16 == after16);
        }
    }
    EXPECT_FALSE(validateSurfaces(nullptr));
}

// No two pixels of these frames connect. The tables grow once, and frames of the same size allocate nothing more.
TEST(ValidateSurfaces, ManagesAMillionLabelsAndThenAllocatesNothing)
{
    for (const bool b16 : {false, true}) {
        StereoContext r;
        r.m_bSubpixelInterpolation = b16;
        r.m_nMaxDisparity = 240;
        r.m_disparityImage = Image<unsigned char>(1000, 1000);
        r.m_disparityImage16 = Image<unsigned short>(1000, 1000);
        unsigned long anAllocations[3] = {};
        for (unsigned long& rCount : anAllocations) {
            for (int i = 0; i < 1000000; ++i) {
                const int nValue = (i / 1000 + i) % 2 == 0 ? 10 : 100;
                r.m_disparityImage[i / 1000][i % 1000] = static_cast<unsigned char>(nValue);
                r.m_disparityImage16[i / 1000][i % 1000] = static_cast<unsigned short>(nValue * 256);
            }
            const unsigned long nBefore = support::g_nAllocations;
            EXPECT_TRUE(validateSurfaces(&r));
            rCount = support::g_nAllocations - nBefore;
        }
        EXPECT_GT(anAllocations[0], 0u);
        EXPECT_EQ(0u, anAllocations[1] + anAllocations[2]);
        // The margin of a 16-bit image, and column 0 of an 8-bit one below its corner, stay as they are.
        const auto bytes = support::pixelsOf(r.m_disparityImage);
        const auto words = support::pixelsOf(r.m_disparityImage16);
        EXPECT_EQ(b16 ? 0 : 1000000 - 999, std::count(bytes.begin(), bytes.end(), 252));
        EXPECT_EQ(b16 ? 994 * 994 : 0, std::count(words.begin(), words.end(), 0xFFFC));
        EXPECT_EQ(b16 ? 994u * 994u : 1000000u, r.m_segmentContext.regionCount());
        EXPECT_EQ(r.m_segmentContext.regionCount() + 1, g_nLastTableSize);
        EXPECT_EQ(1000001u, g_nPeakTableSize);
    }
}

TEST(CompressLabels, SumsRegionsAndMarksTheSmallOnes)
{
    KesUIntVector table(2, 3), sizes(2, 3);
    const unsigned aanLabels[][2] = {{0, 4}, {1, 5}, {1, 2}, {2, 1}, {4, 7}, {0, 2}};
    for (const auto& rLabel : aanLabels) {
        for (KesUIntVector* pVector : {&table, &sizes}) {
            pVector->resize(table.size() + 1);
            pVector->use(pVector->size() + 1);
            (*pVector)[pVector->size() - 1] = rLabel[pVector == &sizes];
        }
    }
    EXPECT_EQ(8u, table.capacity()); // whole increments, as often as needed
    table.resize(12);
    EXPECT_EQ(14u, table.capacity());
    EXPECT_EQ(2u, KesSegmentContext::compressLabels(table, sizes, 8)); // label 4, and label 5 with the small background
    const unsigned anExpected[] = {0, 0, 0, 0, 4, 0};
    EXPECT_TRUE(std::equal(std::begin(anExpected), std::end(anExpected), table.data()));
    table.clear();
    EXPECT_EQ(0u, KesSegmentContext::compressLabels(table, sizes, 8));
}

} // namespace
