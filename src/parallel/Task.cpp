#include "parallel/Task.h"

#include "parallel/slices.h"

#include <boost/thread/thread.hpp>

#include <algorithm>
#include <chrono>
#include <emmintrin.h>

namespace kestrova {

ExecutorPool::Task::Task(unsigned nContextCount)
    : m_pThreadContexts(new StereoContext[nContextCount]), m_results(nContextCount, 0), m_nContextCount(nContextCount)
{}

void ExecutorPool::Task::renew(const SliceFunction& rFunction, StereoContext& rMainContext)
{
    m_function = rFunction;
    m_pMainContext = &rMainContext;
    m_nEndResult = 0;
    m_nCompletedCount = 0;
    initThreadContexts(m_pThreadContexts.get(), m_nContextCount, rMainContext);
    std::fill(m_results.begin(), m_results.end(), 0);
}

void ExecutorPool::Task::initThreadContexts(StereoContext* pContexts, unsigned nCount,
                                            const StereoContext& rMainContext)
{
    StereoContext* pNext = pContexts;
    for (const RowBand& rBand : bandsOfFrame(rMainContext.m_nRows, nCount)) {
        StereoContext& rContext = *pNext++;
        rContext = rMainContext;
        const std::vector<KestrovaROI> regions = regionsOfBand(rMainContext, rBand);
        std::copy(regions.begin(), regions.end(), rContext.m_aROIs.begin());
        rContext.m_nROICount = static_cast<std::int32_t>(regions.size());
    }
    for (; pNext != pContexts + nCount; ++pNext) { // frames of fewer rows than threads: nothing of the last one is kept
        *pNext = StereoContext();
    }
}

void ExecutorPool::Task::runSubTaskOnExecutorIndex(Task* pTask, unsigned nIndex)
{
    StereoContext& rContext = pTask->m_pThreadContexts[nIndex];
    pTask->m_results[nIndex] =
        rContext.m_nROICount >= 1 ? pTask->m_function(rContext, *pTask->m_pMainContext, pTask->m_sliceMutex) : 0;

    const boost::lock_guard<boost::mutex> lock(pTask->m_completionMutex);
    ++pTask->m_nCompletedCount;
    pTask->m_completionCondition.notify_all();
}

void ExecutorPool::Task::lookForCompletion() const
{
    constexpr std::chrono::microseconds longest{40};
    static const unsigned s_nProcessors = boost::thread::hardware_concurrency();
    if (m_nContextCount > s_nProcessors) {
        return; // the processor is needed for what is waited for
    }
    const auto end = std::chrono::steady_clock::now() + longest;
    while (m_nCompletedCount < m_nContextCount && std::chrono::steady_clock::now() < end) {
        _mm_pause();
    }
}

void ExecutorPool::Task::runOnTaskEnd(Task* pTask, const EndFunction& rFunction)
{
    {
        pTask->lookForCompletion();
        boost::unique_lock<boost::mutex> lock(pTask->m_completionMutex);
        while (pTask->m_nCompletedCount < pTask->m_nContextCount) {
            pTask->m_completionCondition.wait(lock);
        }
    }
    pTask->m_nEndResult = rFunction(*pTask->m_pMainContext);
}

int ExecutorPool::Task::result() const
{
    const auto iResult = std::find_if(m_results.begin(), m_results.end(), [](int nResult) { return nResult != 0; });
    return iResult != m_results.end() ? *iResult : m_nEndResult;
}

} // namespace kestrova
