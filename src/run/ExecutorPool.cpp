#include "run/ExecutorPool.h"

#include "parallel/thread_pool.h"
#include "run/Task.h"

#include <algorithm>
#include <exception>

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

namespace {

ExecutorPool::BandFunction onSlices(const ExecutorPool::SliceFunction& rFunction)
{
    return [rFunction](StereoContext& rWorker, StereoContext& rMain, boost::mutex& rMutex,
                       std::span<const KestrovaROI>) { return rFunction(rWorker, rMain, rMutex); };
}

} // namespace

void ExecutorPool::executeBands(const BandFunction& rFunction, const EndFunction& rEndFunction,
                                StereoContext& rMainContext)
{
    m_pWorkerPool->wait();
    if (m_pTask == nullptr) {
        m_pTask = std::make_unique<Task>(size());
    }
    m_pTask->renew(rFunction, rEndFunction, rMainContext);
    m_pWorkerPool->schedule(m_pTask->functions());
}

void ExecutorPool::kickStart(const SliceFunction& rFunction, StereoContext& rMainContext)
{
    executeBands(onSlices(rFunction), {}, rMainContext);
}

void ExecutorPool::executeAsynch(const SliceFunction& rFunction, StereoContext& rMainContext)
{
    kickStart(rFunction, rMainContext);
}

void ExecutorPool::executeAsynch(const SliceFunction& rFunction, const EndFunction& rEndFunction,
                                 StereoContext& rMainContext)
{
    executeBands(onSlices(rFunction), rEndFunction, rMainContext);
}

int ExecutorPool::execute(const SliceFunction& rFunction, StereoContext& rMainContext)
{
    kickStart(rFunction, rMainContext);
    return waitForResult();
}

int ExecutorPool::waitForResult() const
{
    m_pWorkerPool->wait();
    if (m_pTask == nullptr) {
        return 0;
    }
    if (const std::exception_ptr pFailure = m_pTask->takeFailure()) {
        std::rethrow_exception(pFailure);
    }
    return m_pTask->result();
}

} // namespace kestrova
