// A task of n slices and perhaps an end, as functions for a thread_pool.
//
// A slice is known by its number, which says what part of the work is its own. What a function of the task throws does
// not end its thread; it is kept for the one who waits. A task is kept from run to run with all that it needs.
#pragma once

#include "parallel/thread_pool.h"

#include <boost/function.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>

#include <atomic>
#include <exception>
#include <span>
#include <utility>
#include <vector>

namespace kestrova {

class SliceTask
{
public:
    /** Runs the slice of that number. Results that are not 0 are errors. */
    using SliceFunction = boost::function<int(unsigned)>;
    /** Runs when all slices are done. */
    using EndFunction = boost::function<int()>;

    SliceTask(unsigned nSlices, const SliceFunction& rSlice);

    /** As if nothing of it had run. */
    void renew();
    /**
     * What the threads are to be given: the slices in order, and the end last unless it is empty. To be asked for once
     * after each renewal, since the threads take the functions over.
     */
    [[nodiscard]] std::span<pool_function> functions(const EndFunction& rEnd);

    /** Runs one slice and counts it as done. */
    void runSlice(unsigned nSlice);
    /** Waits for all slices, then runs the end, unless an exception left one of them. */
    void runEnd(const EndFunction& rEnd);

    /** First result that is not 0, slices by number before the end. Only when the task is done. */
    [[nodiscard]] int result() const;
    /** The exception that left a slice or the end, once; only when the task is done. */
    [[nodiscard]] std::exception_ptr takeFailure() { return std::exchange(m_pFailure, nullptr); }

private:
    /**
     * Waits for the slices without sleeping, but not for long: slices are of equal work, so the last one often ends
     * sooner than a sleeping thread could be woken.
     */
    void lookForCompletion() const;
    void waitForCompletion();
    /** Keeps the exception at hand, unless there is one already. */
    void keepFailure();

    SliceFunction m_slice;
    EndFunction m_end;
    std::vector<pool_function> m_functions;
    std::vector<int> m_results; // by slice
    std::exception_ptr m_pFailure;
    int m_nEndResult = 0; // 0 until the end has run
    unsigned m_nSlices;
    boost::mutex m_completionMutex; // guards m_pFailure and the counting up of m_nCompleted
    boost::condition_variable_any m_completionCondition;
    std::atomic<unsigned> m_nCompleted{0}; // looked at without the lock as well
};

} // namespace kestrova
