#include "stereo/CorrelationSettings.h"

#include "context/StereoContext.h"

namespace kestrova {

CorrelationSettings CorrelationSettings::of(const StereoContext& r)
{
    return {{r.m_nRows, r.m_nCols},
            r.m_nMinDisparity,
            r.m_nMaxDisparity,
            r.m_nDisparityOffset,
            r.m_nStereoMaskSize,
            r.m_nEdgeMaskSize,
            r.m_bEdgeCorrelation,
            r.m_bSubpixelInterpolation,
            r.m_bDisparityMappingOn,
            r.m_nDisparityMappingMin,
            r.m_nDisparityMappingMax,
            {r.m_bTextureValidation, r.m_dTextureValidationThreshold, r.m_ucTextureValidationMapping},
            {r.m_bUniquenessValidation, r.m_dUniquenessValidationThreshold, r.m_ucUniquenessValidationMapping},
            r.m_bBackForthValidation,
            r.m_ucBackForthValidationMapping,
            r.m_ucSubpixelValidationMapping};
}

DisparityImages DisparityImages::of(StereoContext& rContext)
{
    return {rContext.m_disparityImage, rContext.m_disparityImage16};
}

} // namespace kestrova
