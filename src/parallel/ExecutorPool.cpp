#include "parallel/ExecutorPool.h"

#include "parallel/Task.h"
#include "parallel/thread_pool.h"

#include <boost/bind/bind.hpp>

#include <algorithm>

namespace kestrova {

ExecutorPool::ExecutorPool(unsigned nSize) : m_pWorkerPool(std::make_unique<thread_pool>(nSize)) {}

ExecutorPool::~ExecutorPool() = default; // the threads first, by the order of the members, then the task

unsigned ExecutorPool::size() const
{
    return m_pWorkerPool->size();
}

unsigned ExecutorPool::getDefaultSize()
{
    // A system that cannot tell its processors says 0; a pool without threads could not cut a frame.
    return std::clamp(boost::thread::hardware_concurrency(), 1U, sk_maxSize);
}

unsigned ExecutorPool::getSafeSize(const ExecutorPool* pPool)
{
    return pPool != nullptr ? pPool->size() : getDefaultSize();
}

bool ExecutorPool::isRunning() const
{
    return m_pTask != nullptr && m_pWorkerPool->running();
}

void ExecutorPool::kickStart(const SliceFunction& rFunction, StereoContext& rMainContext)
{
    m_pWorkerPool->wait();
    const unsigned nCount = size();
    if (m_pTask == nullptr) {
        m_pTask = std::make_unique<Task>(nCount);
    }
    m_pTask->renew(rFunction, rMainContext);
    for (unsigned nIndex = 0; nIndex < nCount; ++nIndex) {
        m_pWorkerPool->schedule(boost::bind(&Task::runSubTaskOnExecutorIndex, m_pTask.get(), nIndex));
    }
}

void ExecutorPool::executeAsynch(const SliceFunction& rFunction, StereoContext& rMainContext)
{
    kickStart(rFunction, rMainContext);
}

void ExecutorPool::executeAsynch(const SliceFunction& rFunction, const EndFunction& rEndFunction,
                                 StereoContext& rMainContext)
{
    kickStart(rFunction, rMainContext);
    // Last in the queue, so that it is taken when every slice has been; even a single thread cannot wait for itself.
    m_pWorkerPool->schedule(boost::bind(&Task::runOnTaskEnd, m_pTask.get(), rEndFunction));
}

int ExecutorPool::execute(const SliceFunction& rFunction, StereoContext& rMainContext)
{
    kickStart(rFunction, rMainContext);
    return waitForResult();
}

int ExecutorPool::waitForResult() const
{
    m_pWorkerPool->wait();
    return m_pTask != nullptr ? m_pTask->result() : 0;
}

} // namespace kestrova
