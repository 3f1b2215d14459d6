#include "run/Task.h"

#include <algorithm>
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
      m_nContextCount(nContextCount), m_slices(nContextCount, [this](unsigned nBand) { return runBand(nBand); })
{}

void ExecutorPool::Task::renew(const BandFunction& rFunction, const EndFunction& rEndFunction,
                               StereoContext& rMainContext)
{
    m_slices.renew();
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
    if (m_endFunction.empty()) {
        return m_slices.functions({});
    }
    return m_slices.functions([this] { return m_endFunction(*m_pMainContext); });
}

void ExecutorPool::Task::initThreadContexts(StereoContext* pContexts, unsigned nCount,
                                            const StereoContext& rMainContext)
{
    BandPlan plan;
    plan.make(rMainContext, nCount);
    giveBands(pContexts, nCount, rMainContext, plan);
}

void ExecutorPool::Task::runOnTaskEnd(Task* pTask, const EndFunction& rFunction)
{
    pTask->m_slices.runEnd([pTask, &rFunction] { return rFunction(*pTask->m_pMainContext); });
}

int ExecutorPool::Task::runBand(unsigned nBand)
{
    StereoContext& rContext = m_pThreadContexts[nBand];
    if (rContext.m_nROICount < 1) {
        return 0;
    }
    const ScratchUse use(m_pScratches[nBand]);
    return m_function(rContext, *m_pMainContext, m_sliceMutex, m_plan.regionsOf(nBand));
}

} // namespace kestrova
