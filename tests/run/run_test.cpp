// Whole frames through the public functions: disparities, thread counts, errors and how they persist.
#include "api/MultiContext.h"
#include "run/Task.h"
#include "run/furrowFix.h"
#include "run/run.h"
#include "support/StereoFrame.h"
#include "support/rows.h"

#include <functional>
#include <span>

namespace {

using namespace kestrova;
using namespace kestrova::test;

using Prepare = std::function<void(KestrovaContext)>;

constexpr int sk_nDisparity = 5; // of the frames here

/** A set with a frame of that many rows, 4 by 3, and a range of several groups of disparities. */
Handle prepared(Shape eShape, int nRows, const Prepare& rSetup)
{
    Handle handle = open(eShape);
    expectOk({kestrovaSetResolution(handle, nRows, nRows / 3 * 4), kestrovaSetDisparity(handle, 0, 16)});
    rSetup(handle);
    StereoFrame frame(nRows, nRows / 3 * 4, sk_nDisparity, 0, eShape);
    KestrovaInput input = frame.packed();
    expectOk({kestrovaPreprocess(handle, &input)});
    return handle;
}

/** Both disparity images as they are in memory, whatever the settings produce. */
std::vector<int> disparities(KestrovaContext handle)
{
    const auto bytes = support::pixelsOf(getActiveContext(handle)->m_disparityImage);
    const auto words = support::pixelsOf(getActiveContext(handle)->m_disparityImage16);
    std::vector<int> all(bytes.begin(), bytes.end());
    all.insert(all.end(), words.begin(), words.end());
    return all;
}

void setRegions(KestrovaContext context, const std::vector<KestrovaROI>& rRegions)
{
    std::copy(rRegions.begin(), rRegions.end(), getActiveContext(context)->m_aROIs.begin());
    expectOk({kestrovaSetNumberOfROIs(context, static_cast<int>(rRegions.size()))});
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
        expectOk({kestrovaSetAnyStereoMask(c, r.nMask), kestrovaSetEdgeMask(c, r.nEdgeMask != 0 ? r.nEdgeMask : 7),
                  kestrovaSetEdgeCorrelation(c, r.nEdgeMask != 0), kestrovaSetDisparity(c, r.nMin, 16 - r.nMin / 3),
                  kestrovaSetSurfaceValidationSize(c, r.nSurface), kestrovaSetSubpixelInterpolation(c, r.b16),
                  kestrovaSetBackForthValidation(c, r.bBackForth), kestrovaSetDisparityMapping(c, 10, 200),
                  kestrovaSetDisparityMappingOn(c, r.bMapped),
                  kestrovaSetStereoQuality(c, r.bEnhanced ? KestrovaStereoEnhanced : KestrovaStereoStandard)});
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
                expectOk({kestrovaSetMaxThreadCount(handle, nThreads)});
                for (const int nSSE2 : {0, 1}) {
                    kestrovaEnableSSE2IfAvailable(nSSE2);
                    EXPECT_EQ(kestrovaStereo(handle), KestrovaErrorOk) << rRun.pszName;
                    const std::vector<int> actual = disparities(handle);
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
    rContext.m_disparityImage16.init(KestrovaDisparity16Invalid + 253);
    std::vector<StereoContext> workers(nThreads);
    ExecutorPool::Task::initThreadContexts(workers.data(), nThreads, rContext);
    boost::mutex notLocked;
    for (StereoContext& rWorker : workers) {
        EXPECT_EQ(rWorker.m_nROICount > 0 ? standardMultithreadedStereo(rWorker, rContext, notLocked) : 0,
                  KestrovaErrorOk);
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
        getActiveContext(handle)->m_bEnhancedStereo = false; // one pass tells it all
        for (const std::vector<KestrovaROI>& rRegions : aRegions) {
            setRegions(handle, rRegions);
            for (const int nThreads : {1, 2, 4, 9}) {
                expectOk({kestrovaSetMaxThreadCount(handle, nThreads), kestrovaStereo(handle)});
                const auto actual = disparities(handle);
                runBandByBand(*getActiveContext(handle), static_cast<unsigned>(nThreads));
                EXPECT_TRUE(actual == disparities(handle))
                    << rRun.pszName << ", " << rRegions.size() << " regions from row " << rRegions[0].m_nRowOffset
                    << ", " << nThreads << " threads";
            }
        }
    }
}

TEST(Run, EnhancedIsTheFlatAverageOfBothValidatedPasses)
{
    const Prepare smallStrictSurfaces = [](KestrovaContext c) {
        expectOk({kestrovaSetStereoQuality(c, KestrovaStereoEnhanced), kestrovaSetUniquenessValidation(c, 0),
                  kestrovaSetSurfaceValidationDifference(c, 0.03F), kestrovaSetSurfaceValidationSize(c, 12)});
    };
    for (const Shape eShape : {Shape::Horizontal, Shape::Vertical, Shape::L}) {
        const Handle handle = prepared(eShape, 90, smallStrictSurfaces); // 120 columns: only the second image has gaps
        std::vector<std::uint16_t> lent(90 * 120);
        expectOk({kestrovaSetImage16Buffer(handle, lent.data(), KestrovaImg16Disparity, KestrovaCamReference),
                  kestrovaStereo(handle)});
        const std::vector<std::uint16_t> actual = lent;

        expectOk({kestrovaSetStereoQuality(handle, KestrovaStereoStandard), kestrovaStereo(handle)});
        StereoContext& rSecond = *getActiveContext(handle)->m_pFurrowContext;
        std::fill_n(rSecond.m_disparityImage16.data(), 90 * rSecond.m_disparityImage16.rowDistance(), 0xFFFD);
        EXPECT_EQ(standardStereoAndValidate(&rSecond), KestrovaErrorOk);
        const auto nRejectedByFirst = std::count(lent.begin(), lent.end(), KestrovaDisparity16Invalid + 252);
        EXPECT_EQ(furrowFixCombineDisparityImages(getActiveContext(handle), &rSecond), KestrovaErrorOk);
        EXPECT_EQ(actual, lent) << static_cast<int>(eShape);
        EXPECT_GT(nRejectedByFirst, 0);
        EXPECT_GT(std::count(lent.begin(), lent.end(), KestrovaDisparity16Invalid + 252), nRejectedByFirst + 20)
            << "both passes reject";

        expectOk({kestrovaSetDoStereo(handle, 0), kestrovaSetSubpixelValidationMapping(handle, 250),
                  kestrovaStereo(handle)});
        std::vector<int> filled(90 * 120, 250); // without stereo all pixels keep the fill
        filled.resize(2 * filled.size(), KestrovaDisparity16Invalid + 250);
        EXPECT_EQ(disparities(handle), filled);
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
        expectOk({kestrovaSetStereoQuality(c, KestrovaStereoEnhanced), kestrovaSetDoStereo(c, 0)});
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
        const Handle c = open(rCase.eShape);
        expectOk({kestrovaSetResolution(c, 60, 80), kestrovaSetMaxThreadCount(c, 2),
                  rCase.bPreprocess ? kestrovaPreprocess(c, &input) : KestrovaErrorOk});
        const auto eConfiguration = getActiveContext(c)->m_eCameraConfiguration;
        rCase.setup(c);
        EXPECT_EQ(kestrovaStereo(c), rCase.eExpected);
        if (rCase.eExpected == KestrovaErrorInvalidROI) { // all else was done
            const std::vector<int> all = disparities(c);
            EXPECT_TRUE(std::any_of(all.begin() + 60 * 80, all.end(), [](int n) { return n != 0xFFFD; }));
        }
        // With the cause gone the error stays, also under the same thread count; another count forgets it.
        getActiveContext(c)->m_eCameraConfiguration = eConfiguration;
        expectOk({kestrovaSetNumberOfROIs(c, 0), kestrovaSetStereoQuality(c, KestrovaStereoStandard),
                  kestrovaPreprocess(c, &input)});
        EXPECT_EQ(kestrovaStereo(c), rCase.eExpected);
        expectOk({kestrovaSetMaxThreadCount(c, got(kestrovaGetMaxThreadCount, c))});
        EXPECT_EQ(kestrovaStereo(c), rCase.eExpected);
        expectOk({kestrovaSetMaxThreadCount(c, 1), kestrovaStereo(c)});
    }
    EXPECT_EQ(standardStereoAndValidate(nullptr), KestrovaErrorInvalidContext);
    StereoContext wide;
    wide.m_eCameraConfiguration = KestrovaCfg2CameraWide;
    EXPECT_EQ(standardStereoAndValidate(&wide), KestrovaErrorNotImplemented) << "validation is content with no image";
    wide.m_bDoStereo = false;
    EXPECT_EQ(standardStereoAndValidate(&wide), KestrovaErrorOk);
}

} // namespace
