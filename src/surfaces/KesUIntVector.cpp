#include "surfaces/KesUIntVector.h"

#include <algorithm>
#include <cmath>

namespace kestrova {

KesUIntVector::KesUIntVector(unsigned nCapacity, unsigned nIncrement)
    : m_pnData(std::make_unique_for_overwrite<unsigned[]>(nCapacity)), m_nCapacity(nCapacity), m_nIncrement(nIncrement)
{}

void KesUIntVector::resize(unsigned n)
{
    if (n <= m_nCapacity) {
        return;
    }
    const double dSteps = std::ceil(static_cast<double>(n - m_nCapacity) / m_nIncrement);
    const unsigned nCapacity = m_nCapacity + m_nIncrement * static_cast<unsigned>(dSteps);
    auto pnData = std::make_unique_for_overwrite<unsigned[]>(nCapacity);
    std::copy_n(m_pnData.get(), m_nSize, pnData.get());
    m_pnData = std::move(pnData);
    m_nCapacity = nCapacity;
}

} // namespace kestrova
