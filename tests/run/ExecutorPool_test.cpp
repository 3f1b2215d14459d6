#include "run/ExecutorPool.h"

#include "support/Faults.h"

#include <atomic>
#include <boost/thread/barrier.hpp>
#include <gtest/gtest.h>

namespace kestrova {
namespace {

/** A context of one row per thread: slice i is the row of the same number. */
StereoContext frameOf(unsigned nThreads)
{
    StereoContext context;
    context.m_nRows = static_cast<int>(nThreads);
    return context;
}

TEST(ExecutorPool, FirstSliceErrorWinsOverOthersAndOverTheEnd)
{
    const struct
    {
        std::vector<int> slices;
        int nEnd, nExpected;
    } aCases[] = {{{0, 0, 0}, 0, 0}, {{0, 5, 6}, 0, 5}, {{6, 5, 0}, 9, 6}, {{0, 0, 7}, 9, 7}, {{0, 0}, 9, 9}};
    for (const auto& rCase : aCases) {
        const auto nThreads = static_cast<unsigned>(rCase.slices.size());
        StereoContext frame = frameOf(nThreads);
        std::atomic<unsigned> nSlices{0};
        unsigned nSlicesBeforeEnd = 0;
        ExecutorPool pool(nThreads);
        pool.executeAsynch(
            [&](StereoContext& rWorker, StereoContext& rMain, boost::mutex&) {
                EXPECT_TRUE(&rMain == &frame && &rWorker != &frame);
                ++nSlices;
                return rCase.slices[static_cast<std::size_t>(rWorker.m_aROIs[0].m_nRowOffset)];
            },
            [&](StereoContext&) {
                nSlicesBeforeEnd = nSlices;
                return rCase.nEnd;
            },
            frame);
        EXPECT_EQ(pool.waitForResult(), rCase.nExpected);
        EXPECT_EQ(pool.waitForResult(), rCase.nExpected); // asking again changes nothing
        EXPECT_EQ(nSlicesBeforeEnd, nThreads);            // the end function ran, after all slices
        frame.m_nROICount = 1;
        frame.m_aROIs[0] = {static_cast<int>(nThreads), 0, 5, 4}; // in no slice: none is asked
        EXPECT_EQ(pool.execute([](StereoContext&, StereoContext&, boost::mutex&) { return 8; }, frame), 0);
    }
}

TEST(ExecutorPool, RunsOnAllThreadsAtOnceAndSaysSo)
{
    StereoContext frame = frameOf(3);
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
            frame);
        allInside.wait();
        EXPECT_TRUE(pool.isRunning());
        release.wait();
    } // the pool finishes its task before it goes
    EXPECT_EQ(nDone, 3);
}

TEST(ExecutorPool, ManyShortTasks)
{
    for (const unsigned nThreads : {1U, 2U, 4U}) {
        StereoContext frame = frameOf(nThreads);
        ExecutorPool pool(nThreads);
        int nShared = 0; // guarded by the mutex that slices get
        for (int nTask = 0; nTask < 200; ++nTask) {
            pool.executeAsynch(
                [&](StereoContext&, StereoContext&, boost::mutex& rMutex) {
                    const boost::lock_guard<boost::mutex> lock(rMutex);
                    return ++nShared % 1000 == 0;
                },
                [&](StereoContext&) { return nShared % static_cast<int>(nThreads); }, frame);
            if (nTask % 3 == 0) {
                EXPECT_EQ(pool.waitForResult(), 0) << nTask;
            }
        }
        pool.waitForResult();
        EXPECT_EQ(nShared, 200 * static_cast<int>(nThreads));
    }
}

TEST(ExecutorPool, AStartThatIsRefusedStartsNothing)
{
    for (const bool bNew : {true, false}) { // pools that have run a task before ask for less
        int nRefused = 0;
        for (bool bRefused = true; bRefused; nRefused += bRefused ? 1 : 0) {
            StereoContext frame = frameOf(3);
            std::atomic<int> nRun{0};
            const ExecutorPool::SliceFunction count = [&](StereoContext&, StereoContext&, boost::mutex&) {
                return static_cast<int>(++nRun) * 0;
            };
            const ExecutorPool::EndFunction countEnd = [&](StereoContext&) { return static_cast<int>(++nRun) * 0; };
            ExecutorPool pool(3);
            if (!bNew) {
                pool.execute(count, frame);
                nRun = 0;
            }
            {
                const test::Refusal refusal(test::Fault::Allocation, nRefused + 1);
                try {
                    pool.executeAsynch(count, countEnd, frame);
                    bRefused = false;
                } catch (const std::bad_alloc&) {
                    EXPECT_FALSE(pool.isRunning());
                }
            }
            EXPECT_EQ(pool.waitForResult(), 0);
            EXPECT_EQ(nRun, bRefused ? 0 : 4) << "request " << nRefused + 1;
            nRun = 0;
            pool.executeAsynch(count, countEnd, frame);
            EXPECT_EQ(pool.waitForResult(), 0);
            EXPECT_EQ(nRun, 4) << "the pool is as good as before";
        }
        EXPECT_GT(nRefused, 0);
    }
}

TEST(ExecutorPool, ExceptionsOfATaskReachTheOneWhoWaits)
{
    StereoContext frame = frameOf(3);
    ExecutorPool pool(3);
    const auto throwAt = [](int nRow) {
        return [nRow](StereoContext& rWorker, StereoContext&, boost::mutex&) {
            return rWorker.m_aROIs[0].m_nRowOffset == nRow ? throw std::bad_alloc() : 0;
        };
    };
    for (const int nThrowing : {0, 2, 3}) { // 3 is the end
        std::atomic<int> nEnds{0};
        const ExecutorPool::EndFunction end = [&](StereoContext&) {
            ++nEnds;
            return nThrowing == 3 ? throw std::bad_alloc() : 0;
        };
        pool.executeAsynch(throwAt(nThrowing), end, frame);
        EXPECT_THROW(pool.waitForResult(), std::bad_alloc);
        EXPECT_EQ(nEnds, nThrowing == 3 ? 1 : 0);
        EXPECT_TRUE(pool.waitForResult() == 0 && pool.size() == 3) << "told once";
        EXPECT_EQ(pool.execute(throwAt(-1), frame), 0);
    }
    pool.executeAsynch(throwAt(1), frame);
} // nobody waits for the last one

} // namespace
} // namespace kestrova
