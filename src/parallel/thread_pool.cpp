#include "parallel/thread_pool.h"

#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>

namespace kestrova {

using monitor_lock = boost::unique_lock<boost::mutex>;

pool_function fifo_scheduler::pop()
{
    pool_function function = m_functions.front();
    m_functions.pop_front();
    return function;
}

// ---- worker_thread ----

void worker_thread::start(const boost::shared_ptr<pool_core>& pCore)
{
    const boost::shared_ptr<worker_thread> pWorker(new worker_thread(pCore));
    // Shared, since the one that passes a barrier first must not destroy it under the other.
    const auto pStarted = boost::make_shared<boost::barrier>(2);
    pWorker->m_thread = boost::thread(boost::bind(&worker_thread::run, pWorker, pStarted));
    pStarted->wait();
}

namespace {

/** Runs its function on the way out, unless it was told that all went well. */
class exception_guard : private boost::noncopyable
{
public:
    explicit exception_guard(const pool_function& rOnException) : m_onException(rOnException) {}
    // If the replacement cannot be started either, the process ends: a pool that lost its threads would hang its users.
    ~exception_guard() // NOLINT(bugprone-exception-escape)
    {
        if (m_bArmed) {
            m_onException();
        }
    }
    void disarm() { m_bArmed = false; }

private:
    pool_function m_onException;
    bool m_bArmed = true;
};

} // namespace

void worker_thread::run(const boost::shared_ptr<boost::barrier>& pStarted)
{
    pStarted->wait();
    exception_guard guard(boost::bind(&pool_core::replace, m_pCore, shared_from_this()));
    while (m_pCore->runNext()) {
    }
    guard.disarm();
    m_pCore->leave(shared_from_this());
}

// ---- pool_core ----

void pool_core::schedule(const pool_function& rFunction)
{
    {
        const monitor_lock lock(m_monitor);
        m_queue.push(rFunction);
    } // first, so that the worker does not wake up only to wait for the lock
    m_taskOrTerminate.notify_one();
}

void pool_core::grow(unsigned nSize)
{
    monitor_lock lock(m_monitor);
    m_nTargetWorkers = nSize;
    while (m_nWorkers < nSize) {
        ++m_nWorkers;
        ++m_nActiveWorkers;
        lock.unlock();
        try {
            worker_thread::start(shared_from_this());
        } catch (...) { // no thread: not counted
            lock.lock();
            --m_nWorkers;
            --m_nActiveWorkers;
            throw;
        }
        lock.lock();
    }
}

bool pool_core::runNext()
{
    pool_function function;
    {
        monitor_lock lock(m_monitor);
        if (m_nWorkers > m_nTargetWorkers) {
            return false;
        }
        while (m_queue.empty()) {
            if (--m_nActiveWorkers == 0) { // whoever waits for idleness waits for that
                m_workerIdle.notify_all();
            }
            m_taskOrTerminate.wait(lock);
            ++m_nActiveWorkers;
            if (m_nWorkers > m_nTargetWorkers) {
                return false;
            }
        }
        function = m_queue.pop();
    }
    if (function) {
        function();
    }
    return true;
}

void pool_core::leave(const boost::shared_ptr<worker_thread>& pWorker)
{
    boost::shared_ptr<boost::barrier> pBarrier;
    {
        const monitor_lock lock(m_monitor);
        --m_nWorkers;
        --m_nActiveWorkers;
        m_workerIdle.notify_all();
        if (m_bTerminating) {
            m_endedWorkers.push_back(pWorker);
            pBarrier = m_pShutdownBarrier;
        }
    }
    if (pBarrier) {
        pBarrier->wait();
    }
}

void pool_core::replace(const boost::shared_ptr<worker_thread>& pWorker)
{
    {
        // The new worker takes over the place of the lost one in both counts, so that nobody sees a smaller pool; it
        // wakes those who wait for idleness when it finds the queue empty.
        const monitor_lock lock(m_monitor);
        m_endedWorkers.push_back(pWorker);
    }
    worker_thread::start(shared_from_this());
}

void pool_core::wait() const
{
    monitor_lock lock(m_monitor);
    while (m_nActiveWorkers > 0 || !m_queue.empty()) {
        m_workerIdle.wait(lock);
    }
}

bool pool_core::running() const
{
    const monitor_lock lock(m_monitor);
    return !m_queue.empty() || m_nActiveWorkers > 0;
}

unsigned pool_core::size() const
{
    const monitor_lock lock(m_monitor);
    return m_nWorkers;
}

void pool_core::terminate()
{
    boost::shared_ptr<boost::barrier> pBarrier;
    {
        const monitor_lock lock(m_monitor);
        m_bTerminating = true;
        pBarrier = boost::make_shared<boost::barrier>(m_nWorkers + 1);
        m_pShutdownBarrier = pBarrier;
        m_nTargetWorkers = 0;
        m_taskOrTerminate.notify_all();
    }
    pBarrier->wait();
    // Every worker has entered itself by now, and lost ones did so when they were replaced.
    std::vector<boost::shared_ptr<worker_thread>> ended;
    {
        const monitor_lock lock(m_monitor);
        ended.swap(m_endedWorkers);
    }
    for (const boost::shared_ptr<worker_thread>& pWorker : ended) {
        pWorker->join();
    }
}

// ---- thread_pool ----

thread_pool::thread_pool(unsigned nSize) : m_pCore(boost::make_shared<pool_core>())
{
    try {
        static_size::init(*m_pCore, nSize);
    } catch (...) { // some threads, but not all: the rest must not wait for ever
        m_pCore->terminate();
        throw;
    }
}

} // namespace kestrova
