#include "parallel/SliceTask.h"

#include "parallel/relax.h"

#include <boost/thread/thread.hpp>

#include <algorithm>
#include <chrono>

namespace kestrova {

SliceTask::SliceTask(unsigned nSlices, const SliceFunction& rSlice)
    : m_slice(rSlice), m_functions(nSlices + 1), m_results(nSlices, 0), m_nSlices(nSlices)
{}

void SliceTask::renew()
{
    std::fill(m_results.begin(), m_results.end(), 0);
    m_nEndResult = 0;
    m_pFailure = nullptr;
    m_nCompleted = 0;
}

std::span<pool_function> SliceTask::functions(const EndFunction& rEnd)
{
    m_end = rEnd;
    for (unsigned nSlice = 0; nSlice < m_nSlices; ++nSlice) {
        m_functions[nSlice] = [this, nSlice] { runSlice(nSlice); };
    }
    if (m_end.empty()) {
        return {m_functions.data(), m_nSlices};
    }
    // Last, so that it is taken when every slice has been; even a single thread cannot wait for itself.
    m_functions.back() = [this] { runEnd(m_end); };
    return m_functions;
}

void SliceTask::runSlice(unsigned nSlice)
{
    try {
        m_results[nSlice] = m_slice(nSlice);
    } catch (...) { // for the thread that waits: this one has nobody to tell
        keepFailure();
    }
    const boost::lock_guard<boost::mutex> lock(m_completionMutex);
    ++m_nCompleted;
    m_completionCondition.notify_all();
}

void SliceTask::runEnd(const EndFunction& rEnd)
{
    waitForCompletion();
    if (m_pFailure != nullptr) {
        return;
    }
    try {
        m_nEndResult = rEnd();
    } catch (...) {
        keepFailure();
    }
}

void SliceTask::keepFailure()
{
    const boost::lock_guard<boost::mutex> lock(m_completionMutex);
    if (m_pFailure == nullptr) {
        m_pFailure = std::current_exception();
    }
}

void SliceTask::lookForCompletion() const
{
    constexpr std::chrono::microseconds longest{40};
    static const unsigned s_nProcessors = boost::thread::hardware_concurrency();
    if (m_nSlices > s_nProcessors) {
        return; // the processor is needed for what is waited for
    }
    const auto end = std::chrono::steady_clock::now() + longest;
    while (m_nCompleted < m_nSlices && std::chrono::steady_clock::now() < end) {
        relax();
    }
}

void SliceTask::waitForCompletion()
{
    lookForCompletion();
    boost::unique_lock<boost::mutex> lock(m_completionMutex);
    while (m_nCompleted < m_nSlices) {
        m_completionCondition.wait(lock);
    }
}

int SliceTask::result() const
{
    const auto iResult = std::find_if(m_results.begin(), m_results.end(), [](int nResult) { return nResult != 0; });
    return iResult != m_results.end() ? *iResult : m_nEndResult;
}

} // namespace kestrova
