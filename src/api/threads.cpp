// The number of worker threads of a handle.
#include "api/MultiContext.h"
#include "api/refusedThreads.h"
#include "kestrova.h"

using namespace kestrova;

KestrovaError kestrovaGetMaxThreadCount(KestrovaContext context, int* out)
{
    if (context == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    *out = static_cast<int>(ExecutorPool::getSafeSize(getExecutorPool(multiContextOf(context))));
    return KestrovaErrorOk;
}

KestrovaError kestrovaSetMaxThreadCount(KestrovaContext context, int count)
{
    if (count < 1 || count > 255) { // before the handle
        return KestrovaErrorInvalidSetting;
    }
    MultiContext* const pMulti = multiContextOf(context);
    if (pMulti == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    const auto nCount = static_cast<unsigned>(count);
    const ExecutorPool* const pPool = getExecutorPool(pMulti);
    if (ExecutorPool::getSafeSize(pPool) == nCount) {
        return KestrovaErrorOk; // and an error that the last run left stays with the pool
    }
    if (pPool != nullptr && pPool->isRunning()) {
        return KestrovaErrorInvalidRequest;
    }
    return startingThreads([&] {
        pMulti->m_pExecutorPool = std::make_unique<ExecutorPool>(nCount); // the old one stays unless all could start
        return KestrovaErrorOk;
    });
}
