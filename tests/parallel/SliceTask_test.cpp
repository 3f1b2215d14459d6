#include "parallel/SliceTask.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace kestrova {
namespace {

TEST(SliceTask, EverySliceIsRunByItsNumberOnceARun)
{
    for (const unsigned nThreads : {1U, 3U}) { // slices need not be as many as threads
        std::vector<int> runs(7, 0);           // each of one slice only
        thread_pool pool(nThreads);
        SliceTask task(7, [&](unsigned nSlice) { return ++runs[nSlice] % 2 == 0 && nSlice > 3 ? int(nSlice) : 0; });
        int nSum = 0;
        const auto addUp = [&] { return nSum = runs[0] + runs[6]; };
        for (const auto& [nSumExpected, nResult] : {std::pair(2, 2), {4, 4}, {6, 6}}) {
            task.renew();
            pool.schedule(task.functions(addUp));
            pool.wait();
            EXPECT_EQ(nSum, nSumExpected);
            EXPECT_EQ(task.result(), nResult); // in the second run that of slice 4 before those of 5, 6 and the end
        }
        EXPECT_EQ(runs, std::vector<int>(7, 3));
    }
}

TEST(SliceTask, AnExceptionWaitsForTheOneWhoAsksAndNoEndRuns)
{
    thread_pool pool(2);
    SliceTask task(3, [](unsigned nSlice) { return nSlice == 1 ? throw std::runtime_error("one") : 0; });
    bool bEnded = false;
    pool.schedule(task.functions([&] { return bEnded = true; }));
    pool.wait();
    EXPECT_FALSE(bEnded);
    EXPECT_THROW(std::rethrow_exception(task.takeFailure()), std::runtime_error);
    EXPECT_EQ(task.takeFailure(), nullptr);
    EXPECT_EQ(pool.size(), 2U);
}

} // namespace
} // namespace kestrova
