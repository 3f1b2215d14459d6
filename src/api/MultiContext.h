// What a KestrovaContext points at: the camera sets of one calibration source, which of them is active, which serves
// which configuration, and the threads.
//
// A handle has no lock: one thread at a time calls the public functions on it.
#pragma once

#include "context/StereoContext.h"
#include "run/ExecutorPool.h"

#include <array>
#include <memory>

namespace kestrova {

struct MultiContext
{
    static constexpr int sk_nMaxContexts = 10;
    static constexpr int sk_nConfigurations = 4;
    static constexpr double sk_dWideBaseline = 0.15; // wide pairs are above, horizontal ones below

    explicit MultiContext(unsigned nThreads = ExecutorPool::getDefaultSize());

    std::array<std::unique_ptr<StereoContext>, sk_nMaxContexts> m_apContexts;   // by section, without gaps
    StereoContext* m_pActiveContext = nullptr;                                  // m_apContexts[m_nActiveIndex]
    std::array<StereoContext*, sk_nConfigurations> m_apConfigurationContexts{}; // who serves a configuration
    std::int32_t m_nActiveIndex = -1;
    bool m_bAsynchronous = false;                  // lets a run return while the pool works; no public function sets it
    std::unique_ptr<ExecutorPool> m_pExecutorPool; // last, so that its work ends before the contexts go
};

/**
 * Takes the next free slot; the first context becomes the active one, and the first that suits a configuration serves
 * it. False, and the context dropped, when all slots are taken.
 */
[[nodiscard]] bool addContextToMultiContext(MultiContext* pMulti, std::unique_ptr<StereoContext> pContext);

/** A baseline of exactly 0.15 is neither narrow nor wide. */
[[nodiscard]] bool isContextConfigCompatible(const StereoContext* pContext, KestrovaCameraConfiguration eConfiguration);

/** The index of the context's slot, or -1. */
[[nodiscard]] int slotOf(const MultiContext& rMulti, const StereoContext* pContext);

/** The handle's active context; null without one. A null handle has none. */
[[nodiscard]] StereoContext* getActiveContext(void* pHandle);

[[nodiscard]] ExecutorPool* getExecutorPool(MultiContext* pMulti);

/** Waits for the pool; what the last run left behind. */
KestrovaError syncAndGetExecutorError(MultiContext* pMulti);

[[nodiscard]] inline MultiContext* multiContextOf(KestrovaContext context)
{
    return reinterpret_cast<MultiContext*>(context);
}

[[nodiscard]] inline KestrovaContext handleOf(MultiContext* pMulti)
{
    return reinterpret_cast<KestrovaContext>(pMulti);
}

} // namespace kestrova
