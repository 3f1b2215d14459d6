#include "parallel/Task.h"

#include "parallel/relax.h"

#include <boost/bind/bind.hpp>
#include <boost/core/ref.hpp>
#include <boost/thread/thread.hpp>

#include <algorithm>
#include <chrono>
#include <utility>

namespace kestrova {

namespace {

/** A context of a band has no second pass of its own: that one is cut into bands itself. */
void giveBand(StereoContext& rContext, const StereoContext& rMainContext, std::span<const KestrovaROI> regions)
{
    rContext.assignOnePass(rMainContext);
    std::copy(regions.begin(), regions.end(), rContext.m_aROIs.begin());
    rContext.m_nROICount = static_cast<std::int32_t>(regions.size());
}

/** Of the contexts, so many had a band before. Those that have none any more keep nothing of the last frame. */
void giveBands(StereoContext* pContexts, unsigned nBefore, const StereoContext& rMainContext, const BandPlan& rPlan)
{
    for (unsigned nBand = 0; nBand < rPlan.bands(); ++nBand) {
        giveBand(pContexts[nBand], rMainContext, rPlan.regionsAsCut(nBand));
    }
    for (unsigned nBand = rPlan.bands(); nBand < nBefore; ++nBand) {
        pContexts[nBand] = StereoContext();
    }
}

} // namespace

ExecutorPool::Task::Task(unsigned nContextCount)
    : m_pThreadContexts(new StereoContext[nContextCount]), m_pScratches(new Scratch[nContextCount]),
      m_functions(nContextCount + 1), m_results(nContextCount, 0), m_nContextCount(nContextCount)
{}

void ExecutorPool::Task::renew(const BandFunction& rFunction, const EndFunction& rEndFunction,
                               StereoContext& rMainContext)
{
    std::fill(m_results.begin(), m_results.end(), 0);
    m_nEndResult = 0;
    m_pFailure = nullptr;
    m_nCompletedCount = 0;
    m_function = rFunction;
    m_endFunction = rEndFunction;
    m_pMainContext = &rMainContext;
    m_plan.make(rMainContext, m_nContextCount);
    const unsigned nBefore = std::exchange(m_nWithBand, std::max(m_nWithBand, m_plan.bands()));
    giveBands(m_pThreadContexts.get(), nBefore, rMainContext, m_plan);
    m_nWithBand = m_plan.bands();
}

std::span<pool_function> ExecutorPool::Task::functions()
{
    for (unsigned nIndex = 0; nIndex < m_nContextCount; ++nIndex) {
        m_functions[nIndex] = boost::bind(&Task::runSubTaskOnExecutorIndex, this, nIndex);
    }
    if (m_endFunction.empty()) {
        return {m_functions.data(), m_nContextCount};
    }
    // Last, so that it is taken when every slice has been; even a single thread cannot wait for itself.
    m_functions.back() = boost::bind(&Task::runOnTaskEnd, this, boost::cref(m_endFunction));
    return m_functions;
}

void ExecutorPool::Task::initThreadContexts(StereoContext* pContexts, unsigned nCount,
                                            const StereoContext& rMainContext)
{
    BandPlan plan;
    plan.make(rMainContext, nCount);
    giveBands(pContexts, nCount, rMainContext, plan);
}

void ExecutorPool::Task::runSlice(unsigned nIndex)
{
    StereoContext& rContext = m_pThreadContexts[nIndex];
    if (rContext.m_nROICount < 1) {
        return;
    }
    const ScratchUse use(m_pScratches[nIndex]);
    m_results[nIndex] = m_function(rContext, *m_pMainContext, m_sliceMutex, m_plan.regionsOf(nIndex));
}

void ExecutorPool::Task::keepFailure()
{
    const boost::lock_guard<boost::mutex> lock(m_completionMutex);
    if (m_pFailure == nullptr) {
        m_pFailure = std::current_exception();
    }
}

void ExecutorPool::Task::runSubTaskOnExecutorIndex(Task* pTask, unsigned nIndex)
{
    try {
        pTask->runSlice(nIndex);
    } catch (...) { // for the thread that waits: this one has nobody to tell
        pTask->keepFailure();
    }
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
        relax();
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
    if (pTask->m_pFailure != nullptr) {
        return;
    }
    try {
        pTask->m_nEndResult = rFunction(*pTask->m_pMainContext);
    } catch (...) {
        pTask->keepFailure();
    }
}

int ExecutorPool::Task::result() const
{
    const auto iResult = std::find_if(m_results.begin(), m_results.end(), [](int nResult) { return nResult != 0; });
    return iResult != m_results.end() ? *iResult : m_nEndResult;
}

} // namespace kestrova
