// One frame's worth of work of an ExecutorPool, and how a frame is cut into bands of rows.
#pragma once

#include "parallel/ExecutorPool.h"

#include <boost/thread/condition_variable.hpp>

#include <atomic>
#include <memory>
#include <vector>

namespace kestrova {

class ExecutorPool::Task
{
public:
    explicit Task(unsigned nContextCount);

    /** Makes it another task, of which nothing has run. The contexts are kept, to be written over. */
    void renew(const SliceFunction& rFunction, StereoContext& rMainContext);

    /**
     * Makes each context a copy of the main one, with the regions of its own band; those beyond the rows become as new.
     */
    static void initThreadContexts(StereoContext* pContexts, unsigned nCount, const StereoContext& rMainContext);
    /** Runs one slice, if it has regions, and counts it as done. */
    static void runSubTaskOnExecutorIndex(Task* pTask, unsigned nIndex);
    /** Waits for all slices, then runs the function on the main context. */
    static void runOnTaskEnd(Task* pTask, const EndFunction& rFunction);

    /** First result that is not 0, slices before the end function. Only when the task is done. */
    [[nodiscard]] int result() const;

private:
    /**
     * Waits for the slices without sleeping, but not for long: bands are of equal work, so the last one often ends
     * sooner than a sleeping thread could be woken.
     */
    void lookForCompletion() const;

    SliceFunction m_function;
    std::unique_ptr<StereoContext[]> m_pThreadContexts;
    std::vector<int> m_results;              // by slice
    int m_nEndResult = 0;                    // 0 until the end function has run
    StereoContext* m_pMainContext = nullptr; // borrowed
    unsigned m_nContextCount;
    boost::mutex m_sliceMutex;      // for the slice functions; guards nothing here
    boost::mutex m_completionMutex; // guards the counting up of m_nCompletedCount
    boost::condition_variable_any m_completionCondition;
    std::atomic<unsigned> m_nCompletedCount{0}; // looked at without the lock as well
};

} // namespace kestrova
