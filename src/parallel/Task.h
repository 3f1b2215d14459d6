// One frame's worth of work of an ExecutorPool: a slice for each band of rows.
//
// A task is kept from frame to frame with all that it needs, so that a settled frame allocates nothing.
#pragma once

#include "parallel/BandPlan.h"
#include "parallel/ExecutorPool.h"
#include "parallel/thread_pool.h"
#include "stereo/Scratch.h"

#include <boost/thread/condition_variable.hpp>

#include <atomic>
#include <exception>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace kestrova {

class ExecutorPool::Task
{
public:
    explicit Task(unsigned nContextCount);

    /** Makes it another task, of which nothing has run. The contexts are kept, to be written over. */
    void renew(const BandFunction& rFunction, const EndFunction& rEndFunction, StereoContext& rMainContext);
    /** What the threads are to be given, the end last if there is one. To be asked for once after each renewal. */
    [[nodiscard]] std::span<pool_function> functions();

    /**
     * Makes each context a copy of the main one, with the regions of its own band; those beyond the rows become as new.
     */
    static void initThreadContexts(StereoContext* pContexts, unsigned nCount, const StereoContext& rMainContext);
    /** Runs one slice, that of the band of the same number, if it has regions, and counts it as done. */
    static void runSubTaskOnExecutorIndex(Task* pTask, unsigned nIndex);
    /** Waits for all slices, then runs the function on the main context, unless an exception left one of them. */
    static void runOnTaskEnd(Task* pTask, const EndFunction& rFunction);

    /** First result that is not 0, slices before the end function. Only when the task is done. */
    [[nodiscard]] int result() const;
    /** The exception that left a slice or the end, once; only when the task is done. */
    [[nodiscard]] std::exception_ptr takeFailure() { return std::exchange(m_pFailure, nullptr); }

private:
    /**
     * Waits for the slices without sleeping, but not for long: bands are of equal work, so the last one often ends
     * sooner than a sleeping thread could be woken.
     */
    void lookForCompletion() const;
    void runSlice(unsigned nIndex);
    /** Keeps the exception at hand, unless there is one already. */
    void keepFailure();

    BandFunction m_function;
    EndFunction m_endFunction; // may be empty
    BandPlan m_plan;
    std::unique_ptr<StereoContext[]> m_pThreadContexts;
    std::unique_ptr<Scratch[]> m_pScratches; // by slice
    std::vector<pool_function> m_functions;
    std::vector<int> m_results; // by slice
    std::exception_ptr m_pFailure;
    int m_nEndResult = 0;                    // 0 until the end function has run
    StereoContext* m_pMainContext = nullptr; // borrowed
    unsigned m_nContextCount;
    unsigned m_nWithBand = 0;       // contexts that the last frame left something in
    boost::mutex m_sliceMutex;      // for the slice functions; guards nothing here
    boost::mutex m_completionMutex; // guards m_pFailure and the counting up of m_nCompletedCount
    boost::condition_variable_any m_completionCondition;
    std::atomic<unsigned> m_nCompletedCount{0}; // looked at without the lock as well
};

} // namespace kestrova
