// Whole frames through the public functions: disparities, thread counts, errors and how they persist.
#include "api/MultiContext.h"
#include "api/run.h"
#include "kestrova.h"
#include "parallel/Task.h"
#include "support/StereoFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

namespace {

using namespace kestrova;
using namespace kestrova::test;

using Setup = std::function<void(KestrovaContext)>;

/** Rows, columns and disparity of the frames here: wide enough for several groups of disparities. */
constexpr int sk_nRows = 60;
constexpr int sk_nCols = 80;
constexpr int sk_nDisparity = 5;

Handle prepared(const Setup& rSetup)
{
    Handle handle = open(Shape::Horizontal);
    EXPECT_EQ(kestrovaSetResolution(handle.get(), sk_nRows, sk_nCols), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetDisparity(handle.get(), 0, 19), KestrovaErrorOk);
    rSetup(handle.get());
    StereoFrame frame(sk_nRows, sk_nCols, sk_nDisparity);
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
    Setup setup;
};

const RunCase sk_aRuns[] = {
    {"subpixel", [](KestrovaContext) {}},
    {"subpixel, back and forth", [](KestrovaContext c) { kestrovaSetBackForthValidation(c, 1); }},
    {"8 bit", [](KestrovaContext c) { kestrovaSetSubpixelInterpolation(c, 0); }},
    {"8 bit, back and forth, mapped",
     [](KestrovaContext c) {
         kestrovaSetSubpixelInterpolation(c, 0);
         kestrovaSetBackForthValidation(c, 1);
         kestrovaSetDisparityMapping(c, 10, 200);
         kestrovaSetDisparityMappingOn(c, 1);
     }},
    {"rectified images, even window",
     [](KestrovaContext c) {
         kestrovaSetEdgeCorrelation(c, 0);
         kestrovaSetAnyStereoMask(c, 8);
     }},
    {"a rim higher than a band",
     [](KestrovaContext c) {
         kestrovaSetStereoMask(c, 23);
         kestrovaSetEdgeMask(c, 11);
     }},
};

TEST(Run, ThreadsDoNotChangeAWholeFrame)
{
    for (const RunCase& rRun : sk_aRuns) {
        const Handle handle = prepared(rRun.setup);
        EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), 1), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk) << rRun.pszName;
        const auto expected = disparities(handle.get());
        for (const int nThreads : {2, 3, 4, 7, 100}) {
            EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), nThreads), KestrovaErrorOk);
            EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk) << rRun.pszName;
            EXPECT_TRUE(disparities(handle.get()) == expected) << rRun.pszName << ", " << nThreads << " threads";
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
}

TEST(Run, RegionsGiveTheBytesOfTheirBands)
{
    const std::vector<KestrovaROI> aRegions[] = {
        {{0, 0, sk_nRows, sk_nCols}},                        // skips the middle bands
        {{0, 0, 14, 80}},                                    // runs past the end of the first of four
        {{0, 10, 16, 40}, {14, 30, 20, 40}},                 // meets another there
        {{20, 0, 3, 80}, {2, 60, 40, 70}, {50, -5, 90, 60}}, // odd corners
        {{70, 0, 10, 80}, {10, 10, 0, 0}},                   // nothing at all
    };
    for (const RunCase& rRun : sk_aRuns) {
        const Handle handle = prepared(rRun.setup);
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

TEST(Run, FindsAShiftFromFileAndMemoryAndBothInputs)
{
    const std::string text = CalibrationText(Shape::Horizontal).text();
    const TempFile file(text);
    KestrovaContext fromFile = nullptr;
    EXPECT_EQ(kestrovaGetDefaultContextFromFile(&fromFile, file.path()), KestrovaErrorOk);
    const Handle aHandles[] = {openText(text), Handle(fromFile)};
    StereoFrame frame(120, 160, sk_nDisparity, 3);
    std::vector<std::vector<std::uint16_t>> results;
    for (const Handle& rHandle : aHandles) {
        EXPECT_EQ(kestrovaSetResolution(rHandle.get(), 120, 160), KestrovaErrorOk);
        for (KestrovaInput input : {frame.planes(), frame.packed()}) {
            EXPECT_EQ(kestrovaPreprocess(rHandle.get(), &input), KestrovaErrorOk);
            EXPECT_EQ(kestrovaStereo(rHandle.get()), KestrovaErrorOk);
            results.push_back(disparity16(rHandle.get()));
            EXPECT_EQ(results.back(), results.front());
        }
    }
    // Inside the rim of 6 every pixel that was accepted is the shift, and nearly all are accepted.
    int nFound = 0;
    int nWrong = 0;
    for (int nRow = 6; nRow < 114; ++nRow) {
        for (int nCol = 6; nCol < 120; ++nCol) {
            const int nValue = results.front()[static_cast<std::size_t>(nRow * 160 + nCol)];
            nFound += std::abs(nValue - sk_nDisparity * 256) < 64;
            nWrong += nValue < 0xFF00 && std::abs(nValue - sk_nDisparity * 256) >= 64;
        }
    }
    EXPECT_GT(nFound, 108 * 114 * 95 / 100);
    EXPECT_EQ(nWrong, 0);
    EXPECT_EQ(results.front()[0], 0xFF00 + 253); // the rim keeps the fill
    EXPECT_EQ(kestrovaSetDoStereo(aHandles[0].get(), 0), KestrovaErrorOk);
    EXPECT_EQ(kestrovaSetSubpixelValidationMapping(aHandles[0].get(), 250), KestrovaErrorOk);
    EXPECT_EQ(kestrovaStereo(aHandles[0].get()), KestrovaErrorOk);
    const auto [image8, image16] = disparities(aHandles[0].get()); // and without stereo all pixels do
    EXPECT_EQ(std::count(image8.begin(), image8.end(), 250), 120 * 160);
    EXPECT_EQ(std::count(image16.begin(), image16.end(), 0xFF00 + 250), 120 * 160);
}

TEST(Run, ErrorsPersistUntilThePoolIsReplaced)
{
    struct Case
    {
        const char* pszName;
        Shape eShape;
        bool bPreprocess;
        bool bEnhanced;
        KestrovaError eExpected;
        bool bPersists;
    };
    const Case aCases[] = {
        {"not preprocessed", Shape::Horizontal, false, false, KestrovaErrorInvalidRequest, true},
        {"L, not preprocessed", Shape::L, false, false, KestrovaErrorInvalidRequest, true},
        {"L", Shape::L, true, false, KestrovaErrorNotImplemented, true},
        {"vertical", Shape::Vertical, true, false, KestrovaErrorNotImplemented, true},
        {"two passes", Shape::Horizontal, true, true, KestrovaErrorNotImplemented, false},
    };
    StereoFrame frame(60, 80, 5);
    for (const Case& rCase : aCases) {
        const Handle handle = open(rCase.eShape);
        StereoContext& rContext = *getActiveContext(handle.get());
        EXPECT_EQ(kestrovaSetResolution(handle.get(), 60, 80), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), 2), KestrovaErrorOk);
        rContext.m_bEnhancedStereo = rCase.bEnhanced;
        KestrovaInput input = frame.packed();
        if (rCase.bPreprocess) {
            EXPECT_EQ(kestrovaPreprocess(handle.get(), &input), KestrovaErrorOk) << rCase.pszName;
        }
        EXPECT_EQ(kestrovaStereo(handle.get()), rCase.eExpected) << rCase.pszName;
        // With the cause gone the error stays, also under the same thread count; another count forgets it.
        EXPECT_EQ(kestrovaPreprocess(handle.get(), &input), KestrovaErrorOk);
        rContext.m_bEnhancedStereo = false;
        rContext.m_bDoStereo = false;
        const KestrovaError eLater = rCase.bPersists ? rCase.eExpected : KestrovaErrorOk;
        EXPECT_EQ(kestrovaStereo(handle.get()), eLater) << rCase.pszName;
        EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), 2), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(handle.get()), eLater) << rCase.pszName;
        EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), 1), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk) << rCase.pszName;
    }
}

TEST(Run, SingleThreadedFormIsTheWholeRun)
{
    const Handle handle = prepared([](KestrovaContext) {});
    StereoContext& rContext = *getActiveContext(handle.get());
    EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk);
    const auto expected = disparities(handle.get());
    rContext.m_disparityImage16.init(0xFF00 + 253);
    EXPECT_EQ(standardStereoAndValidate(&rContext), KestrovaErrorOk);
    EXPECT_TRUE(disparities(handle.get()) == expected);
    EXPECT_EQ(standardStereoAndValidate(nullptr), KestrovaErrorInvalidContext);
}

} // namespace
