// Whole frames through the public functions: disparities, thread counts, errors and how they persist.
#include "api/MultiContext.h"
#include "api/run.h"
#include "kestrova.h"
#include "parallel/Task.h"
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
std::pair<std::vector<std::uint8_t>, std::vector<std::uint16_t>> disparities(KestrovaContext handle)
{
    const StereoContext& rContext = *getActiveContext(handle);
    std::pair<std::vector<std::uint8_t>, std::vector<std::uint16_t>> result;
    for (int nRow = 0; nRow < rContext.m_nRows; ++nRow) {
        for (int nCol = 0; nCol < rContext.m_nCols; ++nCol) {
            result.first.push_back(rContext.m_disparityImage[nRow][nCol]);
            result.second.push_back(rContext.m_disparityImage16[nRow][nCol]);
        }
    }
    return result;
}

struct RunCase
{
    const char* pszName;
    Prepare setup;
};

const RunCase sk_aRuns[] = {
    {"subpixel", [](KestrovaContext) {}},
    {"8 bit, back and forth, mapped",
     [](KestrovaContext c) {
         kestrovaSetSubpixelInterpolation(c, 0);
         kestrovaSetBackForthValidation(c, 1);
         kestrovaSetDisparityMapping(c, 10, 200);
         kestrovaSetDisparityMappingOn(c, 1);
     }},
    {"rectified images, even window, back and forth",
     [](KestrovaContext c) {
         kestrovaSetBackForthValidation(c, 1);
         kestrovaSetEdgeCorrelation(c, 0);
         kestrovaSetAnyStereoMask(c, 8);
     }},
    {"8 bit, hardly any surface",
     [](KestrovaContext c) {
         kestrovaSetSubpixelInterpolation(c, 0);
         kestrovaSetSurfaceValidationDifference(c, 0);
         kestrovaSetSurfaceValidationSize(c, 4000);
     }},
    {"two passes, no low ranges",
     [](KestrovaContext c) {
         kestrovaSetStereoQuality(c, KestrovaStereoEnhanced);
         kestrovaSetDisparity(c, 3, 15);
     }},
    {"a rim higher than a band", // the last, for it leaves the general correlator no room
     [](KestrovaContext c) {
         kestrovaSetStereoMask(c, 23);
         kestrovaSetEdgeMask(c, 11);
     }},
};
const std::span<const RunCase> sk_allRuns(sk_aRuns);

void expectNoChangeByThreads(Shape eShape, const RunCase& rRun, std::initializer_list<int> threads)
{
    const Handle handle = prepared(eShape, 96, rRun.setup);
    for (const bool bSSE2 : {false, true}) {
        kestrovaEnableSSE2IfAvailable(bSSE2);
        EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), 1), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk) << rRun.pszName;
        const auto expected = disparities(handle.get());
        for (const int nThreads : threads) {
            EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), nThreads), KestrovaErrorOk);
            EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk) << rRun.pszName;
            EXPECT_TRUE(disparities(handle.get()) == expected)
                << rRun.pszName << ", set " << static_cast<int>(eShape) << ", " << nThreads << " threads, " << bSSE2;
        }
    }
}

TEST(Run, ThreadsDoNotChangeAWholeFrame)
{
    for (const RunCase& rRun : sk_allRuns) {
        expectNoChangeByThreads(Shape::Horizontal, rRun, {2, 3, 4, 7, 100});
    }
    for (const RunCase& rRun : sk_allRuns.first(sk_allRuns.size() - 1)) { // up to 4: the range fits into the last band
        expectNoChangeByThreads(Shape::Vertical, rRun, {2, 3, 4});
        expectNoChangeByThreads(Shape::L, rRun, {2, 3, 4});
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
        const Handle handle = prepared(Shape::Horizontal, 60, rRun.setup);
        getActiveContext(handle.get())->m_bEnhancedStereo = false; // one pass tells it all
        KestrovaROI* pROIs = nullptr;
        int nMax = 0;
        EXPECT_EQ(kestrovaGetROIs(handle.get(), &pROIs, &nMax), KestrovaErrorOk);
        for (const std::vector<KestrovaROI>& rRegions : aRegions) {
            std::copy(rRegions.begin(), rRegions.end(), pROIs);
            EXPECT_EQ(kestrovaSetNumberOfROIs(handle.get(), static_cast<int>(rRegions.size())), KestrovaErrorOk);
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

/** Pixels inside the rims of 6 that are the shift, all that hold another disparity, and those of one code. */
struct Found
{
    int nShift = 0;
    int nOther = 0;
    int nCode = 0;

    Found(const std::vector<std::uint16_t>& rImage, int nCode16)
    {
        for (int nRow = 6; nRow < 104; ++nRow) {
            for (int nCol = 6; nCol < 120; ++nCol) {
                const int nValue = rImage[static_cast<std::size_t>(nRow * 160 + nCol)];
                const bool bShift = std::abs(nValue - sk_nDisparity * 256) < 48;
                nShift += bShift;
                nOther += nValue < 0xFF00 && !bShift;
                nCode += nValue == nCode16;
            }
        }
    }
};

TEST(Run, FindsAShiftInEverySetByBothInputsAndQualities)
{
    kestrovaEnableSSE2IfAvailable(false); // for the general correlator
    for (const Shape eShape : {Shape::Horizontal, Shape::Vertical, Shape::L}) {
        const std::string text = CalibrationText(eShape).set("StereoQuality", "Enhanced").text();
        const TempFile file(text);
        KestrovaContext fromFile = nullptr;
        EXPECT_EQ(kestrovaGetDefaultContextFromFile(&fromFile, file.path()), KestrovaErrorOk);
        const Handle aHandles[] = {open(eShape), Handle(fromFile)}; // one pass and two
        for (const Handle& rHandle : aHandles) {
            KestrovaContext c = rHandle.get();
            StereoFrame frame(120, 160, sk_nDisparity, 3, eShape);
            std::vector<std::vector<std::uint16_t>> results;
            EXPECT_EQ(kestrovaSetResolution(c, 120, 160), KestrovaErrorOk);
            EXPECT_EQ(kestrovaSetDisparity(c, 0, 20), KestrovaErrorOk);
            EXPECT_EQ(kestrovaSetUniquenessValidation(c, 0), KestrovaErrorOk); // half a pixel away noise is blurred
            for (KestrovaInput input : {frame.planes(), frame.packed()}) {
                EXPECT_EQ(kestrovaPreprocess(c, &input), KestrovaErrorOk);
                EXPECT_EQ(kestrovaStereo(c), KestrovaErrorOk);
                results.push_back(disparity16(c));
                EXPECT_EQ(results.back(), results.front());
            }
            const Found found(results.front(), 0);
            EXPECT_GT(found.nShift, 98 * 114 * 95 / 100) << static_cast<int>(eShape);
            EXPECT_LT(found.nOther, 98 * 114 / 200) << static_cast<int>(eShape);
            EXPECT_EQ(results.front()[0], 0xFF00 + 253); // the rim keeps the fill
            EXPECT_EQ(kestrovaSetSurfaceValidationSize(c, 120 * 160), KestrovaErrorOk);
            EXPECT_EQ(kestrovaSetSurfaceValidationMapping(c, 249), KestrovaErrorOk);
            EXPECT_EQ(kestrovaStereo(c), KestrovaErrorOk);
            const Found none(disparity16(c), 0xFF00 + 249);
            EXPECT_EQ(none.nShift + none.nOther, 0) << "every surface is too small";
            EXPECT_GE(none.nCode, found.nShift);
        }
        KestrovaContext c = aHandles[0].get();
        EXPECT_EQ(kestrovaSetDoStereo(c, 0), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetSubpixelValidationMapping(c, 250), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(c), KestrovaErrorOk);
        const auto [image8, image16] = disparities(c); // without stereo all pixels keep the fill
        EXPECT_EQ(std::count(image8.begin(), image8.end(), 250), 120 * 160);
        EXPECT_EQ(std::count(image16.begin(), image16.end(), 0xFF00 + 250), 120 * 160);
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
        std::uint16_t* const pSecond = rSecond.m_disparityImage16.data();
        std::fill_n(pSecond, 90 * rSecond.m_disparityImage16.rowDistance(), 0xFFFD);
        EXPECT_EQ(standardStereoAndValidate(&rSecond), KestrovaErrorOk);
        int nRejectedBySecond = 0;
        for (std::size_t i = 0; i < lent.size(); ++i) {
            const int nSum = lent[i] + pSecond[i];
            const bool bValid = lent[i] < 0xFF00;
            nRejectedBySecond += bValid && pSecond[i] == 0xFF00 + 252;
            lent[i] = !bValid               ? lent[i]
                      : pSecond[i] < 0xFF00 ? static_cast<std::uint16_t>((nSum - 128) / 2)
                                            : pSecond[i];
        }
        EXPECT_EQ(actual, lent) << static_cast<int>(eShape);
        EXPECT_GT(nRejectedBySecond, 20);
        EXPECT_GT(std::count(lent.begin(), lent.end(), 0xFF00 + 252), nRejectedBySecond) << "both passes reject";
    }
}

void setRegions(KestrovaContext context, std::initializer_list<KestrovaROI> regions)
{
    KestrovaROI* pROIs = nullptr;
    int nMax = 0;
    EXPECT_EQ(kestrovaGetROIs(context, &pROIs, &nMax), KestrovaErrorOk);
    std::copy(regions.begin(), regions.end(), pROIs);
    EXPECT_EQ(kestrovaSetNumberOfROIs(context, static_cast<int>(regions.size())), KestrovaErrorOk);
}

TEST(Run, ErrorsPersistUntilThePoolIsReplaced)
{
    const Prepare oneNarrowRegion = [](KestrovaContext c) { setRegions(c, {{0, 0, 30, 1}, {0, 20, 30, 30}}); };
    const Prepare noSecondImages = [](KestrovaContext c) { kestrovaSetStereoQuality(c, KestrovaStereoEnhanced); };
    struct Case
    {
        const char* pszName;
        Shape eShape;
        bool bPreprocess;
        Prepare setup; // after preprocessing
        KestrovaError eExpected;
    };
    const Case aCases[] = {
        {"not preprocessed", Shape::Horizontal, false, [](KestrovaContext) {}, KestrovaErrorInvalidRequest},
        {"L, not preprocessed", Shape::L, false, [](KestrovaContext) {}, KestrovaErrorInvalidRequest},
        {"L, narrow region", Shape::L, true, oneNarrowRegion, KestrovaErrorInvalidROI},
        {"vertical, narrow region", Shape::Vertical, true, oneNarrowRegion, KestrovaErrorInvalidROI},
        {"vertical, bands without room", Shape::Vertical, true,
         [](KestrovaContext c) { kestrovaSetMaxThreadCount(c, 12); }, KestrovaErrorInvalidROI},
        {"second images not made", Shape::Vertical, true, noSecondImages, KestrovaErrorInvalidRequest},
        {"no second context", Shape::Horizontal, true,
         [](KestrovaContext c) { getActiveContext(c)->m_bEnhancedStereo = true; }, KestrovaErrorInvalidRequest},
        {"two passes of nothing", Shape::Horizontal, true,
         [](KestrovaContext c) {
             kestrovaSetStereoQuality(c, KestrovaStereoEnhanced);
             kestrovaSetDoStereo(c, 0);
         },
         KestrovaErrorInvalidRequest},
        {"no such configuration", Shape::Horizontal, true,
         [](KestrovaContext c) { getActiveContext(c)->m_eCameraConfiguration = KestrovaCfg2CameraWide; },
         KestrovaErrorNotImplemented},
    };
    for (const Case& rCase : aCases) {
        StereoFrame frame(60, 80, sk_nDisparity, 0, rCase.eShape);
        KestrovaInput input = frame.packed();
        const Handle handle = open(rCase.eShape);
        KestrovaContext c = handle.get();
        EXPECT_EQ(kestrovaSetResolution(c, 60, 80), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetMaxThreadCount(c, 2), KestrovaErrorOk);
        if (rCase.bPreprocess) {
            EXPECT_EQ(kestrovaPreprocess(c, &input), KestrovaErrorOk) << rCase.pszName;
        }
        const auto eConfiguration = getActiveContext(c)->m_eCameraConfiguration;
        rCase.setup(c);
        EXPECT_EQ(kestrovaStereo(c), rCase.eExpected) << rCase.pszName;
        if (rCase.eExpected == KestrovaErrorInvalidROI) { // all else was done
            const auto image = disparities(c).second;
            EXPECT_TRUE(std::any_of(image.begin(), image.end(), [](int n) { return n != 0xFFFD; })) << rCase.pszName;
        }
        // With the cause gone the error stays, also under the same thread count; another count forgets it.
        getActiveContext(c)->m_eCameraConfiguration = eConfiguration;
        EXPECT_EQ(kestrovaSetNumberOfROIs(c, 0), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetStereoQuality(c, KestrovaStereoStandard), KestrovaErrorOk);
        EXPECT_EQ(kestrovaPreprocess(c, &input), KestrovaErrorOk);
        int nThreads = 0;
        EXPECT_EQ(kestrovaGetMaxThreadCount(c, &nThreads), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(c), rCase.eExpected) << rCase.pszName;
        EXPECT_EQ(kestrovaSetMaxThreadCount(c, nThreads), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(c), rCase.eExpected) << rCase.pszName;
        EXPECT_EQ(kestrovaSetMaxThreadCount(c, 1), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(c), KestrovaErrorOk) << rCase.pszName;
    }
}

TEST(Run, SingleThreadedFormIsTheWholeRun)
{
    const Handle handle = prepared(Shape::Horizontal, 60, [](KestrovaContext) {});
    StereoContext& rContext = *getActiveContext(handle.get());
    EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk);
    const auto expected = disparities(handle.get());
    rContext.m_disparityImage16.init(0xFF00 + 253);
    EXPECT_EQ(standardStereoAndValidate(&rContext), KestrovaErrorOk);
    EXPECT_TRUE(disparities(handle.get()) == expected);
    EXPECT_EQ(standardStereoAndValidate(nullptr), KestrovaErrorInvalidContext);
}

} // namespace
