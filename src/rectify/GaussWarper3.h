// A smoothing warper: a Gaussian of 0.75 pixels, 5 by 5. No rectification quality selects it; a kernel type of 3 does.
//
// Its kernels know nothing of positions that were rounded up: they peak on the side of the floor pixel, so where a
// fraction is a half or more the result leans towards the next pixel. Pictures taken with it depend on that.
#pragma once

#include "rectify/KernelWarper3.h"

namespace kestrova {

class GaussWarper3 : public KernelWarper3
{
public:
    GaussWarper3();
    ~GaussWarper3() override;

    /**
     * As Warper::build. The kernels are 5 by 5 whatever the size, but the half size stays that of the size asked for,
     * up to 2: for sizes below 5 the window stands further right and down, and so does the part of a kernel that is not
     * zero, if this is the warper that builds the table.
     */
    void build(const WarpMapFunc& rMap, const WarperKey& rKey) override;
    using Warper::build;
    [[nodiscard]] std::unique_ptr<Warper> clone() const override;

    /** Weight at a squared distance in pixels. */
    [[nodiscard]] static double gauss(double dDistanceSquared, double dSigma);
    [[nodiscard]] static const InterpKernels& interpKernels() { return s_interpKernels; }

private:
    GaussWarper3(const GaussWarper3&);
    void init();
    void checkKernelSize();
    void initKernels();
    void generateGaussKernel(InterpKernel pKernel, double dRowFraction, double dColFraction) const;

    static InterpKernels s_interpKernels;
    InterpKernels::Share m_share{s_interpKernels};
};

} // namespace kestrova
