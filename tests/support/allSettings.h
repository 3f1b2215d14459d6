// Every setting that files tell of, away from its default.
#pragma once

#include "support/StereoFrame.h"

namespace kestrova::test {

inline void setAll(KestrovaContext h, bool bOn)
{
    const auto eQuality = bOn ? KestrovaStereoEnhanced : KestrovaStereoStandard;
    expectOk({kestrovaSetRectImgQuality(h, KestrovaRectEnhanced1), kestrovaSetEdgeCorrelation(h, bOn),
              kestrovaSetEdgeMask(h, 9), kestrovaSetLowpass(h, !bOn), kestrovaSetStereoQuality(h, eQuality),
              kestrovaSetStereoMask(h, 11), kestrovaSetDisparity(h, 15, 250), kestrovaSetDisparityMappingOn(h, bOn),
              kestrovaSetDisparityMapping(h, 3, 203)});
    expectOk({kestrovaSetTextureValidation(h, bOn), kestrovaSetTextureValidationThreshold(h, 1.26F),
              kestrovaSetTextureValidationMapping(h, 241), kestrovaSetUniquenessValidation(h, bOn),
              kestrovaSetUniquenessValidationThreshold(h, 2.25F) /* a tie */,
              kestrovaSetUniquenessValidationMapping(h, 242), kestrovaSetBackForthValidation(h, bOn),
              kestrovaSetBackForthValidationMapping(h, 243), kestrovaSetSurfaceValidation(h, bOn),
              kestrovaSetSurfaceValidationDifference(h, 0.74F), kestrovaSetSurfaceValidationSize(h, 7),
              kestrovaSetSurfaceValidationMapping(h, 244)});
}

} // namespace kestrova::test
