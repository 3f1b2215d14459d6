#include "parallel/ExecutorPool.h"

#include <atomic>
#include <boost/thread/barrier.hpp>
#include <gtest/gtest.h>
#include <vector>

namespace kestrova {
namespace {

int nothing(StereoContext&, StereoContext&, boost::mutex&)
{
    return 0;
}

/** A context of one row per thread: slice i is the row of the same number. */
struct Frame
{
    explicit Frame(unsigned nThreads) { context.m_nRows = static_cast<int>(nThreads); }
    StereoContext context;
};

struct ErrorCase
{
    std::vector<int> slices;
    int nEnd;
    int nExpected;
};

TEST(ExecutorPool, FirstSliceErrorWinsOverOthersAndOverTheEnd)
{
    const ErrorCase aCases[] = {{{0, 0, 0}, 0, 0}, {{0, 5, 6}, 0, 5}, {{6, 5, 0}, 9, 6}, {{0, 0, 7}, 9, 7},
                                {{0, 0, 0}, 9, 9}, {{3}, 0, 3},       {{0}, 4, 4}};
    for (const ErrorCase& rCase : aCases) {
        const auto nThreads = static_cast<unsigned>(rCase.slices.size());
        Frame frame(nThreads);
        std::atomic<unsigned> nSlices{0};
        unsigned nSlicesBeforeEnd = 0;
        ExecutorPool pool(nThreads);
        pool.executeAsynch(
            [&](StereoContext& rWorker, StereoContext& rMain, boost::mutex&) {
                EXPECT_EQ(&rMain, &frame.context);
                EXPECT_NE(&rWorker, &frame.context);
                ++nSlices;
                return rCase.slices[static_cast<std::size_t>(rWorker.m_aROIs[0].m_nRowOffset)];
            },
            [&](StereoContext& rMain) {
                EXPECT_EQ(&rMain, &frame.context);
                nSlicesBeforeEnd = nSlices;
                return rCase.nEnd;
            },
            frame.context);
        EXPECT_EQ(pool.waitForResult(), rCase.nExpected);
        EXPECT_EQ(pool.waitForResult(), rCase.nExpected); // asking again changes nothing
        EXPECT_EQ(nSlicesBeforeEnd, nThreads);            // the end function ran, after all slices
        EXPECT_FALSE(pool.isRunning());
        EXPECT_EQ(pool.execute(nothing, frame.context), 0); // only a new task clears an error
    }
}

TEST(ExecutorPool, HasItsSizeAndNoResultBeforeTheFirstTask)
{
    for (const unsigned nSize : {1U, 3U, 17U}) {
        const ExecutorPool pool(nSize);
        EXPECT_EQ(pool.size(), nSize);
        EXPECT_EQ(ExecutorPool::getSafeSize(&pool), nSize);
        EXPECT_EQ(pool.waitForResult(), 0);
        EXPECT_FALSE(pool.isRunning());
    }
    EXPECT_GE(ExecutorPool::getDefaultSize(), 1U);
    EXPECT_LE(ExecutorPool::getDefaultSize(), 4U);
    EXPECT_EQ(ExecutorPool::getSafeSize(nullptr), ExecutorPool::getDefaultSize());
}

TEST(ExecutorPool, RunsOnAllThreadsAtOnceAndSaysSo)
{
    Frame frame(3);
    boost::barrier allInside(4);
    boost::barrier release(4);
    std::atomic<int> nDone{0};
    {
        ExecutorPool pool(3);
        pool.executeAsynch(
            [&](StereoContext&, StereoContext&, boost::mutex&) {
                allInside.wait(); // would hang if slices ran one after the other
                release.wait();
                ++nDone;
                return 0;
            },
            frame.context);
        allInside.wait();
        EXPECT_TRUE(pool.isRunning());
        release.wait();
    } // the pool finishes its task before it goes
    EXPECT_EQ(nDone, 3);
}

TEST(ExecutorPool, LeavesOutSlicesWithoutRegions)
{
    Frame frame(100);
    frame.context.m_nROICount = 1;
    frame.context.m_aROIs[0] = {55, 0, 10, 4}; // wholly in the third of four bands
    std::atomic<int> nCalls{0};
    ExecutorPool pool(4);
    const auto count = [&](StereoContext& rWorker, StereoContext&, boost::mutex&) {
        EXPECT_EQ(rWorker.m_aROIs[0].m_nRowOffset, 55);
        ++nCalls;
        return 8;
    };
    EXPECT_EQ(pool.execute(count, frame.context), 8);
    EXPECT_EQ(nCalls, 1);
    frame.context.m_aROIs[0] = {200, 0, 10, 4};
    EXPECT_EQ(pool.execute(count, frame.context), 0);
    EXPECT_EQ(nCalls, 1);
}

TEST(ExecutorPool, ManyShortTasks)
{
    for (const unsigned nThreads : {1U, 2U, 4U}) {
        Frame frame(nThreads);
        ExecutorPool pool(nThreads);
        int nShared = 0; // guarded by the mutex that slices get
        for (int nTask = 0; nTask < 200; ++nTask) {
            pool.executeAsynch(
                [&](StereoContext&, StereoContext&, boost::mutex& rMutex) {
                    const boost::lock_guard<boost::mutex> lock(rMutex);
                    return ++nShared % 1000 == 0;
                },
                [&](StereoContext&) { return nShared % static_cast<int>(nThreads); }, frame.context);
            if (nTask % 3 == 0) {
                EXPECT_EQ(pool.waitForResult(), 0) << nTask;
            }
        }
        pool.waitForResult();
        EXPECT_EQ(nShared, 200 * static_cast<int>(nThreads));
    }
}

TEST(ExecutorPool, ReplacesAWorkerThatAnExceptionEnds)
{
    Frame frame(2);
    ExecutorPool pool(2);
    for (int nRound = 0; nRound < 5; ++nRound) {
        // The one exception that a thread may end with and the process go on.
        pool.execute([](StereoContext&, StereoContext&, boost::mutex&) -> int { throw boost::thread_interrupted(); },
                     frame.context);
        boost::barrier both(2);
        EXPECT_EQ(pool.size(), 2U);
        EXPECT_EQ(pool.execute(
                      [&](StereoContext&, StereoContext&, boost::mutex&) {
                          both.wait();
                          return 5;
                      },
                      frame.context),
                  5);
    }
}

} // namespace
} // namespace kestrova
