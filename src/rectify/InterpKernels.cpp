#include "rectify/InterpKernels.h"

namespace kestrova {

InterpKernel InterpKernels::allocateInterpolationKernels(int nSize)
{
    return new double[static_cast<std::size_t>(sk_nEntries * nSize * nSize)]();
}

int InterpKernels::referenceCount() const
{
    const std::lock_guard lock(m_mutex);
    return m_nReferenceCount;
}

const double* InterpKernels::builtTable(int nIndex) const
{
    const std::lock_guard lock(m_mutex);
    return interpKernels[static_cast<std::size_t>(nIndex)];
}

void InterpKernels::addReference()
{
    const std::lock_guard lock(m_mutex);
    ++m_nReferenceCount;
}

void InterpKernels::dropReference()
{
    const std::lock_guard lock(m_mutex);
    if (--m_nReferenceCount == 0) {
        for (InterpKernel& rpTable : interpKernels) {
            delete[] rpTable;
            rpTable = nullptr;
        }
    }
}

void normaliseKernel(InterpKernel pKernel, int nSize)
{
    double dSum = 0.0;
    for (int i = 0; i < nSize * nSize; ++i) {
        dSum += pKernel[i];
    }
    for (int i = 0; i < nSize * nSize; ++i) {
        pKernel[i] /= dSum;
    }
}

} // namespace kestrova
