// One frame's worth of work of an ExecutorPool, and how a frame is cut into bands of rows.
#pragma once

#include "parallel/ExecutorPool.h"

#include <boost/thread/condition_variable.hpp>

#include <memory>
#include <vector>

namespace kestrova {

class ExecutorPool::Task
{
public:
    Task(const SliceFunction& rFunction, unsigned nContextCount, StereoContext& rMainContext);

    /** Makes each context a copy of the main one, with the regions of its own band; those beyond the rows get none. */
    static void initThreadContexts(StereoContext* pContexts, unsigned nCount, const StereoContext& rMainContext);
    /** Runs one slice, if it has regions, and counts it as done. */
    static void runSubTaskOnExecutorIndex(Task* pTask, unsigned nIndex);
    /** Waits for all slices, then runs the function on the main context. */
    static void runOnTaskEnd(Task* pTask, const EndFunction& rFunction);

    /** First result that is not 0, slices before the end function. Only when the task is done. */
    [[nodiscard]] int result() const;

private:
    SliceFunction m_function;
    std::unique_ptr<StereoContext[]> m_pThreadContexts;
    std::vector<int> m_results;    // by slice
    int m_nEndResult = 0;          // 0 until the end function has run
    StereoContext* m_pMainContext; // borrowed
    unsigned m_nContextCount;
    boost::mutex m_sliceMutex;      // for the slice functions; guards nothing here
    boost::mutex m_completionMutex; // guards m_nCompletedCount
    boost::condition_variable_any m_completionCondition;
    unsigned m_nCompletedCount = 0;
};

} // namespace kestrova
