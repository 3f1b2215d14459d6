#include "parallel/Task.h"

#include "parallel/slices.h"

#include <algorithm>

namespace kestrova {

ExecutorPool::Task::Task(const SliceFunction& rFunction, unsigned nContextCount, StereoContext& rMainContext)
    : m_function(rFunction), m_pThreadContexts(new StereoContext[nContextCount]), m_results(nContextCount, 0),
      m_pMainContext(&rMainContext), m_nContextCount(nContextCount)
{
    initThreadContexts(m_pThreadContexts.get(), nContextCount, rMainContext);
}

void ExecutorPool::Task::initThreadContexts(StereoContext* pContexts, unsigned nCount,
                                            const StereoContext& rMainContext)
{
    for (const RowBand& rBand : bandsOfFrame(rMainContext.m_nRows, nCount)) {
        StereoContext& rContext = *pContexts++;
        rContext = rMainContext;
        const std::vector<KestrovaROI> regions = regionsOfBand(rMainContext, rBand);
        std::copy(regions.begin(), regions.end(), rContext.m_aROIs.begin());
        rContext.m_nROICount = static_cast<std::int32_t>(regions.size());
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

void ExecutorPool::Task::runOnTaskEnd(Task* pTask, const EndFunction& rFunction)
{
    {
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
