// The threads of a handle and the one task that they last worked on.
//
// A task is a frame's worth of work: one function that runs once per band of rows, each time on a context of its own,
// and perhaps one that runs when all bands are done. What runs is told from outside; threads, slices and their end are
// those of src/parallel, which knows nothing of contexts.
//
// A task is started as a whole or not at all: an exception out of a call that starts one leaves nothing queued. One
// that leaves a function of the task does not end its thread; it waits for the thread that waits for the result.
#pragma once

#include "context/StereoContext.h"

#include <boost/function.hpp>
#include <boost/thread/mutex.hpp>

#include <memory>
#include <span>

namespace kestrova {

class thread_pool;

class ExecutorPool
{
public:
    class Task;
    /** Worker context, main context, a mutex that the task's slices share for their own use. */
    using SliceFunction = boost::function<int(StereoContext&, StereoContext&, boost::mutex&)>;
    /** The same, and what the plan of the run gives the slice's band to work on. */
    using BandFunction =
        boost::function<int(StereoContext&, StereoContext&, boost::mutex&, std::span<const KestrovaROI>)>;
    /** Main context. */
    using EndFunction = boost::function<int(StereoContext&)>;

    static constexpr unsigned sk_maxSize = 4; // of the default size only

    explicit ExecutorPool(unsigned nSize);
    /** Runs what was started to its end. */
    ~ExecutorPool();
    ExecutorPool(const ExecutorPool&) = delete;
    ExecutorPool& operator=(const ExecutorPool&) = delete;

    [[nodiscard]] unsigned size() const;
    /** One thread per processor, but at most sk_maxSize and at least 1. */
    [[nodiscard]] static unsigned getDefaultSize();
    /** The size of the pool, or the default size for a null one. */
    [[nodiscard]] static unsigned getSafeSize(const ExecutorPool* pPool);

    /** True while a task has work queued or in hand. */
    [[nodiscard]] bool isRunning() const;

    /** Waits for the pool, drops the last task, and queues one call per thread. The context must outlive the task. */
    void kickStart(const SliceFunction& rFunction, StereoContext& rMainContext);
    void executeAsynch(const SliceFunction& rFunction, StereoContext& rMainContext);
    void executeAsynch(const SliceFunction& rFunction, const EndFunction& rEndFunction, StereoContext& rMainContext);
    int execute(const SliceFunction& rFunction, StereoContext& rMainContext);
    /** As executeAsynch, by planned bands; without an end function there is none. */
    void executeBands(const BandFunction& rFunction, const EndFunction& rEndFunction, StereoContext& rMainContext);

    /**
     * Waits for the pool and gives the first result of the slices, by index, that is not 0, else the result of the end
     * function; 0 without a task. Asking again gives the same answer until a new task is started. An exception that
     * left a function of the task is thrown on, the first time; the other slices have ended then, and no end function
     * ran.
     */
    int waitForResult() const;

private:
    std::unique_ptr<Task> m_pTask; // null until the first run; outlives the threads
    std::unique_ptr<thread_pool> m_pWorkerPool;
};

} // namespace kestrova
