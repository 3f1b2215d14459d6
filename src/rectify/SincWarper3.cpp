#include "rectify/SincWarper3.h"

#include <cmath>
#include <numbers>

namespace kestrova {

constinit InterpKernels SincWarper3::s_interpKernels;

SincWarper3::SincWarper3() = default;
SincWarper3::SincWarper3(const SincWarper3&) = default;
SincWarper3::~SincWarper3() = default;

void SincWarper3::build(const WarpMapFunc& rMap, const WarperKey& rKey)
{
    buildTables(rMap, rKey, KernelSinc);
    init();
}

void SincWarper3::init()
{
    checkKernelSize();
    m_dKernelRadius = m_nKernelSize * 0.5;
    initRange(m_nKernelHalfSize);
    initKernels();
}

void SincWarper3::checkKernelSize()
{
    if (m_nKernelSize != 3 && m_nKernelSize != 5) {
        m_nKernelSize = 5;
        m_nKernelHalfSize = 2;
    }
}

void SincWarper3::initKernels()
{
    m_pKernels = s_interpKernels.table(kernelSizeToIndex(m_nKernelSize), m_nKernelSize,
                                       [this](InterpKernel pKernel, double dRowFraction, double dColFraction) {
                                           generateSincKernel(pKernel, dRowFraction, dColFraction);
                                       });
    initKernelMap();
}

double SincWarper3::windowedSinc(double d) const
{
    if (std::fabs(d) < 1e-5) {
        return 1.0;
    }
    const double dRatio = d / m_dKernelRadius;
    const double dWindow = std::fabs(d) < m_dKernelRadius ? 1.0 - dRatio * dRatio : 0.0;
    const double dAngle = std::numbers::pi * d;
    return std::sin(dAngle) * dWindow / dAngle;
}

void SincWarper3::generateSincKernel(InterpKernel pKernel, double dRowFraction, double dColFraction) const
{
    const double dRowShift = dRowFraction >= 0.5 ? 1.0 : 0.0;
    const double dColShift = dColFraction >= 0.5 ? 1.0 : 0.0;
    double* pEntry = pKernel;
    for (int i = -m_nKernelHalfSize; i <= m_nKernelHalfSize; ++i) {
        for (int j = -m_nKernelHalfSize; j <= m_nKernelHalfSize; ++j) {
            *pEntry++ = windowedSinc(i - dRowFraction + dRowShift) * windowedSinc(j - dColFraction + dColShift);
        }
    }
    normaliseKernel(pKernel, m_nKernelSize);
}

std::unique_ptr<Warper> SincWarper3::clone() const
{
    return std::unique_ptr<Warper>(new SincWarper3(*this));
}

} // namespace kestrova
