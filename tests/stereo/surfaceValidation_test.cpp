#include "stereo/surfaceValidation.h"

#include "kernels/InstructionSet.h"
#include "support/frames.h"

#include <utility>

using namespace kestrova;
using namespace support;

namespace {

/** Surfaces by definition: pixels take the lower set of those that they connect to until nothing changes. */
template<typename T>
void rejectNaively(Image<T>& rImage, int nThreshold, int nMin, int nMax, unsigned uMinSize, T invalid, int nMargin)
{
    const int nRows = rImage.nRows(), nCols = rImage.nCols();
    std::vector<unsigned> sets(static_cast<std::size_t>(nRows * nCols)), sizes(sets.size() + 1);
    std::vector<std::size_t> labelled;
    for (int p = 0; p < nRows * nCols; ++p) {
        const int r = p / nCols, c = p % nCols;
        if (std::min({r, c, nRows - 1 - r, nCols - 1 - c}) >= nMargin && rImage[r][c] >= nMin && rImage[r][c] <= nMax) {
            labelled.push_back(static_cast<std::size_t>(p));
            sets[labelled.back()] = static_cast<unsigned>(p + 1); // set 0 is the background
        }
    }
    const auto isHidden = [&](std::size_t p) { return sizeof(T) == 1 && p > 0 && p % nCols == 0; };
    for (bool bChanges = true; std::exchange(bChanges, false);) {
        for (const std::size_t p : labelled) {
            for (const bool bUp : {false, true}) {
                const int r = static_cast<int>(p) / nCols, c = static_cast<int>(p) % nCols;
                if ((bUp ? r : c) == 0 || std::abs(rImage[r][c] - rImage[r - bUp][c - !bUp]) > nThreshold) {
                    continue;
                }
                // From column 1, column 0 of an 8-bit image is background but for its corner.
                unsigned nBackground = 0;
                const std::size_t q = p - static_cast<std::size_t>(bUp ? nCols : 1);
                unsigned& rOther = !bUp && isHidden(q) ? nBackground : sets[q];
                const unsigned nSet = std::min(sets[p], rOther);
                bChanges |= nSet != sets[p] || nSet != rOther;
                sets[p] = rOther = nSet;
            }
        }
    }
    for (const std::size_t p : labelled) {
        ++sizes[sets[p]];
    }
    for (const std::size_t p : labelled) {
        if (sets[p] != 0 && sizes[sets[p]] < uMinSize && !isHidden(p)) {
            rImage[static_cast<int>(p) / nCols][static_cast<int>(p) % nCols] = invalid;
        }
    }
}

// Few values close to each other, and now and then one outside, make regions of all sizes and shapes. Widths pad rows.
TEST(SegmentIntoRegions, MatchesSetsOfConnectedPixels)
{
    KesSegmentContext context; // one for all: nothing of an image may reach the next
    for (unsigned uSeed = 0; uSeed < 2000 && !HasFatalFailure(); ++uSeed) {
        SCOPED_TRACE(testing::Message() << "seed " << uSeed);
        std::mt19937 random(uSeed);
        const auto below = [&](unsigned u) { return static_cast<unsigned>(random() % u); };
        const int nRows = static_cast<int>(below(24)), nCols = static_cast<int>(below(uSeed % 8 == 0 ? 200 : 45));
        const unsigned uLevels = 2 + below(6), uMinSize = below(40), uBorder = below(9);
        const double dDifference = below(9) / 4.0;
        Bytes bytes(nRows, nCols), expected8(nRows, nCols);
        Words words(nRows, nCols), expected16(nRows, nCols);
        for (int p = 0; p < nRows * nCols; ++p) {
            const unsigned uHigh = below(8) == 0 ? 0xFEF0 + below(0x30) : 0xFF00 - 100 * (1 + below(uLevels * 4));
            bytes[p / nCols][p % nCols] = static_cast<unsigned char>(below(8) == 0 ? 253 : 9 + below(uLevels));
            words[p / nCols][p % nCols] = static_cast<unsigned short>(uHigh);
        }
        expected8.init(bytes);
        expected16.init(words);
        const int nMargin = static_cast<int>(std::max(1U, (uBorder + 1) / 2));
        rejectNaively<unsigned char>(expected8, static_cast<int>(dDifference + 0.5), 10, 240, uMinSize, 252, 0);
        rejectNaively<unsigned short>(expected16, static_cast<int>(dDifference * 256), 0, 0xFEFF, uMinSize, 0xFFFC,
                                      nMargin);
        const auto run = [&](const InstructionSet* pSet, bool b16) {
            forceInstructionSet(*pSet);
            Bytes result8(nRows, nCols);
            Words result16(nRows, nCols);
            result8.init(bytes);
            result16.init(words);
            auto labels = seededImage<unsigned int>(nRows, nCols, uSeed + (pSet->m_bReference ? 0 : 1));
            if (b16) {
                context.SegmentIntoRegions(result16, labels, dDifference, uMinSize, 0xFFFC, uBorder);
                expectSame(expected16, result16);
            } else {
                context.SegmentIntoRegions(result8, labels, dDifference, 10, 240, uMinSize, 252);
                expectSame(expected8, result8);
            }
            auto result = pixelsOf(labels); // and the tables
            for (const KesUIntVector* p : {&context.labelTable(), &context.sizeTable()}) {
                result.insert(result.end(), p->data(), p->data() + p->size());
            }
            result.push_back(context.regionCount());
            return result;
        };
        for (const bool b16 : {false, true}) {
            const auto plain = run(supportedInstructionSets().front(), b16);
            for (const InstructionSet* pSet : supportedInstructionSets().subspan(1)) {
                ASSERT_EQ(run(pSet, b16), plain) << pSet->m_pszName;
            }
        }
    }
    forceInstructionSet(*supportedInstructionSets().back());
}

// A pixel between two surfaces takes the lesser root; those before it, and their other neighbours, keep what they have.
TEST(SegmentIntoRegions, LeavesLabelsAsTheyWereBeforeMerging)
{
    unsigned char aucImage[] = {5, 5, 9, 7, 9, 9, 3, 8, 9, 5, 9, 9, 9, 7, 8, 8, 9, 9, 9, 0, 9, 7, 8, 8};
    const std::vector<unsigned> labels8 = {1, 1, 2, 3, 4, 4, 5, 6, 0, 1, 2, 2, 2, 8, 9, 6, 0, 0, 0, 0, 2, 8, 9, 6};
    unsigned short ausImage[] = {5, 5, 5, 5, 5, 5, 7, 5, 6, 6, 9, 9, 7, 9, 9, 6, 6, 1, 4, 4, 4, 4, 4, 4};
    const std::vector<unsigned> labels16 = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 2, 0, 0, 3, 3, 1, 1, 0, 0, 0, 0, 0, 0, 0};
    KesSegmentContext context;
    Bytes bytes(3, 8, aucImage);
    Words words(4, 6, ausImage);
    Image<unsigned int> labels(3, 8), innerLabels(4, 6);
    context.SegmentIntoRegions(bytes, labels, 0, 1, 9, 0, 252);
    context.SegmentIntoRegions(words, innerLabels, 0, 0, 0xFFFC, 2);
    EXPECT_EQ(labels8, pixelsOf(labels));
    EXPECT_EQ(labels16, pixelsOf(innerLabels));
}

enum Shape
{
    Block, // ten rows
    U,     // two columns, and six pixels that connect them at their lower ends
    Ramp   // two rows, one step a column
};

// What a user sees of one surface on an empty frame, by the settings, in the image that they produce.
TEST(ValidateSurfaces, KeepsSurfacesOfEnoughPixels)
{
    const struct
    {
        Shape eShape;
        int nPixels, nStep, nSize;
        double dDifference;
        bool b16, bMapped, bStands;
    } aCases[] = {
        {Block, 199, 0, 200, 1.0, false, false, false}, {Block, 199, 0, 200, 1.0, true, false, false},
        {Block, 200, 0, 200, 1.0, false, false, true},  {Block, 200, 0, 200, 1.0, true, false, true},
        {U, 200, 0, 201, 1.0, false, false, false},     {U, 200, 0, 201, 1.0, true, false, false},
        {U, 200, 0, 200, 1.0, false, false, true},      {U, 200, 0, 200, 1.0, true, false, true},
        {Ramp, 200, 1, 200, 1.0, false, false, true},   {Ramp, 200, 1, 200, 1.0, true, false, true},
        {Ramp, 200, 2, 200, 1.0, false, false, false},  {Ramp, 200, 1, 200, 0.0, true, false, false},
        {Block, 9, 0, 0, 1.0, false, false, true},      {Block, 9, 0, 99999, 1.0, false, false, false},
        {Block, 9, 0, 200, 1e300, false, false, true},  {Block, 9, 0, 99999, 1.0, true, false, false},
        {Ramp, 30, 5, 30, 1.0, false, true, true}, // mapped: a disparity is five labels
        {Ramp, 30, 6, 30, 1.0, false, true, false},
    };
    for (const auto& rCase : aCases) {
        StereoContext r;
        r.m_bSubpixelInterpolation = rCase.b16;
        r.m_nMinDisparity = r.m_nDisparityOffset = 100;
        r.m_nMaxDisparity = rCase.bMapped ? 140 : 340;
        r.m_bDisparityMappingOn = rCase.bMapped;
        r.m_nDisparityMappingMax = 200;
        r.m_nSurfaceValidationSize = rCase.nSize;
        r.m_dSurfaceValidationDifference = rCase.dDifference;
        r.m_disparityImage = Bytes(120, 130);
        r.m_disparityImage16 = Words(120, 130);
        r.m_disparityImage.init(253);
        r.m_disparityImage16.init(0xFFFD);
        for (int i = 0; i < rCase.nPixels; ++i) {
            const int nArms = rCase.nPixels - 6, nValue = 30 + i / 2 * rCase.nStep;
            const int aanPlaces[3][2] = {
                {i % 10, i / 10}, {std::min(i, nArms - 1) / 2, i < nArms ? i % 2 * 7 : 1 + i - nArms}, {i % 2, i / 2}};
            const int nRow = 8 + aanPlaces[rCase.eShape][0], nCol = 7 + aanPlaces[rCase.eShape][1];
            r.m_disparityImage[nRow][nCol] = static_cast<unsigned char>(nValue);
            r.m_disparityImage16[nRow][nCol] = static_cast<unsigned short>(nValue * 256);
        }
        EXPECT_TRUE(validateSurfaces(&r));
        EXPECT_EQ((ImageDim{120, 130}), StereoContext(r).m_surfaceLabelImage.size()); // copies of a context look at it
        const auto bytes = pixelsOf(r.m_disparityImage);
        const auto words = pixelsOf(r.m_disparityImage16);
        const int nRejected = rCase.bStands ? 0 : rCase.nPixels;
        EXPECT_EQ(rCase.b16 ? 0 : nRejected, std::count(bytes.begin(), bytes.end(), 252)) << &rCase - aCases;
        EXPECT_EQ(rCase.b16 ? nRejected : 0, std::count(words.begin(), words.end(), 0xFFFC)) << &rCase - aCases;
    }
    EXPECT_FALSE(validateSurfaces(nullptr));
}

} // namespace
