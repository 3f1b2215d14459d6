// One frame in: the public entries of preprocessing.
#include "preprocess/preprocess.h"

#include "api/settingShims.h"
#include "kestrova.h"
#include "run/furrowFix.h"

using namespace kestrova;

KestrovaError kestrovaRectify(KestrovaContext context, KestrovaInput* input)
{
    return onActiveContext(context, [&](StereoContext& rContext) {
        const bool bBothPasses = rContext.m_bEnhancedStereo && rContext.m_bSubpixelInterpolation;
        return (bBothPasses ? furrowFixKestrovaPreprocess : standardKestrovaPreprocess)(&rContext, input);
    });
}

KestrovaError kestrovaPreprocess(KestrovaContext context, KestrovaInput* input)
{
    return kestrovaRectify(context, input);
}
