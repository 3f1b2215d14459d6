#include "parallel/thread_pool.h"

#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>

namespace kestrova {

using monitor_lock = boost::unique_lock<boost::mutex>;

// ---- fifo_scheduler ----

void fifo_scheduler::reserve(std::size_t uMore)
{
    if (m_uCount + uMore <= m_places.size()) {
        return;
    }
    std::vector<pool_function> places(m_uCount + uMore);
    for (std::size_t u = 0; u < m_uCount; ++u) {
        places[u].swap(m_places[(m_uFirst + u) % m_places.size()]);
    }
    m_places.swap(places);
    m_uFirst = 0;
}

void fifo_scheduler::push(pool_function& rFunction)
{
    m_places[(m_uFirst + m_uCount) % m_places.size()].swap(rFunction);
    ++m_uCount;
}

void fifo_scheduler::pop(pool_function& rFunction)
{
    m_places[m_uFirst].swap(rFunction);
    m_uFirst = (m_uFirst + 1) % m_places.size();
    --m_uCount;
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

void worker_thread::run(const boost::shared_ptr<boost::barrier>& pStarted)
{
    /** Has the worker replaced on the way out, unless it was told that all went well. */
    struct exception_guard
    {
        worker_thread& m_rWorker;
        bool m_bArmed = true;

        // If the replacement cannot be started either, the process ends: a pool that lost its threads would hang its
        // users.
        ~exception_guard() // NOLINT(bugprone-exception-escape)
        {
            if (m_bArmed) {
                m_rWorker.m_pCore->replace(m_rWorker.shared_from_this());
            }
        }
    };

    pStarted->wait();
    exception_guard guard{*this};
    while (m_pCore->runNext()) {
    }
    guard.m_bArmed = false;
    m_pCore->leave(shared_from_this());
}

// ---- pool_core ----

void pool_core::schedule(std::span<pool_function> functions)
{
    {
        const monitor_lock lock(m_monitor);
        m_queue.reserve(functions.size());
        for (pool_function& rFunction : functions) {
            m_queue.push(rFunction);
        }
    } // first, so that the workers do not wake up only to wait for the lock
    for (std::size_t u = 0; u < functions.size(); ++u) {
        m_taskOrTerminate.notify_one();
    }
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
        m_queue.pop(function);
    }
    if (function) {
        function();
    }
    return true;
}

void pool_core::leave(const boost::shared_ptr<worker_thread>& pWorker)
{
    monitor_lock lock(m_monitor);
    --m_nWorkers;
    --m_nActiveWorkers;
    m_workerIdle.notify_all();
    if (m_bTerminating) {
        enterEnded(pWorker);
        passShutdownBarrier(lock);
    }
}

void pool_core::replace(const boost::shared_ptr<worker_thread>& pWorker)
{
    {
        // The new worker takes over the place of the lost one in both counts, so that nobody sees a smaller pool; it
        // wakes those who wait for idleness when it finds the queue empty.
        const monitor_lock lock(m_monitor);
        enterEnded(pWorker);
    }
    worker_thread::start(shared_from_this());
}

void pool_core::enterEnded(const boost::shared_ptr<worker_thread>& pWorker)
{
    pWorker->m_pNextEnded.swap(m_pFirstEnded);
    m_pFirstEnded = pWorker;
}

void pool_core::passShutdownBarrier(monitor_lock& rLock)
{
    if (--m_nMissingAtShutdown == 0) {
        m_allAtShutdown.notify_all();
    }
    while (m_nMissingAtShutdown > 0) {
        m_allAtShutdown.wait(rLock);
    }
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
    boost::shared_ptr<worker_thread> pEnded;
    {
        monitor_lock lock(m_monitor);
        m_bTerminating = true;
        m_nMissingAtShutdown = m_nWorkers + 1;
        m_nTargetWorkers = 0;
        m_taskOrTerminate.notify_all();
        passShutdownBarrier(lock);
        pEnded.swap(m_pFirstEnded); // every worker has entered itself by now, and lost ones when they were replaced
    }
    while (pEnded != nullptr) {
        pEnded->m_thread.join();
        boost::shared_ptr<worker_thread> pNext;
        pNext.swap(pEnded->m_pNextEnded);
        pEnded.swap(pNext);
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
