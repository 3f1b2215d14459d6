// One frame's worth of work of an ExecutorPool: the regions of each band, and a context and working memory for it.
//
// Kept from frame to frame with all that it needs, so that a settled frame allocates nothing.
#pragma once

#include "parallel/SliceTask.h"
#include "run/BandPlan.h"
#include "run/ExecutorPool.h"
#include "stereo/Scratch.h"

#include <exception>
#include <memory>
#include <span>

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
    static void runSubTaskOnExecutorIndex(Task* pTask, unsigned nIndex) { pTask->m_slices.runSlice(nIndex); }
    /** Waits for all slices, then runs the function on the main context, unless an exception left one of them. */
    static void runOnTaskEnd(Task* pTask, const EndFunction& rFunction);

    /** First result that is not 0, slices before the end function. Only when the task is done. */
    [[nodiscard]] int result() const { return m_slices.result(); }
    /** The exception that left a slice or the end, once; only when the task is done. */
    [[nodiscard]] std::exception_ptr takeFailure() { return m_slices.takeFailure(); }

private:
    int runBand(unsigned nBand);

    BandFunction m_function;
    EndFunction m_endFunction; // may be empty
    BandPlan m_plan;
    std::unique_ptr<StereoContext[]> m_pThreadContexts; // by band
    std::unique_ptr<Scratch[]> m_pScratches;            // by band
    StereoContext* m_pMainContext = nullptr;            // borrowed
    unsigned m_nContextCount;
    unsigned m_nWithBand = 0;  // contexts that the last frame left something in
    boost::mutex m_sliceMutex; // for the slice functions; guards nothing here
    SliceTask m_slices;
};

} // namespace kestrova
