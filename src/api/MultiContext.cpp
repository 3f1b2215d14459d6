#include "api/MultiContext.h"

#include <algorithm>
#include <utility>

namespace kestrova {

MultiContext::MultiContext(unsigned nThreads) : m_pExecutorPool(std::make_unique<ExecutorPool>(nThreads)) {}

bool addContextToMultiContext(MultiContext* pMulti, std::unique_ptr<StereoContext> pContext)
{
    const int nSlot = slotOf(*pMulti, nullptr);
    if (nSlot < 0) {
        return false;
    }
    StereoContext* const pAdded = pContext.get();
    pMulti->m_apContexts[static_cast<std::size_t>(nSlot)] = std::move(pContext);
    if (pMulti->m_pActiveContext == nullptr) {
        pMulti->m_pActiveContext = pAdded;
        pMulti->m_nActiveIndex = nSlot;
    }
    for (int nConfiguration = 0; nConfiguration < MultiContext::sk_nConfigurations; ++nConfiguration) {
        StereoContext*& rpServing = pMulti->m_apConfigurationContexts[static_cast<std::size_t>(nConfiguration)];
        if (rpServing == nullptr &&
            isContextConfigCompatible(pAdded, static_cast<KestrovaCameraConfiguration>(nConfiguration))) {
            rpServing = pAdded;
        }
    }
    return true;
}

bool isContextConfigCompatible(const StereoContext* pContext, KestrovaCameraConfiguration eConfiguration)
{
    const StereoProduct eProduct = pContext->m_eProduct;
    switch (eConfiguration) {
    case KestrovaCfg3CameraL:
        return eProduct == ProductHalvorine;
    case KestrovaCfg2CameraHorizontal:
        return (eProduct == ProductHalvorine || eProduct == ProductPemberlow) &&
               pContext->m_dBaseline < MultiContext::sk_dWideBaseline;
    case KestrovaCfg2CameraVertical:
        return eProduct == ProductHalvorine || eProduct == ProductTandrell;
    case KestrovaCfg2CameraWide:
        return eProduct == ProductPemberlow && pContext->m_dBaseline > MultiContext::sk_dWideBaseline;
    }
    return false;
}

int slotOf(const MultiContext& rMulti, const StereoContext* pContext)
{
    const auto iSlot = std::find_if(rMulti.m_apContexts.begin(), rMulti.m_apContexts.end(),
                                    [&](const auto& rpSlot) { return rpSlot.get() == pContext; });
    return iSlot != rMulti.m_apContexts.end() ? static_cast<int>(iSlot - rMulti.m_apContexts.begin()) : -1;
}

StereoContext* getActiveContext(void* pHandle)
{
    return pHandle != nullptr ? static_cast<MultiContext*>(pHandle)->m_pActiveContext : nullptr;
}

ExecutorPool* getExecutorPool(MultiContext* pMulti)
{
    return pMulti != nullptr ? pMulti->m_pExecutorPool.get() : nullptr;
}

KestrovaError syncAndGetExecutorError(MultiContext* pMulti)
{
    return static_cast<KestrovaError>(pMulti->m_pExecutorPool->waitForResult());
}

} // namespace kestrova
