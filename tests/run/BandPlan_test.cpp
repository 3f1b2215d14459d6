// Bands write what they would have written as they were cut, in equal shares and no pixel from two threads.
#include "run/BandPlan.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

using namespace kestrova;

namespace {

using Pixel = std::pair<int, int>;

/** The pixels of a region once the correlator has moved its corner inside the rim; columns are left as they are. */
std::set<Pixel> pixelsOfRegion(const KestrovaROI& rRegion, int nRows, int nRim)
{
    std::set<Pixel> pixels;
    const int nTop = std::max(rRegion.m_nRowOffset, nRim);
    for (int nRow = nTop; nRow < nTop + rRegion.m_nRows && nRow < nRows - nRim; ++nRow) {
        for (int nCol = rRegion.m_nColOffset; nCol < rRegion.m_nColOffset + rRegion.m_nCols; ++nCol) {
            pixels.insert({nRow, nCol});
        }
    }
    return pixels;
}

/** The plan has been used before, as that of a handle has. */
void expectSamePixels(BandPlan& rPlan, const StereoContext& rContext, unsigned nThreads, int nRim,
                      const testing::Message& rWhat)
{
    rPlan.make(rContext, nThreads);
    std::set<Pixel> asCut;
    std::set<Pixel> planned;
    std::size_t nPlanned = 0;
    std::set<std::size_t> sizes; // of the bands that are asked
    for (unsigned nBand = 0; nBand < nThreads; ++nBand) {
        if (rPlan.regionsAsCut(nBand).empty()) {
            EXPECT_TRUE(rPlan.regionsOf(nBand).empty()) << rWhat;
            continue; // is not asked
        }
        for (const KestrovaROI& rRegion : rPlan.regionsAsCut(nBand)) {
            asCut.merge(pixelsOfRegion(rRegion, rContext.m_nRows, nRim));
        }
        std::set<Pixel> ofBand;
        for (const KestrovaROI& rRegion : rPlan.regionsOf(nBand)) {
            EXPECT_GE(rRegion.m_nRowOffset, nRim) << rWhat; // the correlator leaves it where it is
            ofBand.merge(pixelsOfRegion(rRegion, rContext.m_nRows, nRim));
        }
        nPlanned += ofBand.size();
        sizes.insert(ofBand.size());
        planned.merge(ofBand);
    }
    EXPECT_TRUE(asCut == planned) << rWhat << ": " << asCut.size() << " and " << planned.size() << " pixels";
    EXPECT_EQ(nPlanned, planned.size()) << rWhat << ": a pixel from two bands";
    // Rows are not cut: one more or less, of all regions that may lie side by side.
    const std::size_t uRow = 2 * 8 * static_cast<std::size_t>(std::max(rContext.m_nROICount, 1));
    EXPECT_TRUE(sizes.empty() || *sizes.rbegin() - *sizes.begin() <= uRow) << rWhat << ": unequal bands";
}

} // namespace

TEST(BandPlan, SamePixelsAndEachFromOneBand)
{
    BandPlan plan;
    std::mt19937 random(5);
    const auto upTo = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n + 1)); };
    for (int nRun = 0; nRun < 400; ++nRun) {
        StereoContext context;
        context.m_eCameraConfiguration = KestrovaCfg2CameraHorizontal;
        context.m_nRows = 1 + upTo(50);
        context.m_nCols = 8;
        context.m_nStereoMaskSize = 1 + upTo(12);
        context.m_bEdgeCorrelation = upTo(1) == 1;
        context.m_nEdgeMaskSize = 3 + 2 * upTo(4);
        context.m_nROICount = upTo(3) == 0 ? 0 : upTo(5);
        for (KestrovaROI& rROI : context.m_aROIs) {
            rROI = {upTo(50) - 5, upTo(1), upTo(55) - 2, 6 + upTo(1)}; // often one above the other
        }
        const int nRim = context.m_nStereoMaskSize / 2 + (context.m_bEdgeCorrelation ? context.m_nEdgeMaskSize / 2 : 0);
        const unsigned nThreads = 1 + static_cast<unsigned>(upTo(9));
        expectSamePixels(plan, context, nThreads, nRim,
                         testing::Message() << "run " << nRun << ", rows " << context.m_nRows << ", rim " << nRim
                                            << ", threads " << nThreads << ", regions " << context.m_nROICount);
    }
}

TEST(BandPlan, WindowsBeyondTheImageLeaveNothing)
{
    StereoContext context;
    context.m_eCameraConfiguration = KestrovaCfg2CameraHorizontal;
    context.m_nStereoMaskSize = 0x7fffffff;
    BandPlan plan;
    expectSamePixels(plan, context, 3, context.m_nRows, testing::Message() << "no room");
}
