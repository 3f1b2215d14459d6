#include "rectify/GaussWarper3.h"

#include <algorithm>
#include <cmath>

namespace kestrova {

constinit InterpKernels GaussWarper3::s_interpKernels;

GaussWarper3::GaussWarper3() = default;
GaussWarper3::GaussWarper3(const GaussWarper3&) = default;
GaussWarper3::~GaussWarper3() = default;

namespace {

constexpr int sk_nSize = 5;
constexpr int sk_nTable = 1; // the table of size 5
constexpr double sk_dSigma = 0.75;

} // namespace

void GaussWarper3::build(const WarpMapFunc& rMap, const WarperKey& rKey)
{
    buildTables(rMap, rKey, KernelGauss);
    init();
}

void GaussWarper3::init()
{
    checkKernelSize();
    initRange(m_nKernelHalfSize);
    initKernels();
}

void GaussWarper3::checkKernelSize()
{
    m_nKernelSize = sk_nSize;
    m_nKernelHalfSize = std::clamp(m_nKernelHalfSize, 0, sk_nSize / 2);
}

void GaussWarper3::initKernels()
{
    m_pKernels = s_interpKernels.table(sk_nTable, sk_nSize,
                                       [this](InterpKernel pKernel, double dRowFraction, double dColFraction) {
                                           generateGaussKernel(pKernel, dRowFraction, dColFraction);
                                       });
    initKernelMap();
}

double GaussWarper3::gauss(double dDistanceSquared, double dSigma)
{
    constexpr double sk_dRootOfTwoPi = 2.5066282746310002;
    return std::exp(-(dDistanceSquared * 0.5 / (dSigma * dSigma))) / (dSigma * sk_dRootOfTwoPi);
}

void GaussWarper3::generateGaussKernel(InterpKernel pKernel, double dRowFraction, double dColFraction) const
{
    const int h = m_nKernelHalfSize;
    for (int i = -h; i <= h; ++i) {
        for (int j = -h; j <= h; ++j) {
            const double dRow = dRowFraction - i;
            const double dCol = dColFraction - j;
            pKernel[(i + h) * sk_nSize + j + h] = gauss(dRow * dRow + dCol * dCol, sk_dSigma);
        }
    }
    normaliseKernel(pKernel, sk_nSize);
}

std::unique_ptr<Warper> GaussWarper3::clone() const
{
    return std::unique_ptr<Warper>(new GaussWarper3(*this));
}

} // namespace kestrova
