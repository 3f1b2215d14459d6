// A fixed number of threads that take functions without arguments from one queue, first in, first out.
//
// This is the machinery under ExecutorPool and knows nothing of frames. pool_core holds the queue and the counters,
// worker_thread one thread; a worker keeps the core alive by shared ownership. One lock guards all of the core, and no
// worker holds it while it runs a function.
//
// Starting threads and making room in the queue allocate; ending the pool does not, so it cannot fail for memory.
#pragma once

#include <boost/enable_shared_from_this.hpp>
#include <boost/function.hpp>
#include <boost/noncopyable.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/barrier.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>

#include <cstddef>
#include <span>
#include <vector>

namespace kestrova {

using pool_function = boost::function<void()>;

class pool_core;

/** The order of the queue. Its places form a ring and are used again. */
class fifo_scheduler
{
public:
    /** Makes room for so many functions more. */
    void reserve(std::size_t uMore);
    /** Takes the function over; there must be room. */
    void push(pool_function& rFunction);
    /** Moves the first one into an empty function. */
    void pop(pool_function& rFunction);
    [[nodiscard]] bool empty() const { return m_uCount == 0; }

private:
    std::vector<pool_function> m_places;
    std::size_t m_uFirst = 0;
    std::size_t m_uCount = 0;
};

/** One thread of a pool; it lives until the worker loop ends and holds the pool's core until then. */
class worker_thread : public boost::enable_shared_from_this<worker_thread>, private boost::noncopyable
{
public:
    /** Starts a worker that the core has counted already. Returns when its thread runs. */
    static void start(const boost::shared_ptr<pool_core>& pCore);

private:
    friend class pool_core;

    explicit worker_thread(const boost::shared_ptr<pool_core>& pCore) : m_pCore(pCore) {}
    void run(const boost::shared_ptr<boost::barrier>& pStarted);

    boost::shared_ptr<pool_core> m_pCore;
    boost::thread m_thread;
    boost::shared_ptr<worker_thread> m_pNextEnded; // in the core's list
};

class pool_core : public boost::enable_shared_from_this<pool_core>, private boost::noncopyable
{
public:
    /** Queues all of the functions, or none when memory is refused; they are taken over and left empty. */
    void schedule(std::span<pool_function> functions);
    /** Adds workers until there are nSize. */
    void grow(unsigned nSize);
    /** Waits until the queue is empty and no worker is active. */
    void wait() const;
    /** True while the queue holds anything or a worker is active. */
    [[nodiscard]] bool running() const;
    [[nodiscard]] unsigned size() const;
    /** Ends and joins all workers. Nothing may be scheduled from here on. */
    void terminate();

private:
    friend class worker_thread;

    /** Takes and runs one function; false when the worker is to leave. */
    bool runNext();
    /** Takes a worker that ends regularly out of the counts; it meets terminate() at the barrier. */
    void leave(const boost::shared_ptr<worker_thread>& pWorker);
    /** Replaces a worker that an exception ended. */
    void replace(const boost::shared_ptr<worker_thread>& pWorker);
    /** Enters a worker into the list of those to be joined. */
    void enterEnded(const boost::shared_ptr<worker_thread>& pWorker);
    /** Waits until everybody who is expected at the end has come. */
    void passShutdownBarrier(boost::unique_lock<boost::mutex>& rLock);

    mutable boost::mutex m_monitor; // guards all that follows
    mutable boost::condition_variable_any m_workerIdle;
    boost::condition_variable_any m_taskOrTerminate;
    fifo_scheduler m_queue;
    unsigned m_nWorkers = 0;       // live
    unsigned m_nTargetWorkers = 0; // a worker above this number leaves
    unsigned m_nActiveWorkers = 0; // not idle
    bool m_bTerminating = false;
    unsigned m_nMissingAtShutdown = 0;
    boost::condition_variable_any m_allAtShutdown;
    boost::shared_ptr<worker_thread> m_pFirstEnded; // to be joined
};

/** Size policy: the number of workers is settled once, by the constructor. */
struct static_size
{
    static void init(pool_core& rCore, unsigned nSize) { rCore.grow(nSize); }
};

/** Shutdown policy: everything that was scheduled is run before the workers go. */
struct wait_for_all_tasks
{
    static void shutdown(pool_core& rCore)
    {
        rCore.wait();
        rCore.terminate();
    }
};

/** What users of the machinery hold. */
class thread_pool : private boost::noncopyable
{
public:
    explicit thread_pool(unsigned nSize);
    // A lock that fails here leaves threads on memory that goes away: there is no way on.
    ~thread_pool() { wait_for_all_tasks::shutdown(*m_pCore); } // NOLINT(bugprone-exception-escape)

    void schedule(std::span<pool_function> functions) { m_pCore->schedule(functions); }
    void wait() const { m_pCore->wait(); }
    [[nodiscard]] bool running() const { return m_pCore->running(); }
    [[nodiscard]] unsigned size() const { return m_pCore->size(); }

private:
    boost::shared_ptr<pool_core> m_pCore;
};

} // namespace kestrova
