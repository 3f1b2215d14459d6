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

TEST(Run, RegionsGiveTheBytesOfTheirBands)
{
    const std::vector<KestrovaROI> aRegions[] = {
        {{0, 0, sk_nRows, sk_nCols}},                        // skips the middle bands
        {{0, 10, 16, 40}, {14, 30, 20, 40}},                 // meet past the end of the first of four
        {{20, 0, 3, 80}, {2, 60, 40, 70}, {50, -5, 90, 60}}, // odd corners
        {{70, 0, 10, 80}, {10, 10, 0, 0}},                   // nothing at all
    };
    for (const RunCase& rRun : sk_aRuns) {
        const Handle handle = prepared(rRun.setup);
        StereoContext& r = *getActiveContext(handle.get());
        for (const std::vector<KestrovaROI>& rRegions : aRegions) {
            std::copy(rRegions.begin(), rRegions.end(), r.m_aROIs.begin());
            EXPECT_EQ(kestrovaSetNumberOfROIs(handle.get(), static_cast<int>(rRegions.size())), KestrovaErrorOk);
            for (const unsigned nThreads : {1U, 2U, 4U, 9U}) {
                EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), static_cast<int>(nThreads)), KestrovaErrorOk);
                EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk);
                const auto actual = disparities(handle.get());
                // The bands as they were cut, one after the other on this thread.
                r.m_disparityImage.init(253);
                r.m_disparityImage16.init(0xFF00 + 253);
                std::vector<StereoContext> workers(nThreads);
                ExecutorPool::Task::initThreadContexts(workers.data(), nThreads, r);
                for (StereoContext& rWorker : workers) {
                    EXPECT_EQ(rWorker.m_nROICount > 0 ? standardStereo(rWorker) : 0, KestrovaErrorOk);
                }
                EXPECT_TRUE(actual == disparities(handle.get())) << rRun.pszName << ", " << nThreads << " threads";
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
    for (int nRow = 6; nRow < 114; ++nRow) {
        for (int nCol = 6; nCol < 120; ++nCol) {
            const int nValue = results.front()[static_cast<std::size_t>(nRow * 160 + nCol)];
            const bool bFound = std::abs(nValue - sk_nDisparity * 256) < 64;
            EXPECT_TRUE(bFound || nValue >= 0xFF00) << nRow << ' ' << nCol;
            nFound += bFound;
        }
    }
    EXPECT_GT(nFound, 108 * 114 * 95 / 100);
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
    const struct
    {
        Shape eShape;
        bool bPreprocess, bEnhanced;
        KestrovaError eExpected, eLater;
    } aCases[] = {
        {Shape::L, false, false, KestrovaErrorInvalidRequest, KestrovaErrorInvalidRequest},
        {Shape::L, true, false, KestrovaErrorNotImplemented, KestrovaErrorNotImplemented},
        {Shape::Vertical, true, false, KestrovaErrorNotImplemented, KestrovaErrorNotImplemented},
        {Shape::Horizontal, true, true, KestrovaErrorNotImplemented, KestrovaErrorOk},
    };
    StereoFrame frame(60, 80, 5);
    KestrovaInput input = frame.packed();
    for (const auto& rCase : aCases) {
        SCOPED_TRACE(&rCase - aCases);
        const Handle handle = open(rCase.eShape);
        StereoContext& rContext = *getActiveContext(handle.get());
        EXPECT_EQ(kestrovaSetResolution(handle.get(), 60, 80), KestrovaErrorOk);
        EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), 2), KestrovaErrorOk);
        rContext.m_bEnhancedStereo = rCase.bEnhanced;
        EXPECT_EQ(rCase.bPreprocess ? kestrovaPreprocess(handle.get(), &input) : 0, KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(handle.get()), rCase.eExpected);
        // With the cause gone the error stays, also under the same thread count; another count forgets it.
        EXPECT_EQ(kestrovaPreprocess(handle.get(), &input), KestrovaErrorOk);
        rContext.m_bEnhancedStereo = rContext.m_bDoStereo = false;
        EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), 2), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(handle.get()), rCase.eLater);
        EXPECT_EQ(kestrovaSetMaxThreadCount(handle.get(), 1), KestrovaErrorOk);
        EXPECT_EQ(kestrovaStereo(handle.get()), KestrovaErrorOk);
    }
}

} // namespace
