#include "rectify/InterpKernels.h"

namespace kestrova {

InterpKernel InterpKernels::allocateInterpolationKernels(int nSize)
{
    return new double[static_cast<std::size_t>(sk_nEntries * nSize * nSize)]();
}

void InterpKernels::dropReference()
{
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
