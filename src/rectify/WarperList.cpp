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
        m_warpers.reserve(static_cast<std::size_t>(m_nCapacity + m_nMaxWarperInc));
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_nCapacity += m_nMaxWarperInc;
    return true;
}

namespace {

template<typename WarperClass>
std::unique_ptr<Warper> build(const WarpMapFunc& rMap, int nSrcRows, int nSrcCols, int nStride, int nDstRows,
                              int nDstCols, int nRowOffset, int nColOffset, int nKernelSize)
{
    auto pWarper = std::make_unique<WarperClass>();
    pWarper->build(rMap, nSrcRows, nSrcCols, nStride, nDstRows, nDstCols, nRowOffset, nColOffset, nKernelSize);
    return pWarper;
}

/**
 * Positions are 32-bit, so a frame with huge row increments has none; a table counts its entries, padding included, in
 * 32 bits; and single precision tells the pixels of an axis apart up to 2^24.
 */
bool tablesHold(int nSrcRows, int nSrcCols, int nStride, int nDstRows, int nDstCols)
{
    constexpr std::int64_t nMax = std::numeric_limits<int>::max();
    constexpr int nMaxAxis = 1 << 24;
    return nSrcRows > 0 && nSrcCols > 0 && nStride > 0 && nDstRows > 0 && nDstCols > 0 && nSrcRows <= nMaxAxis &&
           nSrcCols <= nMaxAxis && std::int64_t{nSrcRows} * nStride <= nMax &&
           nDstRows * (std::int64_t{nDstCols} + 63) <= nMax;
}

} // namespace

std::unique_ptr<Warper> WarperList::buildWarper(int nDstRows, int nDstCols, int nSrcRows, int nSrcCols, int nStride,
                                                int nRowOffset, int nColOffset, KernelType eKernelType,
                                                int nKernelSize) const
{
    if (m_pWarpFunc == nullptr || !tablesHold(nSrcRows, nSrcCols, nStride, nDstRows, nDstCols)) {
        return nullptr;
    }
    auto* const pBuild = [eKernelType]() -> decltype(&build<Warper>) {
        switch (eKernelType) {
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
    return pBuild(*m_pWarpFunc, nSrcRows, nSrcCols, nStride, nDstRows, nDstCols, nRowOffset, nColOffset, nKernelSize);
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
