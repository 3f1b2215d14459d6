// The warper of the enhanced rectification qualities: a sinc under a parabolic window, 3 by 3 or 5 by 5.
#pragma once

#include "rectify/KernelWarper3.h"

namespace kestrova {

class SincWarper3 : public KernelWarper3
{
public:
    SincWarper3();
    ~SincWarper3() override;

    /** As Warper::build. Kernel sizes other than 3 and 5 act as 5. */
    void build(const WarpMapFunc& rMap, const WarperKey& rKey) override;
    using Warper::build;
    [[nodiscard]] std::unique_ptr<Warper> clone() const override;

    [[nodiscard]] static int kernelSizeToIndex(int nSize) { return nSize == 3 ? 0 : 1; }
    [[nodiscard]] static const InterpKernels& interpKernels() { return s_interpKernels; }

private:
    SincWarper3(const SincWarper3&);
    void init();
    void checkKernelSize();
    void initKernels();
    /** Fractions of a half and above are those of a window that stands one pixel further on. */
    void generateSincKernel(InterpKernel pKernel, double dRowFraction, double dColFraction) const;
    [[nodiscard]] double windowedSinc(double d) const;

    static InterpKernels s_interpKernels;
    InterpKernels::Share m_share{s_interpKernels};
    double m_dKernelRadius = 0; // where the window reaches zero: half the kernel size
};

} // namespace kestrova
