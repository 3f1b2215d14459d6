#include "rectify/WarperList.h"

#include "rectify/GaussWarper3.h"
#include "rectify/SincWarper3.h"

#include <limits>
#include <new>

namespace kestrova {

bool WarperList::init()
{
    m_warpers.clear();
    m_nCapacity = 0;
    m_pWarpFunc = nullptr;
    return reallocate();
}

void WarperList::setWarpFunc(const WarpMapFunc* pWarpFunc)
{
    m_pWarpFunc = pWarpFunc;
    m_warpers.clear();
}

bool WarperList::reallocate()
{
    // Refused memory is an answer here: a lookup then gives no warper and the frame ends with an error.
    try {
        m_warpers.reserve(static_cast<std::size_t>(m_nCapacity) + static_cast<std::size_t>(m_nMaxWarperInc));
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_nCapacity += m_nMaxWarperInc;
    return true;
}

namespace {

template<typename WarperClass>
std::unique_ptr<Warper> build(const WarpMapFunc& rMap, const WarperKey& rKey)
{
    auto pWarper = std::make_unique<WarperClass>();
    pWarper->build(rMap, rKey);
    return pWarper;
}

/**
 * Positions are 32-bit, so a frame with huge row increments has none; a table counts its entries, padding included, in
 * 32 bits; and single precision tells the pixels of an axis apart up to 2^24.
 */
bool tablesHold(const WarperKey& r)
{
    constexpr std::int64_t nMax = std::numeric_limits<int>::max();
    constexpr int nMaxAxis = 1 << 24;
    return r.m_nSourceRows > 0 && r.m_nSourceCols > 0 && r.m_nStride > 0 && r.m_nDestinationRows > 0 &&
           r.m_nDestinationCols > 0 && r.m_nSourceRows <= nMaxAxis && r.m_nSourceCols <= nMaxAxis &&
           std::int64_t{r.m_nSourceRows} * r.m_nStride <= nMax &&
           r.m_nDestinationRows * (std::int64_t{r.m_nDestinationCols} + 63) <= nMax;
}

} // namespace

std::unique_ptr<Warper> WarperList::buildWarper(const WarperKey& rKey) const
{
    if (m_pWarpFunc == nullptr || !tablesHold(rKey)) {
        return nullptr;
    }
    auto* const pBuild = [&rKey]() -> decltype(&build<Warper>) {
        switch (rKey.m_eKernelType) {
        case KernelNearest:
            return build<Warper>;
        case KernelBilinear:
            return build<Warper3>;
        case KernelSinc:
            return build<SincWarper3>;
        case KernelGauss:
            return build<GaussWarper3>;
        default:
            return build<BilinearWarper3>;
        }
    }();
    return pBuild(*m_pWarpFunc, rKey);
}

const Warper* WarperList::find(const WarperKey& rKey) const
{
    for (const std::unique_ptr<Warper>& rpWarper : m_warpers) {
        if (rpWarper->key() == rKey) {
            return rpWarper.get();
        }
    }
    return nullptr;
}

const Warper* WarperList::append(std::unique_ptr<Warper> pWarper)
{
    m_warpers.push_back(std::move(pWarper));
    return m_warpers.back().get();
}

} // namespace kestrova
