// The handle: made from a calibration source or from another handle, and destroyed.
#include "api/MultiContext.h"
#include "api/refusedThreads.h"
#include "calibration/load.h"
#include "files/FilePtr.h"
#include "kestrova.h"

#include <memory>

using namespace kestrova;

namespace {

bool versionCompatible(int nMajor, int nMinor)
{
    return (nMajor == 2 && nMinor >= 0 && nMinor <= 2) || (nMajor == 3 && nMinor == 0);
}

bool acceptable(const StereoContext& rContext)
{
    return versionCompatible(rContext.m_nVersionMajor, rContext.m_nVersionMinor) &&
           (rContext.m_nCameraCount == 2 || rContext.m_nCameraCount == 3);
}

/** load(context, section) reads one section. A section that cannot be read ends the source, unless it is the first. */
template<class Load>
KestrovaError loadDefaultContextFromSource(KestrovaContext* pOut, Load load)
{
    auto pMulti = std::make_unique<MultiContext>();
    for (int nSection = 0; nSection < MultiContext::sk_nMaxContexts; ++nSection) {
        auto pContext = std::make_unique<StereoContext>();
        if (!load(pContext.get(), nSection)) {
            if (nSection == 0) {
                return KestrovaErrorConfigFileCorrupt;
            }
            break;
        }
        if (!acceptable(*pContext) || !addContextToMultiContext(pMulti.get(), std::move(pContext))) {
            return KestrovaErrorConfigFileCorrupt;
        }
    }
    *pOut = handleOf(pMulti.release());
    return KestrovaErrorOk;
}

std::unique_ptr<MultiContext> copyOf(const MultiContext& rSource)
{
    auto pCopy = std::make_unique<MultiContext>(ExecutorPool::getSafeSize(rSource.m_pExecutorPool.get()));
    pCopy->m_bAsynchronous = rSource.m_bAsynchronous;
    pCopy->m_nActiveIndex = rSource.m_nActiveIndex;
    for (std::size_t i = 0; i < rSource.m_apContexts.size(); ++i) {
        if (rSource.m_apContexts[i] != nullptr) {
            pCopy->m_apContexts[i] = std::make_unique<StereoContext>(*rSource.m_apContexts[i]);
            pCopy->m_apContexts[i]->ownHiddenImages();
        }
    }
    const auto counterpart = [&](const StereoContext* pContext) {
        const int nSlot = pContext != nullptr ? slotOf(rSource, pContext) : -1;
        return nSlot >= 0 ? pCopy->m_apContexts[static_cast<std::size_t>(nSlot)].get() : nullptr;
    };
    pCopy->m_pActiveContext = counterpart(rSource.m_pActiveContext);
    for (std::size_t i = 0; i < rSource.m_apConfigurationContexts.size(); ++i) {
        pCopy->m_apConfigurationContexts[i] = counterpart(rSource.m_apConfigurationContexts[i]);
    }
    return pCopy;
}

} // namespace

KestrovaError kestrovaGetDefaultContextFromFile(KestrovaContext* out, const char* path)
{
    *out = nullptr;
    if (path == nullptr) {
        return KestrovaErrorInvalidParameter;
    }
    const FilePtr pFile = openAtOnce(path);
    if (pFile == nullptr) {
        return KestrovaErrorNoConfigFile;
    }
    return startingThreads([&] {
        return loadDefaultContextFromSource(out, [&](StereoContext* pContext, int nSection) {
            return loadContextFromStream(pFile.get(), pContext, nSection);
        });
    });
}

KestrovaError kestrovaGetDefaultContextFromMemory(KestrovaContext* out, const void* block)
{
    *out = nullptr;
    if (block == nullptr) {
        return KestrovaErrorInvalidParameter;
    }
    return startingThreads([&] {
        return loadDefaultContextFromSource(out, [&](StereoContext* pContext, int nSection) {
            return loadContextFromMemory(block, pContext, nSection);
        });
    });
}

KestrovaError kestrovaCopyContext(KestrovaContext source, KestrovaContext* out)
{
    const MultiContext* const pSource = multiContextOf(source);
    if (pSource == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    return startingThreads([&] {
        *out = handleOf(copyOf(*pSource).release());
        return KestrovaErrorOk;
    });
}

KestrovaError kestrovaDestroyContext(KestrovaContext context)
{
    if (context == nullptr) {
        return KestrovaErrorInvalidContext;
    }
    delete multiContextOf(context);
    return KestrovaErrorOk;
}
