// Whole frames through the public functions: disparities, thread counts, errors and how they persist.
#include "api/MultiContext.h"
#include "api/run.h"
#include "kestrova.h"
#include "parallel/Task.h"
#include "parallel/furrowFix.h"
#include "support/StereoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <span>
#include <vector>

namespace {

using namespace kestrova;
using namespace kestrova::test;

using Prepare = std::function<void(KestrovaContext)>;

constexpr int sk_nDisparity = 5; // of the frames here

/** A set with a frame of that many rows, 4 by 3, and a range of several groups of disparities. */
Handle prepared(Shape eShape, int nRows, const Prepare& rSetup)
{
    Handle handle = open(eShape);
    EXPECT_EQ(kestrovaSetResolution(handle.get(), nRows, nRows / 3 * 4), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDisparity(handle.get(), 0, 16), KestrovaErrorOk);
    rSetup(handle.get());
    StereoFrame frame(nRows, nRows / 3 * 4, sk_nDisparity, 0, eShape);
    KestrovaInput input = frame.packed();
    EXPECT_EQ(kestrovaPreprocess(handle.get(), &input), KestrovaErrorOk);
    return handle;
}

/** Both disparity images as they are in memory, whatever the settings produce. */
std::vector<int> disparities(KestrovaContext handle)
{
    std::vector<int> all;
    const auto append = [&](const auto& rImage) {
        for (int nRow = 0; nRow < rImage.nRows(); ++nRow) {
            all.insert(all.end(), &rImage[nRow][0], &rImage[nRow][0] + rImage.nCols());
        }
    };
    append(getActiveContext(handle)->m_disparityImage);
    append(getActiveContext(handle)->m_disparityImage16);
    return all;
}

void setRegions(KestrovaContext context, const std::vector<KestrovaROI>& rRegions)
{
    KestrovaROI* pROIs = nullptr;
    int nMax = 0;
    EXPECT_EQ(kestrovaGetROIs(context, &pROIs, &nMax), KestrovaErrorOk);
    std::copy(rRegions.begin(), rRegions.end(), pROIs);
    EXPECT_EQ(kestrovaSetNumberOfROIs(context, static_cast<int>(rRegions.size())), KestrovaErrorOk);
}

struct RunCase
{
    const char* pszName;
    int nMask, nEdgeMask, nMin, nSurface; // no edge mask: rectified images
    bool b16, bBackForth, bMapped, bEnhanced;
};

const RunCase sk_aRuns[] = {
    {"subpixel", 7, 7, 0, 200, true, false, false, false},
    {"8 bit, back and forth, mapped", 7, 7, 0, 200, false, true, true, false},
    {"rectified images, even window, back and forth", 8, 0, 0, 200, true, true, false, false},
    {"8 bit, hardly any surface", 7, 7, 0, 4000, false, false, false, false},
    {"two passes, no low ranges", 7, 7, 3, 200, true, false, false, true},
    // The last, for it leaves the general correlator no room.
    {"a rim higher than a band", 23, 11, 0, 200, true, false, false, false},
};

Prepare setup(const RunCase& r)
{
    return [&r](KestrovaContext c) {
        kestrovaSetAnyStereoMask(c, r.nMask);
        kestrovaSetEdgeMask(c, r.nEdgeMask != 0 ? r.nEdgeMask : 7);
        kestrovaSetEdgeCorrelation(c, r.nEdgeMask != 0);
        kestrovaSetDisparity(c, r.nMin, 16 - r.nMin / 3);
        kestrovaSetSurfaceValidationSize(c, r.nSurface);
        kestrovaSetSubpixelInterpolation(c, r.b16);
        kestrovaSetBackForthValidation(c, r.bBackForth);
        kestrovaSetDisparityMapping(c, 10, 200);
        kestrovaSetDisparityMappingOn(c, r.bMapped);
        kestrovaSetStereoQuality(c, r.bEnhanced ? KestrovaStereoEnhanced : KestrovaStereoStandard);
    };
}

TEST(Run, ThreadsDoNotChangeAWholeFrame)
{
    for (const Shape eShape : {Shape::Horizontal, Shape::Vertical, Shape::L}) {
        const bool bGeneral = eShape != Shape::Horizontal; // up to 4 bands: the range fits into the last one
        for (const RunCase& rRun : std::span(sk_aRuns).first(std::size(sk_aRuns) - (bGeneral ? 1 : 0))) {
            const Handle handle = prepared(eShape, 96, setup(rRun));
            std::vector<int> expected[2]; // without and with SSE2
            for (const int nThreads : bGeneral ? std::vector{1, 2, 3, 4} : std::vector{1, 2, 3, 4, 7, 100}) {
                EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), nThreads), KestrovaErrorOk);
                for (const int nSSE2 : {0, 1}) {
                    kestrovaEnableSSE2IfAvailable(nSSE2);
                    EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk) << rRun.pszName;
                    const std::vector<int> actual = disparities(handle.get());
                    expected[nSSE2] = nThreads == 1 ? actual : expected[nSSE2];
                    EXPECT_TRUE(actual == expected[nSSE2]) << rRun.pszName << ", set " << static_cast<int>(eShape)
                                                           << ", " << nThreads << " threads, " << nSSE2;
                }
            }
        }
    }
}

/** The bands as they were cut, one after the other on this thread. */
void runBandByBand(StereoContext& rContext, unsigned nThreads)
{
    rContext.m_disparityImage.init(253);
    rContext.m_disparityImage16.init(0xFF00 + 253);
    std::vector<StereoContext> workers(nThreads);
    ExecutorPool::Task::initThreadContexts(workers.data(), nThreads, rContext);
    for (StereoContext& rWorker : workers) {
        EXPECT_EQ(rWorker.m_nROICount > 0 ? standardStereo(rWorker) : 0, KestrovaErrorOk);
    }
    EXPECT_EQ(standardValidate(rContext), KestrovaErrorOk);
}

TEST(Run, RegionsGiveTheBytesOfTheirBands)
{
    const std::vector<KestrovaROI> aRegions[] = {
        {{0, 0, 60, 80}},                                    // skips the middle bands
        {{0, 0, 14, 80}},                                    // runs past the end of the first of four
        {{0, 10, 16, 40}, {14, 30, 20, 40}},                 // meets another there
        {{20, 0, 3, 80}, {2, 60, 40, 70}, {50, -5, 90, 60}}, // odd corners
        {{70, 0, 10, 80}, {10, 10, 0, 0}},                   // nothing at all
    };
    for (const RunCase& rRun : sk_aRuns) {
        const Handle handle = prepared(Shape::Horizontal, 60, setup(rRun));
        getActiveContext(handle.get())->m_bEnhancedStereo = false; // one pass tells it all
        for (const std::vector<KestrovaROI>& rRegions : aRegions) {
            setRegions(handle.get(), rRegions);
            for (const int nThreads : {1, 2, 4, 9}) {
                EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), nThreads), KestrovaErrorOk);
                EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk);
                const auto actual = disparities(handle.get());
                runBandByBand(*getActiveContext(handle.get()), static_cast<unsigned>(nThreads));
                EXPECT_TRUE(actual == disparities(handle.get()))
                    << rRun.pszName << ", " << rRegions.size() << " regions from row " << rRegions[0].m_nRowOffset
                    << ", " << nThreads << " threads";
            }
        }
    }
}

TEST(Run, FindsAShiftInEverySetAndQuality)
{
    kestrovaEnableSSE2IfAvailable(false); // for the general correlator
    constexpr int nInside = 98 * 114;     // pixels off the rims and off what a disparity takes
    const auto count = [](const std::vector<std::uint16_t>& rImage, int nLow, int nHigh) {
        int n = 0;
        for (int i = 0; i < nInside; ++i) {
            const int nValue = rImage[static_cast<std::size_t>((6 + i / 114) * 160 + 6 + i % 114)];
            n += nValue > nLow && nValue < nHigh;
        }
        return n;
    };
    const struct
    {
        Shape eShape;
        const char* pszConfiguration;
        const char* pszQuality;
        bool bEdges;
    } aCases[] = {
        {Shape::Horizontal, "2CameraHorizontal", "Standard", true},
        {Shape::Horizontal, "2CameraHorizontal", "Enhanced", true},
        {Shape::Vertical, "2CameraVertical", "Standard", false},
        {Shape::Vertical, "2CameraVertical", "Enhanced", true},
        {Shape::L, "L", "Standard", true},
        {Shape::L, "L", "Enhanced", false},
        {Shape::L, "2CameraHorizontal", "Enhanced", false}, // cameras 0 and 2, as images 0 and 1
    };
    for (const auto& rCase : aCases) {
        SCOPED_TRACE(&rCase - aCases);
        CalibrationText text(rCase.eShape);
        text.set("CameraConfiguration", rCase.pszConfiguration).set("StereoQuality", rCase.pszQuality);
        const Handle handle = openText(text.text());
        KestrovaContext c = handle.get();
        StereoFrame frame(120, 160, sk_nDisparity, 3, rCase.eShape);
        KestrovaInput input = frame.packed();
        EXPECT_EQ(kestrovaSetResolution(c, 120, 160), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetDisparity(c, 0, 20), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetUniquenessValidation(c, 0), KestrovaErrorOk); // half a pixel away noise is blurred
        EXPECT_EQ(kestrovaSetEdgeCorrelation(c, rCase.bEdges), KestrovaErrorOk);
        EXPECT_EQ(kestrovaPreprocess(c, &input), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(c), KestrovaErrorOk);
        const int nShift = count(disparity16(c), sk_nDisparity * 256 - 48, sk_nDisparity * 256 + 48);
        EXPECT_GT(nShift, nInside * 95 / 100);
        EXPECT_LT(count(disparity16(c), -1, 0xFF00), nShift + nInside / 200);
        EXPECT_EQ(disparity16(c)[0], 0xFF00 + 253); // the rim keeps the fill

        EXPECT_EQ(kestrovaSetDoStereo(c, 0), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetStereoQuality(c, KestrovaStereoStandard), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetSubpixelValidationMapping(c, 250), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(c), KestrovaErrorOk);
        std::vector<int> filled(120 * 160, 250); // without stereo all pixels keep the fill
        filled.resize(2 * filled.size(), 0xFF00 + 250);
        EXPECT_EQ(disparities(c), filled);
    }
    kestrovaEnableSSE2IfAvailable(true);
}

TEST(Run, EnhancedIsTheFlatAverageOfBothValidatedPasses)
{
    const Prepare smallStrictSurfaces = [](KestrovaContext c) {
        kestrovaSetStereoQuality(c, KestrovaStereoEnhanced);
        kestrovaSetUniquenessValidation(c, 0);
        kestrovaSetSurfaceValidationDifference(c, 0.03F);
        kestrovaSetSurfaceValidationSize(c, 12);
    };
    for (const Shape eShape : {Shape::Horizontal, Shape::Vertical, Shape::L}) {
        const Handle handle = prepared(eShape, 90, smallStrictSurfaces); // 120 columns: only the second image has gaps
        std::vector<std::uint16_t> lent(90 * 120);
        EXPECT_EQ(kestrovaSetImage16Buffer(handle.get(), lent.data(), KestrovaImg16Disparity, KestrovaCamReference),
                  KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk);
        const std::vector<std::uint16_t> actual = lent;

        EXPECT_EQ(kestrovaSetStereoQuality(handle.get(), KestrovaStereoStandard), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk);
        StereoContext& rSecond = *getActiveContext(handle.get())->m_pFurrowContext;
        std::fill_n(rSecond.m_disparityImage16.data(), 90 * rSecond.m_disparityImage16.rowDistance(), 0xFFFD);
        EXPECT_EQ(standardStereoAndValidate(&rSecond), KestrovaErrorOk);
        const auto nRejectedByFirst = std::count(lent.begin(), lent.end(), 0xFF00 + 252);
        EXPECT_EQ(furrowFixCombineDisparityImages(getActiveContext(handle.get()), &rSecond), KestrovaErrorOk);
        EXPECT_EQ(actual, lent) << static_cast<int>(eShape);
        EXPECT_GT(nRejectedByFirst, 0);
        EXPECT_GT(std::count(lent.begin(), lent.end(), 0xFF00 + 252), nRejectedByFirst + 20) << "both passes reject";
    }
}

TEST(Run, ErrorsPersistUntilThePoolIsReplaced)
{
    const auto nothing = [](KestrovaContext) {};
    const auto oneNarrowRegion = [](KestrovaContext c) { setRegions(c, {{0, 0, 30, 1}, {0, 20, 30, 30}}); };
    const auto lowBands = [](KestrovaContext c) { kestrovaSetMaxThreadCount(c, 12); };
    const auto noSecondImages = [](KestrovaContext c) { kestrovaSetStereoQuality(c, KestrovaStereoEnhanced); };
    const auto noSecondContext = [](KestrovaContext c) { getActiveContext(c)->m_bEnhancedStereo = true; };
    const auto twoPassesOfNothing = [](KestrovaContext c) {
        kestrovaSetStereoQuality(c, KestrovaStereoEnhanced);
        kestrovaSetDoStereo(c, 0);
    };
    const auto noCorrelator = [](KestrovaContext c) {
        getActiveContext(c)->m_eCameraConfiguration = KestrovaCfg2CameraWide;
    };
    const struct
    {
        Shape eShape;
        bool bPreprocess;
        Prepare setup; // after preprocessing
        KestrovaError eExpected;
    } aCases[] = {
        {Shape::Horizontal, false, nothing, KestrovaErrorInvalidRequest},
        {Shape::L, false, nothing, KestrovaErrorInvalidRequest},
        {Shape::L, true, oneNarrowRegion, KestrovaErrorInvalidROI},
        {Shape::Vertical, true, oneNarrowRegion, KestrovaErrorInvalidROI},
        {Shape::Vertical, true, lowBands, KestrovaErrorInvalidROI},
        {Shape::Vertical, true, noSecondImages, KestrovaErrorInvalidRequest},
        {Shape::Horizontal, true, noSecondContext, KestrovaErrorInvalidRequest},
        {Shape::Horizontal, true, twoPassesOfNothing, KestrovaErrorInvalidRequest},
        {Shape::Horizontal, true, noCorrelator, KestrovaErrorNotImplemented},
    };
    for (const auto& rCase : aCases) {
        SCOPED_TRACE(&rCase - aCases);
        StereoFrame frame(60, 80, sk_nDisparity, 0, rCase.eShape);
        KestrovaInput input = frame.packed();
        const Handle handle = open(rCase.eShape);
        KestrovaContext c = handle.get();
        EXPECT_EQ(kestrovaSetResolution(c, 60, 80), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetMaxThreadCount(c, 2), KestrovaErrorOk);
        if (rCase.bPreprocess) {
            EXPECT_EQ(kestrovaPreprocess(c, &input), KestrovaErrorOk);
        }
        const auto eConfiguration = getActiveContext(c)->m_eCameraConfiguration;
        rCase.setup(c);
        EXPECT_EQ(kestrovaStereo(c), rCase.eExpected);
        if (rCase.eExpected == KestrovaErrorInvalidROI) { // all else was done
            const std::vector<int> all = disparities(c);
            EXPECT_TRUE(std::any_of(all.begin() + 60 * 80, all.end(), [](int n) { return n != 0xFFFD; }));
        }
        // With the cause gone the error stays, also under the same thread count; another count forgets it.
        getActiveContext(c)->m_eCameraConfiguration = eConfiguration;
        EXPECT_EQ(kestrovaSetNumberOfROIs(c, 0), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetStereoQuality(c, KestrovaStereoStandard), KestrovaErrorOk);
        EXPECT_EQ(kestrovaPreprocess(c, &input), KestrovaErrorOk);
        int nThreads = 0;
        EXPECT_EQ(kestrovaGetMaxThreadCount(c, &nThreads), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(c), rCase.eExpected);
        EXPECT_EQ(kestrovaSetMaxThreadCount(c, nThreads), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(c), rCase.eExpected);
        EXPECT_EQ(kestrovaSetMaxThreadCount(c, 1), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(c), KestrovaErrorOk);
    }
    EXPECT_EQ(standardStereoAndValidate(nullptr), KestrovaErrorInvalidContext);
}

} // namespace
